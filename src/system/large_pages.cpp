#include "system/large_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace torve {

void prefer_large_pages(void* block, std::size_t bytes) {
#if defined(MADV_HUGEPAGE)
  constexpr std::size_t worthwhile = std::size_t{4} << 20U;
  if (bytes < worthwhile) return;
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const std::size_t before = (page - reinterpret_cast<std::uintptr_t>(block) % page) % page;
  // A wish; that it isn't granted is no failure.
  ::madvise(static_cast<char*>(block) + before, (bytes - before) / page * page, MADV_HUGEPAGE);
#else
  static_cast<void>(block);
  static_cast<void>(bytes);
#endif
}

}  // namespace torve
