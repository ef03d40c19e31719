#include "run/set_calls.h"

#include "text/strings.h"

namespace torve {

namespace {

constexpr std::size_t longest_text = 8192;

int refuse(RunState& run, Code code, int location) {
  run.status.trvlocation = location;
  return static_cast<int>(code);
}

}  // namespace

int trvsetint(RunState& run, std::string_view name, int value) {
  if (run.status.runstarted) return refuse(run, Code::not_initialised, 472);
  if (name.empty()) return refuse(run, Code::empty_option_name, 387);
  const std::string option = fold_lower(name);
  if (option == "cmdcount") {
    run.status.cmdcount = value;
  } else if (option == "cmdlength") {
    run.status.cmdlength = value;
  } else {
    return refuse(run, Code::unknown_option_name, 395);
  }
  return 0;
}

int trvsetstring(RunState& run, std::string_view name, std::string_view value) {
  if (run.status.runstarted) return refuse(run, Code::not_initialised, 474);
  if (name.empty()) return refuse(run, Code::empty_option_name, 387);
  if (value.empty() || value.size() > longest_text) {
    return refuse(run, Code::option_length, 482);
  }
  const std::string option = fold_lower(name);
  if (option == "fname") {
    run.files.fname = value;
  } else if (option == "scratchin") {
    run.files.scratchin = value;
  } else {
    return refuse(run, Code::unknown_option_name, 397);
  }
  return 0;
}

}  // namespace torve
