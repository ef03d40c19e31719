#include "gms_numbers.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace torve::test {

void for_each_element(const GmsProgram& program, const std::vector<GmsIndex>& indices,
                      GmsElements& elements, const std::function<void()>& work, std::size_t from) {
  if (from == indices.size()) return work();
  const GmsIndex& index = indices[from];
  if (index.is_element || elements.contains(index.name)) {
    return for_each_element(program, indices, elements, work, from + 1);
  }
  for (const std::string& element : program.set(index.name).elements) {
    elements[index.name] = element;
    for_each_element(program, indices, elements, work, from + 1);
  }
  elements.erase(index.name);
}

std::string full_name(const GmsExpression& reference, const GmsElements& elements) {
  std::string name = reference.name;
  for (std::size_t i = 0; i < reference.indices.size(); ++i) {
    const GmsIndex& index = reference.indices[i];
    name += i == 0 ? '(' : ',';
    name += index.is_element ? index.name : elements.at(index.name);
  }
  if (!reference.indices.empty()) name += ')';
  return name;
}

double apply_gms_operation(const std::string& name, double a, double b) {
  if (name == "+") return a + b;
  if (name == "-") return a - b;
  if (name == "*") return a * b;
  if (name == "/") {
    if (b == 0.0) throw std::runtime_error("division by zero");
    return a / b;
  }
  if (name == "**") return std::pow(a, b);
  const bool holds = name == "<"     ? a < b
                     : name == ">"   ? a > b
                     : name == "<="  ? a <= b
                     : name == ">="  ? a >= b
                     : name == "eq"  ? a == b
                     : name == "ne"  ? a != b
                     : name == "and" ? a != 0.0 && b != 0.0
                                     : a != 0.0 || b != 0.0;
  return holds ? 1.0 : 0.0;
}

double apply_gms_function(const std::string& name, double x) {
  if (name == "abs") return std::abs(x);
  if (name == "log") return std::log(x);
  if (name == "exp") return std::exp(x);
  if (name == "sin") return std::sin(x);
  if (name == "cos") return std::cos(x);
  return std::sqrt(x);
}

double membership(const GmsProgram& program, const GmsExpression& reference,
                  const GmsElements& elements) {
  const auto& all = program.set(reference.name).elements;
  const std::string& element = elements.at(reference.indices[0].name);
  return std::ranges::find(all, element) != all.end() ? 1.0 : 0.0;
}

double place_of_element(const GmsProgram& program, const GmsExpression& call,
                        const GmsElements& elements) {
  const auto& all = program.set(call.indices[0].name).elements;
  const std::string& element = elements.at(call.indices[0].name);
  return static_cast<double>(std::ranges::find(all, element) - all.begin() + 1);
}

double number_of(const GmsProgram& program, const GmsExpression& expression, GmsElements& elements,
                 const GmsLookup& lookup) {
  using Kind = GmsExpression::Kind;
  const auto argument = [&](std::size_t i) {
    return number_of(program, expression.arguments[i], elements, lookup);
  };
  switch (expression.kind) {
    case Kind::number:
      return expression.number;
    case Kind::reference:
      if (program.symbol(expression.name).kind == GmsKind::set) {
        return membership(program, expression, elements);
      }
      return lookup(expression, full_name(expression, elements));
    case Kind::negation:
      return -argument(0);
    case Kind::operation:
      return apply_gms_operation(expression.name, argument(0), argument(1));
    case Kind::call:
      if (expression.name == "ord") return place_of_element(program, expression, elements);
      if (expression.name == "power") return std::pow(argument(0), argument(1));
      return apply_gms_function(expression.name, argument(0));
    case Kind::sum:
      break;
  }
  double total = 0.0;
  for_each_element(program, expression.indices, elements, [&] {
    if (expression.arguments.size() == 1 || argument(1) != 0.0) total += argument(0);
  });
  return total;
}

}  // namespace torve::test
