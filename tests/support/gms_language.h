// A small reader of the GAMS language, for the programs that TORVE writes: it knows the statements
// that they may use and nothing else. It is written from the language, not from the writer, so that
// a slip of the writer can't hide in an expected text.
#pragma once

#include <array>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace torve::test {

// What the reader lets pass although the language asks for something else, each by name.
struct GmsOddity {
  std::string_view name;
  std::string_view meaning;
};
inline constexpr std::array gms_oddities = {
    GmsOddity{"file_without_semicolon",
              "file crres has no semicolon; put on the next line is a word of the language, which "
              "ends the statement"},
};

// An index of a symbol: the name of a set, or an element in quotes.
struct GmsIndex {
  std::string name;
  bool is_element = false;
};

struct GmsExpression {
  enum class Kind { number, reference, negation, operation, call, sum };
  Kind kind = Kind::number;
  double number = 0.0;
  std::string name;    // of a symbol, an operation or a function; names are in small letters
  std::string suffix;  // l, lo, up, modelstat ...
  std::vector<GmsIndex> indices;         // of a reference; what a sum runs over
  std::vector<GmsExpression> arguments;  // of a sum: its body and, if any, its condition
};

enum class GmsKind { set, alias, parameter, variable, equation, model, file };

struct GmsSymbol {
  GmsKind kind = GmsKind::set;
  std::string type;                   // of a variable: free, binary, positive
  std::vector<std::string> domain;    // names of sets; "*" for any elements
  std::vector<std::string> elements;  // of a set
  std::string same_as;                // of an alias: its set
  bool has_domain = false;            // it was declared with one
  bool is_used = false;               // something depends on it
  bool is_defined = false;            // of an equation: its statement stands
};

struct GmsEquation {
  std::string name;
  std::vector<GmsIndex> indices;
  std::vector<GmsExpression> condition;  // at most one
  GmsExpression left, right;
  char relation = 'e';  // e, l, g
};

struct GmsAssignment {
  GmsExpression target;
  GmsExpression value;
};

// One thing of a put statement: an expression with its width and decimals, or a new line.
struct GmsPutItem {
  bool is_new_line = false;
  GmsExpression value;
  int width = -1;
  int decimals = -1;
};

// variable = symbol of a gdx file, which has one index more than in the model: the file that it was
// merged from.
struct GmsLoad {
  std::string variable;
  std::string symbol;
};

// What is done once the model is solved.
struct GmsStatement {
  enum class Kind { assignment, put, loop, branch, execute, load };
  Kind kind = Kind::put;
  GmsAssignment assignment;
  std::vector<GmsPutItem> items;  // of a put
  std::vector<GmsIndex> sets;     // of a loop
  GmsExpression condition;        // of a branch
  std::string text;               // a command, or the file that is loaded
  std::vector<GmsLoad> loads;
  std::vector<GmsStatement> body;  // of a loop or branch
};

struct GmsProgram {
  std::map<std::string, GmsSymbol> symbols;
  std::vector<GmsAssignment> assignments;  // in order, those ahead of the solve statement
  std::vector<GmsEquation> equations;
  std::map<std::string, std::string> options;
  std::map<std::string, std::vector<std::string>> option_files;
  std::string model, objective, solved_by;
  bool minimizes = false;
  std::string put_file;  // its internal name
  std::vector<GmsStatement> afterwards;
  std::set<std::string> oddities;  // names of those met

  const GmsSymbol& symbol(const std::string& name) const;
  // The set behind an alias.
  const GmsSymbol& set(const std::string& name) const;
};

// Throws std::runtime_error, which names the line, at the first thing that isn't GAMS: an unknown
// statement, a name that isn't declared or declared twice, an index that nothing controls or that
// is of another set, an equation without a statement, a bracket that isn't closed.
GmsProgram read_gms(std::string_view text);

// Names that nothing depends on.
std::vector<std::string> unused_names(const GmsProgram& program);

}  // namespace torve::test
