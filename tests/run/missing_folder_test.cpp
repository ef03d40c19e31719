// A run whose own folder is gone before it starts.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "support/in_process.h"
#include "support/process.h"

namespace torve::test {
namespace {

TEST(MissingFolder, ends_the_run) {
  const WorkingFolder folder;
  std::ofstream("problem.trv") << "ninputs 1\nnoutputs 1\nxmin 0\nxmax 4\n"
                                  "ndata 2\nbegin_data\n1 2\n2 4\nend_data\n";
  Start start;
  start.arguments = {(folder.path() / "problem.trv").string(), (folder.path() / "scr").string()};
  start.in_child = [] {
    if (mkdir("gone", 0700) != 0 || chdir("gone") != 0 || rmdir("../gone") != 0) _exit(1);
  };
  const Finished finished = run_process(TORVE_PROGRAM, start);
  EXPECT_TRUE(finished.ended_normally());
  EXPECT_TRUE(
      finished.screen.ends_with("Reading input data\n"
                                " \n"
                                " TORVE terminated with termination code 34 \n"
                                " Error while attempting to access the TORVE execution "
                                "directory.\n"
                                "\n"))
      << finished.screen;
  EXPECT_FALSE(fs::exists("scr"));
}

}  // namespace
}  // namespace torve::test
