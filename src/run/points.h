#pragma once

#include <string>
#include <vector>

#include "run/arrays.h"

namespace torve {

// What is known of each input. All vectors have ninputs entries once ninputs is read.
struct Inputs {
  std::vector<std::string> xlabels;  // at most 128 characters each
  Array<double> xmin;
  Array<double> xmax;
  Array<double> xfactors;  // given scale factors
  Array<bool> exclude;     // leave out of the catalogue
  Array<bool> xisint;      // stored and listed only
  Array<double> extrapxmin;
  Array<double> extrapxmax;
  Array<double> xscale;      // divisor of the input under xscaling, 1 otherwise
  Array<double> xminscaled;  // bounds after scaling
  Array<double> xmaxscaled;
};

// What is known of each output. All vectors have noutputs entries once noutputs is read.
struct Outputs {
  std::vector<std::string> zlabels;  // at most 128 characters each
  Array<bool> ignore;                // no model, no report
  Array<bool> zisint;                // predictions are whole numbers
  Array<double> tolmeanerror;
  Array<double> tolrelmetric;
  Array<double> tolmaxerror;
  Array<double> tolabsmetric;
  Array<int> maxterms;   // -1 for no limit
  int maxtermsall = -1;  // the limit of all outputs, given before their number
  Array<double> zmin;
  Array<double> zmax;
  Array<bool> haszmin;  // the lower bound is in force
  Array<bool> haszmax;
  bool bounded = false;  // some output has bounds
  // Custom constraints: at the 3 tables one row a constraint.
  Array<int> crcustomind;               // its output, from 0
  std::vector<std::string> customcon;   // its formula, at most 8192 characters
  std::vector<std::string> transforms;  // formulas of the last ntrans outputs
};

// The tables of points, one row a point. Inputs are in the user's units until they are scaled.
struct Points {
  Table<double> xdata;      // ndatacap x ninputs
  Table<double> zdata;      // ndatacap x noutputs
  Table<bool> simulated;    // ndatacap x noutputs: the value exists
  Table<double> zerror;     // ndatacap x noutputs: squared errors
  Array<bool> newrow;       // ndatacap: added by adaptive sampling
  Array<bool> rows;         // ndatacap: rows that a fit may see
  Table<double> xbank;      // nbank x ninputs
  Table<double> zbank;      // nbank x noutputs
  Array<bool> bankused;     // nbank
  Array<int> ntestdata;     // ntestsets: points of the set in the file
  Array<int> ntestsample;   // ntestsets: points of the set to sample
  Table<double> xtestdata;  // ntestdatasum x ninputs, set after set
  Table<double> ztestdata;  // ntestdatasum x noutputs
  Table<double> xpredata;   // npredata x ninputs
  Table<bool> foldof;       // ndatacap x ncvf: the row belongs to the fold
  bool banktaken = false;   // ndata has been reduced by nbank
};

}  // namespace torve
