#pragma once

#include <span>
#include <string>
#include <vector>

#include "adaptive/linalg/matrix.h"
#include "adaptive/linalg/messages.h"
#include "adaptive/snobfit/random.h"
#include "adaptive/snobfit/state.h"

namespace torve {

// The routines of the method, each on plain arrays. They test the shapes of their arguments at
// entry; false: the text is in messages.

// ---- boxes --------------------------------------------------------------------------------------

struct Box {
  VECTOR xl, xu;  // bounds
  VECTOR nsplit;  // splits along each input
};

// Row i belongs to point i.
struct Boxes {
  MATRIX xl, xu, nsplit;
  std::vector<int> small;
};

// 0 for the box [u, v], and 1 more each time that a side is halved.
int smallness(const VECTOR& xl, const VECTOR& xu, const VECTOR& u, const VECTOR& v);

// Splits the box until each part holds one of the points x, all different and with values f.
bool snobsplit(const MATRIX& x, const MATRIX& f, const Box& box, const VECTOR& u, const VECTOR& v,
               Boxes& boxes, Messages& messages);

// Makes the explored box of the state hold [u1, v1] and the points x. Boxes at its old bounds grow
// to the new ones. extended tells whether it changed.
bool snobnewb(SnobfitState& state, const MATRIX& x, const VECTOR& u1, const VECTOR& v1,
              bool& extended, Messages& messages);

// ---- points and their neighbours ----------------------------------------------------------------

// Adds the nx points x with values and uncertainties f and the request box [u1, v1] to the state:
// points, boxes, neighbour lists, values of points where the function isn't defined. inew: the
// points, in rising order, whose local model must be made anew.
bool snobupdt(SnobfitState& state, const MATRIX& x, const MATRIX& f, int nx, const VECTOR& u1,
              const VECTOR& v1, std::vector<int>& inew, Messages& messages);

// The m safeguarded nearest neighbours of x0 among the rows of x but row `except` (-1: none), the
// nearest first: for each input the nearest point that differs by dx or more in it, then the
// nearest of all. Distances are Euclidean after division by scale. m must be at least n.
bool snobnn(const VECTOR& x0, const MATRIX& x, int except, int m, const VECTOR& dx,
            const VECTOR& scale, std::vector<int>& near, Messages& messages);

// Makes up values for the points fnan from their neighbours (or, without neighbour lists, from all
// points) where the function is defined. changed: the points whose value is another one now.
bool snobnan(const std::vector<int>& fnan, const IndexLists& near, MATRIX& f,
             std::vector<int>& changed, Messages& messages);

// Points whose value stands clearly below those of their neighbours.
bool snoblp(const MATRIX& f, const IndexLists& near, std::vector<bool>& local, Messages& messages);

// ---- models -------------------------------------------------------------------------------------

struct LocalFit {
  VECTOR g;            // gradient
  VECTOR d;            // half sides of the trust box
  double sigma = 0.0;  // model error
};

// Linear model of f at point j from the points near.
bool snoblocf(int j, const MATRIX& x, const MATRIX& f, const std::vector<int>& near,
              const VECTOR& dx, LocalFit& fit, Messages& messages);

// The point y of [u, v] that minimises the linear model of point j within its trust box, with the
// model's value fy. y is point j itself when no place is free.
bool snobpoint(int j, const MATRIX& x, const MATRIX& f, const LocalFit& fit, const VECTOR& u,
               const VECTOR& v, const VECTOR& dx, Random& random, VECTOR& y, double& fy,
               Messages& messages);

// The point y of [u, v] that minimises, within the trust box around point j with half sides d, a
// quadratic model of the nneigh points nearest to point j, with the model's value fy.
bool snobqfit(int j, const MATRIX& x, const MATRIX& f, int nneigh, const VECTOR& d, const VECTOR& u,
              const VECTOR& v, const VECTOR& scale, VECTOR& y, double& fy, Messages& messages);

// ---- space --------------------------------------------------------------------------------------

// Up to nreq points of [u, v] on the grid, each of them the farthest from all points x and from
// those before it among random candidates.
bool snob5(const MATRIX& x, const VECTOR& u, const VECTOR& v, const VECTOR& dx, int nreq,
           Random& random, MATRIX& request, Messages& messages);

}  // namespace torve
