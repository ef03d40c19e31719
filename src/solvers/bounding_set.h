#pragma once

#include <span>

#include "run/trvspace.h"

namespace torve {

// Bits of a point's type: what is imposed there.
inline constexpr int imposes_lower = 1;
inline constexpr int imposes_upper = 2;
inline constexpr int imposes_custom = 4;
inline constexpr int imposes_all = 7;

// Where a point of a bounding set comes from.
enum class PointOrigin : int { initial_set = 0, random_trial = 1, solver = 2 };

// The box that constraints hold in: of each input, in the user's units.
double box_lowest(const RunState& run, int input);
double box_highest(const RunState& run, int input);

// Makes room for a point at place n (from 0): twice the rows, or n + 1. Code 51 when the memory
// can't be had.
bool grow_bounding_set(RunState& run, CRELEM& set, int n);

// Puts a point (in the user's units) into place n, which has to have room, and evaluates the
// columns there.
void place_bounding_point(RunState& run, CRELEM& set, int n, std::span<const double> point);

// The value of the current model (thischoice and thisbeta) at point n; not a number where one of
// its columns can't be evaluated. There the table has the preset, as the regression matrix has: a
// model that comes to have such a column is held back by it.
double value_at_bounding_point(const RunState& run, const CRELEM& set, int n);

// Starts the bounding set of an output: crninitial random points of the box and, with crcorner and
// no more than 12 inputs, its corners. Nothing is imposed there yet. Code 51 without memory.
bool fill_initial_set(RunState& run, CRELEM& set);

// A random point of the box, in the user's units.
void draw_in_box(RunState& run, std::span<double> point);

}  // namespace torve
