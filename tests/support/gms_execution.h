// What a GAMS program does once its model is solved: it puts values into a file, and where the
// solver gave several solutions it collects them from files of theirs.
#pragma once

#include <functional>
#include <string>

#include "gms_model_values.h"
#include "gms_solver.h"

namespace torve::test {

// The system around a program. A program without such statements needs none.
struct GmsSystem {
  // An execute statement; throws std::runtime_error for a command that fails.
  std::function<void(const std::string& command)> execute;
  // A symbol of a gdx file: its values by their indices, (multsol1) or nothing.
  std::function<GmsPoint(const std::string& file, const std::string& symbol)> load;
};

// The file that the program's put statements write.
std::string put_text(const GmsProgram& program, const GmsModelValues& model,
                     const GmsSolution& solution, const GmsSystem& system = {});

// The folder in which a program runs, with the files of a solver that gives more than one solution.
// A gdx file is text here: a line for each value, of its symbol, its indices and the number.
class GmsFolder {
 public:
  // The scratch folder is there as long as this lives.
  GmsFolder();
  ~GmsFolder();
  GmsFolder(const GmsFolder&) = delete;
  GmsFolder& operator=(const GmsFolder&) = delete;

  // <name>1.gdx with the best solution, <name>2.gdx and so on.
  static void write_solutions(const std::string& name, const GmsSolution& solution);
  // The commands of the programs: gdxmerge and rm.
  GmsSystem system() const;
};

}  // namespace torve::test
