#pragma once

#include <csignal>

#include "run/codes.h"
#include "system/clock.h"

namespace torve {

// Where a run stands.
struct Status {
  Code trvstatus = Code::normal;
  int trvlocation = 0;  // the place that set the code; printed on the listing only
  bool runstarted = false;
  int iteration = 0;   // passes of the main loop
  int nconverged = 0;  // outputs within their tolerances
  int processid = 0;
  int cmdcount = -1;  // arguments of the command line; negative in call mode
  int cmdlength = 0;  // length of the first argument
};

// Running sums of seconds: start subtracts the clock, stop adds it.
struct Timers {
  CpuClock clock;
  double t_total = 0.0;
  double t_initial = 0.0;
  double t_model = 0.0;
  double t_adaptive = 0.0;
  double t_olr = 0.0;    // also OLRTime of the trace
  double t_clr = 0.0;    // also CLRTime
  double t_lasso = 0.0;  // also LassoTime
  double t_mip = 0.0;
  double t_mip2 = 0.0;
  double t_sim = 0.0;  // also SimTime
  double t_bank = 0.0;
};

// How many of each.
struct Counters {
  int numOLRs = 0;
  int numCLRs = 0;
  int n_mip = 0;
  int imodel = 0;  // number of the last copy of a solver's files
  int n_lasso = 0;
  int n_sim = 0;         // points that the simulator evaluated
  int snobfitcalls = 0;  // requests for points
  int OLRoneCalls = 0;
  int OLRoneFails = 0;
  int OLRdgelCalls = 0;
  int OLRdgelFails = 0;
  int OLRclrCalls = 0;
  int OLRclrFails = 0;
  int OLRgsiCalls = 0;
  int OLRgsiFails = 0;
  int OLRmirCalls = 0;
  int OLRmirFails = 0;
  int OLRgmsCalls = 0;
  int OLRgmsFails = 0;
};

}  // namespace torve
