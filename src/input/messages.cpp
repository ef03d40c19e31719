#include "input/messages.h"

#include <fmt/format.h>

#include "input/message_table.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::string_view trace_mark = "<tracefname>";

std::string with_trace_name(std::string_view words, std::string_view tracefname) {
  std::string line(words);
  const std::size_t mark = line.find(trace_mark);
  if (mark != std::string::npos) line.replace(mark, trace_mark.size(), trim_right(tracefname));
  return line;
}

}  // namespace

std::vector<std::string> trvmessage(Code code, std::string_view tracefname) {
  if (code == Code::normal) return {"Normal termination"};
  const int number = static_cast<int>(code);
  std::vector<std::string> lines{
      fmt::format(" TORVE terminated with termination code {} ", number)};
  if (number >= 1 && number <= last_code) {
    for (const std::string_view words : messages[static_cast<std::size_t>(number - 1)].lines) {
      if (!words.empty()) lines.push_back(" " + with_trace_name(words, tracefname));
    }
  }
  lines.emplace_back();
  return lines;
}

}  // namespace torve
