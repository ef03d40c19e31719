// The program among other processes: signals, streams that are closed, pipes, full disks, names
// that a shell would misread.
#include "../support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <set>
#include <string>

#include "../support/in_process.h"
#include "../support/run_masks.h"

namespace torve::test {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool instrumented = true;
#else
constexpr bool instrumented = false;
#endif

constexpr const char* small_problem =
    "ninputs 1\nnoutputs 1\nxmin 0\nxmax 9\nndata 3\ntrace 1\n"
    "begin_data\n1 2\n2 4\n3 7\nend_data\n";

// More subsets than anybody can wait for, of noise, so that no stop rule ends the walk.
std::string endless_problem(const std::string& options) {
  constexpr int inputs = 40;
  constexpr int points = 60;
  std::string bounds[2] = {"xmin", "xmax"};
  for (int j = 0; j < inputs; ++j) {
    bounds[0] += " 0";
    bounds[1] += " 1";
  }
  std::string text = "ninputs 40\nnoutputs 1\n" + bounds[0] + "\n" + bounds[1] +
                     "\nenumall -1\ntolrelmetric -1e9\ntolabsmetric -1e9\ntrace 1\nndata 60\n" +
                     options + "begin_data\n";
  std::uint32_t state = 12345;
  for (int i = 0; i < points; ++i) {
    for (int j = 0; j <= inputs; ++j) {
      state = state * 1664525U + 1013904223U;
      text += "0." + std::to_string(state >> 8U) + " ";
    }
    text += "\n";
  }
  return text + "end_data\n";
}

bool has(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

bool is_enumerating() {
  return has(screen_so_far(), "Model building for variable");
}

void expect_whole_ending(const std::string& text) {
  EXPECT_TRUE(has(text, "Quality metrics for output Z1"));
  EXPECT_TRUE(has(text, " BETAS and BASES chosen for this output:\n"));
  EXPECT_TRUE(has(text, "Times breakdown"));
  EXPECT_TRUE(has(text,
                  "\n TORVE terminated with termination code 68 \n"
                  " Maximum CPU time (MAXTIME) exceeded.\n\n"));
}

// The best model so far stands on the screen, in the listing and in the trace.
void expect_ended_before_its_time(const Finished& end) {
  expect_whole_ending(end.screen);
  const std::string listing = text_of("problem.lst");
  expect_whole_ending(listing);
  EXPECT_TRUE(listing.ends_with("\nTermination occured at location 89\n"));
  const std::string trace = text_of("trace.trc");
  EXPECT_TRUE(has(trace, ", Z1 = ") && trace.ends_with("\n")) << trace;
  EXPECT_FALSE(has(trace, "Z1 = 0.00\n"));
  EXPECT_FALSE(fs::exists("problem.scr"));
}

class Process : public testing::Test {
 protected:
  Finished run_torve(Start start) {
    if (start.arguments.empty()) start.arguments = {"problem.trv"};
    return run_process(TORVE_PROGRAM, start);
  }
  const fs::path& folder() const { return folder_.path(); }

 private:
  WorkingFolder folder_;
};

// ---- Signals and time --------------------------------------------------------------------------

class Interrupted : public Process, public testing::WithParamInterface<int> {};

TEST_P(Interrupted, run_ends_through_its_report_and_then_by_the_signal) {
  write_file("problem.trv", endless_problem(""));
  const Finished end = run_torve({.meanwhile = [](pid_t process) {
    EXPECT_TRUE(wait_until(is_enumerating, 30));
    ::usleep(200000);
    ::kill(process, GetParam());
  }});
  EXPECT_TRUE(end.ended_by(GetParam())) << end.wait_status;
  expect_ended_before_its_time(end);
}

INSTANTIATE_TEST_SUITE_P(Signals, Interrupted, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& row) { return name_of_signal(row.param); });

TEST_F(Process, interrupted_twice_ends_at_once) {
  write_file("problem.trv", small_problem);
  // A screen that nobody reads and that takes nothing more holds the run up.
  std::array<int, 2> screen{};
  ASSERT_EQ(::pipe2(screen.data(), O_CLOEXEC), 0);
  ASSERT_GT(::fcntl(screen[1], F_SETPIPE_SZ, 4096), 0);
  const std::string filling(static_cast<std::size_t>(::fcntl(screen[1], F_GETPIPE_SZ)), 'x');
  ASSERT_EQ(::write(screen[1], filling.data(), filling.size()),
            static_cast<ssize_t>(filling.size()));
  const Finished end = run_torve({.in_child = [&] { ::dup2(screen[1], STDOUT_FILENO); },
                                  .meanwhile =
                                      [](pid_t process) {
                                        ::usleep(300000);
                                        ::kill(process, SIGINT);
                                        ::usleep(300000);
                                        EXPECT_EQ(::kill(process, 0), 0);
                                        ::kill(process, SIGINT);
                                      },
                                  .timeout_seconds = 5});
  EXPECT_TRUE(end.ended_by(SIGINT)) << end.wait_status;
  ::close(screen[0]);
  ::close(screen[1]);
}

TEST_F(Process, ignored_hangup_stays_ignored) {
  write_file("problem.trv", endless_problem(""));
  const Finished end = run_torve({.in_child = [] { std::signal(SIGHUP, SIG_IGN); },
                                  .meanwhile =
                                      [](pid_t process) {
                                        EXPECT_TRUE(wait_until(is_enumerating, 30));
                                        ::kill(process, SIGHUP);
                                        ::usleep(300000);
                                        EXPECT_FALSE(has(screen_so_far(), "Times breakdown"));
                                        ::kill(process, SIGTERM);
                                      }});
  EXPECT_TRUE(end.ended_by(SIGTERM)) << end.wait_status;
  expect_ended_before_its_time(end);
}

TEST_F(Process, out_of_time_keeps_the_best_model_so_far) {
  write_file("problem.trv", endless_problem("maxtime 0.05\n"));
  const Finished end = run_torve({});
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  expect_ended_before_its_time(end);
  EXPECT_LT(end.cpu_seconds, instrumented ? 5.0 : 0.5);
}

// ---- Streams -----------------------------------------------------------------------------------

// The listing of a run is the same whatever becomes of its screen.
class Screen : public Process {
 protected:
  Screen() {
    write_file("problem.trv", small_problem);
    run_torve({});
    expected_ = listing();
  }
  static std::string listing() {
    const std::string text = mask_output(text_of("problem.lst"), fs::current_path());
    fs::remove("problem.lst");
    return text;
  }
  std::string expected_;
};

TEST_F(Screen, and_listing_of_a_second_process_are_the_same) {
  const std::string trace = mask_output(text_of("trace.trc"), fs::current_path());
  const std::string first = run_torve({}).screen;
  EXPECT_EQ(listing(), expected_);
  const std::string second = run_torve({}).screen;
  EXPECT_EQ(listing(), expected_);
  EXPECT_EQ(mask_output(second, fs::current_path()), mask_output(first, fs::current_path()));
  EXPECT_EQ(mask_output(text_of("trace.trc"), fs::current_path()), trace + trace + trace);
}

TEST_F(Screen, closed) {
  const Finished end = run_torve({.in_child = [] { ::close(STDOUT_FILENO); }});
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  EXPECT_EQ(end.screen, "");
  EXPECT_EQ(listing(), expected_);
}

TEST_F(Screen, and_all_other_streams_closed) {
  const Finished end = run_torve({.in_child = [] {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::close(stream);
  }});
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  EXPECT_EQ(listing(), expected_);
}

TEST_F(Screen, a_pipe_without_reader) {
  std::array<int, 2> screen{};
  ASSERT_EQ(::pipe2(screen.data(), O_CLOEXEC), 0);
  ::close(screen[0]);
  const Finished end = run_torve({.in_child = [&] { ::dup2(screen[1], STDOUT_FILENO); }});
  ::close(screen[1]);
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  EXPECT_EQ(listing(), expected_);
}

TEST_F(Screen, a_full_device) {
  const Finished end =
      run_torve({.in_child = [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); }});
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  EXPECT_EQ(listing(), expected_);
}

