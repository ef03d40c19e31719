// What a solve comes to, and what is told of the way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mirsolve {

// As tim.lst has it: up to 4 there is a point in res.lst, but for 2.
enum class Status : int {
  proven = 1,          // the best point, within the gaps
  infeasible = 2,      // proven: no point
  unproven = 3,        // a point; the time was over before the proof
  wanted = 4,          // a point; the first one was asked for
  no_point = 5,        // the time was over before a point or a proof
  not_understood = 6,  // a problem of no known class
  bad_file = 7,
  failed = 8  // arithmetic or memory
};

struct Answer {
  Status status = Status::failed;
  std::string problem_class;  // for people, as sum.lst says it
  std::string method;
  double objective = 0.0;  // of the first point
  double bound = 0.0;      // proven: no point is better than this
  std::int64_t nodes = 0;
  std::vector<std::vector<double>> points;  // values of all variables, the best point first
  std::vector<std::string> remarks;         // further lines of sum.lst
};

}  // namespace mirsolve
