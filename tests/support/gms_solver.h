// Solves what a GAMS program asks for: by trying every choice of its binary variables, meant for a
// dozen of them, or by searching the box of its variables, meant for two or three.
#pragma once

#include "gms_model_values.h"

namespace torve::test {

struct GmsSolution {
  int modelstat = 4;  // 1 solved, 4 infeasible, 19 no solution
  GmsPoint levels;    // with the objective variable
  std::vector<GmsPoint> others;
};

GmsSolution solve_gms(const GmsProgram& program, const GmsModelValues& model);

// Whether a program asks for the extreme of one equation over a box: all variables but the
// objective are bounded from both sides, and none is binary.
bool is_box_search(const GmsProgram& program, const GmsModelValues& data);

// Such points, as many as the option file for mirak asks for.
GmsSolution search_gms_box(const GmsProgram& program, const GmsModelValues& data);

}  // namespace torve::test
