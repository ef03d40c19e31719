#include "data/faure.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <new>

#include "run/matrix_view.h"

namespace torve {

namespace {

constexpr std::int64_t largest_prime = 3497861;
constexpr std::int64_t most_skipped_base = 10;
constexpr int first_capacity = 10;

// All primes up to a limit, by the sieve of Eratosthenes.
std::vector<std::int64_t> primes_up_to(std::int64_t limit) {
  std::vector<bool> composite(static_cast<std::size_t>(limit) + 1, false);
  std::vector<std::int64_t> primes;
  for (std::int64_t i = 2; i <= limit; ++i) {
    if (composite[static_cast<std::size_t>(i)]) continue;
    primes.push_back(i);
    for (std::int64_t j = i * i; j <= limit; j += i) composite[static_cast<std::size_t>(j)] = true;
  }
  return primes;
}

int digits_needed(std::int64_t index, std::int64_t base) {
  int digits = 0;
  for (; index > 0; index /= base) ++digits;
  return digits;
}

// Pascal's triangle modulo the base, and room for the digits.
void build_tables(FaureState& state, int capacity) {
  const std::size_t width = at(capacity) + 1;
  state.faurepascal.assign(width * width, 0);
  const auto binomial = [&](std::size_t i, std::size_t j) -> std::int64_t& {
    return state.faurepascal[i * width + j];
  };
  for (std::size_t j = 0; j < width; ++j) {
    binomial(0, j) = binomial(j, j) = 1;
    for (std::size_t i = 1; i < j; ++i) {
      binomial(i, j) = (binomial(i - 1, j - 1) + binomial(i, j - 1)) % state.faurebase;
    }
  }
  state.fauredigits.resize(width, 0);
  state.faureproduct.resize(width, 0);
  state.fauremaxdigit = capacity;
}

bool grow_for(FaureState& state, std::int64_t index) {
  const int needed = digits_needed(index, state.faurebase);
  if (needed <= state.fauremaxdigit) return true;
  try {
    build_tables(state, std::max(2 * state.fauremaxdigit, needed + 1));
  } catch (const std::bad_alloc&) {
    state.faurefailed = true;
  }
  return !state.faurefailed;
}

void add_one(FaureState& state) {
  for (std::int64_t& digit : state.fauredigits) {
    if (++digit < state.faurebase) return;
    digit = 0;
  }
}

// Sum of digit i times base^-(i+1), from the smallest term on.
double radical_inverse(std::span<const std::int64_t> digits, std::int64_t base) {
  double r = 0.0;
  for (std::size_t i = digits.size(); i > 0; --i) {
    r = (r + static_cast<double>(digits[i - 1])) / static_cast<double>(base);
  }
  return r;
}

// The digits of the next coordinate: row i takes the binomials j over i of the digits j >= i. Rows
// from the top need only digits that aren't overwritten yet.
void multiply_by_pascal(FaureState& state, std::size_t digits) {
  const std::size_t width = at(state.fauremaxdigit) + 1;
  for (std::size_t i = 0; i < digits; ++i) {
    std::int64_t sum = 0;
    for (std::size_t j = i; j < digits; ++j) {
      sum = (sum + state.faurepascal[i * width + j] * state.faureproduct[j]) % state.faurebase;
    }
    state.faureproduct[i] = sum;
  }
}

double next_van_der_corput(FaureState& state) {
  constexpr std::int64_t last = std::numeric_limits<std::int32_t>::max();
  state.faurenext = state.faurenext == last ? 0 : state.faurenext + 1;
  double r = 0.0;
  double f = 1.0;
  for (std::int64_t i = state.faurenext; i != 0; i /= 2) {
    f /= 2.0;
    r += static_cast<double>(i % 2) * f;
  }
  return r;
}

}  // namespace

std::int64_t prime_not_below(std::int64_t n) {
  if (n > largest_prime) return 0;
  // There is a prime between n and 2n.
  const std::vector<std::int64_t> faureprimes =
      primes_up_to(std::min(std::max<std::int64_t>(2 * n, 2), largest_prime));
  return *std::ranges::lower_bound(faureprimes, n);
}

void faureinit(FaureState& state, int dimension, FaureStatus& status) {
  state = FaureState{};
  state.faurefailed = true;
  status = FaureStatus::failed;
  if (dimension < 1) return;
  try {
    state.faurebase = dimension == 1 ? 2 : prime_not_below(dimension);
    if (state.faurebase == 0) return;
    if (dimension > 1) {
      const std::int64_t q = std::min(state.faurebase, most_skipped_base);
      state.faurenext = q * q * q * q - 1;
      build_tables(state, first_capacity);
      std::int64_t rest = state.faurenext;
      for (std::int64_t& digit : state.fauredigits) {
        digit = rest % state.faurebase;
        rest /= state.faurebase;
      }
    }
  } catch (const std::bad_alloc&) {
    return;
  }
  state.fauredim = dimension;
  state.faurefailed = false;
  status = FaureStatus::ready;
}

bool faurenextpoint(FaureState& state, std::span<double> vector) {
  assert(static_cast<int>(vector.size()) == state.fauredim);
  if (state.faurefailed) return false;
  if (state.fauredim == 1) {
    vector[0] = next_van_der_corput(state);
    return true;
  }
  ++state.faurenext;
  if (!grow_for(state, state.faurenext)) return false;
  add_one(state);
  const std::size_t digits = at(digits_needed(state.faurenext, state.faurebase));
  std::copy_n(state.fauredigits.begin(), digits, state.faureproduct.begin());
  const std::span<const std::int64_t> product = std::span(state.faureproduct).first(digits);
  vector[0] = radical_inverse(product, state.faurebase);
  for (double& coordinate : vector.subspan(1)) {
    multiply_by_pascal(state, digits);
    coordinate = radical_inverse(product, state.faurebase);
  }
  return true;
}

}  // namespace torve
