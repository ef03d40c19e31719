// What the set calls have in common: the tests before a value is looked at.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "run/option_table.h"
#include "run/trvspace.h"

namespace torve {

inline constexpr std::size_t longest_call_text = 8192;  // characters of a name or a text

// The result of a call that fails. The code isn't the run's: the caller decides whether to go on.
inline int refuse(RunState& run, Code code, int location) {
  run.status.trvlocation = location;
  return static_cast<int>(code);
}

// The name as the tables have it, or the result of the call that can't go on. `location` is the
// place of a call that comes after a run.
struct CallName {
  int result = 0;
  std::string name;
};
CallName call_name(RunState& run, std::string_view name, int location);

// The option of a name that call_name gave.
std::optional<OptionName> call_option(std::string_view name);

// Counts an option as given.
void mark_given(RunState& run, const OptionName& option);

}  // namespace torve