TEST_F(Process, reads_a_problem_from_a_pipe) {
  std::array<int, 2> problem{};
  ASSERT_EQ(::pipe2(problem.data(), O_CLOEXEC), 0);
  const Finished end = run_torve({.arguments = {"/dev/stdin"},
                                  .in_child = [&] { ::dup2(problem[0], STDIN_FILENO); },
                                  .meanwhile =
                                      [&](pid_t) {
                                        ::usleep(100000);
                                        const std::string text = small_problem;
                                        EXPECT_GT(::write(problem[1], text.data(), text.size()), 0);
                                        ::close(problem[1]);
                                      }});
  ::close(problem[0]);
  EXPECT_TRUE(end.screen.ends_with("\nNormal termination\n")) << end.screen;
  EXPECT_TRUE(fs::exists("stdin.lst"));
}

TEST_F(Process, does_not_wait_for_a_named_pipe_without_writer) {
  ASSERT_EQ(::mkfifo("problem.trv", 0600), 0);
  const Finished end = run_torve({.timeout_seconds = 10});
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  EXPECT_TRUE(has(end.screen, "termination code 22")) << end.screen;
}

TEST_F(Process, does_not_write_a_listing_into_a_named_pipe_without_reader) {
  write_file("problem.trv", small_problem);
  ASSERT_EQ(::mkfifo("problem.lst", 0600), 0);
  const Finished end = run_torve({.timeout_seconds = 10});
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  EXPECT_TRUE(has(end.screen, "termination code 30")) << end.screen;
  EXPECT_FALSE(fs::exists("problem.scr"));
}

