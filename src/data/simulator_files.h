#pragma once

#include <span>
#include <string>
#include <string_view>

#include "run/matrix_view.h"

namespace torve {

// The two text files by which points go to a simulator and come back.

// What a simulator reads: the number of points and the number of this process, a line for each
// point with the values of its inputs in fields of 20 characters (12 digits), and a line with T or
// F for each output, T for those that are wanted. points: a row each.
std::string simulator_input(MatrixView points, int process_number, std::span<const bool> ignore);

// Reads records of numbers in free layout: values stand between blanks, tabs, line ends or commas;
// 3*1.5 is three times the value; NaN is a value. A record is as many values as are asked for, on
// one line or on several, and what follows them on their line is ignored.
class RecordReader {
 public:
  enum class Outcome {
    read,
    end_of_file,  // before the record was whole
    no_number,    // something else stands there, or a value too large for a number
  };

  explicit RecordReader(std::string_view text) : rest_(text) {}

  // A value that the record leaves out (two commas, or a slash that ends the record early) leaves
  // its place as it was.
  Outcome next(std::span<double> values);

 private:
  bool find_value();
  Outcome read_item(std::span<double> values, std::size_t& filled);
  void skip_line();

  std::string_view rest_;
};

}  // namespace torve
