// The inner loops of the walk over subsets, in the widths that processors have. Sums are made in
// another order by each of them, so that values differ in their last digits; the walk never decides
// by those.
//
// What is left of a triangle below a prefix of columns stands by place: place 0 holds the last
// column, so that a column that is passed over is dropped from the end. Row i has its numbers from
// place i on, and 0 in the places of the same group of `lanes` ahead of it.
#pragma once

#include <cstddef>

namespace torve::fast_walk {

// Rows of all work arrays begin at multiples of so many numbers and have room for a whole number of
// such groups, so that a loop may read and write beyond its end.
inline constexpr int lanes = 4;
constexpr int padded(int n) {
  return (n + lanes - 1) / lanes * lanes;
}

// A pair of numbers of this length or less counts as zeros when the rows are rotated. Their squares
// have lost digits, and a rotation by them wouldn't be one: copies of a column leave the powers of
// a rounding error.
inline constexpr double least_length = 1e-150;

struct Remainder {
  const double* rows;  // row i begins at rows + i * stride
  const double* z;     // the output, one number a row
  std::ptrdiff_t stride;
  int places;  // columns left
  int height;  // rows left
};

// Products of columns: row t of `gram` holds those of place t with places 0 to t.
struct Products {
  double* gram;
  double* z;  // with the output
  std::ptrdiff_t stride;
  int places;
};

// A column to be eliminated from the products of the places below its own.
struct Pivot {
  const double* row;  // its products with them
  double square;
  double z;  // its product with the output
};

// What its elimination leaves, by place.
struct Eliminated {
  double* factors;   // how much of the pivot's column is in the place's
  double* clear;     // square of what is left of the column, less the doubt
  double* inverses;  // of that square
  double* z;         // product of what is left with the output
  double* outputs;   // that product divided by the square
  double* sses;      // sum of squared errors with the column
  double* needed;    // how much another column has to lower it; filled by `any`
};

// The last two positions of a subset: places c < b, below a prefix and the pivot.
struct Leaves {
  const double* gram;       // products below the prefix
  const double* pivot_row;  // the pivot's products
  std::ptrdiff_t stride;
  Eliminated left;
  double limit;  // leaves up to here are wanted
  int b;         // the row to go on in; ends at 0
  int c = 0;     // the group to go on at
};

inline constexpr int row_is_doubtful = 1 << lanes;

struct Kernels {
  const char* name;
  // Takes the column at place t into the prefix: rotates the rows so that it has one number, in the
  // first row, and leaves out that row, place t and those behind it. The child has as many rows as
  // the parent has numbers in that column, less one. `work` holds a row.
  // Source: Givens, SIAM J. Appl. Math. 6 (1958) 26.
  void (*take)(const Remainder& parent, int t, double* child_rows, double* child_z, double* work);
  void (*multiply)(const Remainder& rest, const Products& products);
  // Eliminates the pivot from places 0 to `places` - 1 (Schur complement): their diagonal and their
  // products with the output. `doubt` is the square up to which a place is doubtful, `sse` the sum
  // of squared errors with the pivot.
  void (*eliminate)(const Products& from, const double* diagonal, const Pivot& pivot, int places,
                    const double* doubt, double sse, const Eliminated& to);
  // Whether a leaf of the rows from `b` down may be wanted or is doubtful. The cursor stays.
  bool (*any)(const Leaves& leaves);
  // Goes on to the next group of leaves of which one may be wanted or is doubtful: returns a bit
  // for each such lane, and the cursor stands on the group; or row_is_doubtful, and the cursor
  // stands on the row; or 0 at the end. The caller moves the cursor on.
  int (*scan)(Leaves& leaves);
};

// For every processor.
const Kernels& plain_kernels();
// With 256-bit vectors and fused multiplications; null where this processor hasn't got them.
const Kernels* wide_kernels();
const Kernels& widest_kernels();

}  // namespace torve::fast_walk
