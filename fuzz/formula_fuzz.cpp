// Compiles any bytes as a formula, and evaluates what compiles at a few points.
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "basis/formula/formula.h"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double quiet_nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::array<std::array<double, 3>, 5> points{{{0.0, 0.0, 0.0},
                                                       {1.5, -2.25, 3.0},
                                                       {-1e308, 1e308, 1e-308},
                                                       {infinity, -infinity, 0.5},
                                                       {quiet_nan, 1.0, -0.0}}};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::array<std::string, 3> names{"x1", "x2", "temp_in"};
  torve::FormulaTable table;
  int status = 0;
  torve::fninit(table, 1, status);
  std::vector<std::string> report;
  torve::fnparse(table, 0, text, names, status, &report);
  int checked = 0;
  torve::fncheck(text, names, checked);
  if (checked != status || report.size() != (status == 0 ? 0U : 3U)) __builtin_trap();
  for (const auto& point : points) torve::fneval(table, 0, point);
  return 0;
}
