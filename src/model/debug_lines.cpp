#include "model/debug_lines.h"

#include <fmt/format.h>

#include "report/printer.h"
#include "text/number_edits.h"

namespace torve {

namespace {

std::string joined(std::span<const double> values) {
  std::string text;
  for (const double value : values) text += free_form(value) + " ";
  return text;
}

}  // namespace

void debug_line(RunState& run, std::string_view text) {
  print_to_listing(run, text);
}

void debug_value(RunState& run, std::string_view label, double value) {
  debug_line(run, fmt::format("{}{}", label, free_form(value)));
}

void debug_whole(RunState& run, std::string_view label, long long value) {
  debug_line(run, fmt::format("{}{}", label, value));
}

void debug_logical(RunState& run, std::string_view label, bool value) {
  debug_line(run, fmt::format("{}{}", label, value ? "T" : "F"));
}

void debug_mask(RunState& run, std::string_view label, std::span<const bool> values) {
  std::string text(label);
  for (const bool value : values) text += value ? "T " : "F ";
  debug_line(run, text);
}

void debug_reals(RunState& run, std::string_view label, std::span<const double> values) {
  debug_line(run, std::string(label) + joined(values));
}

void debug_matrix(RunState& run, std::string_view label) {
  debug_line(run, label);
  const MatrixView x = run.basis.xij.view(run.sizes.ndata, run.sizes.nbas);
  for (int i = 0; i < x.rows; ++i) {
    std::string row;
    for (int j = 0; j < x.columns; ++j) row += free_form(x(i, j)) + " ";
    debug_line(run, row);
  }
}

void debug_selection(RunState& run, int k) {
  const Sizes& sizes = run.sizes;
  debug_whole(run, "    trvstatus = ", static_cast<int>(run.status.trvstatus));
  debug_whole(run, "    ndata     = ", sizes.ndata);
  debug_whole(run, "    nbas      = ", sizes.nbas);
  debug_matrix(run, "    xij       = ");
  debug_mask(run,
             "    screened  = ", run.models.screened.first(static_cast<std::size_t>(sizes.nbas)));
  debug_whole(run, "    k         = ", k + 1);
  debug_reals(run, "    zdata     = ", run.points.zdata.column(k, sizes.ndata));
}

void debug_choice(RunState& run) {
  const auto nbas = static_cast<std::size_t>(run.sizes.nbas);
  debug_reals(run, "    thisbeta  = ", run.models.thisbeta.first(nbas));
  debug_mask(run, "    thischoice= ", run.models.thischoice.first(nbas));
}

}  // namespace torve
