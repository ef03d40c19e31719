#pragma once

namespace torve {

// Counts of a run: what the problem file declares and what is derived from it.
struct Sizes {
  int ninputs = 0;
  int noutputs = 0;
  int ntrans = 0;     // outputs that are formulas of other variables
  int noutputs0 = 0;  // noutputs - ntrans: the outputs that stand in the data
  int ngroups = 0;
  int ngroupcons = 0;     // group constraints read
  int ndata = 0;          // points in hand
  int nbank = 0;          // given points that form the bank
  int nbankleft = 0;      // bank points not yet used
  int npredata = 0;       // points only to be predicted
  int nsample = 0;        // points to sample at the start
  int initialpoints = 0;  // size of the initial data set
  int ntestsets = 0;
  int ntestdatasum = 0;    // test points in the file
  int ntestsamplesum = 0;  // test points to sample
  int ncustombas = 0;
  int crncustom = 0;  // custom constraints
  int mono = 0;       // powers in monomialpower
  int multi2 = 0;
  int multi3 = 0;
  int ratios = 0;
  int nprbf = 0;          // powers in prbfpower
  int requestpoints = 0;  // points asked of SNOBFIT at a time
  int nactinputs = 0;     // inputs that aren't excluded
  int ndatacap = 0;       // rows for which the point arrays are allocated
  int nbas = 0;           // columns of the catalogue
  int nbasm1 = 1;         // nbas - 1, at least 1
  int nbasmax = 0;        // active columns
  int nbas2 = 0;          // nbasmax once the checks are done
  int nbasinitact = 0;    // active columns when the catalogue was closed
};

}  // namespace torve
