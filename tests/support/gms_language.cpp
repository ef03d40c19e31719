#include "gms_language.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <set>
#include <stdexcept>

#include "gms_tokens.h"

namespace torve::test {

namespace {

using Kind = GmsExpression::Kind;

// Attributes that a statement may set or read, by the kind of symbol.
bool has_suffix(GmsKind kind, const std::string& suffix) {
  static const std::map<GmsKind, std::set<std::string>> known = {
      {GmsKind::variable, {"l", "lo", "up"}},
      {GmsKind::model, {"cutoff", "optfile", "modelstat"}},
      {GmsKind::file, {"pc"}},
  };
  const auto row = known.find(kind);
  return row != known.end() && row->second.contains(suffix);
}

const std::map<std::string, std::size_t>& functions() {
  static const std::map<std::string, std::size_t> table = {
      {"abs", 1}, {"log", 1}, {"exp", 1}, {"sin", 1}, {"cos", 1}, {"sqrt", 1}, {"power", 2}};
  return table;
}

class Parser {
 public:
  explicit Parser(std::string_view text) : source_(split_gms(text)) {
    program_.option_files = source_.option_files;
  }

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
  // --- tokens ---

  [[noreturn]] void refuse(const std::string& what) const {
    throw std::runtime_error(fmt::format("line {}: {}, at '{}'", peek().line, what, peek().text));
  }
  const GmsToken& peek(std::size_t ahead = 0) const {
    return source_.tokens[std::min(next_ + ahead, source_.tokens.size() - 1)];
  }
  GmsToken take() {
    GmsToken token = peek();
    if (next_ + 1 < source_.tokens.size()) ++next_;
    return token;
  }
  bool is_sign(std::string_view sign, std::size_t ahead = 0) const {
    return peek(ahead).kind == GmsToken::Kind::sign && peek(ahead).text == sign;
  }
  bool is_word(std::string_view word) const {
    return peek().kind == GmsToken::Kind::name && peek().text == word;
  }
  bool take_sign(std::string_view sign) {
    if (!is_sign(sign)) return false;
    take();
    return true;
  }
  bool take_word(std::string_view word) {
    if (!is_word(word)) return false;
    take();
    return true;
  }
  void expect(std::string_view sign) {
    if (!take_sign(sign)) refuse(fmt::format("'{}' is missing", sign));
  }
  void expect_word(std::string_view word) {
    if (!take_word(word)) refuse(fmt::format("'{}' is missing", word));
  }
  std::string take_name() {
    if (peek().kind != GmsToken::Kind::name) refuse("a name is missing");
    return take().text;
  }
  double take_number() {
    const bool negative = take_sign("-");
    if (peek().kind != GmsToken::Kind::number) refuse("a number is missing");
    const double value = std::strtod(take().text.c_str(), nullptr);
    return negative ? -value : value;
  }

  // --- symbols ---

  GmsSymbol& find(const std::string& name) {
    const auto found = program_.symbols.find(name);
    if (found == program_.symbols.end()) refuse(name + " isn't declared");
    return found->second;
  }
  GmsSymbol& declare(const std::string& name, GmsKind kind) {
    static const std::set<std::string> reserved = {"sum", "set",  "alias",  "model", "solve",
                                                   "put", "loop", "option", "ord",   "and",
                                                   "or",  "eq",   "abs",    "power"};
    if (reserved.contains(name)) refuse(name + " is a word of the language");
    const auto [symbol, is_new] = program_.symbols.try_emplace(name);
    if (!is_new) refuse(name + " is declared twice");
    symbol->second.kind = kind;
    symbol->second.type = "free";
    return symbol->second;
  }
  GmsSymbol& find_set(const std::string& name) {
    GmsSymbol& symbol = find(name);
    if (symbol.kind == GmsKind::alias) return find(symbol.same_as);
    if (symbol.kind != GmsKind::set) refuse(name + " isn't a set");
    return symbol;
  }
  const std::string& base_name(const std::string& name) {
    const GmsSymbol& symbol = find(name);
    return symbol.kind == GmsKind::alias ? symbol.same_as : name;
  }
  // Whether every element of one set is one of the other.
  bool is_within(const std::string& name, const std::string& domain) {
    std::string set = base_name(name);
    if (domain == "*") return true;
    while (set != base_name(domain)) {
      const GmsSymbol& symbol = find(set);
      if (symbol.domain.empty() || symbol.domain[0] == "*") return false;
      set = base_name(symbol.domain[0]);
    }
    return true;
  }

  // (i,j) behind a declared name.
  void parse_domain(GmsSymbol& symbol) {
    if (!take_sign("(")) return;
    symbol.has_domain = true;
    do {
      const std::string name = take_name();
      find_set(name).is_used = true;
      find(name).is_used = true;
      symbol.domain.push_back(name);
    } while (take_sign(","));
    expect(")");
  }

