#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "mirsolve/language/limits.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve {

// The problem that a text states. Nothing when something is wrong with it; `error` is then one
// line, "line 3, column 7: ...".
std::optional<Problem> read_problem(std::string_view text, std::string title, std::string& error,
                                    const Limits& limits = {});

}  // namespace mirsolve
