// The lower half of the reader of GAMS programs: tokens, names and expressions. gms_language.cpp
// adds the statements.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "gms_language.h"
#include "gms_tokens.h"

namespace torve::test {

class GmsExpressionReader {
 protected:
  explicit GmsExpressionReader(std::string_view text);

  // --- tokens ---

  [[noreturn]] void refuse(const std::string& what) const;
  const GmsToken& peek(std::size_t ahead = 0) const;
  GmsToken take();
  bool is_sign(std::string_view sign, std::size_t ahead = 0) const;
  bool is_word(std::string_view word) const;
  bool take_sign(std::string_view sign);
  bool take_word(std::string_view word);
  void expect(std::string_view sign);
  void expect_word(std::string_view word);
  std::string take_name();
  std::string take_quoted();
  double take_number();

  // --- names ---

  GmsSymbol& find(const std::string& name);
  GmsSymbol& declare(const std::string& name, GmsKind kind);
  GmsSymbol& find_set(const std::string& name);
  void parse_domain(GmsSymbol& symbol);  // (i,j) behind a declared name
  // The index that a sum or loop runs over; it binds its set for what follows.
  GmsIndex parse_controlling_index();

  // --- expressions ---

  GmsExpression parse_expression();
  GmsExpression parse_primary();
  GmsExpression parse_condition();  // behind a dollar sign
  // controls: its indices bind their sets for what follows.
  GmsExpression parse_reference(const std::string& name, bool controls);

  GmsProgram program_;
  std::vector<std::string> controlled_;

 private:
  const std::string& base_name(const std::string& name);
  bool is_within(const std::string& name, const std::string& domain);
  std::vector<GmsIndex> parse_indices(const GmsSymbol& symbol, bool controls);
  GmsIndex parse_index(const GmsSymbol& symbol, std::size_t place, bool controls);
  GmsExpression parse_conjunction();
  GmsExpression parse_comparison();
  GmsExpression parse_sum_of_terms();
  GmsExpression parse_product();
  GmsExpression parse_power();
  GmsExpression parse_call(const std::string& name, std::size_t arguments);
  GmsExpression parse_ord();
  GmsExpression parse_sum();

  GmsSource source_;
  std::size_t next_ = 0;
};

}  // namespace torve::test
