// Small problems whose file is made from numbers in the test, and their runs inside the test's own
// process, so that the run state can be looked at afterwards.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "run/trvspace.h"
#include "support/random.h"

namespace torve::test {

// A problem with its data, one row a point. The bounds of the inputs are those of the data unless
// they are given.
struct SmallProblem {
  std::vector<std::vector<double>> x;
  std::vector<std::vector<double>> z;
  std::vector<double> xmin, xmax;
  int transforms = 0;    // further outputs that are formulas
  std::string options;   // lines before the data
  std::string sections;  // lines behind the data

  std::string text() const;
};

// A run of a problem in a folder of its own, in call mode: the arrays of the run state are kept.
class SmallRun {
 public:
  // `prepare` may change the state before the file is read, for what no option sets.
  explicit SmallRun(const std::string& problem,
                    const std::function<void(RunState&)>& prepare = nullptr);

  RunState& state() { return *run_; }
  const std::string& screen() const { return screen_; }
  const std::string& listing() const { return listing_; }
  const std::string& trace() const { return trace_; }
  bool ended_normally() const { return run_->status.trvstatus == Code::normal; }

  std::vector<bool> chosen(int k);  // of the model of output k
  std::vector<double> beta(int k);
  // The value in the last line that reports a model of the output called `label`; NaN without one.
  double reported_metric(const std::string& label) const;

 private:
  std::unique_ptr<RunState> run_;
  std::string screen_;
  std::string listing_;
  std::string trace_;
};

// As many digits as it takes to read the same number back.
std::string digits(double value);
std::string digits(const std::vector<double>& values);

}  // namespace torve::test
