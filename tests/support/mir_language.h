// A reader of the language in which problems are written for the solver mirak, made from the
// language alone and strict: what the rules below don't allow is an error with its line. Texts that
// look like slips and belong to the format all the same are rows of a table.
#pragma once

#include <array>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace torve::test {

// The exceptions that the reader makes, each by name.
struct MirOddity {
  std::string_view name;
  std::string_view meaning;
};
inline constexpr std::array mir_oddities = {
    MirOddity{"empty_sum", "a sum without terms is 0: no screened term, or a group without one"},
    MirOddity{"name_twice", "trv_sselimit stands twice in the list of equations"},
    MirOddity{"no_semicolon", "trv_erra_ and trv_errb_ end with the name behind the relation"},
    MirOddity{"stray_bracket", "trv_errb_ closes a bracket that nothing opens"},
    MirOddity{"quote_before_number", "trv_crc_ has a single quote ahead of a column's scale"},
};

class MirError : public std::runtime_error {
 public:
  MirError(int line, const std::string& what)
      : std::runtime_error("line " + std::to_string(line) + ": " + what) {}
};

struct MirExpression {
  enum class Kind { number, name, add, subtract, multiply, divide, power, negate, function };
  Kind kind = Kind::number;
  double value = 0.0;                // of a number
  std::string name;                  // of a name or function
  std::vector<MirExpression> parts;  // operands
};

using MirValues = std::map<std::string, double>;
double evaluate(const MirExpression& expression, const MirValues& values);
double apply_function(const std::string& name, double argument);
void collect_names(const MirExpression& expression, std::set<std::string>& names);

struct MirStatement {
  std::string name;
  MirExpression left;
  std::string relation;  // <=, >= or ==
  MirExpression right;

  // How far the statement is from holding; at most 0 where it holds.
  double violation(const MirValues& values) const;
};

struct MirFile {
  MirValues options;
  std::vector<std::string> binary;
  std::vector<std::string> positive;
  std::vector<std::string> free;
  MirValues lower;
  MirValues upper;
  std::vector<std::string> listed;  // names of equations
  std::vector<MirStatement> statements;
  bool maximize = false;
  MirExpression objective;
  MirValues start;
  std::set<std::string> oddities;  // names of those met

  // Variables in the order in which they are declared.
  std::vector<std::string> variables() const;
  const MirStatement* statement(const std::string& name) const;
};

// Throws a MirError.
MirFile read_mir(std::string_view text);

// What is wrong with the names of a file: used but not declared, declared twice, declared and never
// used, bounded or started without a declaration.
std::vector<std::string> name_complaints(const MirFile& file);

}  // namespace torve::test
