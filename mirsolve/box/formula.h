// A formula as a list of steps over a few inputs, and its values and derivatives, in numbers and in
// intervals.
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "mirsolve/box/interval.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve::box {

// Steps refer to earlier ones, so that loops forth and back do for everything.
struct Step {
  Operation operation = Operation::number;
  bool is_whole_power = false;
  int a = -1;        // operands: steps; of a variable, the input
  int b = -1;        // -1: there is none
  int exponent = 0;  // of a whole power
  int first = 0;     // of a sum: its terms in the list
  int count = 0;
  Interval value = 0.0;  // of a number
};

class Formula {
 public:
  // sum of factor * node, over the inputs `variables` (indices in the problem).
  Formula(const ExpressionGraph& graph, std::span<const std::pair<double, NodeId>> sum,
          std::span<const int> variables);

  std::span<const Step> steps() const { return steps_; }
  std::span<const int> terms(const Step& step) const {
    return {terms_.data() + step.first, static_cast<std::size_t>(step.count)};
  }
  int inputs() const { return inputs_; }
  // Whether a step's value may change with an input. Where there are many inputs some share a bit.
  bool depends(std::size_t step, int input) const {
    return ((depends_[step] >> (static_cast<unsigned>(input) % 64U)) & 1U) != 0;
  }
  bool depends_on_any(std::size_t step) const { return depends_[step] != 0; }

 private:
  void add_graph(const ExpressionGraph& graph, std::span<const std::pair<double, NodeId>> sum,
                 std::span<const int> input_of, std::vector<int>& step_of);
  int add(const Step& step, std::uint64_t depends);
  int add_number(double value);
  int add_sum(std::span<const int> terms);
  Step made_of(const Node& node, std::span<const NodeId> operands,
               std::span<const int> step_of) const;

  std::vector<Step> steps_;
  std::vector<int> terms_;
  std::vector<std::uint64_t> depends_;
  int inputs_ = 0;
};

// Derivatives of a step by its operands.
template <class T>
struct Partials {
  T a{}, b{}, aa{}, ab{}, bb{};
};

// Room for the sweeps over a formula, kept from one to the next. T is double or Interval.
template <class T>
struct Sweep {
  std::vector<T> value;
  std::vector<Partials<T>> partials;
  std::vector<T> adjoint;
  std::vector<T> tangent;
  std::vector<T> adjoint_tangent;
  std::vector<char> is_live;  // of adjoint_tangent
};

// What the sweeps find, for the last step.
enum class Smoothness : unsigned char { none, once, twice };

// Values of all steps. Where they are defined partly the last one encloses those that there are.
// A double that isn't finite is no value.
Defined sweep_values(const Formula& formula, std::span<const double> x, Sweep<double>& sweep);
Defined sweep_values(const Formula& formula, std::span<const Interval> x, Sweep<Interval>& sweep);

// After sweep_values() of what is defined everywhere: the gradient by reverse accumulation
//   A. Griewank, A. Walther: Evaluating Derivatives. SIAM, 2nd edition 2008, chapter 3.
// At kinks of |a| an interval holds all generalised derivatives; how many derivatives there are is
// returned.
Smoothness sweep_gradient(const Formula& formula, Sweep<double>& sweep, std::span<double> gradient);
Smoothness sweep_gradient(const Formula& formula, Sweep<Interval>& sweep,
                          std::span<Interval> gradient);

// After sweep_gradient() of what is smooth twice: the matrix of second derivatives, row by row, by
// tangents of the adjoints (Griewank and Walther, chapter 5). Inputs with a false `wanted` get
// zeros.
void sweep_hessian(const Formula& formula, Sweep<double>& sweep, std::span<const char> wanted,
                   std::span<double> hessian);
void sweep_hessian(const Formula& formula, Sweep<Interval>& sweep, std::span<const char> wanted,
                   std::span<Interval> hessian);

}  // namespace mirsolve::box
