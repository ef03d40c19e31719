// Solves what a GAMS program asks for, by trying every choice of its binary variables. Meant for a
// dozen of them.
#pragma once

#include "gms_model_values.h"

namespace torve::test {

struct GmsSolution {
  int modelstat = 4;  // 1 solved, 4 infeasible
  GmsPoint levels;    // with the objective variable
};

GmsSolution solve_gms(const GmsProgram& program, const GmsModelValues& model);

}  // namespace torve::test
