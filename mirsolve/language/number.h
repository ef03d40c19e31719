#pragma once

#include "mirsolve/language/tokens.h"

namespace mirsolve {

// Reads the number that stands here, without a sign. False, with a slip, when there is none or it
// is malformed or too large for a double.
bool read_number(Tokens& tokens, double& value);
// With a sign ahead of it, if any.
bool read_signed_number(Tokens& tokens, double& value);

}  // namespace mirsolve
