#include "gms_language.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <utility>

#include "gms_expressions.h"

namespace torve::test {

namespace {

// A label of a set: letters, and the number at its end by which a range counts.
struct Label {
  std::string stem;
  int number = -1;
};

Label label_of(const std::string& text) {
  const std::size_t digits = text.find_last_not_of("0123456789") + 1;
  Label label{text.substr(0, digits), -1};
  std::from_chars(text.data() + digits, text.data() + text.size(), label.number);
  return label;
}

// What a command may name between percent signs.
bool has_known_variables(const std::string& command) {
  constexpr std::string_view scratch_folder = "%gams.scrdir%";
  std::string rest = command;
  for (std::size_t at = rest.find(scratch_folder); at != std::string::npos;
       at = rest.find(scratch_folder)) {
    rest.erase(at, scratch_folder.size());
  }
  return rest.find('%') == std::string::npos;
}

class Parser : GmsExpressionReader {
 public:
  explicit Parser(std::string_view text) : GmsExpressionReader(text) {}

  GmsProgram parse() {
    while (peek().kind != GmsToken::Kind::end) parse_statement();
    for (const auto& [name, symbol] : program_.symbols) {
      if (symbol.kind == GmsKind::equation && !symbol.is_defined) {
        refuse("the equation " + name + " has no statement");
      }
    }
    if (program_.model.empty()) refuse("nothing is solved");
    return std::move(program_);
  }

 private:
  using Kind = GmsStatement::Kind;
  using Body = std::vector<GmsStatement>;

  void parse_statement() {
    controlled_.clear();
    if (parse_declaration()) return;
    if (take_word("solve")) return parse_solve();
    if (!program_.model.empty()) return parse_executed(program_.afterwards);
    if (take_word("option")) return parse_option();
    parse_assignment_or_equation();
  }

  // --- declarations ---

  bool parse_declaration() {
    if (take_word("set")) return parse_set(), true;
    if (take_word("alias")) return parse_alias(), true;
    if (take_word("parameters") || take_word("parameter")) {
      return parse_list(GmsKind::parameter, "free"), true;
    }
    if (take_word("variables") || take_word("variable")) {
      return parse_list(GmsKind::variable, "free"), true;
    }
    if (is_word("binary") || is_word("positive")) {
      const std::string type = take().text;
      if (!take_word("variable")) expect_word("variables");
      return parse_list(GmsKind::variable, type), true;
    }
    if (take_word("equations") || take_word("equation")) {
      return parse_list(GmsKind::equation, ""), true;
    }
    if (take_word("model")) return parse_model(), true;
    if (take_word("file")) return parse_file(), true;
    return false;
  }
  void parse_set() {
    GmsSymbol& symbol = declare(take_name(), GmsKind::set);
    parse_domain(symbol);
    if (symbol.domain.empty()) symbol.domain = {"*"};
    expect("/");
    do {
      parse_elements(symbol);
    } while (take_sign(","));
    expect("/");
    expect(";");
  }
  Label take_label() {
    if (peek().kind != GmsToken::Kind::number && peek().kind != GmsToken::Kind::name) {
      refuse("a label is missing");
    }
    const Label label = label_of(peek().text);
    if (label.number < 0) refuse("a label without a number at its end");
    take();
    return label;
  }
  // 3 or 1*5 or case1*case5. A range may count downward.
  void parse_elements(GmsSymbol& symbol) {
    const Label first = take_label();
    const Label last = take_sign("*") ? take_label() : first;
    if (first.stem != last.stem) refuse("a range of labels that differ in more than a number");
    const int step = first.number <= last.number ? 1 : -1;
    for (int number = first.number; number != last.number + step; number += step) {
      const std::string name = first.stem + std::to_string(number);
      if (std::ranges::find(symbol.elements, name) != symbol.elements.end()) {
        refuse("an element twice");
      }
      if (symbol.domain[0] != "*") {
        const auto& outer = find_set(symbol.domain[0]).elements;
        if (std::ranges::find(outer, name) == outer.end()) refuse("an element of no set");
      }
      symbol.elements.push_back(name);
    }
  }
  void parse_alias() {
    expect("(");
    const std::string name = take_name();
    find_set(name);
    expect(",");
    declare(take_name(), GmsKind::alias).same_as = name;
    expect(")");
    expect(";");
  }
  void parse_list(GmsKind kind, const std::string& type) {
    do {
      GmsSymbol& symbol = declare(take_name(), kind);
      symbol.type = type;
      parse_domain(symbol);
    } while (take_sign(","));
    expect(";");
  }
  void parse_model() {
    declare(take_name(), GmsKind::model);
    expect("/");
    expect_word("all");
    expect("/");
    expect(";");
  }
  void parse_file() {
    declare(take_name(), GmsKind::file);
    if (is_word("put")) {
      program_.oddities.insert("file_without_semicolon");
    } else {
      expect(";");
    }
  }

