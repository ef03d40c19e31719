#pragma once

#include <array>
#include <span>
#include <string_view>

#include "run/matrix_view.h"

namespace torve {

// The information criteria, by option modeler.
enum class Metric : int { bic = 1, cp, aicc, hqc, mse, ssep, ric, madp };
inline constexpr std::size_t metrics = 8;

// What a metric needs besides fit, terms and points.
struct MetricRules {
  double sigma = 1.0;    // noise level; divides the fit as it stands
  double convpen = 0.0;  // penalty a term
  bool cvxbic = false;   // BIC in its convex form
  int nbasmax = 0;       // active columns
  double log_n = 0.0;    // ln of the points, if the caller has it; 0: worked out when needed
};

// One criterion: its names in the running lines and in the report, and its formula over the fit f,
// p terms and n points.
struct MetricRow {
  Metric metric;
  std::string_view name;   // running lines and trace
  std::string_view label;  // report
  double (*value)(double f, int p, int n, const MetricRules& rules);
};
extern const std::array<MetricRow, metrics> metric_table;

inline const MetricRow& metric_row(int modeler) {
  return metric_table[static_cast<std::size_t>(modeler - 1)];
}

// The criterion number `modeler` (1 to 8) of a model with p terms whose fit over n points is f.
//   BIC   Schwarz, Ann. Statist. 6 (1978) 461: n ln(f/n) + p ln n
//   Cp    Mallows, Technometrics 15 (1973) 661: f/sigma + 2p - n, sigma not squared
//   AICc  Hurvich and Tsai, Biometrika 76 (1989) 297: n ln(f/n) + 2p + 2p(p+1)/(n-p-1)
//   HQC   Hannan and Quinn, JRSS B 41 (1979) 190: n ln(f/n) + 2p ln ln n, logarithms of n in single
//         precision, which decides ties at the seventh digit
//   MSE   f/(n-p-1);  SSEp and MADp  f + convpen p
//   RIC   Foster and George, Ann. Statist. 22 (1994) 1947: f/sigma + 2p ln nbasmax
// An exact fit is worth -1e30 to BIC, AICc and HQC and 0 to MSE.
inline double fitmetric(double f, int p, int n, int modeler, const MetricRules& rules) {
  return metric_row(modeler).value(f, p, n, rules);
}

// Mean error that goes with a fit: sqrt(f)/n, or the fit itself for MADp.
double meanerror(double f, int n, int modeler);

// Smaller metric, or equal metric and smaller fit. False whenever NaN takes part.
inline bool better(double metric, double fit, double than_metric, double than_fit) {
  return metric < than_metric || (metric <= than_metric && fit < than_fit);
}

// Whether a pass over the sizes gains too little: the new metric isn't below the previous one by
// more than the larger of the relative and the absolute tolerance.
bool gains_too_little(double metric, double previous, double relative, double absolute);

// Adds beta(p) x(:,columns(p)) to y. The sum of a row runs from the first column to the last.
void add_columns(MatrixView x, std::span<const int> columns, std::span<const double> beta,
                 std::span<double> y);

// Model values over all rows: the sum of beta(j) x(:,j) over the columns whose coefficient's
// magnitude exceeds 1e-10.
void model_values(MatrixView x, std::span<const int> columns, std::span<const double> beta,
                  std::span<double> y);

// Sum of squared errors over the rows in the mask.
double sum_of_squares(std::span<const double> z, std::span<const double> y, RowMask rows);

// The largest percentage error over the rows; where |z| is at most 0.001 the error itself.
double largest_percentage_error(std::span<const double> z, std::span<const double> y, RowMask rows);

}  // namespace torve
