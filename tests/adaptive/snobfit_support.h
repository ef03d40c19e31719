// A problem with a state file of its own, for the tests of SNOBFIT.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "../../bench/snobfit/test_functions.h"
#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/snobfit.h"
#include "adaptive/snobfit/state.h"

namespace torve::test {

// An empty folder that goes with the object.
struct Folder {
  Folder() {
    static int count = 0;
    path = std::filesystem::temp_directory_path() /
           ("snobfit_test." + std::to_string(getpid()) + "." + std::to_string(++count));
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
  }
  ~Folder() {
    std::error_code error;
    std::filesystem::remove_all(path, error);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string file(const std::string& name) const { return (path / name).string(); }

  std::filesystem::path path;
};

inline std::string bytes_of(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline void write_bytes_of(const std::string& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

inline MATRIX random_points(int points, int n, unsigned seed) {
  std::mt19937 engine(seed);
  MATRIX x(points, n);
  for (int j = 0; j < points; ++j) {
    for (int i = 0; i < n; ++i) x(j, i) = static_cast<double>(engine()) / 4294967296.0;
  }
  return x;
}

struct Problem {
  Problem(int n, double lower, double upper, double resolution, int nreq)
      : dx(n, resolution * (upper - lower)) {
    parameters.u = VECTOR(n, lower);
    parameters.v = VECTOR(n, upper);
    parameters.nreq = nreq;
    parameters.seed = 1;
  }
  explicit Problem(const bench::TestFunction& function)
      : Problem(static_cast<int>(function.lower.size()), 0.0, 1.0, 1e-5, 0) {
    for (int i = 0; i < dx.size(); ++i) {
      parameters.u(i) = function.lower[at(i)];
      parameters.v(i) = function.upper[at(i)];
      dx(i) = 1e-5 * (parameters.v(i) - parameters.u(i));
    }
    parameters.nreq = dx.size() + 6;
  }

  bool ask(const MATRIX& x, const MATRIX& f) {
    if (before_each) before_each();
    messages = {};
    const bool good = snobfit(file, x, f, parameters, dx, first, result, messages);
    first = false;
    return good;
  }
  // The request without estimates and classes.
  MATRIX points() const {
    MATRIX x(result.request.rows(), dx.size());
    for (int j = 0; j < x.rows(); ++j) {
      for (int i = 0; i < x.columns(); ++i) x(j, i) = result.request(j, i);
    }
    return x;
  }
  std::string text() const {
    std::string text;
    for (const std::string& line : messages.lines) text += line + "\n";
    return text;
  }
  SnobfitState load() const {
    SnobfitState loaded;
    Messages unheard;
    EXPECT_TRUE(load_data(file, dx.size(), loaded, unheard));
    return loaded;
  }

  Folder folder;
  std::string file = folder.file("state");
  PARAMETERS parameters;
  VECTOR dx;
  bool first = true;
  SnobfitResult result;
  Messages messages;
  std::function<void()> before_each;
};

// Inside the box, on the grid where it can be told, apart from the known points and each other,
// with a finite estimate and a class.
inline void expect_good_points(const Problem& problem, const MATRIX& known) {
  const PARAMETERS& p = problem.parameters;
  const VECTOR apart = scaled(separation_factor, problem.dx);
  const MATRIX x = problem.points();
  const int n = p.u.size();
  MATRIX others = known;
  if (others.columns() != n) others = MATRIX(0, n);
  for (int j = 0; j < x.rows(); ++j) {
    EXPECT_TRUE(lies_within(x, j, p.u, p.v)) << j;
    EXPECT_TRUE(stands_apart(x.row(j), others, apart)) << j;
    for (int i = 0; i < n; ++i) {
      const double multiple = x(j, i) / problem.dx(i);
      if (std::abs(multiple) > 1e9) continue;
      EXPECT_NEAR(multiple, std::round(multiple), 1e-6) << j;
    }
    EXPECT_TRUE(std::isfinite(problem.result.request(j, n))) << j;
    const double kind = problem.result.request(j, n + 1);
    EXPECT_TRUE(kind == 1 || kind == 2 || kind == 3 || kind == 4 || kind == 5) << kind;
    others.append_row(x.row(j));
  }
}

}  // namespace torve::test
