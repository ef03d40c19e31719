// What looks like a slip in a text and belongs to the format all the same.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace mirsolve {

enum class Oddity : unsigned char {
  empty_sum,
  name_twice,
  no_semicolon,
  stray_bracket,
  quote_before_number
};

struct OddityRow {
  Oddity oddity;
  std::string_view name;
  std::array<std::string_view, 2> where;  // statements whose names begin so; none: in all
  std::string_view meaning;
};

inline constexpr std::array oddity_rows = {
    OddityRow{Oddity::empty_sum,
              "empty_sum",
              {"", ""},
              "a sum without terms is 0: no column is left, or a group has none"},
    OddityRow{Oddity::name_twice,
              "name_twice",
              {"trv_sselimit", "trv_sselimit"},
              "the name stands twice in the list of statements"},
    OddityRow{Oddity::no_semicolon,
              "no_semicolon",
              {"trv_erra_", "trv_errb_"},
              "the statement ends with the name behind the relation"},
    OddityRow{Oddity::stray_bracket,
              "stray_bracket",
              {"trv_errb_", "trv_errb_"},
              "the statement closes a bracket that nothing opens"},
    OddityRow{Oddity::quote_before_number,
              "quote_before_number",
              {"trv_crc_", "trv_crc_"},
              "a single quote stands ahead of a number"},
};

consteval bool row_is_oddity() {
  for (std::size_t i = 0; i < oddity_rows.size(); ++i) {
    if (static_cast<std::size_t>(oddity_rows[i].oddity) != i) return false;
  }
  return true;
}
static_assert(row_is_oddity(), "row i holds oddity i");

constexpr const OddityRow& row_of(Oddity oddity) {
  return oddity_rows[static_cast<std::size_t>(oddity)];
}

// Whether the format has the oddity in a statement of this name.
constexpr bool belongs_to(Oddity oddity, std::string_view statement) {
  return std::ranges::any_of(row_of(oddity).where, [&](std::string_view beginning) {
    return statement.starts_with(beginning);
  });
}

}  // namespace mirsolve
