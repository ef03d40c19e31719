// The paths that run once for each subset, each row of the catalogue and each row of data take no
// memory: neither by operator new, which is replaced here, nor by the arrays of the run state,
// whose account counts its requests.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "basis/catalogue.h"
#include "input/problem_reader.h"
#include "model/enumeration.h"
#include "model/fast_walk/walk.h"
#include "model/fit.h"
#include "support/sample_problem.h"

namespace {

long long allocations = 0;

void* allocate(std::size_t size) {
  ++allocations;
  void* block = std::malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++allocations;
  return std::malloc(size > 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  ++allocations;
  return std::malloc(size > 0 ? size : 1);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {

using torve::ModelValue;
using torve::RunState;

// What a piece of work allocates.
template <class Work>
long long allocations_of(const RunState& run, Work work) {
  const long long before = allocations + run.memory.requests;
  work();
  return allocations + run.memory.requests - before;
}

TEST(Counter, sees_operator_new_and_arrays) {
  RunState run;
  torve::Array<double> array;
  EXPECT_EQ(allocations_of(run, [] { std::string(1000, ' '); }), 1);
  EXPECT_EQ(allocations_of(run, [&] { array.request(run.memory, 5); }), 1);
  EXPECT_EQ(allocations_of(run, [&] { array.request(run.memory, 4); }), 0);
}

struct EnumerationCase {
  const char* name;
  int rows;
  int size;
  int modeler;
  bool missing;  // some rows hold no value of the output
};

class Enumeration : public testing::TestWithParam<EnumerationCase> {};

TEST_P(Enumeration, allocates_nothing_once_the_work_space_is_there) {
  const EnumerationCase& row = GetParam();
  RunState run;
  torve::test::fill_selection(run, row.rows, 12);
  run.walk.allowed = false;  // every subset is fitted
  run.options.modeler = row.modeler;
  for (int i = 0; row.missing && i < row.rows; i += 5) run.points.simulated(i, 0) = false;
  ModelValue first;
  torve::trvenum1(run, 0, row.size, first);
  const int fits = run.counters.numOLRs;
  const auto again = [&] {
    ModelValue best;
    torve::trvenum1(run, 0, row.size, best);
  };
  EXPECT_EQ(allocations_of(run, again), 0);
  EXPECT_EQ(run.counters.numOLRs, 2 * fits);
  EXPECT_GT(fits, 1);
}

INSTANTIATE_TEST_SUITE_P(Rows, Enumeration,
                         testing::Values(EnumerationCase{"one_term", 20, 1, 1, false},
                                         EnumerationCase{"few_rows", 20, 3, 1, false},
                                         EnumerationCase{"many_rows", 500, 3, 1, false},
                                         EnumerationCase{"many_terms", 50, 7, 1, false},
                                         EnumerationCase{"missing_values", 50, 3, 1, true},
                                         EnumerationCase{"largest_error", 50, 3, 8, false}),
                         [](const auto& row) { return std::string(row.param.name); });

// The sum of squares that a regression hands on is the one that the fit would find.
TEST_P(Enumeration, values_each_subset_to_the_last_bit) {
  const EnumerationCase& row = GetParam();
  RunState run;
  torve::test::fill_selection(run, row.rows, 12);
  run.options.modeler = row.modeler;
  for (int i = 0; row.missing && i < row.rows; i += 5) run.points.simulated(i, 0) = false;
  const std::span<bool> choice = run.models.thischoice.first(12);
  for (std::size_t j = 0; j < 12; ++j) {
    choice[j] = j % 3 != 1;
    const double value = torve::value_candidate(run, 0, row.size).fit;
    EXPECT_EQ(value, torve::fit(run, 0));
  }
}

// The work space of a walk on the triangle is made once for a size, however many subsets it has.
TEST(Walk, allocates_the_same_for_any_number_of_subsets) {
  const auto allocations_with = [](int columns) {
    RunState run;
    torve::test::fill_selection(run, 40, columns);
    ModelValue best;
    const long long made = allocations_of(run, [&] { torve::trvenum1(run, 0, 4, best); });
    EXPECT_TRUE(run.walk.usable);
    return made;
  };
  EXPECT_EQ(allocations_with(13), allocations_with(26));
}

// Counts what is allocated while it gets subsets.
class Counting : public torve::fast_walk::Visitor {
 public:
  bool subset(std::uint64_t, std::span<const int>, double) override { return ++subsets > 0; }
  bool pause(std::uint64_t) override { return true; }
  long long subsets = 0;
};

TEST(Walk, allocates_nothing_while_it_goes_on) {
  RunState run;
  torve::test::fill_selection(run, 40, 20);
  ModelValue best;
  torve::trvenum1(run, 0, 4, best);
  torve::fast_walk::Walk walk(run.walk.triangle, 4, torve::fast_walk::widest_kernels());
  Counting visitor;
  visitor.limit = 1e300;  // every subset is handed over
  EXPECT_EQ(allocations_of(run, [&] { walk.run(visitor); }), 0);
  EXPECT_EQ(visitor.subsets, 4845);
}

class CatalogueRows : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(CatalogueRows, are_evaluated_without_allocation) {
  RunState run;
  torve::test::fill_catalogue(run, 20, GetParam().second);
  const torve::CatalogueRules rules = torve::catalogue_rules(run);
  const torve::MatrixView data = run.points.xdata.view(20, run.sizes.ninputs);
  const auto all_rows = [&] {
    for (int i = 0; i < 20; ++i) {
      torve::evaluate_row(rules, data, i, run.basis.xijrow.data(), 1, run.basis.rowfailed.all(),
                          run.basis.rowinputs.all());
    }
  };
  EXPECT_EQ(allocations_of(run, all_rows), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CatalogueRows,
    testing::Values(std::pair{"elementary", "expfcns 1\nlogfcns 1\nsinfcns 1\ncosfcns 1\n"},
                    std::pair{"powers", "mono 2\nmonomialpower 0.5 2\nratios 1\nratiopower 1\n"},
                    std::pair{"radial", "grbfcns 1\nlinkernel 1\n"},
                    std::pair{"formulas",
                              "ncustombas 1\nbegin_custombas\nexp(-a)*log(b)\nend_custombas\n"}),
    [](const auto& row) { return std::string(row.param.first); });

class DataRows : public testing::TestWithParam<int> {};

// A section as long again costs no further allocation: what it takes, it takes once.
TEST_P(DataRows, are_read_without_allocation) {
  const auto of_rows = [](int rows) {
    RunState run;
    torve::test::declare_data(run, rows, 5);
    torve::ProblemReader reader{
        run,
        torve::LineReader(torve::test::data_rows(rows, 6, GetParam()) + "END_DATA\n"),
        "",
        "",
        {}};
    bool good = false;
    const long long count = allocations_of(run, [&] { good = torve::read_data(reader); });
    EXPECT_TRUE(good);
    return count;
  };
  EXPECT_EQ(of_rows(1000), of_rows(2));
}

INSTANTIATE_TEST_SUITE_P(Digits, DataRows, testing::Values(5, 17),
                         [](const auto& digits) { return std::to_string(digits.param); });

}  // namespace
