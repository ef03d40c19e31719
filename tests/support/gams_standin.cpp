// Stands in for GAMS in the tests: `gams_standin surrogate ...` reads surrogate.gms of the current
// folder, solves it by trying everything, and writes the file that the program's put statements
// write. A listing is left as GAMS leaves one. A program that can't be read ends with status 2 and
// the reason.
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "gms_solver.h"

namespace {

using namespace torve::test;

std::string text_of(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) throw std::runtime_error("no file " + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

void run(const std::string& name) {
  const GmsProgram program = read_gms(text_of(name + ".gms"));
  const GmsModelValues model = evaluate_gms(program);
  const GmsSolution solution = solve_gms(program, model);
  std::ofstream(program.put_file + ".put", std::ios::binary)
      << put_text(program, model, solution.levels, solution.modelstat);
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
