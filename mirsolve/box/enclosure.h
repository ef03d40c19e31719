// Lower bounds of a function over a box from its derivatives, and the parts of the box that they
// rule out. All results hold in real arithmetic.
//
// R. B. Kearfott: Rigorous Global Search: Continuous Problems. Kluwer 1996.
// E. Hansen, G. W. Walster: Global Optimization Using Interval Analysis. 2nd edition, Dekker 2004.
#pragma once

#include <span>

#include "mirsolve/box/interval.h"

namespace mirsolve::box {

// What a function adds along one input at least, d from the centre: slope * d + curvature / 2 * d^2
// for some slope of the interval.
struct Parabola {
  Interval slope = 0.0;
  double curvature = 0.0;
};

// Below all its values for d from `from` to `to`.
double least(const Parabola& parabola, double from, double to);
// Ends of a part of [from, to] outside of which the parabola lies above `most`; nothing() where
// it does so everywhere.
Interval part_up_to(const Parabola& parabola, const Interval& distances, double most);

// Curvatures of parabolas whose sum lies below d' H d / 2 for all symmetric H of the interval
// matrix (n x n, row by row) and all d with |d_i| <= reach_i: |d_i d_j| <= (s d_i^2 + d_j^2 / s) /
// 2 with s = reach_j / reach_i takes the products apart (the scaled Gershgorin bound of
//   C. S. Adjiman, S. Dallwig, C. A. Floudas, A. Neumaier: A global optimization method, alphaBB.
//   Computers & Chemical Engineering 22 (1998) 1137-1158, method II.1b).
void separate(std::span<const Interval> hessian, std::span<const double> reach,
              std::span<Parabola> parabolas);

// Whether all symmetric matrices of the interval matrix are positive semidefinite in the inputs of
// which the reach isn't 0. The floating point factorization of a matrix shifted by a bound of its
// rounding errors proves it:
//   S. M. Rump: Verification of positive definiteness. BIT Numerical Mathematics 46 (2006) 433-452.
// `room` is n x n.
bool is_convex(std::span<const Interval> hessian, std::span<const double> reach,
               std::span<double> room);

}  // namespace mirsolve::box
