#include "mirsolve/answer/result_files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <utility>

#include "system/files.h"
#include "system/text_file.h"

namespace mirsolve {

namespace {

struct StatusRow {
  Status status;
  bool has_point;
  std::string_view words;
};

constexpr std::array status_rows = {
    StatusRow{Status::proven, true, "the best point, proven within the gaps"},
    StatusRow{Status::infeasible, false, "proven: there is no point"},
    StatusRow{Status::unproven, true, "a point; the search ended before a proof"},
    StatusRow{Status::wanted, true, "a point; the first one was asked for"},
    StatusRow{Status::no_point, false, "the search ended before a point or a proof"},
    StatusRow{Status::not_understood, false, "the problem is of no class that can be solved"},
    StatusRow{Status::bad_file, false, "the file can't be read or has an error"},
    StatusRow{Status::failed, false, "the solve failed"},
};

consteval bool row_is_status() {
  for (std::size_t i = 0; i < status_rows.size(); ++i) {
    if (static_cast<std::size_t>(status_rows[i].status) != i + 1) return false;
  }
  return true;
}
static_assert(row_is_status(), "row i holds status i + 1");

const StatusRow& row_of(Status status) {
  return status_rows[static_cast<std::size_t>(status) - 1];
}

using Text = fmt::memory_buffer;

template <class... Arguments>
void add(Text& text, fmt::format_string<Arguments...> words, Arguments&&... arguments) {
  fmt::format_to(std::back_inserter(text), words, std::forward<Arguments>(arguments)...);
}

// Readers of the files take no text for infinity and none for what isn't a number.
double printable(double value) {
  constexpr double largest = 1e300;  // far from where a reader would meet an overflow
  return std::isnan(value) ? 0.0 : std::clamp(value, -largest, largest);
}

long count_of(const Problem& problem, VariableKind kind) {
  return std::ranges::count(problem.variables, kind, &Variable::kind);
}

void add_head(Text& text) {
  add(text, " torve-mir {}.{}.{}\n\n", TORVE_VERSION_YEAR, TORVE_VERSION_MONTH, TORVE_VERSION_DAY);
}

void add_point(Text& text, const Problem& problem, const std::vector<double>& point,
               double objective) {
  constexpr std::size_t longest_name = 23;
  add(text, "The best solution found\n objective {:.17g}\n", printable(objective));
  add(text, "   {:<23} {:>24} {:>24}\n", "variable", "lower bound", "value");
  for (std::size_t i = 0; i < problem.variables.size(); ++i) {
    const Variable& variable = problem.variables[i];
    add(text, "  {:<23} {:>24} {:>24.17g}\n",
        std::string_view(variable.name).substr(0, longest_name), printable(variable.lower),
        point[i]);
  }
}

std::string solution_listing(const Problem& problem, const Answer& answer) {
  Text text;
  add_head(text);
  if (answer.points.empty()) add(text, " No point was found\n");
  for (std::size_t p = 0; p < answer.points.size(); ++p) {
    if (p > 0) add(text, "\n");
    const double objective =
        p == 0 ? answer.objective : evaluate(problem.graph, problem.objective, answer.points[p]);
    add_point(text, problem, answer.points[p], objective);
  }
  return fmt::to_string(text);
}

// Ten characters at most, with nothing in them that ends an item.
std::string short_name(const std::string& title) {
  constexpr std::size_t longest = 10;
  std::string name = title.substr(0, longest);
  for (char& c : name) {
    const bool is_plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                          (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
    if (!is_plain) c = '_';
  }
  return name.empty() ? "problem" : name;
}

std::string record_of_counts(const Problem& problem, const Answer& answer) {
  constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
  return fmt::format(
      " {:<10} {} {} {} {} {} {} 0 {} {}\n", short_name(problem.title), problem.statements.size(),
      problem.variables.size(), count_of(problem, VariableKind::binary),
      std::clamp<std::int64_t>(answer.nodes, 0, most), printable(answer.bound),
      printable(answer.objective), static_cast<int>(answer.status), answer.points.size());
}

void add_values(Text& text, const Answer& answer) {
  if (!has_point(answer.status)) return;
  const double gap = std::abs(answer.objective - answer.bound);
  const double size = std::abs(answer.objective);
  add(text, " objective   {:.17g}\n", answer.objective);
  add(text, " bound       {:.17g}\n", answer.bound);
  add(text, " gap         {:.3g}", gap);
  if (size > 0.0) add(text, ", relative {:.3g}", gap / size);
  add(text, "\n points      {}\n", answer.points.size());
}

void add_status(Text& text, const Problem& problem, const Answer& answer) {
  add(text, " problem     {}\n", problem.title);
  if (!answer.problem_class.empty()) add(text, " class       {}\n", answer.problem_class);
  if (!answer.method.empty()) add(text, " method      {}\n", answer.method);
  add(text, " status      {}, {}\n", static_cast<int>(answer.status), words_of(answer.status));
  add_values(text, answer);
}

std::string summary(const Problem& problem, const Answer& answer, double seconds) {
  Text text;
  add_head(text);
  add_status(text, problem, answer);
  add(text, " nodes       {}\n", answer.nodes);
  add(text, " time        {:.3f} s\n", seconds);
  add(text, " variables   {}: {} binary, {} positive, {} free\n", problem.variables.size(),
      count_of(problem, VariableKind::binary), count_of(problem, VariableKind::positive),
      count_of(problem, VariableKind::free));
  add(text, " statements  {}\n", problem.statements.size());
  for (const std::string& remark : answer.remarks) add(text, " remark      {}\n", remark);
  for (const std::string& oddity : problem.oddities) add(text, " oddity      {}\n", oddity);
  return fmt::to_string(text);
}

struct ResultFile {
  const char* name;
  const char* unfinished;
  std::string ResultTexts::*text;
};
constexpr std::array result_files = {
    ResultFile{"res.lst", "res.lst.new", &ResultTexts::res},
    ResultFile{"sum.lst", "sum.lst.new", &ResultTexts::sum},
    ResultFile{"tim.lst", "tim.lst.new", &ResultTexts::tim},
};

bool write_unfinished(const char* name, const std::string& text) {
  torve::TextFile out;
  if (!out.open_replace(name)) return false;
  out.write(text);
  return out.close();
}

bool write_at_once(const char* name, const std::string& text) {
  const int file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) return false;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at < end) {
    const ssize_t written = ::write(file, at, static_cast<std::size_t>(end - at));
    if (written <= 0) break;
    at += written;
  }
  return ::close(file) == 0 && at == end;
}

template <class Write>
bool write_by(const Write& write, const ResultTexts& texts) {
  const bool are_whole = std::ranges::all_of(result_files, [&](const ResultFile& file) {
    return write(file.unfinished, texts.*file.text);
  });
  const bool are_placed =
      are_whole && std::ranges::all_of(result_files, [](const ResultFile& file) {
        return std::rename(file.unfinished, file.name) == 0;
      });
  if (!are_placed) {
    for (const ResultFile& file : result_files) ::unlink(file.unfinished);
  }
  return are_placed;
}

}  // namespace

