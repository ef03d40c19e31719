#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "input/line_reader.h"
#include "run/option_table.h"

namespace torve {

// The state of one pass over a problem file. The routines below return false when the run has to
// end; code, place and console lines are then out.
struct ProblemReader {
  RunState& run;
  LineReader lines;
  std::string keyword;  // lower case, renamed words replaced
  std::string typed;    // as the file has it, upper case
  OptionName option;    // of the keyword
};

// Ends the reading: the lines go to the console, the code to the run.
bool stop(ProblemReader& reader, Code code, int location,
          std::initializer_list<std::string> details = {});
// The same for a fault of the lines.
bool stop_on_fault(ProblemReader& reader);
// A failed allocation.
bool stop_without_memory(ProblemReader& reader);

// Reads the problem file into the run state. Ends with a code in the run's status.
void trvread(RunState& run);
// The same from the bytes of a problem file.
void read_problem_text(RunState& run, const std::string& text);
// The same from lines of which none was read yet.
void read_problem_lines(RunState& run, LineReader lines);

// The number of a scalar option; nothing when the run has to end.
std::optional<double> read_value(ProblemReader& reader);

// One item each, behind its keyword.
bool read_scalar(ProblemReader& reader);
bool read_list(ProblemReader& reader);
bool read_labels(ProblemReader& reader);
bool read_powers(ProblemReader& reader);
bool read_text(ProblemReader& reader);
bool read_section(ProblemReader& reader);

// Sections, by what they hold.
bool read_data(ProblemReader& reader);
bool read_xdata(ProblemReader& reader);
bool read_zdata(ProblemReader& reader);
bool read_testdata(ProblemReader& reader);
bool read_xpredata(ProblemReader& reader);
bool read_zmin(ProblemReader& reader);
bool read_zmax(ProblemReader& reader);
bool read_customcon(ProblemReader& reader);
bool read_custombas(ProblemReader& reader);
bool read_transforms(ProblemReader& reader);
bool read_groups(ProblemReader& reader);
bool read_groupcon(ProblemReader& reader);
bool read_comment(ProblemReader& reader);

// The next line of a section that isn't blank; false at the end of the file or on a fault.
bool next_section_line(ProblemReader& reader);
// The line behind a section's rows must hold one of the end keywords.
bool close_section(ProblemReader& reader, std::initializer_list<std::string_view> words, Code code,
                   int location);

// What a section needs before it. The last missing one decides.
struct Precondition {
  bool met;
  Code code;
  int location;
};
bool check_preconditions(ProblemReader& reader, std::string_view name,
                         std::initializer_list<Precondition> preconditions);

// The tests of the whole file, and what follows from what it left open.
bool finish_reading(ProblemReader& reader);

// Replaces a value that is outside the option's range, with three lines on the console when
// verbose. A name without a range changes nothing.
void checkoption(RunState& run, std::string_view name, double& value, bool verbose);

// Whole numbers as they are stored: truncated, and at the ends of the range where they don't fit.
int to_whole(double value);

}  // namespace torve