// ---- Full disk ---------------------------------------------------------------------------------

TEST_F(Process, full_disk_is_told) {
  fs::create_directory("small");
  if (::mount("tmpfs", "small", "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "only root may mount a file system, and not everywhere";
  }
  const std::string problem = (folder() / "problem.trv").string();
  std::string text = "ninputs 1\nnoutputs 1\nxmin 0\nxmax 4000\nndata 4000\ntrace 1\nbegin_data\n";
  for (int i = 1; i <= 4000; ++i) text += std::to_string(i) + " " + std::to_string(i % 7) + "\n";
  write_file(problem, text + "end_data\n");
  fs::current_path("small");
  const Finished end = run_process(
      TORVE_PROGRAM, {.arguments = {problem}, .in_child = [] {
                        ::dup2(::open("../screen.txt", O_WRONLY | O_CREAT | O_TRUNC, 0600),
                               STDOUT_FILENO);
                      }});
  EXPECT_FALSE(fs::exists("problem.scr"));
  fs::current_path("..");
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  EXPECT_TRUE(has(text_of("screen.txt"),
                  "\n TORVE terminated with termination code 127 \n"
                  " Error while trying to write file to disk.\n"));
  EXPECT_EQ(::umount2("small", MNT_DETACH), 0);
}

// ---- Names -------------------------------------------------------------------------------------

struct Name {
  std::string test;
  std::string base;
};

class OddName : public Process, public testing::WithParamInterface<Name> {};

// The problem, the scratch folder given, and the trace file bear the name; nothing else appears.
TEST_P(OddName, is_a_name_like_any_other) {
  const std::string base = GetParam().base;
  write_file(base + ".trv", small_problem);
  const Finished end = run_torve({.arguments = {base + ".trv", base + ".work"}});
  EXPECT_TRUE(end.ended_normally()) << end.wait_status;
  EXPECT_TRUE(end.screen.ends_with("\nNormal termination\n")) << end.screen;
  std::set<std::string> left;
  for (const auto& entry : fs::directory_iterator(".")) left.insert(entry.path().filename());
  EXPECT_EQ(left, (std::set<std::string>{base + ".trv", base + ".lst", "trace.trc", "screen.txt"}));
}

INSTANTIATE_TEST_SUITE_P(Names, OddName,
                         testing::Values(Name{"blanks", "my  own problem"},
                                         Name{"quotes", "it's \"mine\""},
                                         Name{"semicolon", "a; touch made_by_a_shell"},
                                         Name{"dollar", "$(touch made_by_a_shell)"},
                                         Name{"backticks", "`touch made_by_a_shell`"},
                                         Name{"pipe", "a | touch made_by_a_shell"},
                                         Name{"redirection", "a > made_by_a_shell"},
                                         Name{"star", "*"}, Name{"tilde", "~"}, Name{"dash", "-rf"},
                                         Name{"newline", "two\nlines"}, Name{"backslash", "a\\b"},
                                         Name{"bytes", "\xff\xfe\x01"}),
                         [](const auto& row) { return row.param.test; });

// ---- Memory errors -----------------------------------------------------------------------------

class UnderValgrind : public Process, public testing::WithParamInterface<std::string> {};

TEST_P(UnderValgrind, runs_clean) {
  constexpr const char* valgrind = "/usr/bin/valgrind";
  if (instrumented || !fs::exists(valgrind)) GTEST_SKIP() << "no valgrind, or not for this build";
  const std::string name = GetParam() + ".trv";
  fetch_problem(name);
  const Finished end =
      run_process(valgrind, {.arguments = {"--quiet", "--error-exitcode=99", "--leak-check=full",
                                           "--errors-for-leak-kinds=definite,indirect,possible",
                                           "--log-file=valgrind.txt", TORVE_PROGRAM, name},
                             // Kernels of a processor that valgrind knows.
                             .in_child = [] { ::setenv("OPENBLAS_CORETYPE", "Prescott", 1); },
                             .timeout_seconds = 300});
  EXPECT_TRUE(end.ended_normally()) << text_of("valgrind.txt");
  EXPECT_TRUE(end.screen.ends_with("\nNormal termination\n"));
}

INSTANTIATE_TEST_SUITE_P(Problems, UnderValgrind,
                         testing::Values("plain", "groups", "lasso", "radial", "debug", "bank"),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace torve::test
