#pragma once

#include <optional>
#include <span>
#include <string>

#include "run/basis_state.h"
#include "run/matrix_view.h"

namespace torve {

// The display form of a column and the form that goes to solvers.
struct ColumnText {
  std::string label;
  std::string power;
};

// What the text of a column depends on. Vectors have one entry an input.
struct TextRules {
  std::span<const std::string> xlabels;
  std::span<const double> xscale;
  bool xscaling = false;
  ColumnMask excluded;
  ColumnMask logusable;
  double rbfparam = 1.0;
  MatrixView centres;  // one row a centre, one column an input
  std::span<const std::string> custombas;
};

// Both forms, cut to the width of column texts. Kernel columns and logarithms that may not exist
// have none. `shortened` tells that a radial column had no room for its formula.
ColumnText column_text(const TextRules& rules, const Column& column, bool& shortened);

// True when the column names an input that is left out.
bool touches_excluded(const TextRules& rules, const Column& column);

}  // namespace torve
