#include "mirsolve/language/problem_reader.h"

#include <array>
#include <bitset>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "mirsolve/language/formula_reader.h"
#include "mirsolve/language/names.h"
#include "mirsolve/language/number.h"
#include "mirsolve/language/options.h"
#include "mirsolve/language/tokens.h"

namespace mirsolve {

namespace {

class ProblemReader {
 public:
  ProblemReader(std::string_view text, Problem& problem, const Limits& limits)
      : tokens_(text),
        problem_(problem),
        limits_(limits),
        formulas_(tokens_, problem, variables_, limits) {}

  bool read();
  const std::string& error() const { return tokens_.error(); }

 private:
  // Words open sections, in letters of either case and in any order, but for variables, which stand
  // ahead of what uses them. Two words of one place open the same section.
  struct Section {
    std::string_view word;
    std::size_t place;
    bool (ProblemReader::*read)();
  };
  static constexpr std::size_t places = 9;
  static const std::array<Section, 11> sections;

  using NameSet = std::unordered_map<std::string_view, Token>;

  bool expect(std::string_view sign, Slip slip);
  bool take_name(Token& name);
  template <class Take>
  bool read_list(const Take& take);
  template <class Take>
  bool read_values(const Take& take);

  bool read_options();
  bool read_binary() { return declare(VariableKind::binary); }
  bool read_positive() { return declare(VariableKind::positive); }
  bool read_free() { return declare(VariableKind::free); }
  bool declare(VariableKind kind);
  bool read_lower() { return read_bounds(&Variable::lower); }
  bool read_upper() { return read_bounds(&Variable::upper); }
  bool read_bounds(double Variable::*side);
  bool read_start();
  bool read_listed();
  bool read_objective();

  bool read_part();
  bool read_statement(const Token& name);
  bool read_right_side(const Token& name, Statement& statement);
  bool check_bounds();
  bool check_lists();

