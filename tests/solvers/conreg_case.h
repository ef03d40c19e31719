// A search for broken constraints, for tests of its texts.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "solvers/conreg_search.h"
#include "support/gms_language.h"

namespace torve {

inline ViolationSearch search_of(SearchKind kind) {
  ViolationSearch search;
  search.kind = kind;
  search.bound = 0.5;
  search.labels = {"Temp", "p"};
  search.lowest = {1.0, -2.0};
  search.highest = {4.0, 1e31};
  search.terms = {{0, 2.5, "Temp", false}, {3, -1e-7, "power(Temp,2)", false}};
  search.zlabel = "z";
  search.custom = "Z**2-p";
  search.nbas = 5;
  search.ndata = 7;
  search.wanted = 4;
  search.seconds = 99.5;
  search.nlpsolver = "mirak";
  return search;
}

// Names that a program may declare and never use, and when.
struct UnusedRow {
  std::string_view name;
  std::string_view reason;
};
inline constexpr std::array known_unused = {
    UnusedRow{"trv_i", "the rows of the data play no part in the search"},
    UnusedRow{"trv_zmin", "only where a point below it is sought"},
    UnusedRow{"trv_zmax", "only where a point above it is sought"},
    UnusedRow{"trv_beta", "the model has no term"},
};

inline std::vector<std::string> unknown_unused(const test::GmsProgram& program) {
  std::vector<std::string> names = test::unused_names(program);
  std::erase_if(names, [](const std::string& name) {
    return std::ranges::count(known_unused, name, &UnusedRow::name) > 0;
  });
  return names;
}

}  // namespace torve
