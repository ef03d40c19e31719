// A loop that does nothing but pack subsets in their order and hand them to DGELS, with its work
// space queried once.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

#include "model/dgels.h"
#include "run/matrix_view.h"

namespace torve::bench {

class DgelsLoop {
 public:
  DgelsLoop(MatrixView x, std::span<const double> z, int size)
      : x_(x), z_(z), subset_(static_cast<std::size_t>(size)) {
    a_.resize(z.size() * subset_.size());
    b_.resize(z.size());
    work_.resize(static_cast<std::size_t>(dgels_workspace(x.rows, size, x.rows)));
  }

  // The first `most` subsets; returns how many there were.
  std::int64_t run(std::int64_t most = INT64_MAX) {
    std::iota(subset_.begin(), subset_.end(), 0);
    std::int64_t done = 0;
    do {
      double* to = a_.data();
      for (const int j : subset_) to = std::copy_n(x_.column_data(j), x_.rows, to);
      std::copy(z_.begin(), z_.end(), b_.begin());
      dgels(x_.rows, static_cast<int>(subset_.size()), a_.data(), x_.rows, b_.data(), work_.data(),
            static_cast<int>(work_.size()));
      benchmark::DoNotOptimize(b_.data());
      benchmark::ClobberMemory();
    } while (++done < most && advance());
    return done;
  }

 private:
  // The next combination in lexicographic order; false after the last.
  bool advance() {
    const int size = static_cast<int>(subset_.size());
    int p = size - 1;
    while (p >= 0 && subset_[static_cast<std::size_t>(p)] == x_.columns - size + p) --p;
    if (p < 0) return false;
    const auto from = subset_.begin() + p;
    std::iota(from, subset_.end(), *from + 1);
    return true;
  }

  MatrixView x_;
  std::span<const double> z_;
  std::vector<int> subset_;
  std::vector<double> a_, b_, work_;
};

}  // namespace torve::bench
