#include "run/option_table.h"

namespace torve {

namespace {

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