std::string_view words_of(Status status) {
  return row_of(status).words;
}

bool has_point(Status status) {
  return row_of(status).has_point;
}

Answer checked(const Problem& problem, Answer answer) {
  const auto is_whole = [&](const std::vector<double>& point) {
    return point.size() == problem.variables.size() &&
           std::ranges::all_of(point, [](double value) { return std::isfinite(value); });
  };
  if (!has_point(answer.status)) {
    answer.points.clear();
  } else if (answer.points.empty() || !std::ranges::all_of(answer.points, is_whole)) {
    answer.remarks.push_back("the point that was found has values that aren't numbers");
    answer.status = Status::failed;
    answer.points.clear();
  }
  return answer;
}

ResultTexts result_texts(const Problem& problem, const Answer& answer, double seconds) {
  return {solution_listing(problem, answer), summary(problem, answer, seconds),
          record_of_counts(problem, answer)};
}

std::string short_report(const Problem& problem, const Answer& answer, double seconds) {
  Text text;
  add_head(text);
  add_status(text, problem, answer);
  add(text, " time        {:.3f} s\n", seconds);
  return fmt::to_string(text);
}

bool write_results(const ResultTexts& texts) {
  return write_by(write_unfinished, texts);
}

bool write_results_at_once(const ResultTexts& texts) {
  return write_by(write_at_once, texts);
}

}  // namespace mirsolve
