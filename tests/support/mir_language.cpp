#include "mir_language.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace torve::test {

namespace {

using Kind = MirExpression::Kind;

enum class Token { name, number, sign, end };

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_name_character(char c) {
  return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// Tokens of a text without its remarks. The present token is in `kind` and `word`.
class Tokens {
 public:
  explicit Tokens(std::string_view text) : rest_(text) { advance(); }

  Token kind = Token::end;
  std::string_view word;
  int line = 1;

  bool is(std::string_view sign) const { return kind == Token::sign && word == sign; }
  void advance();
  [[noreturn]] void complain(const std::string& what) const {
    throw MirError(line, what + (kind == Token::end ? " at the end" : " at " + std::string(word)));
  }

 private:
  void skip_blanks();
  std::size_t number_length() const;

  std::string_view rest_;
};

void Tokens::skip_blanks() {
  while (!rest_.empty()) {
    if (rest_.starts_with("//")) {
      rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
      continue;
    }
    const char c = rest_.front();
    if (c == '\n') ++line;
    if (c != ' ' && c != '\n') return;
    rest_.remove_prefix(1);
  }
}

// Digits with at most one point, and an exponent.
std::size_t Tokens::number_length() const {
  std::size_t n = 0;
  const auto digits = [&] {
    const std::size_t from = n;
    while (n < rest_.size() && is_digit(rest_[n])) ++n;
    return n > from;
  };
  bool any = digits();
  if (n < rest_.size() && rest_[n] == '.') {
    ++n;
    any = digits() || any;
  }
  if (!any) return 0;
  const std::size_t mantissa = n;
  if (n < rest_.size() && (rest_[n] == 'e' || rest_[n] == 'E')) {
    ++n;
    if (n < rest_.size() && (rest_[n] == '+' || rest_[n] == '-')) ++n;
    if (!digits()) return mantissa;
  }
  return n;
}

void Tokens::advance() {
  skip_blanks();
  if (rest_.empty()) {
    kind = Token::end;
    word = {};
    return;
  }
  std::size_t n = number_length();
  if (n > 0) {
    kind = Token::number;
    if (n < rest_.size() && is_name_character(rest_[n])) throw MirError(line, "name after digits");
  } else if (is_name_character(rest_.front())) {
    kind = Token::name;
    while (n < rest_.size() && is_name_character(rest_[n])) ++n;
  } else {
    kind = Token::sign;
    n = rest_.starts_with("<=") || rest_.starts_with(">=") || rest_.starts_with("==") ? 2 : 1;
    const std::string_view single_signs = ",;:{}()+-*/^'";
    if (n == 1 && single_signs.find(rest_.front()) == std::string_view::npos) {
      throw MirError(line, "unknown character " + std::string(1, rest_.front()));
    }
  }
  word = rest_.substr(0, n);
  rest_.remove_prefix(n);
}

MirExpression number_node(double value) {
  MirExpression node;
  node.value = value;
  return node;
}

MirExpression node_of(Kind kind, MirExpression a, MirExpression b) {
  MirExpression node;
  node.kind = kind;
  node.parts.push_back(std::move(a));
  node.parts.push_back(std::move(b));
  return node;
}

// Sections in their order; each may stand once.
struct Section {
  std::string_view word;
  int place;
};
constexpr std::array sections = {
    Section{"OPTIONS", 0},      Section{"BINARY_VARIABLES", 1}, Section{"POSITIVE_VARIABLES", 2},
    Section{"VARIABLES", 3},    Section{"VARIABLE", 3},         Section{"LOWER_BOUNDS", 4},
    Section{"UPPER_BOUNDS", 5}, Section{"EQUATIONS", 6},        Section{"EQUATION", 6},
    Section{"OBJ", 8},          Section{"STARTING_POINT", 9},
};
constexpr int statements_place = 7;

class Reader {
 public:
  explicit Reader(std::string_view text) : tokens_(text) {}
  MirFile read();

 private:
  void expect(std::string_view sign);
  std::string name();
  double number();
  double signed_number();
  void read_section(int place);
  void read_values(MirValues& values);
  void read_names(std::vector<std::string>& names);
  void read_statement(std::string name);
  void read_objective();
  bool is_sum_over() const;
  MirExpression sum();
  MirExpression product();
  MirExpression power();
  MirExpression primary();
  void note(std::string_view oddity);

  Tokens tokens_;
  MirFile file_;
  std::string statement_;  // name of the statement in hand
};

void Reader::expect(std::string_view sign) {
  if (!tokens_.is(sign)) tokens_.complain("expected " + std::string(sign));
  tokens_.advance();
}

std::string Reader::name() {
  if (tokens_.kind != Token::name) tokens_.complain("expected a name");
  std::string result(tokens_.word);
  tokens_.advance();
  return result;
}

double Reader::number() {
  if (tokens_.kind != Token::number) tokens_.complain("expected a number");
  double value = 0.0;
  const char* const end = tokens_.word.data() + tokens_.word.size();
  if (std::from_chars(tokens_.word.data(), end, value).ec != std::errc()) {
    tokens_.complain("number out of range");
  }
  tokens_.advance();
  return value;
}

double Reader::signed_number() {
  if (!tokens_.is("-")) return number();
  tokens_.advance();
  return -number();
}

void Reader::note(std::string_view oddity) {
  const auto row = std::ranges::find(mir_oddities, oddity, &MirOddity::name);
  if (row == mir_oddities.end()) throw std::logic_error("not in the table of oddities");
  file_.oddities.insert(std::string(oddity));
}

void Reader::read_values(MirValues& values) {
  expect("{");
  while (!tokens_.is("}")) {
    const std::string key = name();
    expect(":");
    if (!values.emplace(key, signed_number()).second) tokens_.complain(key + " given twice");
    expect(";");
  }
  expect("}");
}

void Reader::read_names(std::vector<std::string>& names) {
  if (!tokens_.is(";")) names.push_back(name());
  while (tokens_.is(",")) {
    tokens_.advance();
    names.push_back(name());
  }
  expect(";");
}

bool Reader::is_sum_over() const {
  return tokens_.is(")") || tokens_.is(";") || tokens_.is("<=") || tokens_.is(">=") ||
         tokens_.is("==");
}

MirExpression Reader::sum() {
  if (is_sum_over()) {
    note("empty_sum");
    return number_node(0.0);
  }
  MirExpression left = product();
  while (tokens_.is("+") || tokens_.is("-")) {
    const Kind kind = tokens_.is("+") ? Kind::add : Kind::subtract;
    tokens_.advance();
    left = node_of(kind, std::move(left), product());
  }
  return left;
}

MirExpression Reader::product() {
  MirExpression left = power();
  while (tokens_.is("*") || tokens_.is("/")) {
    const Kind kind = tokens_.is("*") ? Kind::multiply : Kind::divide;
    tokens_.advance();
    left = node_of(kind, std::move(left), power());
  }
  return left;
}

// A sign may stand before any operand; a power binds closer than it.
MirExpression Reader::power() {
  if (tokens_.is("+")) {
    tokens_.advance();
    return power();
  }
  if (tokens_.is("-")) {
    tokens_.advance();
    MirExpression node;
    node.kind = Kind::negate;
    node.parts.push_back(power());
    return node;
  }
  MirExpression base = primary();
  if (!tokens_.is("^")) return base;
  tokens_.advance();
  return node_of(Kind::power, std::move(base), power());
}

MirExpression Reader::primary() {
  if (tokens_.is("(")) {
    tokens_.advance();
    MirExpression inner = sum();
    expect(")");
    return inner;
  }
  if (tokens_.is("'") && statement_.starts_with("trv_crc_")) {
    note("quote_before_number");
    tokens_.advance();
    return number_node(number());
  }
  if (tokens_.kind == Token::number) return number_node(number());
  MirExpression node;
  node.kind = Kind::name;
  node.name = name();
  if (tokens_.is("(")) {
    tokens_.advance();
    node.kind = Kind::function;
    node.parts.push_back(sum());
    expect(")");
  }
  return node;
}

void Reader::read_statement(std::string name) {
  const bool lower_side = name.starts_with("trv_erra_");
  const bool upper_side = name.starts_with("trv_errb_");
  statement_ = name;
  MirStatement statement;
  statement.name = std::move(name);
  statement.left = sum();
  if (upper_side) {
    expect(")");
    note("stray_bracket");
  }
  if (!tokens_.is("<=") && !tokens_.is(">=") && !tokens_.is("==")) {
    tokens_.complain("expected a relation");
  }
  statement.relation = tokens_.word;
  tokens_.advance();
  statement.right = sum();
  if (lower_side || upper_side) {
    if (tokens_.is(";")) tokens_.complain("unexpected end of a statement");
    note("no_semicolon");
  } else {
    expect(";");
  }
  file_.statements.push_back(std::move(statement));
  statement_.clear();
}

void Reader::read_objective() {
  expect(":");
  const std::string goal = name();
  if (goal != "minimize" && goal != "maximize") tokens_.complain("unknown goal " + goal);
  file_.maximize = goal == "maximize";
  file_.objective = sum();
  expect(";");
}

void Reader::read_section(int place) {
  switch (place) {
    case 0:
      return read_values(file_.options);
    case 1:
      return read_names(file_.binary);
    case 2:
      return read_names(file_.positive);
    case 3:
      return read_names(file_.free);
    case 4:
      return read_values(file_.lower);
    case 5:
      return read_values(file_.upper);
    case 6:
      return read_names(file_.listed);
    case 8:
      return read_objective();
    default:
      return read_values(file_.start);
  }
}

MirFile Reader::read() {
  int reached = -1;
  while (tokens_.kind != Token::end) {
    std::string word = name();
    const auto section = std::ranges::find(sections, std::string_view(word), &Section::word);
    const int place = section == sections.end() ? statements_place : section->place;
    if (place < reached || (place == reached && place != statements_place)) {
      tokens_.complain(word + " is out of order");
    }
    reached = place;
    if (place == statements_place) {
      expect(":");
      read_statement(std::move(word));
    } else {
      read_section(place);
    }
  }
  if (reached < 8) tokens_.complain("no objective");
  const std::vector<std::string>& listed = file_.listed;
  if (std::ranges::count(listed, std::string("trv_sselimit")) == 2) note("name_twice");
  return std::move(file_);
}

}  // namespace

double apply_function(const std::string& name, double argument) {
  if (name == "log") return std::log(argument);
  if (name == "exp") return std::exp(argument);
  if (name == "sin") return std::sin(argument);
  if (name == "cos") return std::cos(argument);
  if (name == "sqrt") return std::sqrt(argument);
  if (name == "abs") return std::abs(argument);
  throw std::runtime_error("unknown function " + name);
}

double evaluate(const MirExpression& e, const MirValues& values) {
  const auto part = [&](std::size_t i) { return evaluate(e.parts[i], values); };
  switch (e.kind) {
    case Kind::number:
      return e.value;
    case Kind::name:
      return values.at(e.name);
    case Kind::add:
      return part(0) + part(1);
    case Kind::subtract:
      return part(0) - part(1);
    case Kind::multiply:
      return part(0) * part(1);
    case Kind::divide:
      return part(0) / part(1);
    case Kind::power:
      return std::pow(part(0), part(1));
    case Kind::negate:
      return -part(0);
    case Kind::function:
      return apply_function(e.name, part(0));
  }
  return 0.0;
}

void collect_names(const MirExpression& expression, std::set<std::string>& names) {
  if (expression.kind == Kind::name) names.insert(expression.name);
  for (const MirExpression& part : expression.parts) collect_names(part, names);
}

double MirStatement::violation(const MirValues& values) const {
  const double difference = evaluate(left, values) - evaluate(right, values);
  if (relation == "==") return std::abs(difference);
  return relation == "<=" ? difference : -difference;
}

std::vector<std::string> MirFile::variables() const {
  std::vector<std::string> names = binary;
  names.insert(names.end(), positive.begin(), positive.end());
  names.insert(names.end(), free.begin(), free.end());
  return names;
}

const MirStatement* MirFile::statement(const std::string& name) const {
  const auto found = std::ranges::find(statements, name, &MirStatement::name);
  return found == statements.end() ? nullptr : &*found;
}

MirFile read_mir(std::string_view text) {
  return Reader(text).read();
}

std::vector<std::string> name_complaints(const MirFile& file) {
  std::vector<std::string> result;
  std::set<std::string> declared;
  for (const std::string& name : file.variables()) {
    if (!declared.insert(name).second) result.push_back("variable declared twice: " + name);
  }
  std::set<std::string> used;
  collect_names(file.objective, used);
  std::set<std::string> stated;
  for (const MirStatement& statement : file.statements) {
    collect_names(statement.left, used);
    collect_names(statement.right, used);
    if (!stated.insert(statement.name).second) result.push_back("stated twice: " + statement.name);
  }
  for (const std::string& name : used) {
    if (!declared.contains(name)) result.push_back("undeclared: " + name);
  }
  for (const std::string& name : declared) {
    if (!used.contains(name)) result.push_back("never used: " + name);
  }
  for (const MirValues* values : {&file.lower, &file.upper, &file.start}) {
    for (const auto& [name, value] : *values) {
      if (!declared.contains(name)) result.push_back("value of an undeclared name: " + name);
    }
  }
  std::map<std::string, int> listed;
  for (const std::string& name : file.listed) ++listed[name];
  for (const auto& [name, times] : listed) {
    if (times > (name == "trv_sselimit" ? 2 : 1)) result.push_back("listed twice: " + name);
    if (!stated.contains(name)) result.push_back("listed and not stated: " + name);
  }
  for (const std::string& name : stated) {
    if (!listed.contains(name)) result.push_back("stated and not listed: " + name);
  }
  return result;
}

}  // namespace torve::test
