#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "run/codes.h"

namespace torve {

// The lines that tell how a run ended, ready to be printed.
std::vector<std::string> trvmessage(Code code, std::string_view tracefname);

}  // namespace torve
