#include "solvers/conreg.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "basis/formula/formula.h"
#include "model/debug_lines.h"
#include "solvers/bounding_set.h"
#include "solvers/conreg_search.h"
#include "text/number_edits.h"

namespace torve {

namespace {

// The kinds of constraint, in the order of the passes.
enum Kind : std::size_t { lower, upper, custom };
constexpr std::size_t kinds = 3;
constexpr std::array<int, kinds> type_bits{imposes_lower, imposes_upper, imposes_custom};

struct Pass {
  RunState& run;
  int k;
  CRELEM& set;
  std::array<bool, kinds> in_force{};
  std::array<int, kinds> found{};   // violations of the pass
  std::array<int, kinds> reused{};  // of them, at points that were in the set
  int ntotal = 0;                   // points that the set may reach
  int start = 0;                    // points at the start of the pass
  std::vector<double> point;        // ninputs
  std::vector<double> row;          // inputs and the model's value, for formulas
  std::vector<double> bounds{};     // that the solver has proved, in the order of its searches

  bool has_enough(std::size_t kind) const { return found[kind] >= run.options.crnviol; }
  bool has_enough_of_all() const {
    for (std::size_t kind = 0; kind < kinds; ++kind) {
      if (in_force[kind] && !has_enough(kind)) return false;
    }
    return true;
  }
  int violations() const { return found[lower] + found[upper] + found[custom]; }
};

// The model in force is what is tested, and what the caller finds as the selection afterwards.
void load_model(RunState& run, int k) {
  for (int j = 0; j < run.sizes.nbas; ++j) {
    run.models.thischoice[at(j)] = run.models.bestchosen(j, k);
    run.models.thisbeta[at(j)] = run.models.bestbeta(j, k);
  }
}

bool has_custom(const RunState& run, int k) {
  for (int c = 0; c < run.sizes.crncustom; ++c) {
    if (run.outputs.crcustomind[at(c)] == k) return true;
  }
  return false;
}

Pass open_pass(RunState& run, int k) {
  Pass pass{run, k, run.models.bounding[at(k)], {}, {}, {}, 0, 0, {}, {}};
  pass.in_force = {run.outputs.haszmin[at(k)], run.outputs.haszmax[at(k)], has_custom(run, k)};
  pass.point.resize(at(run.sizes.ninputs));
  pass.row.resize(at(run.sizes.ninputs) + 1);
  return pass;
}

// --- violations ---------------------------------------------------------------------------------

// Whether a custom constraint is broken; one that has no value there isn't.
bool breaks_custom(Pass& pass, int n, double zp) {
  RunState& run = pass.run;
  for (int d = 0; d < run.sizes.ninputs; ++d) pass.row[at(d)] = pass.set.crxdata(n, d);
  pass.row.back() = zp;
  FormulaTable& formulas = run.basis.constraintformulas;
  for (int c = 0; c < run.sizes.crncustom; ++c) {
    if (run.outputs.crcustomind[at(c)] != pass.k) continue;
    const double value = fneval(formulas, at(c), pass.row);
    if (formulas.fnerrtype == 0 && value > run.options.crtol) return true;
  }
  return false;
}

bool breaks(Pass& pass, std::size_t kind, int n, double zp) {
  if (!pass.in_force[kind] || std::isnan(zp)) return false;
  const Outputs& outputs = pass.run.outputs;
  const double crtol = pass.run.options.crtol;
  switch (kind) {
    case lower:
      return outputs.zmin[at(pass.k)] - crtol > zp;
    case upper:
      return zp > outputs.zmax[at(pass.k)] + crtol;
    default:
      return breaks_custom(pass, n, zp);
  }
}

// Imposes at point n what the model breaks there; kinds with enough violations are passed over
// where the pass says so. True when there was any.
bool impose(Pass& pass, int n, bool limited) {
  const double zp = value_at_bounding_point(pass.run, pass.set, n);
  bool any = false;
  for (std::size_t kind = 0; kind < kinds; ++kind) {
    int& type = pass.set.type[at(n)];
    if ((type & type_bits[kind]) != 0 || (limited && pass.has_enough(kind))) continue;
    if (!breaks(pass, kind, n, zp)) continue;
    type |= type_bits[kind];
    ++pass.found[kind];
    any = true;
  }
  return any;
}

// --- steps --------------------------------------------------------------------------------------

void test_present_set(Pass& pass) {
  for (int n = 0; n < pass.set.crndata; ++n) {
    const int type = pass.set.type[at(n)];
    const bool both_bounds = type == (imposes_lower | imposes_upper);
    if (type == imposes_all || (both_bounds && !pass.in_force[custom])) continue;
    impose(pass, n, false);
  }
  pass.reused = pass.found;
}

// Each kind that hasn't had its fill of violations may still add points.
bool make_room(Pass& pass) {
  long long total = pass.set.crndata;
  for (std::size_t kind = 0; kind < kinds; ++kind) {
    const long long room = pass.run.options.crnviol - static_cast<long long>(pass.found[kind]);
    if (pass.in_force[kind]) total += std::max(room, 0LL);
  }
  pass.ntotal = static_cast<int>(std::min<long long>(total, 1000000000));
  return grow_bounding_set(pass.run, pass.set, pass.set.crndata);
}

bool place(Pass& pass, std::span<const double> point) {
  const int n = pass.set.crndata;
  if (!grow_bounding_set(pass.run, pass.set, n)) return false;
  place_bounding_point(pass.run, pass.set, n, point);
  pass.set.type[at(n)] = 0;
  return true;
}

void keep(Pass& pass, PointOrigin origin) {
  pass.set.origin[at(pass.set.crndata)] = static_cast<int>(origin);
  ++pass.set.crndata;
}

// A point that breaks nothing leaves its row to the next.
bool try_random_points(Pass& pass) {
  RunState& run = pass.run;
  for (int trial = 0; trial < run.options.crntrials && pass.set.crndata < pass.ntotal; ++trial) {
    if (pass.has_enough_of_all()) break;
    if (timeup(run)) return false;
    draw_in_box(run, pass.point);
    if (!place(pass, pass.point)) return false;
    if (impose(pass, pass.set.crndata, true)) keep(pass, PointOrigin::random_trial);
  }
  return true;
}

// A solver's point counts when the model really breaks the constraint there; where the model is at
// its bound the solver finds points within the tolerance.
bool take_points(Pass& pass, const std::vector<std::vector<double>>& points) {
  for (const std::vector<double>& point : points) {
    for (std::size_t d = 0; d < point.size(); ++d) {
      const int input = static_cast<int>(d);
      pass.point[d] =
          std::clamp(point[d], box_lowest(pass.run, input),
                     std::max(box_lowest(pass.run, input), box_highest(pass.run, input)));
    }
    if (!place(pass, pass.point)) return false;
    if (impose(pass, pass.set.crndata, false)) keep(pass, PointOrigin::solver);
  }
  return true;
}

bool ask_solver(Pass& pass, SearchKind kind, int constraint) {
  const FoundViolations found = trvsolveconreg(pass.run, kind, pass.k, constraint);
  if (found.bound) pass.bounds.push_back(*found.bound);
  return !failed(pass.run) && take_points(pass, found.points);
}

// The solver looks for what nothing else has found.
bool search_robustly(Pass& pass) {
  if (!pass.run.options.crrobust) return true;
  if (pass.in_force[lower] && pass.found[lower] == 0 &&
      !ask_solver(pass, SearchKind::below_zmin, -1)) {
    return false;
  }
  if (pass.in_force[upper] && pass.found[upper] == 0 &&
      !ask_solver(pass, SearchKind::above_zmax, -1)) {
    return false;
  }
  if (!pass.in_force[custom] || pass.found[custom] > 0) return true;
  for (int c = 0; c < pass.run.sizes.crncustom; ++c) {
    if (pass.run.outputs.crcustomind[at(c)] != pass.k) continue;
    if (!ask_solver(pass, SearchKind::custom, c)) return false;
  }
  return true;
}

// --- debug --------------------------------------------------------------------------------------

void debug_points(Pass& pass, int first) {
  for (int n = first; n < pass.set.crndata; ++n) {
    const double zp = value_at_bounding_point(pass.run, pass.set, n);
    double violation = 0.0;
    if (pass.in_force[lower]) {
      violation = std::max(violation, pass.run.outputs.zmin[at(pass.k)] - zp);
    }
    if (pass.in_force[upper]) {
      violation = std::max(violation, zp - pass.run.outputs.zmax[at(pass.k)]);
    }
    std::string line =
        fmt::format("    {} {} {}", n + 1, pass.set.type[at(n)], free_form(violation));
    for (int d = 0; d < pass.run.sizes.ninputs; ++d) {
      line += " " + free_form(pass.set.crxdata(n, d));
    }
    debug_line(pass.run, line + " " + free_form(zp));
  }
}

void debug_entry(Pass& pass) {
  if (!debugging(pass.run)) return;
  debug_line(pass.run, ">>> Entering crfind with");
  debug_whole(pass.run, "    trvstatus = ", static_cast<int>(pass.run.status.trvstatus));
  debug_whole(pass.run, "    crndata   = ", pass.set.crndata);
  if (pass.set.crndata == 0) return;
  debug_line(pass.run, "    Current points in bounding set (id, type, viol, x, zmode)");
  debug_points(pass, 0);
}

void debug_exit(Pass& pass) {
  RunState& run = pass.run;
  if (!debugging(run)) return;
  debug_line(run, ">>> Exiting crfind with");
  debug_whole(run, "    crndata   = ", pass.set.crndata);
  debug_whole(run, "    trvstatus = ", static_cast<int>(run.status.trvstatus));
  debug_whole(run, "    ntotal     = ", pass.ntotal);
  debug_whole(run, "    nlo        = ", pass.found[lower]);
  debug_whole(run, "    nup        = ", pass.found[upper]);
  debug_whole(run, "    ncust      = ", pass.found[custom]);
  debug_whole(run, "    nloreuse   = ", pass.reused[lower]);
  debug_whole(run, "    nupreuse   = ", pass.reused[upper]);
  debug_whole(run, "    ncustreuse = ", pass.reused[custom]);
  for (const double bound : pass.bounds) debug_value(run, "    bound      = ", bound);
  if (pass.set.crndata > pass.start) {
    debug_line(run, "New points added to bounding set (id, type, viol, x, zmode)");
    debug_points(pass, pass.start);
  } else if (run.options.crrobust) {
    debug_line(run, "Bounds guaranteed. No bounding points added");
  } else {
    debug_line(run, "Bounds approximated. No bounding points added");
  }
}

}  // namespace

int crfind(RunState& run, int k) {
  load_model(run, k);
  Pass pass = open_pass(run, k);
  if (!fill_initial_set(run, pass.set)) return 0;
  pass.start = pass.set.crndata;
  debug_entry(pass);
  test_present_set(pass);
  if (!make_room(pass)) return 0;
  if (!try_random_points(pass)) return 0;
  if (!search_robustly(pass)) return pass.violations();
  debug_exit(pass);
  return pass.violations();
}

}  // namespace torve
