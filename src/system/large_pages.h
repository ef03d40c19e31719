#pragma once

#include <cstddef>

namespace torve {

// Asks the system to hold a large block that will be filled whole in pages of megabytes; taking it
// in pages of a few kilobytes may last as long as filling it. Says nothing about small blocks, and
// changes nothing where the system has no such pages.
void prefer_large_pages(void* block, std::size_t bytes);

}  // namespace torve
