// The three files that a solve leaves in the current folder.
//
// res.lst is read by the program that asked: a line "The best solution found", two more lines, and
// a line for each variable in the order of their declaration with its name, its lower bound and its
// value. Further points follow as further blocks. tim.lst is one record: name; statements,
// variables, binary variables, nodes; bound and objective; 0, the status, the number of points.
// sum.lst is for people.
#pragma once

#include <string>
#include <string_view>

#include "mirsolve/answer/answer.h"
#include "mirsolve/problem/problem.h"

namespace mirsolve {

struct ResultTexts {
  std::string res;
  std::string sum;
  std::string tim;
};

// What the status means, for people.
std::string_view words_of(Status status);

// Whether a status promises a point.
bool has_point(Status status);

// The answer itself, or one that says failed where it promises a point and has none, or one of the
// wrong length or with a value that isn't a number.
Answer checked(const Problem& problem, Answer answer);

ResultTexts result_texts(const Problem& problem, const Answer& answer, double seconds);

// Lines for the screen.
std::string short_report(const Problem& problem, const Answer& answer, double seconds);

// Each file is written under another name and put in place when all three are whole. False: at
// least one isn't there.
bool write_results(const ResultTexts& texts);
// The same by system calls alone, for a signal handler.
bool write_results_at_once(const ResultTexts& texts);

}  // namespace mirsolve
