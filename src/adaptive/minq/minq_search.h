#pragma once

#include <vector>

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"
#include "adaptive/minq/line_search.h"
#include "adaptive/minq/minq.h"

namespace torve {

// The pieces that the loop of minq is made of.

// What is asked; nothing of it changes during a search.
struct MinqProblem {
  double gamma = 0.0;
  VECTOR c;
  MATRIX G;  // symmetric to the last bit
  VECTOR xu;
  VECTOR xo;
  int prt = 0;

  int n() const { return c.size(); }
};

// Where the search stands.
struct MinqState {
  VECTOR x;
  VECTOR g;             // gradient Gx + c
  VECTOR g_size;        // |G||x| + |c|, what the rounding of g is measured by
  double fct = 0.0;     // the function at x
  bool finite = false;  // x, g and fct are

  // LDL' of the rows and columns of G whose variables are in it; those are free.
  MATRIX L;
  VECTOR d;
  std::vector<bool> in_factor;

  // x is the minimiser of its face: the box of the variables that aren't at a bound.
  bool face_is_done = false;
  int nsub = 0;
};

// How a part of the search ended.
enum class MinqStep {
  go_on,
  no_gain,    // nothing was worth changing
  unbounded,  // state.x has become a direction
  broken,     // a value isn't finite any more
};

// One pass through the coordinates, each set to its minimiser. When the face is done only the
// variables at a bound take part.
MinqStep coordinate_search(const MinqProblem& problem, MinqState& state, Messages& messages);

// Takes x to the minimiser of its face or to one of a smaller face, until a face is done.
MinqStep subspace_search(const MinqProblem& problem, MinqState& state, Messages& messages);

bool has_lower_bound(const MinqProblem& problem, int i);
bool has_upper_bound(const MinqProblem& problem, int i);
bool is_free(const MinqProblem& problem, const MinqState& state, int i);
int free_variables(const MinqProblem& problem, const MinqState& state);

// Gradient, sizes and value at state.x, afresh.
void evaluate(const MinqProblem& problem, MinqState& state);

// x + alp p, kept in the box.
VECTOR moved(const MinqProblem& problem, const VECTOR& x, double alp, const VECTOR& p);

// p'Gp, with the parts that the sum is made of.
struct Curvature {
  double pTGp = 0.0;
  double size = 0.0;  // |p|'|G||p|
};
Curvature curvature_along(const MATRIX& G, const VECTOR& p);

// Makes x the direction p and words what was met along it.
void report_unbounded(const MinqProblem& problem, MinqState& state, const VECTOR& p,
                      bool coordinate, Messages& messages);

}  // namespace torve
