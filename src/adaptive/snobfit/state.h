#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"

namespace torve {

// Indices of points, a list a point.
using IndexLists = std::vector<std::vector<int>>;

// What lives from one request to the next, N points of n inputs. Row j of every array belongs to
// point j, whose box is box j. The lists and the local models exist only when there are points
// enough for them (has_models).
struct SnobfitState {
  // Points. No two are the same; a point given again is averaged with what it had.
  MATRIX x;               // N x n
  MATRIX f;               // N x 2: value, uncertainty > 0; a made-up value at points of fnan
  std::vector<int> np;    // finite values averaged in f; 0 at points of fnan
  VECTOR t;               // sum of squares of these values around their mean
  std::vector<int> fnan;  // rising: points where the function isn't defined

  // Boxes. They share faces at most and fill [u, v].
  MATRIX xl, xu;           // N x n: bounds
  MATRIX nsplit;           // N x n: how often the box was split along each input
  std::vector<int> small;  // smallness

  // Local models.
  IndexLists near;  // safeguarded nearest neighbours, n + dn a point, the nearest first
  MATRIX d;         // N x n: half sides of the trust box
  MATRIX g;         // N x n: gradients
  VECTOR sigma;     // model errors
  MATRIX y;         // N x n: proposed points; the point itself when there is none
  VECTOR fy;        // the models' values there

  VECTOR u, v;                  // explored box: every request box and every point so far
  VECTOR u_request, v_request;  // request box of the last call
  VECTOR dx;                    // resolution
  std::uint32_t random = 1;     // state of the random numbers

  int points() const { return x.rows(); }
  int inputs() const { return dx.size(); }
  bool has_models() const { return !near.empty(); }
};

// Neighbours of a local fit beyond the number of inputs.
inline constexpr int dn = 5;

// A value where there is no finite one.
inline constexpr double no_value = 1e100;

inline constexpr double machine_epsilon = 2.220446049250313e-16;

// Share of the explored box by which the points of one request stay apart while there is a choice,
// and share of the resolution by which any two points differ.
inline constexpr double separation_factor = 0.1;

// The state before the first point. seed: of the random numbers.
SnobfitState new_state(const VECTOR& u, const VECTOR& v, const VECTOR& dx, std::uint32_t seed);

// Reads the state of a problem of n inputs. False, with the state as it was, when the file can't be
// read or isn't a state of n inputs as save_data writes it.
bool load_data(const std::string& file, int n, SnobfitState& state, Messages& messages);

// Writes the state to a new file beside the old one and then puts it in the old one's place, so
// that a run that is killed leaves the one or the other.
bool save_data(const std::string& file, const SnobfitState& state, Messages& messages);

}  // namespace torve
