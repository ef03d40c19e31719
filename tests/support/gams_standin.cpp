// Stands in for GAMS in the tests: `gams_standin surrogate ...` reads surrogate.gms of the current
// folder, solves it by trying everything or by searching the box of its variables, and does what
// the program does behind its solve statement. Where the solver's option file asks for the
// solutions in files of their own they are left, and the listing, as GAMS leaves them. A program
// that can't be read ends with status 2 and the reason.
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "gms_execution.h"

namespace {

using namespace torve::test;

std::string text_of(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) throw std::runtime_error("no file " + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The line "gdxout name" of the solver's option file; empty without one.
std::string name_of_solutions(const GmsProgram& program) {
  for (const auto& [file, lines] : program.option_files) {
    for (const std::string& line : lines) {
      if (line.starts_with("gdxout ")) return line.substr(line.find(' ') + 1);
    }
  }
  return "";
}

void run(const std::string& name) {
  const GmsProgram program = read_gms(text_of(name + ".gms"));
  const GmsModelValues data = evaluate_gms_data(program);
  const bool searches = is_box_search(program, data);
  const GmsModelValues model = searches ? data : evaluate_gms(program);
  const GmsSolution solution = searches ? search_gms_box(program, data) : solve_gms(program, model);
  const GmsFolder folder;
  const std::string solutions = name_of_solutions(program);
  if (!solutions.empty()) GmsFolder::write_solutions(solutions, solution);
  const std::string put = put_text(program, model, solution, folder.system());
  if (!program.put_file.empty()) {
    std::ofstream(program.put_file + ".put", std::ios::binary) << put;
  }
  std::ofstream(name + ".lst", std::ios::binary) << "solved by the stand-in\n";
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count < 2) throw std::runtime_error("no program is named");
    run(arguments[1]);
  } catch (const std::exception& error) {
    std::cerr << "gams_standin: " << error.what() << '\n';
    return 2;
  }
  return 0;
}