  // --- the model ---

  void parse_option() {
    const std::string name = take_name();
    expect("=");
    if (!program_.options.try_emplace(name, peek().text).second) refuse("an option twice");
    if (peek().kind == GmsToken::Kind::name) {
      take();
    } else {
      take_number();
    }
    expect(";");
  }
  void parse_solve() {
    if (!program_.model.empty()) refuse("a second solve");
    program_.model = take_name();
    GmsSymbol& model = find(program_.model);
    if (model.kind != GmsKind::model) refuse("no model");
    model.is_used = true;
    program_.minimizes = is_word("minimizing");
    if (!take_word("minimizing")) expect_word("maximizing");
    program_.objective = take_name();
    GmsSymbol& objective = find(program_.objective);
    if (objective.kind != GmsKind::variable || objective.type != "free") refuse("no objective");
    expect_word("using");
    program_.solved_by = take_name();
    expect(";");
  }
  void parse_assignment_or_equation() {
    if (peek().kind == GmsToken::Kind::name && find(peek().text).kind == GmsKind::equation) {
      return parse_equation(parse_reference(take_name(), true));
    }
    program_.assignments.push_back(parse_assignment());
  }
  GmsAssignment parse_assignment() {
    const std::string name = take_name();
    const GmsKind kind = find(name).kind;
    GmsExpression target = parse_reference(name, true);
    if (kind == GmsKind::set || kind == GmsKind::alias) refuse("a set has no value");
    if (kind == GmsKind::equation) refuse("an equation has no value");
    if (kind == GmsKind::variable && target.suffix.empty()) refuse("a variable has no value");
    expect("=");
    GmsExpression value = parse_expression();
    expect(";");
    return {std::move(target), std::move(value)};
  }
  void parse_equation(GmsExpression target) {
    GmsSymbol& symbol = find(target.name);
    if (symbol.is_defined) refuse("a second statement of " + target.name);
    symbol.is_defined = symbol.is_used = true;
    GmsEquation equation;
    equation.name = target.name;
    equation.indices = std::move(target.indices);
    if (take_sign("$")) equation.condition.push_back(parse_condition());
    expect("..");
    equation.left = parse_expression();
    for (const char relation : {'l', 'g', 'e'}) {
      if (!take_sign(std::string{'=', relation, '='})) continue;
      equation.relation = relation;
      equation.right = parse_expression();
      expect(";");
      program_.equations.push_back(std::move(equation));
      return;
    }
    refuse("a relation is missing");
  }

  // --- what is executed once the model is solved ---