  // The indices of a reference. `controls`: they bind their sets for what follows.
  std::vector<GmsIndex> parse_indices(const GmsSymbol& symbol, bool controls) {
    std::vector<GmsIndex> indices;
    if (take_sign("(")) {
      do {
        indices.push_back(parse_index(symbol, indices.size(), controls));
      } while (take_sign(","));
      expect(")");
    }
    const bool takes_any = symbol.kind == GmsKind::equation && !symbol.has_domain;
    if (!takes_any && indices.size() != symbol.domain.size()) refuse("wrong number of indices");
    return indices;
  }
  GmsIndex parse_index(const GmsSymbol& symbol, std::size_t place, bool controls) {
    const bool is_element = peek().kind == GmsToken::Kind::element;
    const GmsIndex index{is_element ? take().text : take_name(), is_element};
    const std::string domain = place < symbol.domain.size() ? symbol.domain[place] : "*";
    if (is_element) {
      if (domain == "*") refuse("an element of no set");
      const auto& elements = find_set(domain).elements;
      if (std::ranges::find(elements, index.name) == elements.end()) {
        refuse(fmt::format("{} has no element {}", domain, index.name));
      }
      return index;
    }
    find_set(index.name).is_used = true;
    find(index.name).is_used = true;
    if (!is_within(index.name, domain)) refuse(index.name + " is of another set");
    if (controls) {
      controlled_.push_back(index.name);
    } else if (std::ranges::find(controlled_, index.name) == controlled_.end()) {
      refuse(index.name + " isn't controlled");
    }
    return index;
  }

  // --- expressions, loosest binding first ---

  GmsExpression operation(std::string name, GmsExpression left, GmsExpression right) {
    GmsExpression made;
    made.kind = Kind::operation;
    made.name = std::move(name);
    made.arguments.push_back(std::move(left));
    made.arguments.push_back(std::move(right));
    return made;
  }
  GmsExpression parse_expression() {
    GmsExpression left = parse_conjunction();
    while (take_word("or")) left = operation("or", std::move(left), parse_conjunction());
    return left;
  }
  GmsExpression parse_conjunction() {
    GmsExpression left = parse_comparison();
    while (take_word("and")) left = operation("and", std::move(left), parse_comparison());
    return left;
  }
  GmsExpression parse_comparison() {
    GmsExpression left = parse_sum_of_terms();
    for (const std::string sign : {"<=", ">=", "<", ">"}) {
      if (take_sign(sign)) return operation(sign, std::move(left), parse_sum_of_terms());
    }
    if (take_word("eq")) return operation("eq", std::move(left), parse_sum_of_terms());
    return left;
  }
  GmsExpression parse_sum_of_terms() {
    GmsExpression left;
    if (take_sign("-")) {
      left.kind = Kind::negation;
      left.arguments.push_back(parse_product());
    } else {
      take_sign("+");
      left = parse_product();
    }
    while (is_sign("+") || is_sign("-")) {
      const std::string sign = take().text;
      left = operation(sign, std::move(left), parse_product());
    }
    return left;
  }
  GmsExpression parse_product() {
    GmsExpression left = parse_power();
    while (is_sign("*") || is_sign("/")) {
      const std::string sign = take().text;
      left = operation(sign, std::move(left), parse_power());
    }
    return left;
  }
  GmsExpression parse_power() {
    GmsExpression left = parse_primary();
    if (take_sign("**")) left = operation("**", std::move(left), parse_primary());
    return left;
  }
  GmsExpression parse_primary() {
    GmsExpression made;
    if (peek().kind == GmsToken::Kind::number) {
      made.number = take_number();
      return made;
    }
    if (take_sign("(")) {
      made = parse_expression();
      expect(")");
      return made;
    }
    const std::string name = take_name();
    if (name == "sum") return parse_sum();
    if (name == "ord") return parse_ord();
    if (const auto function = functions().find(name); function != functions().end()) {
      return parse_call(name, function->second);
    }
    made = parse_reference(name, false);
    GmsSymbol& symbol = find(name);
    symbol.is_used = true;
    if (symbol.kind == GmsKind::equation || symbol.kind == GmsKind::alias) {
      refuse(name + " has no value");
    }
    return made;
  }
  GmsExpression parse_reference(const std::string& name, bool controls) {
    GmsExpression made;
    made.kind = Kind::reference;
    made.name = name;
    const GmsSymbol& symbol = find(name);
    if (take_sign(".")) {
      made.suffix = take_name();
      if (!has_suffix(symbol.kind, made.suffix)) refuse("no attribute " + made.suffix);
    }
    if (symbol.kind == GmsKind::model || symbol.kind == GmsKind::file) return made;
    made.indices = parse_indices(symbol, controls);
    return made;
  }
  GmsExpression parse_call(const std::string& name, std::size_t arguments) {
    GmsExpression made;
    made.kind = Kind::call;
    made.name = name;
    expect("(");
    do {
      made.arguments.push_back(parse_expression());
    } while (take_sign(","));
    expect(")");
    if (made.arguments.size() != arguments) refuse("wrong number of arguments of " + name);
    return made;
  }
  GmsExpression parse_ord() {
    GmsExpression made;
    made.kind = Kind::call;
    made.name = "ord";
    expect("(");
    made.indices.push_back(parse_index(GmsSymbol{}, 0, false));
    expect(")");
    return made;
  }
  GmsExpression parse_sum() {
    GmsExpression made;
    made.kind = Kind::sum;
    made.name = "sum";
    const std::size_t outside = controlled_.size();
    expect("(");
    made.indices.push_back(parse_index(GmsSymbol{}, 0, true));
    std::vector<GmsExpression> condition;
    if (take_sign("$")) condition.push_back(parse_condition());
    expect(",");
    made.arguments.push_back(parse_expression());
    for (GmsExpression& expression : condition) made.arguments.push_back(std::move(expression));
    expect(")");
    controlled_.resize(outside);
    return made;
  }
  // Behind a dollar sign stands a bracket or one reference.
  GmsExpression parse_condition() {
    if (!is_sign("(") && peek().kind != GmsToken::Kind::name) refuse("a condition is missing");
    return parse_primary();
  }

