// Nothing of a run is left for the next one of the same process.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <locale>
#include <stdexcept>
#include <string>

#include "../support/in_process.h"
#include "../support/run_masks.h"
#include "run/trvrun.h"

namespace torve::test {
namespace {

struct Problem {
  std::string name;
  std::string trace;
};

const std::vector<Problem> problems = {{"plain", "trace.trc"}, {"groups", "groups.trc"},
                                       {"lasso", "trace.trc"}, {"radial", "trace.trc"},
                                       {"debug", "trace.trc"}, {"bank", "trace.trc"},
                                       {"broken", "trace.trc"}};

// Screen, listing and trace of a run on the run state of the process, but for times.
struct Outputs {
  std::string screen, listing, trace;
};

void expect_same(const Outputs& expected, const Outputs& actual) {
  EXPECT_EQ(first_difference(expected.screen, actual.screen), "");
  EXPECT_EQ(first_difference(expected.listing, actual.listing), "");
  EXPECT_EQ(first_difference(expected.trace, actual.trace), "");
}

Outputs run_on_the_state_of_the_process(const Problem& problem) {
  set_command_line(TRVSPACE, problem.name + ".trv");
  Outputs outputs;
  outputs.screen = mask_output(screen_of([] { trvrun(TRVSPACE); }), fs::current_path());
  outputs.listing = mask_output(text_of(problem.name + ".lst"), fs::current_path());
  outputs.trace = mask_output(text_of(problem.trace), fs::current_path());
  fs::remove(problem.name + ".lst");
  fs::remove(problem.trace);
  return outputs;
}

class SecondRun : public testing::TestWithParam<Problem> {
 protected:
  SecondRun() { fetch_problem(GetParam().name + ".trv"); }
  ~SecondRun() override { trvinit(); }

 private:
  WorkingFolder folder_;
};

TEST_P(SecondRun, after_trvinit_is_like_the_first) {
  const Outputs first = run_on_the_state_of_the_process(GetParam());
  EXPECT_NE(first.screen, "");
  trvinit();
  expect_same(first, run_on_the_state_of_the_process(GetParam()));
}

// A run of another problem in between leaves nothing either.
TEST_P(SecondRun, is_not_touched_by_other_problems) {
  const Outputs first = run_on_the_state_of_the_process(GetParam());
  for (const Problem& other : problems) {
    trvinit();
    fetch_problem(other.name + ".trv");
    run_on_the_state_of_the_process(other);
  }
  trvinit();
  expect_same(first, run_on_the_state_of_the_process(GetParam()));
}

TEST_P(SecondRun, finds_all_memory_given_back) {
  run_on_the_state_of_the_process(GetParam());
  for (const MemoryKind kind :
       {MemoryKind::integer, MemoryKind::real, MemoryKind::logical, MemoryKind::text}) {
    EXPECT_EQ(TRVSPACE.memory.mebibytes(kind), 0.0);
  }
  release_arrays(TRVSPACE);
  release_arrays(TRVSPACE);
}

INSTANTIATE_TEST_SUITE_P(Problems, SecondRun, testing::ValuesIn(problems),
                         [](const auto& row) { return row.param.name; });

// ---- trvinit -----------------------------------------------------------------------------------

TEST(Trvinit, before_any_run_changes_nothing) {
  trvinit();
  ASSERT_FALSE(TRVSPACE.status.runstarted);
  TRVSPACE.options.seed = 7;
  TRVSPACE.files.fname = "mine";
  TRVSPACE.seen.set(3);
  EXPECT_EQ(trvinit(), 0);
  EXPECT_EQ(TRVSPACE.options.seed, 7);
  EXPECT_EQ(TRVSPACE.files.fname, "mine");
  EXPECT_TRUE(TRVSPACE.seen[3]);
  TRVSPACE = RunState{};
}

TEST(Trvinit, after_a_run_restores_every_default) {
  const WorkingFolder folder;
  fetch_problem("lasso.trv");
  run_on_the_state_of_the_process({"lasso", "trace.trc"});
  EXPECT_TRUE(TRVSPACE.status.runstarted);
  EXPECT_TRUE(TRVSPACE.seen.any());
  EXPECT_EQ(trvinit(), 0);
  EXPECT_FALSE(TRVSPACE.status.runstarted);
  EXPECT_FALSE(TRVSPACE.seen.any());
  EXPECT_EQ(TRVSPACE.options.seed, 19631963);
  EXPECT_EQ(TRVSPACE.options.npenl, 100);
  EXPECT_EQ(TRVSPACE.options.screener, 0);
  EXPECT_EQ(TRVSPACE.sizes.ninputs, 0);
  EXPECT_EQ(TRVSPACE.randstate, 0);
  EXPECT_EQ(TRVSPACE.timers.t_total, 0.0);
  EXPECT_EQ(TRVSPACE.counters.numOLRs, 0);
  EXPECT_EQ(TRVSPACE.memory.peak_mebibytes(MemoryKind::real), 0.0);
  EXPECT_FALSE(TRVSPACE.models.bestbeta.exists());
}

// ---- Locale ------------------------------------------------------------------------------------

bool writes_decimal_comma(const char* name) {
  try {
    const std::locale locale(name);
    return std::use_facet<std::numpunct<char>>(locale).decimal_point() == ',';
  } catch (const std::runtime_error&) {
    return false;
  }
}

// A locale of this machine that writes one and a half as 1,5, else one that is made of its sources;
// empty when there are none.
std::string locale_with_decimal_comma() {
  for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "it_IT.UTF-8", "es_ES.UTF-8"}) {
    if (writes_decimal_comma(name)) return name;
  }
#if defined(__SANITIZE_ADDRESS__)
  return "";  // the C library leaks a little for every locale of such a folder
#endif
  static const TemporaryFolder locales;
  const std::string folder = locales.path().string();
  const std::string make =
      "localedef -i de_DE -f UTF-8 '" + folder + "/de_DE.UTF-8' >/dev/null 2>&1";
  if (std::system(make.c_str()) != 0) return "";
  ::setenv("LOCPATH", folder.c_str(), 1);
  return writes_decimal_comma("de_DE.UTF-8") ? "de_DE.UTF-8" : "";
}

class Locale : public testing::TestWithParam<Problem> {
 protected:
  Locale() { fetch_problem(GetParam().name + ".trv"); }
  ~Locale() override {
    trvinit();
    std::locale::global(std::locale::classic());
  }

 private:
  WorkingFolder folder_;
};

TEST_P(Locale, of_the_caller_changes_no_text) {
  static const std::string name = locale_with_decimal_comma();
  if (name.empty()) GTEST_SKIP() << "no locale with a decimal comma on this machine";
  const Outputs plain = run_on_the_state_of_the_process(GetParam());
  trvinit();
  std::locale::global(std::locale(name));  // that of the C library, too
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  expect_same(plain, run_on_the_state_of_the_process(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Problems, Locale, testing::ValuesIn(problems),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace torve::test
