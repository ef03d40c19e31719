#pragma once

#include <cstdint>
#include <vector>

namespace torve {

// Faure's low-discrepancy sequence (H. Faure, Acta Arithmetica 41, 1982; the start is skipped as P.
// Bratley and B. L. Fox do, ACM Transactions on Mathematical Software 14, 1988). In one dimension
// it is van der Corput's sequence in base 2.
struct FaureState {
  int fauredim = 0;                        // 0 before faureinit
  std::int64_t faurebase = 0;              // the least prime not below the dimension
  std::int64_t faurenext = 0;              // index of the point that was drawn last
  int fauremaxdigit = 0;                   // digits that the tables have room for
  std::vector<std::int64_t> faurepascal;   // binomials modulo the base: row i, column j at
                                           // i * (fauremaxdigit + 1) + j holds j over i
  std::vector<std::int64_t> fauredigits;   // of the index, the lowest first
  std::vector<std::int64_t> faureproduct;  // digits of one coordinate
  bool faurefailed = false;                // the sequence can't be had
};

}  // namespace torve