  void parse_executed(Body& body) {
    const std::size_t outside = controlled_.size();
    if (take_word("put")) {
      parse_put(body);
    } else if (take_word("putclose")) {
      parse_putclose();
    } else if (take_word("loop")) {
      parse_loop(body);
    } else if (take_word("if")) {
      parse_branch(body);
    } else if (take_word("execute")) {
      parse_execute(body);
    } else if (take_word("execute_load")) {
      parse_load(body);
    } else if (take_word("display")) {
      parse_display();
    } else if (take_word("option")) {
      parse_option();
    } else {
      GmsStatement& statement = add(body, Kind::assignment);
      statement.assignment = parse_assignment();
      expect_numbers(statement.assignment.value);
    }
    controlled_.resize(outside);
  }
  static GmsStatement& add(Body& body, Kind kind) {
    body.emplace_back().kind = kind;
    return body.back();
  }
  // A variable by itself has no value here, only an attribute of it.
  void expect_numbers(const GmsExpression& expression) {
    if (expression.kind == GmsExpression::Kind::reference && expression.suffix.empty() &&
        find(expression.name).kind == GmsKind::variable) {
      refuse(expression.name + " has no attribute");
    }
    for (const GmsExpression& argument : expression.arguments) expect_numbers(argument);
  }
  void parse_put(Body& body) {
    GmsStatement put;
    do {
      if (peek().kind == GmsToken::Kind::name && find(peek().text).kind == GmsKind::file &&
          !is_sign(".", 1)) {
        program_.put_file = take_name();
        find(program_.put_file).is_used = true;
        continue;
      }
      parse_put_item(put);
      while (take_sign("/")) put.items.push_back({true, {}, -1, -1});
    } while (take_sign(","));
    expect(";");
    if (!put.items.empty()) body.push_back(std::move(put));
  }
  void parse_put_item(GmsStatement& put) {
    if (program_.put_file.empty()) refuse("no file to put into");
    GmsPutItem item;
    item.value = parse_primary();
    expect_numbers(item.value);
    if (take_sign(":")) item.width = static_cast<int>(take_number());
    if (take_sign(":")) item.decimals = static_cast<int>(take_number());
    put.items.push_back(std::move(item));
  }
  void parse_putclose() {
    if (take_name() != program_.put_file) refuse("another file is open");
    expect(";");
  }
  void parse_loop(Body& body) {
    GmsStatement& loop = add(body, Kind::loop);
    expect("(");
    loop.sets = {parse_controlling_index()};
    parse_body(loop);
  }
  void parse_branch(Body& body) {
    GmsStatement& branch = add(body, Kind::branch);
    expect("(");
    branch.condition = parse_expression();
    expect_numbers(branch.condition);
    parse_body(branch);
  }
  // , statements ); where none of them declares anything.
  void parse_body(GmsStatement& outer) {
    expect(",");
    while (!is_sign(")")) {
      if (peek().kind == GmsToken::Kind::end) refuse("')' is missing");
      parse_executed(outer.body);
    }
    expect(")");
    expect(";");
  }
  void parse_execute(Body& body) {
    GmsStatement& statement = add(body, Kind::execute);
    statement.text = take_quoted();
    if (!has_known_variables(statement.text)) refuse("an unknown variable in a command");
    expect(";");
  }
  void parse_load(Body& body) {
    GmsStatement& load = add(body, Kind::load);
    load.text = take_quoted();
    while (take_sign(",")) {
      GmsLoad pair;
      pair.variable = take_variable();
      expect("=");
      pair.symbol = take_variable();
      // The merged file has the name of a solution ahead of the indices.
      if (find(pair.variable).domain.size() != find(pair.symbol).domain.size() + 1) {
        refuse(pair.variable + " has other indices than the file");
      }
      load.loads.push_back(std::move(pair));
    }
    if (load.loads.empty()) refuse("nothing is loaded");
    expect(";");
  }
  std::string take_variable() {
    std::string name = take_name();
    if (find(name).kind != GmsKind::variable) refuse(name + " is no variable");
    return name;
  }
  // All elements are shown, so no index stands here.
  void parse_display() {
    do {
      take_variable();
      expect(".");
      expect_word("l");
    } while (take_sign(","));
    expect(";");
  }
};

}  // namespace

const GmsSymbol& GmsProgram::symbol(const std::string& name) const {
  return symbols.at(name);
}

const GmsSymbol& GmsProgram::set(const std::string& name) const {
  const GmsSymbol& found = symbols.at(name);
  return found.kind == GmsKind::alias ? symbols.at(found.same_as) : found;
}

GmsProgram read_gms(std::string_view text) {
  return Parser(text).parse();
}

std::vector<std::string> unused_names(const GmsProgram& program) {
  std::vector<std::string> names;
  for (const auto& [name, symbol] : program.symbols) {
    if (!symbol.is_used) names.push_back(name);
  }
  return names;
}

}  // namespace torve::test
