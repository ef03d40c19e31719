#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "run/trvspace.h"

namespace torve {

// What the group rules of an output say of all subsets of one size. Columns that belong to the same
// groups are a class; a rule can only count how many of each class a subset has, so that one test
// for each combination of counts stands for all subsets with these counts.
class SubsetClasses {
 public:
  // Subsets of `size` of `columns` (ascending) for output k. Nothing where there are too many
  // combinations of counts. Uses thischoice as scratch.
  static std::optional<SubsetClasses> make(RunState& run, int k, std::span<const int> columns,
                                           int size);

  // Columns are places in the list. A subset has as many as the size, a prefix fewer.
  bool allows(std::span<const int> subset) const { return allowed_[key(subset)]; }
  bool is_hopeless(std::span<const int> prefix) const { return !possible_[key(prefix)]; }

  // How many subsets are allowed: all, and of the first so many in lexicographic order.
  std::uint64_t allowed() const { return count_; }
  std::uint64_t allowed_among(std::uint64_t first) const;

 private:
  SubsetClasses(std::span<const int> columns, int size);
  void find_classes(const Groups& groups, int ngroups, std::span<const int> columns);
  bool has_few_keys();
  template <class Test>
  void test_counts(std::size_t c, int left, std::size_t key, std::uint64_t subsets, Test test);
  void find_possible();
  std::size_t key(std::span<const int> subset) const {
    std::size_t sum = 0;
    for (const int j : subset) sum += weights_[static_cast<std::size_t>(j)];
    return sum;
  }

  int size_;
  int ncolumns_;
  std::vector<std::size_t> class_of_;      // of each column
  std::vector<std::vector<int>> classes_;  // their columns
  std::vector<std::size_t> steps_;         // what one column of a class adds to the key
  std::vector<std::size_t> weights_;       // the same for each column
  std::vector<int> counts_;                // of each class, in the combination at hand
  std::vector<bool> allowed_;              // by key
  std::vector<bool> possible_;             // some allowed subset begins so
  std::uint64_t count_ = 0;
};

}  // namespace torve
