// What is left when a solve doesn't end by itself.
#include "mirsolve/run/watchdog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/run_folder.h"

namespace {

namespace fs = std::filesystem;
using mirsolve::ResultTexts;
using mirsolve::Watchdog;
using torve::test::read_file;

// A death test forks, and the files are those of the child.
TEST(Watchdog, writes_the_files_of_a_solve_that_is_late) {
  const torve::test::TemporaryFolder folder;
  const auto late = [&] {
    fs::current_path(folder.path());
    const Watchdog watchdog(0.0, {"no point\n", "late\n", "5\n"});
    while (true) ::pause();
  };
  EXPECT_EXIT(late(), testing::ExitedWithCode(0), "^$");
  EXPECT_EQ(read_file(folder.path() / "res.lst"), "no point\n");
  EXPECT_EQ(read_file(folder.path() / "sum.lst"), "late\n");
  EXPECT_EQ(read_file(folder.path() / "tim.lst"), "5\n");
  EXPECT_FALSE(fs::exists(folder.path() / "tim.lst.new"));
}

TEST(Watchdog, tells_by_the_exit_code_that_files_are_missing) {
  const torve::test::TemporaryFolder folder;
  const auto late = [&] {
    fs::current_path(folder.path());
    fs::create_directories("sum.lst/full");
    const Watchdog watchdog(0.0, {"no point\n", "late\n", "5\n"});
    while (true) ::pause();
  };
  EXPECT_EXIT(late(), testing::ExitedWithCode(3), "^$");
  EXPECT_FALSE(fs::exists(folder.path() / "sum.lst.new"));
}

TEST(Watchdog, leaves_in_peace_who_ends_in_time) {
  const torve::test::TemporaryFolder folder;
  const auto in_time = [&] {
    fs::current_path(folder.path());
    { const Watchdog watchdog(0.0, {"", "", ""}); }
    ::sleep(4);  // more than the grace
    ::_exit(7);
  };
  EXPECT_EXIT(in_time(), testing::ExitedWithCode(7), "^$");
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

}  // namespace
