#pragma once

#include <cstdint>

namespace torve {

std::int64_t physical_memory();  // bytes; 0 when unknown
int process_number();

// Dense algebra on one thread: the same digits on every machine, and CPU time that means something.
void use_one_algebra_thread();

}  // namespace torve
