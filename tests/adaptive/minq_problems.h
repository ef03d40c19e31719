#pragma once

// Random problems for the tests of bound-constrained quadratic programming.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>
#include <random>
#include <string>

#include "adaptive/linalg/linalg.h"

namespace torve::test {

inline constexpr double none = std::numeric_limits<double>::max();
inline constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
inline constexpr double infinity = std::numeric_limits<double>::infinity();

inline bool says(const Messages& messages, const std::string& text) {
  return std::ranges::any_of(messages.lines, [&](const std::string& line) {
    return line.find(text) != std::string::npos;
  });
}

// Uniform from -1 to 1, from plain engine bits: the same numbers with every library.
class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  double real() { return static_cast<double>(engine_()) / 2147483648.0 - 1.0; }
  int whole(int low, int high) {
    return low + static_cast<int>(engine_() % static_cast<unsigned>(high - low + 1));
  }
  VECTOR vector(int n) {
    VECTOR result(n);
    for (double& value : result.span()) value = real();
    return result;
  }
  MATRIX matrix(int rows, int columns) {
    MATRIX result(rows, columns);
    for (int j = 0; j < columns; ++j) result.set_column(j, vector(rows));
    return result;
  }

 private:
  std::mt19937 engine_;
};

inline MATRIX gram(const MATRIX& a) {
  Messages messages;
  return gemm(a, a, 'N', 'T', messages);
}

// ---- problems -----------------------------------------------------------------------------------

struct Box {
  double gamma = 0.0;
  VECTOR c;
  MATRIX G;
  VECTOR xu;
  VECTOR xo;

  int n() const { return c.size(); }
};

enum class Shape { convex, singular, flat, indefinite, concave, badly_scaled, whole };

struct ShapeRow {
  const char* name;
  Shape shape;
};

inline void PrintTo(const ShapeRow& row, std::ostream* stream) {
  *stream << row.name;
}

const auto shapes =
    testing::Values(ShapeRow{"convex", Shape::convex}, ShapeRow{"singular", Shape::singular},
                    ShapeRow{"flat", Shape::flat}, ShapeRow{"indefinite", Shape::indefinite},
                    ShapeRow{"concave", Shape::concave},
                    ShapeRow{"badly_scaled", Shape::badly_scaled}, ShapeRow{"whole", Shape::whole});

inline std::string shape_name(const testing::TestParamInfo<ShapeRow>& row) {
  return row.param.name;
}

inline MATRIX random_hessian(Dice& dice, Shape shape, int n) {
  MATRIX G = dice.matrix(n, n);
  switch (shape) {
    case Shape::convex:
    case Shape::badly_scaled:
      return gram(dice.matrix(n, n + 1));
    case Shape::singular:
      return gram(dice.matrix(n, std::max(1, n / 2)));
    case Shape::flat:
      return MATRIX(n, n);
    case Shape::concave:
      G = gram(G);
      for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) G(i, j) = -G(i, j);
      }
      return G;
    case Shape::indefinite:
      break;
    case Shape::whole:  // small whole numbers: many ties and singular blocks
      for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) G(i, j) = std::round(1.4 * G(i, j));
      }
      break;
  }
  Messages messages;
  return matrix_add(G, trans(G), messages);
}

// Finite boxes, some of whose sides have no length.
inline Box random_box(Dice& dice, Shape shape, int n) {
  Box box = {dice.real(), dice.vector(n), random_hessian(dice, shape, n), VECTOR(n), VECTOR(n)};
  for (int i = 0; i < n; ++i) {
    if (shape == Shape::whole) box.c(i) = dice.whole(-2, 2);
    box.xu(i) = shape == Shape::whole ? dice.whole(-2, 0) : -0.5 + 0.7 * dice.real();
    box.xo(i) = box.xu(i) + (shape == Shape::whole ? dice.whole(0, 2) : 1.0 + dice.real());
    if (dice.whole(0, 9) == 0) box.xo(i) = box.xu(i);
  }
  if (shape == Shape::badly_scaled) {
    for (int i = 0; i < n; ++i) {
      const double scale = std::pow(10.0, 5.0 * dice.real());
      box.c(i) *= scale;
      box.xu(i) /= scale;
      box.xo(i) /= scale;
      for (int j = 0; j < n; ++j) {
        box.G(i, j) *= scale;
        box.G(j, i) *= scale;
      }
    }
  }
  return box;
}

}  // namespace torve::test
