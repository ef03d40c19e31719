#include "mir_solver.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "box_search.h"
#include "small_programs.h"

namespace torve::test {

namespace {

using Kind = MirExpression::Kind;

constexpr std::size_t most_binaries = 16;
constexpr Real unbounded = 1e19L;
constexpr Real tolerance = 1e-9L;

// A polynomial of degree 2 at most: a coefficient for each pair of variables, of which 0 stands for
// the number 1.
using Pair = std::pair<int, int>;
using Polynomial = std::map<Pair, Real>;

bool is_constant(const Polynomial& p) {
  return std::ranges::all_of(p, [](const auto& term) { return term.first == Pair(0, 0); });
}
Real constant_of(const Polynomial& p) {
  const auto term = p.find({0, 0});
  return term == p.end() ? 0 : term->second;
}
int degree(const Pair& pair) {
  return (pair.first != 0 ? 1 : 0) + (pair.second != 0 ? 1 : 0);
}

Polynomial combined(Polynomial a, const Polynomial& b, Real factor) {
  for (const auto& [pair, value] : b) a[pair] += factor * value;
  return a;
}

Polynomial multiplied(const Polynomial& a, const Polynomial& b) {
  Polynomial result;
  for (const auto& [p, u] : a) {
    for (const auto& [q, v] : b) {
      if (u == 0 || v == 0) continue;
      if (degree(p) + degree(q) > 2) throw std::runtime_error("degree above 2");
      std::vector<int> both = {p.first, p.second, q.first, q.second};
      std::ranges::sort(both, std::greater<>());
      result[{both[1], both[0]}] += u * v;
    }
  }
  return result;
}

class Algebra {
 public:
  explicit Algebra(const std::vector<std::string>& names) {
    for (const std::string& name : names) index_.emplace(name, static_cast<int>(index_.size()) + 1);
  }

  Polynomial of(const MirExpression& e) const {
    switch (e.kind) {
      case Kind::number:
        return {{{0, 0}, e.value}};
      case Kind::name:
        return {{{0, index_.at(e.name)}, 1}};
      case Kind::add:
        return combined(of(e.parts[0]), of(e.parts[1]), 1);
      case Kind::subtract:
        return combined(of(e.parts[0]), of(e.parts[1]), -1);
      case Kind::multiply:
        return multiplied(of(e.parts[0]), of(e.parts[1]));
      case Kind::divide:
        return combined({}, of(e.parts[0]), 1 / constant(e.parts[1]));
      case Kind::power:
        return power(of(e.parts[0]), constant(e.parts[1]));
      case Kind::negate:
        return combined({}, of(e.parts[0]), -1);
      case Kind::function:
        break;
    }
    return {{{0, 0}, apply_function(e.name, static_cast<double>(constant(e.parts[0])))}};
  }

 private:
  Real constant(const MirExpression& e) const {
    const Polynomial p = of(e);
    if (!is_constant(p)) throw std::runtime_error("not a constant");
    return constant_of(p);
  }
  static Polynomial power(const Polynomial& base, Real exponent) {
    if (exponent == 2) return multiplied(base, base);
    if (!is_constant(base)) throw std::runtime_error("power other than 2");
    return {{{0, 0}, std::pow(constant_of(base), exponent)}};
  }

  std::map<std::string, int> index_;
};

// p <= 0, or p == 0.
struct Condition {
  Polynomial p;
  bool equality = false;
};

// The problem with some variables given values. Index 0 of `value` stands for the number 1.
Polynomial substituted(const Polynomial& p, const std::vector<std::optional<Real>>& value) {
  Polynomial result;
  const auto given = [&](int variable) { return value[static_cast<std::size_t>(variable)]; };
  for (const auto& [variables, factor] : p) {
    Pair left(0, 0);
    Real coefficient = factor;
    for (const int variable : {variables.first, variables.second}) {
      if (given(variable)) {
        coefficient *= *given(variable);
      } else {
        left = {left.second, variable};
      }
    }
    if (coefficient != 0) result[left] += coefficient;
  }
  return result;
}

struct Interval {
  Real low = -unbounded;
  Real high = unbounded;
};

// One choice of the binary variables.
class Choice {
 public:
  Choice(std::size_t variables, std::vector<std::optional<Real>> values,
         std::vector<Interval> bounds)
      : values_(std::move(values)), bounds_(std::move(bounds)), free_(variables + 1, 0) {}

  // False when a condition can't hold.
  bool take(const std::vector<Condition>& conditions);
  std::optional<ProgramAnswer> minimise(const Polynomial& objective);
  const std::vector<std::optional<Real>>& values() const { return values_; }

 private:
  bool take_bound(const Condition& condition);
  bool fix_narrow();
  void number_free_variables();
  std::vector<Row> rows() const;
  std::vector<RealVector> square_part(const Polynomial& p) const;
  RealVector linear_part(const Polynomial& p) const;
  std::optional<ProgramAnswer> solve(const Polynomial& objective) const;

