#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "model/metrics.h"
#include "run/basis_state.h"
#include "run/matrix_view.h"
#include "run/model_state.h"
#include "run/trvspace.h"

namespace torve {

// The mixed-integer problem that picks a subset of the screened columns for one output and fits its
// coefficients in one solve. It is stated here once, in numbers; each route to a solver writes it
// in its own language. Indices count from 0 here and from 1 in the texts.

inline constexpr double smallest_divisor = 1e-3;  // |z| at or below it isn't divided by

// How the error of a fit enters the problem.
enum class ErrorModel {
  squares,           // sum of (z - fit)^2
  relative_squares,  // the same of 1 - fit/z where |z| is above smallest_divisor
  absolute,          // sum of |z - fit|, by variables e
  largest_percent,   // the largest of 100 |z - fit|/|z|, the variable mad
};

// One condition on a group. m counts the conditions of the output from 1.
struct GroupEntry {
  int m = 0;
  int group = 0;  // from 0
  GroupRule rule = GroupRule::at_most;
  int parameter = 0;  // a count, or a group from 1
};

// A condition on inputs and output, imposed at the points of the bounding set with type bit 4.
struct CustomConstraint {
  int number = 0;    // its place among all constraints of the run, from 1
  std::string text;  // at most 0; over the labels of inputs and of the output, with ^ for powers
};

// A point from which the solver may start.
struct StartingPoint {
  std::vector<double> beta;  // nbas: scaled coefficients
  std::vector<bool> chosen;  // nbas
};

struct BestSubsetProblem {
  int it = 0;  // most terms, or the number of terms
  Metric metric = Metric::bic;
  ErrorModel error = ErrorModel::squares;

  // Data: xij is ndata x nbas. Values of the problem are z / zscale and xij / xscale.
  MatrixView xij;
  std::span<const double> zdata;        // ndata
  std::span<const bool> simulated;      // ndata: rows that have a value
  std::span<const bool> screened;       // nbas: columns that may be chosen
  std::span<const std::string> labels;  // nbas: for remarks
  std::vector<double> xscale;           // nbas
  double zscale = 1.0;
  std::vector<double> betaup;  // nbas: bounds of the scaled coefficients, -betaup below

  // Which equations exist.
  bool cardinality = true;                  // eq1
  bool exactly_it = false;                  // eq1 asks for `it` terms, not for at most so many
  bool sseterm = false;                     // the error is a part of the objective
  std::optional<double> sse_limit;          // the error is bounded instead
  std::optional<std::pair<int, int>> prbf;  // first and last column whose coefficients sum to 0

  // Objective.
  double sigma = 1.0;
  double convpen = 0.0;

  // Groups; none where grpbas has no columns.
  View<const bool> grpbas;  // nbas x ngroups
  View<const bool> grpgrp;  // ngroups x ngroups
  std::vector<GroupEntry> group_entries;
  std::vector<bool> group_start;  // ngroups: active at the starting point

  // Constrained regression; none where bounding is null. Bounds in the user's units.
  const CRELEM* bounding = nullptr;
  std::optional<double> zmin;
  std::optional<double> zmax;
  std::vector<CustomConstraint> custom;
  std::span<const std::string> xlabels;  // ninputs
  std::string zlabel;
  bool scalez = false;
  bool scalebases = false;

  // For the solver.
  std::optional<double> cutoff;
  bool tight_gaps = false;  // both gaps are 1e-6, whatever epsa and epsr say
  double epsa = 0.0;
  double epsr = 0.0;
  double seconds = 0.0;  // time left, not below 0
  bool allowcplex = false;
  bool print_solver = false;  // the solver may print
  bool firstfeas = false;
  bool dive = false;
  bool shortcut = false;
  bool deltaterm = false;
  bool debug = false;
  std::optional<StartingPoint> start;
  double bestmetric = 0.0;  // of the incumbent; bounds mad from below where there is a start

  int ndata() const { return xij.rows; }
  int nbas() const { return xij.columns; }
  int ngroups() const { return grpbas.columns; }
  bool has_groups() const { return grpbas.columns > 0; }
  bool has_bounding() const { return bounding != nullptr; }
  double z(int i) const { return zdata[at(i)] / zscale; }
  double x(int i, int j) const { return xij(i, j) / xscale[at(j)]; }
  // |z| is large enough to divide by.
  bool is_divisible(int i) const;
  // log(ndata), 2 or 2 log(nbas): the price of a term, where the metric has one of its own.
  double price_of_a_term() const;
};

// The problem of output k (from 0). betabound bounds the coefficients, bestmetric is the metric of
// the incumbent. The views lead into the run state.
BestSubsetProblem state_best_subset(RunState& run, int it, int k, double betabound,
                                    double bestmetric);

// The bound of a coefficient whose column has been divided by xscale (1 without scalebases).
double coefficient_bound(double betabound, double xscale, double zscale);

// The cut-off on the objective that belongs to a metric to beat; nothing for metrics that have
// none. terms: of the incumbent; tolrelmetric: what a better model has to gain.
double objective_cutoff(Metric metric, double bestmetric, double tolrelmetric, int n, int terms);

// Groups that are active with the columns: those that hold one, and then, as long as any is, those
// that hold an active group.
std::vector<bool> close_groups(View<const bool> grpbas, View<const bool> grpgrp,
                               std::span<const bool> chosen);

// What a solver answered, in the problem's own scale. miperr: 0 solved, 1 no solution, 2 file
// trouble, 3 other.
struct BestSubsetAnswer {
  std::vector<bool> chosen;  // nbas
  std::vector<double> beta;  // nbas: scaled, of chosen columns
};

// Puts an answer into thischoice and thisbeta of the run, unscaled.
void take_answer(RunState& run, const BestSubsetProblem& problem, const BestSubsetAnswer& answer);

}  // namespace torve
