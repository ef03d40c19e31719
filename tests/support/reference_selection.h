// Model selection done a second time, plainly: subsets as bits of a number, least squares in long
// double, every rule written out again. Tests compare the program's models with it.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace torve::test {

using Mask = std::uint32_t;  // bit j: column j

struct ReferenceRule {
  int group;      // from 0
  int type;       // 1 at most, 2 at least, 3 requires, 4 excludes
  int parameter;  // a count, or a group from 0
};

// Groups over columns; `holds[g]` has the groups that g names.
struct ReferenceGroups {
  std::vector<Mask> members;  // with those of the groups it names
  std::vector<Mask> holds;
  std::vector<ReferenceRule> rules;

  bool allow(Mask subset) const;
};

struct ReferenceOptions {
  int modeler = 1;
  double sigma = 1.0;
  bool estimate_sigma = false;
  double convpen = 0.0;
  bool cvxbic = false;
  int nbasmax = 0;
  int nmax = 0;
  double tolmeanerror = 0.0;
  double tolrelmetric = 1e-6;
  double tolabsmetric = 1e-6;
  int enum1 = 16384;  // subsets of one size; 0 never, negative without limit
  bool builder = true;
  bool backstepper = false;
  bool greedybuild = true;
  bool greedyback = true;
};

struct ReferenceModel {
  Mask mask = 0;
  std::vector<double> beta;
  double metric = 1e31;
  double fit = 1e31;
  double meanerr = 1e31;
  bool exists = false;
};

// The criterion of option modeler for p terms and n points.
double reference_metric(const ReferenceOptions& options, double fit, int p, int n);

// Coefficients of the columns by Householder's method in long double, on the rows in use.
std::vector<long double> reference_least_squares(const std::vector<std::vector<double>>& columns,
                                                 const std::vector<double>& z,
                                                 const std::vector<bool>& use);

class ReferenceSelection {
 public:
  // One output's data; columns not in `screened` may not be chosen.
  ReferenceSelection(std::vector<std::vector<double>> columns, std::vector<double> z,
                     std::vector<bool> use, Mask screened, ReferenceOptions options);

  ReferenceGroups groups;

  // The best of all allowed subsets of 1 to nmax columns, with no rule that ends the search.
  ReferenceModel exhaust();
  // Sizes from 1 on by enumeration alone, until the gain is too small or the error small enough.
  ReferenceModel enumerate_all();
  // The walk over sizes with enumeration, and the greedy strategies where that is out of reach.
  ReferenceModel walk();

  // The strategies themselves. They work on `model` and return whether nothing was gained.
  bool build_up(int most_terms, ReferenceModel& model);
  bool step_back(int most_terms, ReferenceModel& model);
  void enumerate_size(int size, ReferenceModel& best);

  double sigma() const { return options_.sigma; }
  double mean_error(double fit) const;
  // The subset as a model of p terms.
  ReferenceModel value(Mask subset, int p);
  ReferenceModel value_full_fit() { return value(screened_, count(screened_)); }
  static int count(Mask mask) { return __builtin_popcount(mask); }

 private:
  struct Fit {
    std::vector<double> beta;
    double fit;
  };
  const Fit& fit(Mask subset);
  bool has(Mask mask, int j) const { return ((mask >> static_cast<unsigned>(j)) & 1U) != 0; }
  bool gains_too_little(double metric, double previous) const;
  bool takes_full_fit(ReferenceModel& model);
  void make_full_fit();

  std::vector<std::vector<double>> columns_;
  std::vector<double> z_;
  std::vector<bool> use_;
  Mask screened_;
  ReferenceOptions options_;
  int nbas_;
  int ndata_;
  double least_ = 0.0;  // SSE of the full fit, or of what beat it
  bool full_is_least_ = true;
  std::map<Mask, Fit> fits_;
};

// All subsets of `size` bits of `allowed`, in lexicographic order of their ascending positions.
std::vector<Mask> subsets_in_order(Mask allowed, int size);

}  // namespace torve::test
