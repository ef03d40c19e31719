// Runs in which one request for memory fails, the first, the second, and so on until a run gets
// through. Each ends with code 51 through a whole final report and leaves nothing behind.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "../support/in_process.h"
#include "run/trvrun.h"

// ---- The heap ----------------------------------------------------------------------------------

namespace {

struct Heap {
  bool watched = false;
  std::int64_t requests = 0;  // while watched
  std::int64_t fail_at = 0;   // the request with this number fails; 0 for none
  std::int64_t live = 0;      // blocks in use
};
Heap heap;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  if (heap.watched && ++heap.requests == heap.fail_at) throw std::bad_alloc();
  void* block = std::malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  ++heap.live;
  return block;
}

// Those who ask in this way have another way to go on.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* block = std::malloc(size > 0 ? size : 1);
  if (block != nullptr) ++heap.live;
  return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
  if (block != nullptr) --heap.live;
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  operator delete(block);
}
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept {
  operator delete(block);
}

namespace torve::test {
namespace {

// ---- One run -----------------------------------------------------------------------------------

struct Failure {
  std::int64_t array_request = 0;  // of the run's arrays, from 1; 0: none fails
  std::int64_t heap_request = 0;
};

// A problem file, and the outside program that it needs.
struct Start {
  std::string problem;
  std::string solver;  // command; empty where none is needed
  bool usegams = false;
};

struct Outcome {
  Code code = Code::normal;
  int location = 0;
  std::int64_t array_requests = 0;
  std::int64_t heap_requests = 0;
  std::int64_t leaked_blocks = 0;
  double mebibytes = 0.0;  // what the memory account still holds
  std::string screen;
};

Outcome run_once(const Start& start, const Failure& failure) {
  for (const auto& entry : fs::directory_iterator(".")) {
    if (entry.path().filename() != start.problem) fs::remove_all(entry.path());
  }
  Outcome outcome;
  outcome.screen = screen_of([&] {
    const std::int64_t live = heap.live;
    auto run = std::make_unique<RunState>();
    set_command_line(*run, start.problem);
    if (!start.solver.empty()) run->files.mirakpath = run->options.gams = start.solver;
    run->options.usegams = start.usegams;
    run->memory.fail_at = failure.array_request;
    heap.requests = 0;
    heap.fail_at = failure.heap_request;
    heap.watched = true;
    trvrun(*run);
    heap.watched = false;
    outcome.code = run->status.trvstatus;
    outcome.location = run->status.trvlocation;
    outcome.array_requests = run->memory.requests;
    outcome.heap_requests = heap.requests;
    for (const MemoryKind kind :
         {MemoryKind::integer, MemoryKind::real, MemoryKind::logical, MemoryKind::text}) {
      outcome.mebibytes += run->memory.mebibytes(kind);
    }
    run.reset();
    outcome.leaked_blocks = heap.live - live;
  });
  return outcome;
}

int occurrences(const std::string& text, std::string_view part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

void expect_whole_report(const std::string& text) {
  EXPECT_EQ(occurrences(text, "Normal termination"), 0);
  EXPECT_EQ(occurrences(text,
                        "\n TORVE terminated with termination code 51 \n"
                        " Insufficient memory to allocate data structures.\n\n"),
            1);
  // A run that came to models tells its times.
  if (occurrences(text, "Iteration 1 ") > 0) {
    EXPECT_EQ(occurrences(text, "Times breakdown"), 1);
    EXPECT_EQ(occurrences(text, "All other time:"), 1);
  }
}

void expect_whole_files(const std::string& listing, const std::string& trace) {
  if (fs::exists(listing)) {
    const std::string text = text_of(listing);
    expect_whole_report(text);
    EXPECT_EQ(occurrences(text, "\nTermination occured at location "), 1);
    EXPECT_TRUE(text.ends_with("\n"));
  }
  if (fs::exists(trace)) {
    const std::string text = text_of(trace);
    EXPECT_TRUE(text.empty() || (text.starts_with("#filename, ") && text.ends_with("\n"))) << text;
  }
}

void expect_nothing_left(const Outcome& outcome, const fs::path& folder,
                         const std::string& scratch) {
  EXPECT_EQ(outcome.leaked_blocks, 0);
  EXPECT_EQ(outcome.mebibytes, 0.0);
  EXPECT_TRUE(fs::equivalent(fs::current_path(), folder));
  EXPECT_FALSE(fs::exists(fs::symlink_status(scratch)));
}

// ---- All runs ----------------------------------------------------------------------------------

// Answers everything that may be asked: the choice of the first of three columns, and a point that
// breaks no bound.
constexpr const char* solver_script = R"(#!/bin/sh
cat > res.lst << end
The best solution found
objective
name, lower bound, value
trv_y_1 0 1
trv_y_2 0 0
trv_y_3 0 0
trv_yg_1 0 1
trv_yg_2 0 0
trv_beta_1 0 5.5
trv_beta_2 0 0
trv_beta_3 0 0
end
echo all 1 2 3 4 0.5 0.5 0 1 0 > tim.lst
printf '  1\n0\n1 5.5\n0 0\n0 0\n' > res.put
printf '  2\n4 0\n' > crres.put
)";

struct Problem {
  std::string name;
  std::string trace;
  std::string file = name;
  bool solver = false;
  bool usegams = false;
  std::vector<int> array_places = {};  // locations that must be among those of the failures
  std::vector<int> heap_places = {};
};

class AllocationFailure : public testing::TestWithParam<Problem> {
 protected:
  AllocationFailure() {
    fetch_problem(start_.problem);
    if (!GetParam().solver) return;
    const fs::path solver = programs_.path() / "solver";
    write_file(solver, solver_script);
    fs::permissions(solver, fs::perms::owner_all);
    start_.solver = solver.string();
  }
  Outcome run(const Failure& failure) {
    Outcome outcome = run_once(start_, failure);
    if (outcome.code == Code::out_of_memory) places_.insert(outcome.location);
    return outcome;
  }
  void expect_nothing_left_of(const Outcome& outcome) {
    expect_nothing_left(outcome, folder_.path(), GetParam().file + ".scr");
  }
  void expect_clean_end(const Outcome& outcome) {
    expect_whole_report(outcome.screen);
    expect_whole_files(GetParam().file + ".lst", GetParam().trace);
    expect_nothing_left_of(outcome);
  }
  void expect_places(const std::vector<int>& places) const {
    for (const int place : places) {
      EXPECT_TRUE(places_.contains(place)) << "no failure at location " << place;
    }
  }

