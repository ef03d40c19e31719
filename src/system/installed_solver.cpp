#include "system/installed_solver.h"

#include <link.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "system/files.h"

namespace torve {

namespace {

namespace fs = std::filesystem;

// What of the process holds this code.
struct Own {
  std::string name;  // of the file; empty for the program itself
  bool is_program = true;
};

bool holds_this_code(const dl_phdr_info& part) {
  const auto here = reinterpret_cast<std::uintptr_t>(&holds_this_code);
  for (int i = 0; i < part.dlpi_phnum; ++i) {
    const auto& segment = part.dlpi_phdr[i];
    const std::uintptr_t start = part.dlpi_addr + segment.p_vaddr;
    if (segment.p_type == PT_LOAD && here >= start && here - start < segment.p_memsz) return true;
  }
  return false;
}

int note_own(dl_phdr_info* part, std::size_t, void* found) {
  if (!holds_this_code(*part)) return 0;
  Own& own = *static_cast<Own*>(found);
  own.name = part->dlpi_name;
  own.is_program = own.name.empty();
  return 1;
}

Own find_own() {
  Own own;
  dl_iterate_phdr(note_own, &own);
  return own;
}

std::string folder_of(const Own& own) {
  std::error_code error;
  const fs::path file = fs::canonical(own.is_program ? "/proc/self/exe" : own.name, error);
  return error ? "" : file.parent_path().string();
}

// The program and the library may lie at different depths of the tree.
const char* way_from(const Own& own) {
  constexpr std::array ways{TORVE_SOLVER_FROM_LIB, TORVE_SOLVER_FROM_BIN};
  return ways.at(own.is_program ? 1 : 0);
}

}  // namespace

std::string own_folder() {
  return folder_of(find_own());
}

std::string installed_solver() {
  const Own own = find_own();
  const std::string folder = folder_of(own);
  if (folder.empty()) return "";
  const std::string solver = (fs::path(folder) / way_from(own)).lexically_normal().string();
  return program_exists(solver) ? solver : "";
}

}  // namespace torve