  std::vector<std::optional<Real>> values_;
  std::vector<Interval> bounds_;
  std::vector<Condition> linear_;
  std::vector<Condition> quadratic_;
  std::vector<std::size_t> free_;  // place of a variable among those without a value
  std::size_t count_ = 0;
};

bool is_of_one_variable(const Polynomial& p, std::size_t& variable) {
  variable = 0;
  for (const auto& [pair, value] : p) {
    if (pair == Pair(0, 0)) continue;
    if (variable != 0 || pair.first != 0) return false;
    variable = static_cast<std::size_t>(pair.second);
  }
  return variable != 0;
}

// A condition on a single variable narrows its bounds. False when nothing is left.
bool Choice::take_bound(const Condition& condition) {
  std::size_t variable = 0;
  if (!is_of_one_variable(condition.p, variable)) {
    linear_.push_back(condition);
    return true;
  }
  const Real factor = condition.p.at({0, static_cast<int>(variable)});
  const Real bound = -constant_of(condition.p) / factor;
  Interval& interval = bounds_[variable];
  if (condition.equality || factor > 0) interval.high = std::min(interval.high, bound);
  if (condition.equality || factor < 0) interval.low = std::max(interval.low, bound);
  return interval.low <= interval.high + tolerance * (1 + std::abs(interval.low));
}

// A variable whose bounds meet has a value. True when there was one.
bool Choice::fix_narrow() {
  bool found = false;
  for (std::size_t v = 1; v < bounds_.size(); ++v) {
    if (values_[v] || bounds_[v].high - bounds_[v].low > 1e-13L) continue;
    values_[v] = (bounds_[v].low + bounds_[v].high) / 2;
    found = true;
  }
  return found;
}

bool Choice::take(const std::vector<Condition>& conditions) {
  do {
    linear_.clear();
    quadratic_.clear();
    for (const Condition& condition : conditions) {
      Condition left{substituted(condition.p, values_), condition.equality};
      const bool is_quadratic =
          std::ranges::any_of(left.p, [](const auto& term) { return degree(term.first) == 2; });
      if (is_constant(left.p)) {
        const Real value = constant_of(left.p);
        if (value > tolerance || (left.equality && value < -tolerance)) return false;
      } else if (is_quadratic) {
        quadratic_.push_back(std::move(left));
      } else if (!take_bound(left)) {
        return false;
      }
    }
  } while (fix_narrow());
  number_free_variables();
  return true;
}

void Choice::number_free_variables() {
  count_ = 0;
  for (std::size_t v = 1; v < values_.size(); ++v) {
    if (!values_[v]) free_[v] = count_++;
  }
}

RealVector Choice::linear_part(const Polynomial& p) const {
  RealVector c(count_, 0);
  for (const auto& [pair, value] : p) {
    if (degree(pair) == 1) c[free_[static_cast<std::size_t>(pair.second)]] += value;
  }
  return c;
}

std::vector<RealVector> Choice::square_part(const Polynomial& p) const {
  std::vector<RealVector> h(count_, RealVector(count_, 0));
  for (const auto& [pair, value] : p) {
    if (degree(pair) != 2) continue;
    const std::size_t a = free_[static_cast<std::size_t>(pair.first)];
    const std::size_t b = free_[static_cast<std::size_t>(pair.second)];
    h[a][b] += value;
    h[b][a] += value;
  }
  return h;
}

std::vector<Row> Choice::rows() const {
  std::vector<Row> result;
  for (const Condition& condition : linear_) {
    result.push_back({linear_part(condition.p), -constant_of(condition.p), condition.equality});
  }
  for (std::size_t v = 1; v < bounds_.size(); ++v) {
    if (values_[v]) continue;
    for (const Real side : {1.0L, -1.0L}) {
      const Real bound = side > 0 ? bounds_[v].high : -bounds_[v].low;
      if (bound >= unbounded) continue;
      Row row{RealVector(count_, 0), bound, false};
      row.a[free_[v]] = side;
      result.push_back(std::move(row));
    }
  }
  return result;
}

std::optional<ProgramAnswer> Choice::solve(const Polynomial& objective) const {
  const std::vector<RealVector> h = square_part(objective);
  const bool is_linear = std::ranges::all_of(h, [](const RealVector& row) {
    return std::ranges::all_of(row, [](Real value) { return value == 0; });
  });
  std::optional<ProgramAnswer> answer = is_linear
                                            ? solve_linear(linear_part(objective), rows())
                                            : solve_quadratic(h, linear_part(objective), rows());
  if (answer) answer->objective += constant_of(objective);
  return answer;
}

// A quadratic condition can be met only beside an objective that has nothing to choose: the point
// where it is met best then decides.
std::optional<ProgramAnswer> Choice::minimise(const Polynomial& objective) {
  const Polynomial left = substituted(objective, values_);
  if (quadratic_.size() > 1) throw std::runtime_error("several quadratic conditions");
  const bool decides = !quadratic_.empty();
  if (decides && !is_constant(left)) throw std::runtime_error("quadratic condition and objective");
  std::optional<ProgramAnswer> answer = solve(decides ? quadratic_.front().p : left);
  if (!answer) return answer;
  if (decides && answer->objective > tolerance) return std::nullopt;
  if (decides) answer->objective = constant_of(left);
  for (std::size_t v = 1; v < values_.size(); ++v) {
    if (!values_[v]) values_[v] = answer->x[free_[v]];
  }
  return answer;
}

struct Statement {
  std::vector<std::string> names;
  std::size_t binaries = 0;
  std::vector<Interval> bounds;
  std::vector<Condition> conditions;
  Polynomial objective;
};

Statement stated(const MirFile& file) {
  Statement problem;
  problem.names = file.variables();
  problem.binaries = file.binary.size();
  if (problem.binaries > most_binaries) throw std::runtime_error("too many binary variables");
  problem.bounds.resize(problem.names.size() + 1);
  for (std::size_t v = 1; v < problem.bounds.size(); ++v) {
    const std::string& name = problem.names[v - 1];
    const bool is_positive = std::ranges::count(file.positive, name) > 0;
    if (is_positive) problem.bounds[v].low = 0;
    if (file.lower.contains(name)) problem.bounds[v].low = file.lower.at(name);
    if (file.upper.contains(name)) problem.bounds[v].high = file.upper.at(name);
  }
  const Algebra algebra(problem.names);
  for (const MirStatement& statement : file.statements) {
    const Real sign = statement.relation == ">=" ? -1 : 1;
    Polynomial p = combined(algebra.of(statement.left), algebra.of(statement.right), -1);
    problem.conditions.push_back({combined({}, p, sign), statement.relation == "=="});
  }
  problem.objective = combined({}, algebra.of(file.objective), file.maximize ? -1 : 1);
  return problem;
}

std::optional<MirSolved> try_all_choices(const MirFile& file) {
  const Statement problem = stated(file);
  std::optional<MirSolved> best;
  for (unsigned bits = 0; bits < 1U << problem.binaries; ++bits) {
    std::vector<std::optional<Real>> values(problem.names.size() + 1);
    values[0] = 1;
    for (std::size_t v = 0; v < problem.binaries; ++v) values[v + 1] = bits >> v & 1U;
    Choice choice(problem.names.size(), std::move(values), problem.bounds);
    if (!choice.take(problem.conditions)) continue;
    const std::optional<ProgramAnswer> answer = choice.minimise(problem.objective);
    if (!answer) continue;
    const auto objective = static_cast<double>(answer->objective);
    if (best && objective >= best->objective) continue;
    best = MirSolved{{}, objective, {}};
    for (std::size_t v = 0; v < problem.names.size(); ++v) {
      best->values[problem.names[v]] = static_cast<double>(*choice.values()[v + 1]);
    }
  }
  const auto cutoff = file.options.find("cutoff");
  if (best && cutoff != file.options.end() && best->objective > cutoff->second) best.reset();
  if (best && file.maximize) best->objective = -best->objective;
  return best;
}

// --- one equation over a box --------------------------------------------------------------------

double number_or(const MirValues& values, const std::string& name, double otherwise) {
  const auto found = values.find(name);
  return found == values.end() ? otherwise : found->second;
}

// trv_z is what the equation says of the inputs.
std::optional<MirSolved> search_inputs(const MirFile& file) {
  if (file.statements.size() != 1) throw std::runtime_error("not one equation");
  std::vector<std::string> inputs = file.free;
  std::erase(inputs, "trv_z");
  const auto values_at = [&](const std::vector<double>& x, double z) {
    MirValues values{{"trv_z", z}};
    for (std::size_t d = 0; d < inputs.size(); ++d) values[inputs[d]] = x[d];
    return values;
  };
  BoxProblem problem;
  for (const std::string& name : inputs) {
    problem.lowest.push_back(file.lower.at(name));
    problem.highest.push_back(file.upper.at(name));
  }
  problem.value = [&](const std::vector<double>& x) {
    const MirValues values = values_at(x, 0.0);
    const MirStatement& equation = file.statements.front();
    return evaluate(equation.left, values) - evaluate(equation.right, values);
  };
  problem.maximize = file.maximize;
  problem.least_wanted = number_or(file.lower, "trv_z", problem.least_wanted);
  problem.most_wanted = number_or(file.upper, "trv_z", problem.most_wanted);
  problem.count = static_cast<std::size_t>(number_or(file.options, "NumSol", 1.0));
  problem.apart = number_or(file.options, "isoltol", 0.0);
  std::optional<MirSolved> solved;
  for (const BoxPoint& point : search_box(problem)) {
    MirValues values = values_at(point.x, point.value);
    if (solved) {
      solved->others.push_back(std::move(values));
    } else {
      solved = MirSolved{std::move(values), point.value, {}};
    }
  }
  return solved;
}

}  // namespace

std::optional<MirSolved> solve_mir(const MirFile& file) {
  const bool is_box = std::ranges::count(file.free, std::string("trv_z")) > 0;
  return is_box ? search_inputs(file) : try_all_choices(file);
}

}  // namespace torve::test