 private:
  TemporaryFolder programs_;
  WorkingFolder folder_;
  Start start_{GetParam().file + ".trv", "", GetParam().usegams};
  std::set<int> places_;
};

TEST_P(AllocationFailure, of_an_array_ends_with_code_51) {
  std::int64_t k = 1;
  for (; !HasFailure(); ++k) {
    SCOPED_TRACE("array request " + std::to_string(k));
    const Outcome outcome = run({.array_request = k});
    if (outcome.array_requests < k) break;
    EXPECT_EQ(outcome.code, Code::out_of_memory) << "at location " << outcome.location;
    expect_clean_end(outcome);
  }
  expect_places(GetParam().array_places);
  RecordProperty("requests", static_cast<int>(k - 1));
}

// The table of formulas answers with a code of its own.
bool is_formula_table(const Outcome& outcome) {
  return outcome.code == Code::custombas_before_ncustombas && outcome.location == 272;
}

// Slow builds take samples; the others try every request.
#if defined(__SANITIZE_ADDRESS__)
constexpr int stride = 7;
#else
constexpr int stride = 1;
#endif

TEST_P(AllocationFailure, of_the_heap_ends_with_code_51) {
  std::int64_t k = 1;
  for (; !HasFailure(); k += stride) {
    SCOPED_TRACE("heap request " + std::to_string(k));
    const Outcome outcome = run({.heap_request = k});
    if (outcome.heap_requests < k) break;
    if (is_formula_table(outcome)) continue;
    // What fails once the message is out is tried again.
    const bool after_message = outcome.code == Code::normal;
    if (after_message) {
      EXPECT_TRUE(outcome.screen.ends_with("\nNormal termination\n"));
      expect_nothing_left_of(outcome);
      continue;
    }
    EXPECT_EQ(outcome.code, Code::out_of_memory) << "at location " << outcome.location;
    expect_clean_end(outcome);
  }
  expect_places(GetParam().heap_places);
  RecordProperty("requests", static_cast<int>(k - 1));
}

INSTANTIATE_TEST_SUITE_P(
    Problems, AllocationFailure,
    testing::Values(Problem{"plain", "trace.trc"}, Problem{"groups", "groups.trc"},
                    Problem{"lasso", "trace.trc"}, Problem{"radial", "trace.trc"},
                    Problem{"debug", "trace.trc"}, Problem{"bank", "trace.trc"},
                    // The tables and the text of a best-subset problem.
                    Problem{"subset", "", "subset", true, false, {}, {40}},
                    Problem{"subset_by_gams", "", "subset", true, true, {}, {40}},
                    // The bounding set; a search and the points that it finds.
                    Problem{"search", "", "search", true, false, {65}, {24}},
                    Problem{"search_by_gams", "", "search", true, true, {65}, {32}}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace torve::test