  // --- statements ---

  void parse_statement() {
    controlled_.clear();
    if (take_word("set")) return parse_set();
    if (take_word("alias")) return parse_alias();
    if (take_word("parameters")) return parse_list(GmsKind::parameter, "free");
    if (take_word("variables") || take_word("variable")) {
      return parse_list(GmsKind::variable, "free");
    }
    if (is_word("binary") || is_word("positive")) {
      const std::string type = take().text;
      if (!take_word("variable")) expect_word("variables");
      return parse_list(GmsKind::variable, type);
    }
    if (take_word("equations") || take_word("equation")) {
      return parse_list(GmsKind::equation, "");
    }
    if (take_word("model")) return parse_model();
    if (take_word("option")) return parse_option();
    if (take_word("solve")) return parse_solve();
    if (take_word("file")) return parse_file();
    if (take_word("put")) return parse_put({});
    if (take_word("loop")) return parse_loop();
    if (take_word("putclose")) return parse_putclose();
    parse_assignment_or_equation();
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
  // 3 or 1*5. A range may count downward.
  void parse_elements(GmsSymbol& symbol) {
    const int first = static_cast<int>(take_number());
    int last = first;
    if (take_sign("*")) last = static_cast<int>(take_number());
    const int step = first <= last ? 1 : -1;
    for (int element = first; element != last + step; element += step) {
      const std::string name = std::to_string(element);
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
  void parse_file() {
    declare(take_name(), GmsKind::file);
    expect(";");
  }
  void parse_put(const std::vector<GmsIndex>& loop) {
    GmsPut put;
    put.loop = loop;
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
    if (!put.items.empty()) program_.puts.push_back(std::move(put));
  }
  void parse_put_item(GmsPut& put) {
    if (program_.put_file.empty()) refuse("no file to put into");
    GmsPutItem item;
    item.value = parse_primary();
    if (take_sign(":")) item.width = static_cast<int>(take_number());
    if (take_sign(":")) item.decimals = static_cast<int>(take_number());
    put.items.push_back(std::move(item));
  }
  void parse_loop() {
    expect("(");
    const std::vector<GmsIndex> loop = {parse_index(GmsSymbol{}, 0, true)};
    expect(",");
    while (!is_sign(")")) {
      expect_word("put");
      parse_put(loop);
    }
    expect(")");
    expect(";");
  }
  void parse_putclose() {
    if (take_name() != program_.put_file) refuse("another file is open");
    expect(";");
  }
  void parse_assignment_or_equation() {
    const std::string name = take_name();
    const GmsKind kind = find(name).kind;
    GmsExpression target = parse_reference(name, true);
    if (kind == GmsKind::equation) return parse_equation(std::move(target));
    if (kind == GmsKind::set || kind == GmsKind::alias) refuse("a set has no value");
    if (kind == GmsKind::variable && target.suffix.empty()) refuse("a variable has no value");
    expect("=");
    program_.assignments.push_back({std::move(target), parse_expression()});
    expect(";");
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

  GmsSource source_;
  std::size_t next_ = 0;
  std::vector<std::string> controlled_;
  GmsProgram program_;
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
