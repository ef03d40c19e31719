// Stands in for the solver mirak in tests: `mirak_standin file.mir` reads the file, really solves
// it, and leaves res.lst, sum.lst and tim.lst in the current folder.
//
// tim.lst: name, four counts, bound and objective, two statuses and a count; the second status is
// 1 for solved and 2 for infeasible. res.lst: the variables in the order of their declaration, a
// block for each solution.
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>

#include "mir_solver.h"

namespace {

using namespace torve::test;

std::string text_of(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_text(const std::string& name, const std::string& text) {
  std::ofstream(name, std::ios::binary) << text;
}

std::string counts(const std::string& name, const MirFile& file,
                   const std::optional<MirSolved>& solved) {
  const double objective = solved ? solved->objective : 0.0;
  return fmt::format(" {:<10.10} {} {} {} {}  {:.15e} {:.15e}  0 {} 0\n", name,
                     file.statements.size(), file.variables().size(), file.binary.size(), 0,
                     objective, objective, solved ? 1 : 2);
}

std::string block(const MirFile& file, const MirValues& values, double objective) {
  std::string text = fmt::format(
      "The best solution found\n objective {:.17g}\n   variable   lower   value\n", objective);
  for (const std::string& name : file.variables()) {
    text += fmt::format("  {:<23} {:>24.17g} {:>24.17g}\n", name, 0.0, values.at(name));
  }
  return text;
}

std::string solution(const MirFile& file, const std::optional<MirSolved>& solved) {
  std::string text = " stand-in for mirak\n\n";
  if (!solved) return text + " No solution was found\n";
  text += block(file, solved->values, solved->objective);
  for (const MirValues& other : solved->others)
    text += "\n" + block(file, other, other.at("trv_z"));
  return text;
}

void solve_file(const std::string& name) {
  const MirFile file = read_mir(text_of(name));
  const std::vector<std::string> complaints = name_complaints(file);
  if (!complaints.empty()) throw std::runtime_error(complaints.front());
  const std::optional<MirSolved> solved = solve_mir(file);
  write_text("tim.lst", counts(name.substr(0, name.find('.')), file, solved));
  write_text("res.lst", solution(file, solved));
  write_text("sum.lst", solved ? "solved\n" : "infeasible\n");
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count != 2) throw std::runtime_error("one argument expected");
    solve_file(arguments[1]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mirak_standin: %s\n", error.what());
    return 3;
  }
}
