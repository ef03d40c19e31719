#include "model/subset_classes.h"

#include <algorithm>
#include <map>
#include <numeric>

#include "basis/groups.h"
#include "model/fast_walk/walk.h"

namespace torve {

namespace {

constexpr std::size_t most_keys = std::size_t{1} << 22;

}  // namespace

SubsetClasses::SubsetClasses(std::span<const int> columns, int size)
    : size_(size), ncolumns_(static_cast<int>(columns.size())) {}

void SubsetClasses::find_classes(const Groups& groups, int ngroups, std::span<const int> columns) {
  std::map<std::vector<bool>, std::size_t> known;
  for (std::size_t j = 0; j < columns.size(); ++j) {
    std::vector<bool> member;
    for (int g = 0; g < ngroups; ++g) member.push_back(groups.grpbas(columns[j], g));
    const auto [entry, fresh] = known.emplace(std::move(member), classes_.size());
    if (fresh) classes_.emplace_back();
    classes_[entry->second].push_back(columns[j]);
    class_of_.push_back(entry->second);
  }
}

// A key counts the columns of each class with a digit of its own.
bool SubsetClasses::has_few_keys() {
  std::size_t step = 1;
  for (const std::vector<int>& members : classes_) {
    steps_.push_back(step);
    step *= std::min(at(size_), members.size()) + 1;
    if (step > most_keys) return false;
  }
  for (const std::size_t c : class_of_) weights_.push_back(steps_[c]);
  counts_.assign(classes_.size(), 0);
  allowed_.assign(step, false);
  possible_.assign(step, false);
  return true;
}

// All counts from class c on; `subsets` have those of the classes before it.
template <class Test>
void SubsetClasses::test_counts(std::size_t c, int left, std::size_t key, std::uint64_t subsets,
                                Test test) {
  if (c == classes_.size()) {
    if (left > 0 || !test()) return;
    allowed_[key] = true;
    count_ += subsets;
    return;
  }
  const int members = static_cast<int>(classes_[c].size());
  for (int n = 0; n <= std::min(left, members); ++n) {
    counts_[c] = n;
    test_counts(c + 1, left - n, key + at(n) * steps_[c], subsets * fast_walk::binomial(members, n),
                test);
  }
}

// Every combination of counts that a column more can turn into a possible one.
void SubsetClasses::find_possible() {
  for (std::size_t key = allowed_.size(); key-- > 0;) {
    bool possible = allowed_[key];
    for (std::size_t c = 0; c < classes_.size() && !possible; ++c) {
      const std::size_t digits = std::min(at(size_), classes_[c].size()) + 1;
      const bool has_more = key / steps_[c] % digits + 1 < digits;
      possible = has_more && possible_[key + steps_[c]];
    }
    possible_[key] = possible;
  }
}

std::optional<SubsetClasses> SubsetClasses::make(RunState& run, int k, std::span<const int> columns,
                                                 int size) {
  SubsetClasses classes(columns, size);
  classes.find_classes(run.groups, run.sizes.ngroups, columns);
  if (!classes.has_few_keys()) return std::nullopt;
  const std::span<bool> choice = run.models.thischoice.first(at(run.sizes.nbas));
  const auto is_allowed = [&] {
    std::fill(choice.begin(), choice.end(), false);
    for (std::size_t c = 0; c < classes.classes_.size(); ++c) {
      for (int n = 0; n < classes.counts_[c]; ++n) choice[at(classes.classes_[c][at(n)])] = true;
    }
    return !groupviolated(run, k, choice);
  };
  classes.test_counts(0, size, 0, 1, is_allowed);
  classes.find_possible();
  return classes;
}

std::uint64_t SubsetClasses::allowed_among(std::uint64_t first) const {
  std::vector<int> subset(at(size_));
  std::iota(subset.begin(), subset.end(), 0);
  std::uint64_t count = 0;
  for (std::uint64_t rank = 0; rank < first; ++rank) {
    if (allows(subset)) ++count;
    int p = size_ - 1;
    while (p >= 0 && subset[at(p)] == ncolumns_ - size_ + p) --p;
    if (p < 0) break;
    std::iota(subset.begin() + p, subset.end(), subset[at(p)] + 1);
  }
  return count;
}

}  // namespace torve
