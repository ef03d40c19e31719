// Reads any bytes as what a simulator wrote. Each record takes bytes, so that the reader comes to
// an end.
#include <array>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "data/simulator_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Outcome = torve::RecordReader::Outcome;
  torve::RecordReader reader({reinterpret_cast<const char*>(data), size});
  std::array<double, 5> record{};
  std::size_t records = 0;
  while (reader.next(record) == Outcome::read) {
    if (++records > size) __builtin_trap();
    for (const double value : record) {
      if (std::isinf(value)) __builtin_trap();
    }
  }
  return 0;
}
