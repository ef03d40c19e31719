// torve-mir file.mir: reads a problem, solves it, and leaves res.lst, sum.lst and tim.lst in the
// current folder. The exit code is 0 whenever these are whole, whatever they say; 2 for a wrong
// command line; 3 when they can't be written.
#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "mirsolve/answer/result_files.h"
#include "mirsolve/language/limits.h"
#include "mirsolve/language/problem_reader.h"
#include "mirsolve/run/solvers.h"
#include "mirsolve/run/watchdog.h"
#include "system/files.h"
#include "system/machine.h"

namespace {

using namespace mirsolve;

constexpr int wrong_command = 2;
constexpr int no_results = 3;

constexpr const char* usage =
    "usage: torve-mir file.mir\n"
    "       torve-mir --help | --version\n"
    "\n"
    "Solves the problem of the file and writes res.lst, sum.lst and tim.lst to the current\n"
    "folder. Exit code 0: the files are whole; their status tells what was found.\n";

// A problem on its way to the files.
struct Run {
  Problem problem;
  Answer answer;
  Deadline clock{0.0};
};

std::string title_of(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
  const std::size_t point = path.rfind('.');
  return std::string(point == 0 ? path : path.substr(0, point));
}

// One byte more than a text may have at most, so that a longer one is known for what it is.
bool read_text(const std::string& path, std::string& text) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  if (!file) return false;
  constexpr std::size_t step = std::size_t{1} << 16U;
  std::size_t length = 0;
  while (length <= Limits{}.text) {
    text.resize(length + step);
    const std::size_t got = std::fread(text.data() + length, 1, step, file.get());
    length += got;
    if (got < step) break;
  }
  text.resize(length);
  return std::ferror(file.get()) == 0;
}

void refuse(Run& run, const std::string& why) {
  run.answer.status = Status::bad_file;
  run.answer.remarks.push_back(why);
  std::fprintf(stderr, "torve-mir: %s\n", why.c_str());
}

ResultTexts texts_when_late(const Problem& problem) {
  Answer answer;
  answer.status = Status::no_point;
  answer.remarks.emplace_back("the solve didn't end with its time; what it had found is lost");
  return result_texts(problem, answer, problem.options.seconds);
}

void read_and_solve(Run& run, const std::string& path) {
  std::string text;
  if (!read_text(path, text)) return refuse(run, path + " can't be read");
  std::string error;
  std::optional<Problem> problem = read_problem(text, title_of(path), error);
  if (!problem) return refuse(run, path + ": " + error);
  run.problem = std::move(*problem);
  text = {};
  const Deadline deadline(run.problem.options.seconds - run.clock.elapsed());
  const Watchdog watchdog(deadline.left(), texts_when_late(run.problem));
  run.answer = checked(run.problem, solve(run.problem, deadline));
}

// What is in hand is given up, so that there is room for the files.
void give_up(Run& run, const std::string& title, const std::string& why) {
  run.problem = Problem{};
  run.problem.title = title;
  run.answer = Answer{};
  run.answer.remarks.push_back(why);
  std::fprintf(stderr, "torve-mir: %s\n", why.c_str());
}

template <class Step>
void guarded(Run& run, const std::string& title, const Step& step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
    give_up(run, title, "out of memory");
  } catch (const std::exception& error) {
    give_up(run, title, error.what());
  }
}

int solve_file(const std::string& path) {
  torve::use_one_algebra_thread();
  Run run;
  const std::string title = title_of(path);
  run.problem.title = title;
  guarded(run, title, [&] { read_and_solve(run, path); });
  ResultTexts texts;
  const auto make_texts = [&] {
    texts = result_texts(run.problem, run.answer, run.clock.elapsed());
  };
  guarded(run, title, make_texts);
  if (texts.tim.empty()) make_texts();
  if (!write_results(texts)) {
    std::fprintf(stderr, "torve-mir: the files of results can't be written\n");
    return no_results;
  }
  if (run.problem.options.print_level != 0) {
    const std::string report = short_report(run.problem, run.answer, run.clock.elapsed());
    std::fputs(report.c_str(), stdout);  // a screen that can't be written to changes nothing
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  torve::reserve_standard_streams();
  // A screen that went away is no reason to leave no files, and a full disk is told by a code.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  const std::string_view argument = count == 2 ? arguments[1] : "";
  try {
    if (argument == "--help") {
      fmt::print("{}", usage);
      return 0;
    }
    if (argument == "--version") {
      fmt::print("torve-mir {}.{}.{}\n", TORVE_VERSION_YEAR, TORVE_VERSION_MONTH,
                 TORVE_VERSION_DAY);
      return 0;
    }
    if (argument.empty() || argument.starts_with("--")) {
      std::fprintf(stderr, "%s", usage);
      return wrong_command;
    }
    return solve_file(std::string(argument));
  } catch (const std::exception&) {
    return no_results;
  }
}
