#include "gms_expressions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

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

GmsExpression operation(std::string name, GmsExpression left, GmsExpression right) {
  GmsExpression made;
  made.kind = Kind::operation;
  made.name = std::move(name);
  made.arguments.push_back(std::move(left));
  made.arguments.push_back(std::move(right));
  return made;
}

}  // namespace

GmsExpressionReader::GmsExpressionReader(std::string_view text) : source_(split_gms(text)) {
  program_.option_files = source_.option_files;
}

// --- tokens ---

void GmsExpressionReader::refuse(const std::string& what) const {
  throw std::runtime_error(fmt::format("line {}: {}, at '{}'", peek().line, what, peek().text));
}

const GmsToken& GmsExpressionReader::peek(std::size_t ahead) const {
  return source_.tokens[std::min(next_ + ahead, source_.tokens.size() - 1)];
}

GmsToken GmsExpressionReader::take() {
  GmsToken token = peek();
  if (next_ + 1 < source_.tokens.size()) ++next_;
  return token;
}

bool GmsExpressionReader::is_sign(std::string_view sign, std::size_t ahead) const {
  return peek(ahead).kind == GmsToken::Kind::sign && peek(ahead).text == sign;
}

bool GmsExpressionReader::is_word(std::string_view word) const {
  return peek().kind == GmsToken::Kind::name && peek().text == word;
}

bool GmsExpressionReader::take_sign(std::string_view sign) {
  if (!is_sign(sign)) return false;
  take();
  return true;
}

bool GmsExpressionReader::take_word(std::string_view word) {
  if (!is_word(word)) return false;
  take();
  return true;
}

void GmsExpressionReader::expect(std::string_view sign) {
  if (!take_sign(sign)) refuse(fmt::format("'{}' is missing", sign));
}

void GmsExpressionReader::expect_word(std::string_view word) {
  if (!take_word(word)) refuse(fmt::format("'{}' is missing", word));
}

std::string GmsExpressionReader::take_name() {
  if (peek().kind != GmsToken::Kind::name) refuse("a name is missing");
  return take().text;
}

std::string GmsExpressionReader::take_quoted() {
  if (peek().kind != GmsToken::Kind::element) refuse("a quoted text is missing");
  return take().text;
}

double GmsExpressionReader::take_number() {
  const bool negative = take_sign("-");
  if (peek().kind != GmsToken::Kind::number) refuse("a number is missing");
  const double value = std::strtod(take().text.c_str(), nullptr);
  return negative ? -value : value;
}

// --- symbols ---

GmsSymbol& GmsExpressionReader::find(const std::string& name) {
  const auto found = program_.symbols.find(name);
  if (found == program_.symbols.end()) refuse(name + " isn't declared");
  return found->second;
}

GmsSymbol& GmsExpressionReader::declare(const std::string& name, GmsKind kind) {
  static const std::set<std::string> reserved = {
      "sum", "set", "alias", "model", "solve", "put",     "loop",    "option", "ord",
      "and", "or",  "eq",    "ne",    "if",    "execute", "display", "abs",    "power"};
  if (reserved.contains(name)) refuse(name + " is a word of the language");
  const auto [symbol, is_new] = program_.symbols.try_emplace(name);
  if (!is_new) refuse(name + " is declared twice");
  symbol->second.kind = kind;
  symbol->second.type = "free";
  return symbol->second;
}

GmsSymbol& GmsExpressionReader::find_set(const std::string& name) {
  GmsSymbol& symbol = find(name);
  if (symbol.kind == GmsKind::alias) return find(symbol.same_as);
  if (symbol.kind != GmsKind::set) refuse(name + " isn't a set");
  return symbol;
}

const std::string& GmsExpressionReader::base_name(const std::string& name) {
  const GmsSymbol& symbol = find(name);
  return symbol.kind == GmsKind::alias ? symbol.same_as : name;
}

// Whether every element of one set is one of the other.
bool GmsExpressionReader::is_within(const std::string& name, const std::string& domain) {
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
void GmsExpressionReader::parse_domain(GmsSymbol& symbol) {
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
std::vector<GmsIndex> GmsExpressionReader::parse_indices(const GmsSymbol& symbol, bool controls) {
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

GmsIndex GmsExpressionReader::parse_index(const GmsSymbol& symbol, std::size_t place,
                                          bool controls) {
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

GmsIndex GmsExpressionReader::parse_controlling_index() {
  if (std::ranges::find(controlled_, peek().text) != controlled_.end()) {
    refuse(peek().text + " is controlled already");
  }
  return parse_index(GmsSymbol{}, 0, true);
}

// --- expressions, loosest binding first ---

GmsExpression GmsExpressionReader::parse_expression() {
  GmsExpression left = parse_conjunction();
  while (take_word("or")) left = operation("or", std::move(left), parse_conjunction());
  return left;
}

GmsExpression GmsExpressionReader::parse_conjunction() {
  GmsExpression left = parse_comparison();
  while (take_word("and")) left = operation("and", std::move(left), parse_comparison());
  return left;
}

GmsExpression GmsExpressionReader::parse_comparison() {
  GmsExpression left = parse_sum_of_terms();
  for (const std::string sign : {"<=", ">=", "<", ">"}) {
    if (take_sign(sign)) return operation(sign, std::move(left), parse_sum_of_terms());
  }
  for (const std::string word : {"eq", "ne"}) {
    if (take_word(word)) return operation(word, std::move(left), parse_sum_of_terms());
  }
  return left;
}

GmsExpression GmsExpressionReader::parse_sum_of_terms() {
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

GmsExpression GmsExpressionReader::parse_product() {
  GmsExpression left = parse_power();
  while (is_sign("*") || is_sign("/")) {
    const std::string sign = take().text;
    left = operation(sign, std::move(left), parse_power());
  }
  return left;
}

GmsExpression GmsExpressionReader::parse_power() {
  GmsExpression left = parse_primary();
  if (take_sign("**")) left = operation("**", std::move(left), parse_primary());
  return left;
}

GmsExpression GmsExpressionReader::parse_primary() {
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

GmsExpression GmsExpressionReader::parse_reference(const std::string& name, bool controls) {
  GmsExpression made;
  made.kind = Kind::reference;
  made.name = name;
  const GmsSymbol& symbol = find(name);
  if (take_sign(".")) {
    made.suffix = take_name();
    if (!has_suffix(symbol.kind, made.suffix)) refuse("no attribute " + made.suffix);
    if (made.suffix == "modelstat" && program_.model != name) refuse(name + " isn't solved yet");
  }
  if (symbol.kind == GmsKind::model || symbol.kind == GmsKind::file) return made;
  made.indices = parse_indices(symbol, controls);
  return made;
}

GmsExpression GmsExpressionReader::parse_call(const std::string& name, std::size_t arguments) {
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

GmsExpression GmsExpressionReader::parse_ord() {
  GmsExpression made;
  made.kind = Kind::call;
  made.name = "ord";
  expect("(");
  made.indices.push_back(parse_index(GmsSymbol{}, 0, false));
  expect(")");
  return made;
}

GmsExpression GmsExpressionReader::parse_sum() {
  GmsExpression made;
  made.kind = Kind::sum;
  made.name = "sum";
  const std::size_t outside = controlled_.size();
  expect("(");
  made.indices.push_back(parse_controlling_index());
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
GmsExpression GmsExpressionReader::parse_condition() {
  if (!is_sign("(") && peek().kind != GmsToken::Kind::name) refuse("a condition is missing");
  return parse_primary();
}

}  // namespace torve::test