  Tokens tokens_;
  Problem& problem_;
  const Limits& limits_;
  VariableIndex variables_;
  FormulaReader formulas_;
  std::bitset<places> seen_;
  std::vector<Token> bounded_;  // the last bound of each variable
  NameSet listed_;
  NameSet stated_;
};

const std::array<ProblemReader::Section, 11> ProblemReader::sections = {{
    {"OPTIONS", 0, &ProblemReader::read_options},
    {"BINARY_VARIABLES", 1, &ProblemReader::read_binary},
    {"POSITIVE_VARIABLES", 2, &ProblemReader::read_positive},
    {"VARIABLES", 3, &ProblemReader::read_free},
    {"VARIABLE", 3, &ProblemReader::read_free},
    {"LOWER_BOUNDS", 4, &ProblemReader::read_lower},
    {"UPPER_BOUNDS", 5, &ProblemReader::read_upper},
    {"EQUATIONS", 6, &ProblemReader::read_listed},
    {"EQUATION", 6, &ProblemReader::read_listed},
    {"OBJ", 7, &ProblemReader::read_objective},
    {"STARTING_POINT", 8, &ProblemReader::read_start},
}};
constexpr std::size_t objective_place = 7;

// --- parts of sections --------------------------------------------------------------------------

bool ProblemReader::expect(std::string_view sign, Slip slip) {
  return tokens_.accept(sign) || tokens_.fail(slip);
}

bool ProblemReader::take_name(Token& name) {
  name = tokens_.now();
  if (name.kind != TokenKind::name) return tokens_.fail(Slip::name_expected);
  tokens_.advance();
  return true;
}

// Names between commas, or none, up to a semicolon.
template <class Take>
bool ProblemReader::read_list(const Take& take) {
  if (tokens_.accept(";")) return true;
  do {
    Token name;
    if (!take_name(name) || !take(name)) return false;
  } while (tokens_.accept(","));
  return expect(";", Slip::semicolon_expected);
}

// Lines "name: number ;" between braces.
template <class Take>
bool ProblemReader::read_values(const Take& take) {
  if (!expect("{", Slip::opening_expected)) return false;
  std::unordered_set<std::string_view> names;
  while (!tokens_.accept("}")) {
    Token name = tokens_.now();
    if (name.kind != TokenKind::name) return tokens_.fail(Slip::closing_expected);
    tokens_.advance();
    if (!names.insert(name.text).second) return tokens_.fail(Slip::value_twice, name);
    if (names.size() > limits_.variables) return tokens_.fail(Slip::too_many_variables, name);
    double value = 0.0;
    const bool is_read = expect(":", Slip::colon_expected);
    const Token at_value = tokens_.now();
    if (!is_read || !read_signed_number(tokens_, value) || !take(name, value, at_value) ||
        !expect(";", Slip::semicolon_expected)) {
      return false;
    }
  }
  return true;
}

// --- sections -----------------------------------------------------------------------------------

bool ProblemReader::read_options() {
  constexpr std::size_t most_notes = 20;
  constexpr std::size_t most_characters = 23;
  return read_values([&](const Token& name, double value, const Token& at_value) {
    const OptionRow* const row = find_option(name.text);
    if (row != nullptr) return store_option(problem_.options, *row, value, tokens_, at_value);
    if (problem_.oddities.size() < most_notes) {
      note(problem_, "unknown option " + std::string(name.text.substr(0, most_characters)));
    }
    return true;
  });
}

bool ProblemReader::declare(VariableKind kind) {
  return read_list([&](const Token& name) {
    if (problem_.variables.size() == limits_.variables) {
      return tokens_.fail(Slip::too_many_variables, name);
    }
    const int index = static_cast<int>(problem_.variables.size());
    if (!variables_.emplace(name.text, index).second) {
      return tokens_.fail(Slip::declared_twice, name);
    }
    Variable variable;
    variable.name = name.text;
    variable.kind = kind;
    if (kind != VariableKind::free) variable.lower = 0.0;
    if (kind == VariableKind::binary) variable.upper = 1.0;
    problem_.variables.push_back(std::move(variable));
    bounded_.push_back(name);
    return true;
  });
}

bool ProblemReader::read_bounds(double Variable::*side) {
  return read_values([&](const Token& name, double value, const Token& at_value) {
    const auto found = variables_.find(name.text);
    if (found == variables_.end()) return tokens_.fail(Slip::undeclared, name);
    const auto index = static_cast<std::size_t>(found->second);
    Variable& variable = problem_.variables[index];
    const bool is_binary = variable.kind == VariableKind::binary;
    if (is_binary && value != 0.0 && value != 1.0) {
      return tokens_.fail(Slip::bounds_of_binary, at_value);
    }
    variable.*side = value;
    bounded_[index] = name;
    return true;
  });
}

bool ProblemReader::read_start() {
  return read_values([&](const Token& name, double value, const Token&) {
    const auto found = variables_.find(name.text);
    if (found == variables_.end()) return tokens_.fail(Slip::undeclared, name);
    problem_.variables[static_cast<std::size_t>(found->second)].start = value;
    return true;
  });
}

bool ProblemReader::read_listed() {
  return read_list([&](const Token& name) {
    if (listed_.size() == limits_.statements) return tokens_.fail(Slip::too_many_statements, name);
    if (listed_.emplace(name.text, name).second) return true;
    const bool is_odd = belongs_to(Oddity::name_twice, name.text);
    return (is_odd && note(problem_, Oddity::name_twice)) || tokens_.fail(Slip::listed_twice, name);
  });
}

bool ProblemReader::read_objective() {
  if (!expect(":", Slip::colon_expected)) return false;
  problem_.maximize = same_word(tokens_.now().text, "maximize");
  if (!problem_.maximize && !same_word(tokens_.now().text, "minimize")) {
    return tokens_.fail(Slip::goal_expected);
  }
  tokens_.advance();
  const std::optional<NodeId> formula = formulas_.read(FormulaReader::Place::objective, {});
  if (!formula) return false;
  problem_.objective = *formula;
  if (tokens_.is(")")) return tokens_.fail(Slip::unopened_bracket);
  return expect(";", Slip::semicolon_expected);
}

// --- statements ---------------------------------------------------------------------------------

// A statement of the format's odd kind may end with a lone name.
bool ProblemReader::read_right_side(const Token& name, Statement& statement) {
  const std::optional<NodeId> right = formulas_.read(FormulaReader::Place::right, name.text);
  if (!right) return false;
  statement.right = *right;
  if (tokens_.accept(";")) return true;
  const bool is_name = problem_.graph[*right].operation == Operation::variable;
  if (is_name && belongs_to(Oddity::no_semicolon, name.text) && !tokens_.is(")")) {
    note(problem_, Oddity::no_semicolon);
    return true;
  }
  return tokens_.fail(tokens_.is(")") ? Slip::unopened_bracket : Slip::semicolon_expected);
}

bool ProblemReader::read_statement(const Token& name) {
  struct RelationRow {
    std::string_view sign;
    Relation relation;
  };
  constexpr std::array relations = {
      RelationRow{"<=", Relation::at_most}, RelationRow{">=", Relation::at_least},
      RelationRow{"==", Relation::equal}, RelationRow{"=", Relation::equal}};
  if (stated_.size() == limits_.statements) return tokens_.fail(Slip::too_many_statements, name);
  if (!stated_.emplace(name.text, name).second) return tokens_.fail(Slip::stated_twice, name);
  const std::optional<NodeId> left = formulas_.read(FormulaReader::Place::left, name.text);
  if (!left) return false;
  if (tokens_.is(")")) {
    if (!belongs_to(Oddity::stray_bracket, name.text)) {
      return tokens_.fail(Slip::unopened_bracket);
    }
    note(problem_, Oddity::stray_bracket);
    tokens_.advance();
  }
  const auto row = std::ranges::find_if(
      relations, [&](const RelationRow& relation) { return tokens_.accept(relation.sign); });
  if (row == relations.end()) return tokens_.fail(Slip::relation_expected);
  Statement statement{std::string(name.text), *left, row->relation, 0};
  if (!read_right_side(name, statement)) return false;
  problem_.statements.push_back(std::move(statement));
  return true;
}

// --- the whole ----------------------------------------------------------------------------------

// A section or a statement.
bool ProblemReader::read_part() {
  const Token word = tokens_.now();
  if (word.kind != TokenKind::name) return tokens_.fail(Slip::section_expected);
  tokens_.advance();
  const auto section = std::ranges::find_if(
      sections, [&](const Section& row) { return same_word(row.word, word.text); });
  if (section == sections.end()) {
    return expect(":", Slip::colon_expected) && read_statement(word);
  }
  if (seen_[section->place]) return tokens_.fail(Slip::section_twice, word);
  seen_.set(section->place);
  return (this->*section->read)();
}

bool ProblemReader::check_bounds() {
  for (std::size_t i = 0; i < bounded_.size(); ++i) {
    const Variable& variable = problem_.variables[i];
    if (variable.lower > variable.upper) return tokens_.fail(Slip::bounds_cross, bounded_[i]);
  }
  return true;
}

// The first in the text is told.
bool ProblemReader::check_lists() {
  const auto first_missing = [&](const NameSet& names, const NameSet& others, Slip slip) {
    const Token* first = nullptr;
    for (const auto& [name, token] : names) {
      if (others.contains(name)) continue;
      if (first == nullptr || token.text.data() < first->text.data()) first = &token;
    }
    return first == nullptr || tokens_.fail(slip, *first);
  };
  return first_missing(listed_, stated_, Slip::not_stated) &&
         first_missing(stated_, listed_, Slip::not_listed);
}

bool ProblemReader::read() {
  while (tokens_.now().kind != TokenKind::end) {
    if (!read_part()) return false;
  }
  if (tokens_.has_failed()) return false;
  if (!seen_[objective_place]) return tokens_.fail(Slip::no_objective);
  return check_bounds() && check_lists();
}

}  // namespace

std::optional<Problem> read_problem(std::string_view text, std::string title, std::string& error,
                                    const Limits& limits) {
  Problem problem;
  problem.title = std::move(title);
  const bool is_too_long = text.size() > limits.text;
  ProblemReader reader(is_too_long ? std::string_view() : text, problem, limits);
  if (!is_too_long && reader.read()) return problem;
  error = reader.error();
  if (is_too_long) {
    error = slip_rows[static_cast<std::size_t>(Slip::text_too_long)].words;
  }
  return std::nullopt;
}

}  // namespace mirsolve
