// Enumeration on the triangle of the data against a fit of every subset: screen, listing and trace
// of whole runs are the same but for times.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/design_problems.h"
#include "support/rows.h"

namespace torve::test {
namespace {

class FastEnumeration : public testing::TestWithParam<DesignProblem> {};

std::string options_of(Random& random, int modeler) {
  const std::string walk = random.chance(0.5) ? "enumall -1\n" : "enumall 0\nenum1 -1\n";
  std::string options =
      fmt::format("modeler {}\n{}builder {}\n", modeler, walk, random.chance(0.3) ? 1 : 0);
  options += metric_options(random, modeler);
  return options;
}

int points_of(Random& random) {
  if (random.chance(0.1)) return 400;
  return random.chance(0.1) ? 1000 : random.whole(3, 40);
}

// Problems for each metric. Sanitizers look at memory, for which a few do.
#ifdef __SANITIZE_ADDRESS__
constexpr int rounds = 2;
#else
constexpr int rounds = 20;
#endif

TEST_P(FastEnumeration, leaves_what_all_fits_leave) {
  int walks = 0;
  for (int modeler = 1; modeler <= 8; ++modeler) {
    for (int round = 0; round < rounds; ++round) {
      Random random(static_cast<std::uint64_t>(1000 * modeler + round));
      SmallProblem problem;
      GetParam().make(problem, random, points_of(random));
      const int terms = random.chance(0.1) ? 6 : random.whole(2, 4);
      problem.options = options_of(random, modeler) + GetParam().options +
                        fmt::format("maxterms {}\n", std::min(terms, GetParam().largest));
      SCOPED_TRACE(problem.text());
      const auto plain = [](RunState& run) { run.walk.allowed = false; };
      SmallRun expected(problem.text(), plain);
      SmallRun found(problem.text());
      walks += found.state().walk.output >= 0 && found.state().walk.usable ? 1 : 0;
      expect_same_texts(expected, found);
      if (HasFailure()) return;
    }
  }
  // Most runs come to the triangle, or this test shows nothing.
  EXPECT_GT(walks, 4 * rounds);
}

INSTANTIATE_TEST_SUITE_P(Rows, FastEnumeration, testing::ValuesIn(design_problems()), RowName());

}  // namespace
}  // namespace torve::test
