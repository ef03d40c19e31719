#pragma once

#include <string>

#include "basis/model_text.h"
#include "run/trvspace.h"

namespace torve {

// The model of output k (from 0) as one line.
std::string model_line(const RunState& run, int k, ModelDigits digits);

}  // namespace torve
