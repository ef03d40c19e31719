// What a step must not leave behind in this process.
#pragma once

#include <cstddef>

namespace torve::test {

std::size_t open_descriptors();
bool has_children();

}  // namespace torve::test
