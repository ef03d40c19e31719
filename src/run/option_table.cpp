#include "run/option_table.h"

namespace torve {

namespace {

constexpr bool names_are_distinct() {
  for (std::size_t i = 0; i < option_table.size(); ++i) {
    for (std::size_t j = i + 1; j < option_table.size(); ++j) {
      if (option_table[i].name == option_table[j].name) return false;
    }
    for (const AliasRow& alias : alias_table) {
      if (alias.name == option_table[i].name) return false;
    }
  }
  return true;
}
constexpr bool storages_are_distinct() {
  for (std::size_t i = 0; i < option_table.size(); ++i) {
    if (std::holds_alternative<std::monostate>(option_table[i].storage)) continue;
    for (std::size_t j = i + 1; j < option_table.size(); ++j) {
      const bool same_kind = option_table[i].storage.index() == option_table[j].storage.index();
      if (same_kind && option_table[i].storage == option_table[j].storage) return false;
    }
  }
  return true;
}
// A row's address is no constant expression under the sanitizers, so names are compared.
constexpr bool aliases_have_options() {
  for (const AliasRow& alias : alias_table) {
    bool found = false;
    for (const OptionRow& row : option_table) found = found || row.name == alias.option;
    if (!found) return false;
  }
  return true;
}
static_assert(names_are_distinct());
static_assert(storages_are_distinct());
static_assert(aliases_have_options());

std::optional<OptionName> look_up_option(std::string_view name) {
  for (std::size_t i = 0; i < option_table.size(); ++i) {
    if (option_table[i].name == name) return OptionName{&option_table[i], i, true, true};
  }
  return std::nullopt;
}

}  // namespace

std::optional<OptionName> look_up(std::string_view name) {
  for (const AliasRow& alias : alias_table) {
    if (alias.name != name) continue;
    std::optional<OptionName> option = look_up_option(alias.option);
    option->shares_flag = alias.shares_flag;
    option->shares_limits = alias.shares_limits;
    return option;
  }
  return look_up_option(name);
}

}  // namespace torve
