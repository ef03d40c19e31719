#include "system/machine.h"

#include <unistd.h>

// Present when the BLAS in use is OpenBLAS; the reference library has one thread anyway.
extern "C" __attribute__((weak)) void openblas_set_num_threads(int count);

namespace torve {

std::int64_t physical_memory() {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long page = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || page <= 0) return 0;
  return static_cast<std::int64_t>(pages) * page;
}

int process_number() {
  return static_cast<int>(::getpid());
}

void use_one_algebra_thread() {
  if (openblas_set_num_threads != nullptr) openblas_set_num_threads(1);
}

}  // namespace torve
