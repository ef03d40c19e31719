// The program as it is started: its arguments, its files and its exit codes.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "solvers/conreg_search.h"
#include "solvers/mir_results.h"
#include "support/run_folder.h"

namespace {

namespace fs = std::filesystem;
using torve::test::Ending;
using torve::test::read_file;
using torve::test::RunSetup;
using torve::test::write_file;

class Program : public testing::Test {
 protected:
  Ending run(const std::vector<std::string>& arguments, const RunSetup& setup = {}) {
    return torve::test::run_program(MIRSOLVE_PROGRAM, arguments, folder_.path(), setup);
  }
  Ending run_text(const std::string& text, const RunSetup& setup = {}) {
    write_file(path("problem.mir"), text);
    return run({"problem.mir"}, setup);
  }
  fs::path path(const char* name) const { return folder_.path() / name; }
  std::optional<int> status() const { return torve::read_mir_status(read_file(path("tim.lst"))); }
  // No file but those that are expected is left.
  int files() const {
    return static_cast<int>(std::distance(fs::directory_iterator(folder_.path()), {}));
  }

  torve::test::TemporaryFolder folder_;
};

int code_of(const Ending& ending) {
  return WIFEXITED(ending.wait_status) ? WEXITSTATUS(ending.wait_status) : -1;
}

constexpr const char* parabola =
    "VARIABLES beta_1 ; OBJ: minimize + ( 2 - ( + ( 1) * beta_1 ) )^2"
    " + ( 5 - ( + ( 2) * beta_1 ) )^2 ;";

TEST_F(Program, leaves_an_answer) {
  const Ending ending = run_text(parabola);
  EXPECT_EQ(code_of(ending), 0);
  EXPECT_EQ(status(), 1);
  const auto solution = torve::read_mir_solution(read_file(path("res.lst")), {.free = 1});
  ASSERT_TRUE(solution);
  EXPECT_DOUBLE_EQ(solution->beta[0], 2.4);
  EXPECT_NE(read_file(path("sum.lst")).find(" class       least squares\n"), std::string::npos);
  EXPECT_NE(ending.screen.find("1, the best point, proven within the gaps"), std::string::npos);
  EXPECT_TRUE(ending.errors.empty());
  EXPECT_EQ(files(), 4);
}

TEST_F(Program, prints_nothing_when_asked) {
  const Ending ending = run_text(std::string("OPTIONS{ prlevel: 0; }") + parabola);
  EXPECT_EQ(code_of(ending), 0);
  EXPECT_EQ(ending.screen, "");
  EXPECT_EQ(status(), 1);
}

TEST_F(Program, solves_each_class) {
  const std::vector<std::pair<std::string, std::string>> problems = {
      {"least squares", parabola},
      {"least squares with selection",
       "BINARY_VARIABLES y; VARIABLES b; LOWER_BOUNDS{b:-9;} UPPER_BOUNDS{b:9;} EQUATIONS d, u;"
       "d: (-9)*y - b <= 0; u: b - (9)*y <= 0; OBJ: minimize ((3) - ( + (1)*b))^2 / 1 + 2*(y);"},
      {"linear",
       "BINARY_VARIABLES y; POSITIVE_VARIABLES p; EQUATIONS e; e: p >= 3 - 2*y;"
       "OBJ: minimize p + y;"},
      {"a formula over a box",
       "VARIABLE trv_z, x; LOWER_BOUNDS{x:-1;} UPPER_BOUNDS{x:2; trv_z: 5;} EQUATION trv_defz;"
       "trv_defz: - trv_z + (3)* (x^2 + 4/6) == 0; OBJ: minimize trv_z;"}};
  for (const auto& [name, text] : problems) {
    EXPECT_EQ(code_of(run_text(text)), 0);
    EXPECT_EQ(status(), 1) << name;
    double objective = 0.0;
    const std::string res = read_file(path("res.lst"));
    torve::ResultReader reader(res);
    ASSERT_TRUE(reader.find_line("The best solution found") && reader.read_name() &&
                reader.read_real(objective))
        << name;
    EXPECT_NEAR(objective, name == "least squares" ? 0.2 : 2.0, 1e-6) << name;
  }
}

struct Command {
  const char* name;
  std::vector<std::string> arguments;
  int code;
  const char* screen;
  const char* errors;
};

class Commands : public Program, public testing::WithParamInterface<Command> {};

TEST_P(Commands, are_answered) {
  const Command& row = GetParam();
  const Ending ending = run(row.arguments);
  EXPECT_EQ(code_of(ending), row.code);
  EXPECT_TRUE(ending.screen.starts_with(row.screen)) << ending.screen;
  EXPECT_TRUE(ending.errors.starts_with(row.errors)) << ending.errors;
  EXPECT_EQ(files(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Commands,
    testing::Values(Command{"version", {"--version"}, 0, "torve-mir 20", ""},
                    Command{"help", {"--help"}, 0, "usage: torve-mir file.mir", ""},
                    Command{"nothing", {}, 2, "", "usage: torve-mir file.mir"},
                    Command{"two_files", {"a.mir", "b.mir"}, 2, "", "usage: torve-mir file.mir"},
                    Command{"unknown", {"--fast"}, 2, "", "usage: torve-mir file.mir"},
                    Command{"empty", {""}, 2, "", "usage: torve-mir file.mir"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(Program, tells_an_error_of_the_text_in_three_places) {
  const Ending ending = run_text("VARIABLES x;\nOBJ: minimize 2*y;");
  EXPECT_EQ(code_of(ending), 0);
  const std::string message = "problem.mir: line 2, column 17: the variable isn't declared: 'y'";
  EXPECT_EQ(ending.errors, "torve-mir: " + message + "\n");
  EXPECT_NE(read_file(path("sum.lst")).find(message), std::string::npos);
  EXPECT_EQ(status(), 7);
  EXPECT_EQ(read_file(path("tim.lst")).substr(0, 9), " problem ");
  EXPECT_FALSE(torve::read_mir_solution(read_file(path("res.lst")), {}));
}

TEST_F(Program, tells_a_file_that_can_t_be_read) {
  fs::create_directory(path("folder.mir"));
  for (const char* name : {"missing.mir", "folder.mir"}) {
    const Ending ending = run({name});
    EXPECT_EQ(code_of(ending), 0);
    EXPECT_EQ(ending.errors, "torve-mir: " + std::string(name) + " can't be read\n");
    EXPECT_EQ(status(), 7);
  }
}

TEST_F(Program, reads_no_more_than_a_text_may_have) {
  const Ending ending = run({"/dev/zero"});
  EXPECT_EQ(code_of(ending), 0);
  EXPECT_EQ(ending.errors, "torve-mir: /dev/zero: the text is too long\n");
  EXPECT_EQ(status(), 7);
}

TEST_F(Program, tells_a_problem_of_no_class) {
  const Ending ending = run_text("VARIABLES x; OBJ: minimize sin(x);");
  EXPECT_EQ(code_of(ending), 0);
  EXPECT_EQ(status(), 6);
}

TEST_F(Program, ends_at_once_without_time) {
  const Ending ending = run_text(
      "OPTIONS{maxtime: 0;} VARIABLE trv_z, x; LOWER_BOUNDS{x:-1;}"
      "UPPER_BOUNDS{x:2;} EQUATION trv_defz; trv_defz: - trv_z +"
      "(3)* (x^2*sin(x)) == 0; OBJ: minimize trv_z;");
  EXPECT_EQ(code_of(ending), 0);
  EXPECT_TRUE(status() == 3 || status() == 5) << *status();
}

TEST_F(Program, fails_where_no_file_can_be_written) {
  RunSetup setup;
  setup.file_bytes = 10;
  const Ending ending = run_text(parabola, setup);
  EXPECT_EQ(code_of(ending), 3);
  EXPECT_EQ(ending.errors, "torve-mir: the files of results can't be written\n");
  EXPECT_EQ(files(), 1);
}

TEST_F(Program, fails_where_a_folder_stands_in_the_way) {
  fs::create_directories(path("tim.lst") / "full");
  const Ending ending = run_text(parabola);
  EXPECT_EQ(code_of(ending), 3);
  EXPECT_FALSE(fs::exists(path("tim.lst.new")));
}

#if !defined(__SANITIZE_ADDRESS__)
TEST_F(Program, tells_when_memory_is_over) {
  RunSetup setup;
  setup.memory_bytes = 250'000'000;
  std::string text = "VARIABLES x; OBJ: minimize 0";
  for (int i = 0; i < 1'600'000; ++i) text += "+x*" + std::to_string(i);
  const Ending ending = run_text(text + ";", setup);
  EXPECT_EQ(code_of(ending), 0);
  EXPECT_EQ(ending.errors, "torve-mir: out of memory\n");
  EXPECT_EQ(status(), 8);
  EXPECT_NE(read_file(path("sum.lst")).find("out of memory"), std::string::npos);
}
#endif

}  // namespace
