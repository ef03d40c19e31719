// Where this code lies: here always in the program of the test, in the tree of a build. A test of
// an installed tree finds the solver there.
#include "system/installed_solver.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;

TEST(InstalledSolver, own_folder_is_that_of_the_program) {
  const fs::path folder = torve::own_folder();
  ASSERT_TRUE(fs::exists(folder / "installed_solver_test"));
  EXPECT_EQ(folder, fs::canonical(folder));
}

TEST(InstalledSolver, own_folder_stays_when_the_current_one_changes) {
  const fs::path here = fs::current_path();
  const std::string before = torve::own_folder();
  fs::current_path("/");
  EXPECT_EQ(torve::own_folder(), before);
  fs::current_path(here);
}

TEST(InstalledSolver, is_not_found_in_the_tree_of_a_build) {
  EXPECT_EQ(torve::installed_solver(), "");
}

}  // namespace
