#pragma once

#include <string>

namespace torve {

// Every scalar and text option with its initial value. The public names are those of the problem
// file and of the set calls; run/option_table.h ties each name to its member. Times are in seconds.
struct Options {
  // Families of basis functions.
  bool linfcns = true;
  bool expfcns = false;
  bool logfcns = false;
  bool sinfcns = false;
  bool cosfcns = false;
  bool grbfcns = false;
  bool linkernel = false;
  int constant = 1;            // 1 with a constant term, 0 without
  int otherbasis = 0;          // stored and listed only
  double rbfparam = 1.0;       // width parameter of radial functions
  bool xscaling = false;       // divide inputs by xscale
  bool scalebases = true;      // magnitudes of columns in the optimisation problems
  bool scalez = false;         // scale outputs in the optimisation problems
  bool numlimitbasis = true;   // drop columns that can't be evaluated on the data
  bool datalimitterms = true;  // no more terms than points
  int funform = 5;             // form of column texts in a model, 1 to 6

  // Selection.
  int modeler = 1;          // metric: 1 BIC, 2 Cp, 3 AICc, 4 HQC, 5 MSE, 6 SSEp, 7 RIC, 8 MADp
  int builder = 1;          // 1: greedy build-up
  int backstepper = 0;      // 1: back-step after the build-up
  bool greedybuild = true;  // take the first column that gains; no option sets it
  bool greedyback = true;   // the same for the back-step
  int screener = 0;         // -2, -1 prepare only, 0 none, 1 lasso, 2 sure independence
  int lassometric = -1;     // stored and listed only
  bool lassopath = false;   // keep the lasso's own model
  int enumall = -2;         // enumerate everything up to this many subsets; -2 automatic
  int enum1 = -2;           // most subsets of one size; -2 automatic, -1 no limit, 0 never
  int npenl = 100;          // penalties on the lasso path
  int ncvf = 5;             // folds of the cross-validation
  double sigma = 1.0;       // noise level in the metrics; 0 or less: estimate it
  double sismult = 1.0;     // multiplier of sure independence screening
  double convpen = 0.0;     // penalty a term in SSEp and MADp
  bool sselimit = false;
  bool relerror = false;
  bool linearerror = false;
  bool firstfeas = false;
  bool cvxbic = false;  // convex form of BIC
  bool solvemip = false;
  bool dive = true;
  bool shortcut = true;
  bool deltaterm = true;
  double mipoptca = static_cast<double>(0.05F);  // absolute gap, a single-precision constant
  double mipoptcr = static_cast<double>(1e-4F);  // relative gap, a single-precision constant
  double tolsse = 0.0;

  // Least squares and choice of solver.
  bool olrone = true;
  bool olrgsi = true;
  bool olrdgels = true;
  bool olrclr = true;
  bool olrmir = true;
  bool olrgms = false;
  bool lassomir = true;
  bool lassogms = false;
  bool mipmir = true;
  bool mipgms = false;
  bool crmir = true;
  bool crgms = false;
  bool usegams = false;
  bool allowcplex = false;
  bool matsnob = false;
  bool usegpu = false;
  double gsiabstol = 1e-05;
  double gsireltol = 1e-05;
  int gsimaxi = 10000;     // sweeps; negative for no limit
  double nulltol = 1e-09;  // what counts as null
  int ndgels = 120;

  // Sampling and stopping.
  int maxiter = 1;
  double maxtime = 1000.0;
  int minpoints = 0;                                // ninputs when not given
  int maxpoints = 0;                                // ninputs + 6 when not given
  double tolesterror = static_cast<double>(0.01F);  // a single-precision constant
  int initializer = 3;                              // 1, 2 random, 3 Faure
  int sampler = 2;                                  // 1 random, 2 SNOBFIT, 3 Faure
  int seed = 19631963;
  int objfun = 1;  // stored and listed only
  double snobfitp = 0.5;
  double snobfitresolution = 1e-05;
  double preset = -111111.0;  // the value of what doesn't exist
  int maxsim = 10;            // failures of the simulator that are tolerated

  // Constrained regression.
  int crninitial = 0;
  int crmaxiter = 10;
  int crnviol = 5;
  int crntrials = 100;
  double crtol = 0.001;
  bool crcorner = true;
  bool crrobust = true;
  double crisoltol = static_cast<double>(0.1F);
  int crncc = 0;

  // Output and files.
  bool print_to_screen = true;
  bool print_to_file = true;
  bool print_gams_out = false;
  bool print_mirak_out = false;
  bool printextrap = false;
  int prfreq = 1;  // stored and listed only
  bool debug = false;
  bool chkblnk = false;  // stored only
  bool trace = false;
  std::string tracefname = "trace.trc";
  bool usescratch = true;
  bool removescratch = true;
  std::string simulator;
  std::string simin = "input.txt";
  std::string simout = "output.txt";
  std::string gams = "gams";
  std::string gamssolver = "mirak";
  std::string gamsnlpsolver = "mirak";
  std::string gamsoptions = "Sys12=1 ExecErr=1e9";
  std::string gamsnlpoptions = "Sys12=1 ExecErr=1e9";
  std::string snobfitpath = "C:\\SNOBFIT\\";
  std::string minqpath = "C:\\MINQ5\\";
  std::string snobfittest = "test.mat";

  // Free slots, without effect.
  int intopt1 = 0, intopt2 = 0, intopt3 = 0, intopt4 = 0, intopt5 = 0;
  double realopt1 = 0.0, realopt2 = 0.0, realopt3 = 0.0, realopt4 = 0.0, realopt5 = 0.0;
};

}  // namespace torve
