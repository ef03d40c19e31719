// Columns to select from, as they come up: independent ones, functions of a few inputs over wide
// and narrow ranges, outputs without noise, columns that are sums of others.
#pragma once

#include <vector>

#include "support/random.h"

namespace torve::bench {

struct Design {
  std::vector<std::vector<double>> columns;
  std::vector<double> output;

  // The same with the first columns alone.
  Design first(int count) const { return {{columns.begin(), columns.begin() + count}, output}; }
};

// Independent columns between -1 and 1.
Design independent(test::Random& random, int rows, int columns);

// Powers, logarithms, exponentials, products and ratios of four inputs around 2, of which `width`
// is the range in parts of that. The output is made of three columns, and of noise where `noisy`.
Design catalogue(test::Random& random, int rows, int columns, double width, bool noisy);

// Independent columns of which three are sums of two others.
Design dependent(test::Random& random, int rows, int columns);

}  // namespace torve::bench
