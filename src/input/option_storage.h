// How options get into the run state: one routine for the problem file and the set calls, which
// differ in where the values come from and in what they say of a refusal.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "run/option_table.h"

namespace torve {

inline constexpr std::size_t label_width = 128;     // characters
inline constexpr std::size_t text_width = 1024;     // of a text option
inline constexpr std::size_t command_width = 2047;  // of the option gams

// Why a value isn't taken, and the place of that test for the file and for the calls.
struct Refusal {
  Code code = Code::normal;
  int location = 0;
  int call_location = 0;

  explicit operator bool() const { return code != Code::normal; }
};
inline constexpr Refusal no_refusal{};
inline constexpr Refusal no_memory{Code::out_of_memory, 195, 442};

// --- one number ---------------------------------------------------------------------------------

// What must hold before a scalar option is given.
Refusal check_scalar(const RunState& run, const OptionRow& row);
// Stores the value; what it sets the size of is allocated. `row` is of a kind with one number.
Refusal store_scalar(RunState& run, const OptionRow& row, double value);

// --- lists --------------------------------------------------------------------------------------

// How many values the list has: one for each input, output or test set.
int list_length(const RunState& run, const OptionRow& row);
// Memory for the list. False when it can't be had.
bool request_list(RunState& run, const OptionRow& row);
// Value i, from 0, of a requested list.
Refusal store_element(RunState& run, const OptionRow& row, std::size_t i, double value);
// What follows from a list that is whole: sums, and switches that the list turns on.
Refusal finish_list(RunState& run, const OptionRow& row);

// --- power lists --------------------------------------------------------------------------------

Refusal check_powers(const RunState& run, const OptionRow& row);
// The count of the list. The values are added one by one.
void begin_powers(RunState& run, const OptionRow& row, int count);
void add_power(RunState& run, const OptionRow& row, double value);

// --- texts --------------------------------------------------------------------------------------

// Cut to the option's width. The name of a trace file also turns the trace on.
void store_text(RunState& run, const OptionRow& row, std::string_view text);

// --- labels -------------------------------------------------------------------------------------

std::vector<std::string>& labels_of(RunState& run, const OptionRow& row);

// The first fault of a list of labels: of label i, or of labels i and j for a label given twice.
struct LabelFault {
  Code code;
  int location;
  std::size_t i;
  std::size_t j;
};
std::optional<LabelFault> check_labels(std::span<const std::string> labels, bool inputs);

}  // namespace torve
