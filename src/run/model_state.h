#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "run/arrays.h"
#include "run/spare_room.h"
#include "run/subset_triangle.h"

namespace torve {

inline constexpr double no_model_yet = 1e31;     // metric and fit before there is a model
inline constexpr double stop_rule_limit = 1e30;  // metrics above it don't stop the size loop
inline constexpr double perfect_fit = -1e30;     // metric of an exact fit
inline constexpr double forbidden_error = 1e51;  // mean error of a subset that breaks a group rule
inline constexpr double smallest_coefficient = 1e-10;  // smaller ones don't count in a fit

// The bounding set of an output with constraints: points at which they are imposed.
struct CRELEM {
  int crndata = 0;
  int capacity = 0;       // points that the tables have room for
  bool started = false;   // the initial set is there
  Table<double> crxij;    // capacity x nbas
  Table<double> crxdata;  // capacity x ninputs
  Array<int> type;        // bit 1 lower bound, bit 2 upper bound, bit 4 custom constraints
  Array<int> origin;      // 0 initial set, else found later
};

// Working selection, shared by the model-building routines, and the results of each output.
struct Models {
  Array<bool> screened;    // nbas: columns that selection may use
  Array<bool> thischoice;  // nbas: the subset being tried
  Array<double> thisbeta;  // nbas: its coefficients
  Array<bool> fullchoice;  // nbas: terms of any full fit of the run
  Array<double> fullbeta;  // nbas: coefficients of the last full fit
  Array<bool> lassochoice;
  Array<double> lassobeta;
  Array<bool> workchoice;
  Array<double> workbeta;
  Array<bool> crchoice;
  Array<double> crbeta;
  Array<double> xscale;  // nbas: magnitude of each column

  Table<bool> bestchosen;  // nbas x noutputs
  Table<double> bestbeta;  // nbas x noutputs
  Array<bool> hasmodel;    // noutputs
  Array<int> ModelSize;    // noutputs
  Array<double> Metric1Lasso;
  Array<double> Metric2Lasso;
  Array<bool> LassoSuccess;
  Array<double> LassoRed;    // noutputs: summed percentages of columns removed
  Array<int> screenercalls;  // noutputs: calls of the screener, divides LassoRed
  Array<double> SSEOLR;      // noutputs
  Array<double> t_surr;      // noutputs: seconds of model building
  Array<double> olrtime;     // noutputs: seconds in the least-squares layer
  Array<int> olrcalls;
  Array<double> clrtime;
  Array<int> clrcalls;
  Array<bool> converged;         // noutputs
  Array<int> iterconv;           // noutputs: iteration of convergence
  Array<int> ndataconv;          // noutputs: points at convergence
  Array<double> timeconv;        // noutputs: seconds at convergence
  Array<bool> conreg;            // noutputs: the output has constraints
  std::vector<CRELEM> bounding;  // noutputs

  bool exist = false;      // the per-output results are allocated
  bool fullfitok = false;  // SSEOLR is the least SSE that a subset can reach
  bool sseterm = false;
  bool sigmaset = true;         // sigma is in force; its default counts as given
  double ssezero = 1e-10;       // the SSE of an exact fit
  int lassoterms = 2147483647;  // terms of the lasso model
};

// Work space of the least-squares layer, only grown.
struct LeastSquares {
  Array<bool> rowsuse;         // ndatacap: rows of this fit
  int seriesoutput = -1;       // a series of fits of this output is under way; -1: none is
  int seriesrows = 0;          // rows in rowsuse while it is
  Array<double> yhat;          // ndatacap: a model's values on the data
  Array<double> lsqa;          // packed columns, m x n
  Array<double> lsqb;          // right-hand side and solution
  Array<double> lsqwork;       // work space of LAPACK; the model's values in its check
  Array<int> chosen;           // nbas: index list of the subset
  Array<double> coefficients;  // nbas: coefficients of that list
  Array<double> gsigram;       // nbasgsi x nbasgsi
  Array<double> gsirhs;        // nbasgsi
  Array<double> lseiw;
  Array<double> lseix;
  Array<int> lseiip;
  int nbasgsi = 0;      // largest system of the Gauss-Seidel method
  int query_rows = -1;  // size of the last work space query of DGELS
  int query_columns = -1;
};

// Selection without a fit for each subset.
struct FastWalk {
  // Of enumeration, greedy searches and the lasso path. False: the plain ways, for tests and
  // measurements.
  bool allowed = true;
  std::int64_t unfitted = 0;  // candidates of greedy searches that took no fit
  int output = -1;            // whose triangle this is; -1: of none
  bool usable = false;        // the triangle can be relied on
  int nrows = 0;              // rows that went into it
  std::vector<int> columns;   // columns that went into it, in order
  fast_walk::Triangle triangle;
  SpareRoom room;  // of greedy searches
  // nbas: the candidate that a greedy search tried last and didn't fit, whose coefficients thisbeta
  // should hold; null: it does. Hardly anything asks for them; see recall_last_candidate.
  std::unique_ptr<bool[]> last_candidate;
  int last_output = -1;  // that it was for
};

// Work space of the screeners.
struct Screening {
  Table<double> xstd;       // ndatacap x nbasm1: standardised columns
  Array<double> xmean;      // nbasm1
  Array<double> xsd;        // nbasm1
  Table<double> zc;         // ndatacap x noutputs: centred outputs
  Array<double> zmean;      // noutputs
  Array<double> lassogrid;  // npenl
  Table<bool> lassokeep;    // npenl x nbasm1
  Array<bool> lassoactive;  // nbasm1
  Array<bool> lassostrong;
  Array<bool> lassotrial;
  Array<double> lassocoef;
  Array<double> lassoold;
  Array<double> lassoresidual;  // ndatacap
  Array<double> sisscore;       // nbas
  Array<int> sisorder;          // nbas
  int nbasscreened = 0;
};

}  // namespace torve
