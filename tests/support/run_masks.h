// Masks for what differs from run to run in the outputs of the program, and the first difference of
// two texts.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace torve::test {

namespace fs = std::filesystem;

// What stands for the path of the folder of a run, in outputs and in the files that start it.
inline constexpr std::string_view folder_mark = "<folder>";

enum class Masked {
  number,        // the number that follows `before`, if `after` follows it
  rest_of_line,  // all that follows `before`; `after` is empty
};

// The part of a line between `before` and `after` that becomes `shown`.
struct Mask {
  std::string_view before;
  Masked masked;
  std::string_view after;
  std::string_view shown;
};

// The masks of the screen and the listing: one row per kind of line, see the top of run_masks.cpp.
std::span<const Mask> line_masks();

std::string mask_lines(std::string_view text, std::span<const Mask> masks = line_masks());

// Masks the columns of a trace by their names in the header line that precedes them. The last
// column is the model, which may hold the separator itself.
std::string mask_trace(std::string_view text);

// Masks an output of any kind: a text with a trace header as a trace, any other by its lines.
// The path of the folder of the run becomes "<folder>".
std::string mask_output(std::string text, const fs::path& folder);

// Empty when the texts are equal, otherwise the first differing lines with some lines around them.
std::string first_difference(std::string_view expected, std::string_view actual);

// The lines of a text, each with its '\n' if it has one.
std::vector<std::string_view> lines_of(std::string_view text);

std::string replace_all(std::string text, std::string_view from, std::string_view to);

}  // namespace torve::test
