#include "run/workspace.h"

#include <algorithm>
#include <cmath>

#include "system/files.h"
#include "text/strings.h"

namespace torve {

namespace {

// An old scratch folder of the name is gone with all it holds, but never the folder of the run.
bool make_scratch(RunState& run) {
  const std::string& scratch = run.files.scratch;
  if (is_protected_folder(run, scratch)) return false;
  if ((folder_exists(scratch) || is_link(scratch)) && !remove_tree(scratch)) return false;
  if (!make_folder(scratch)) return false;
  run.files.scratchmade = true;
  return true;
}

// The lines of the group sections, kept while the problem file was read.
bool write_group_file(RunState& run) {
  TextFile file;
  if (!file.open_replace(run.files.grpsfile)) return false;
  file.line("BEGIN_GROUPS");
  for (const std::string& line : run.groups.echo) file.line(line);
  return file.close();
}

// The solver's files stand beside the solver, or in the execution folder for a bare name. A
// separator in the second column marks a drive letter and counts as a bare name.
std::string solver_file_base(const RunState& run) {
  const std::string& path = run.files.mirakpath;
  const std::size_t last = path.rfind(separator);
  const bool has_folder = last != std::string::npos && last != 1;
  const std::string folder = has_folder ? path.substr(0, last + 1) : run.files.execdir + separator;
  return folder + "trvmirak";
}

// "./solver" and "../solver" become absolute, since solvers run from the scratch folder.
std::string absolute_solver_path(const RunState& run) {
  std::string path = run.files.mirakpath;
  if (path.find('.') == std::string::npos) return path;
  const std::string here{'.', separator};
  const std::string up{'.', '.', separator};
  if (path.starts_with(here)) return run.files.execdir + path.substr(1);
  if (!path.starts_with(up)) return path;
  std::string folder = run.files.execdir;
  const auto dots = static_cast<double>(std::count(path.begin(), path.end(), '.'));
  for (long step = std::lround(dots / 3.0); step > 0; --step) {
    const std::size_t last = folder.rfind(separator);
    if (last == std::string::npos) break;
    folder.erase(last);
  }
  while (path.starts_with(up)) path.erase(0, up.size());
  return folder + separator + path;
}

}  // namespace

bool is_protected_folder(const RunState& run, const std::string& name) {
  return is_same_or_ancestor(name, run.files.execdir) || is_same_or_ancestor(name, run.files.fname);
}

bool trvworkspace(RunState& run) {
  const std::optional<std::string> here = current_folder();
  if (!here) return fail(run, Code::cannot_enter_execution_folder, 207);
  run.files.execdir = *here;
  if (run.options.usescratch) {
    if (!make_scratch(run)) return fail(run, Code::cannot_enter_scratch, 208);
    run.files.grpsfile = run.files.scratch + separator + "grps.txt";
    if (!write_group_file(run)) return fail(run, Code::file_write_failed, 209);
  }
  run.files.mirakfile = solver_file_base(run);
  run.files.mirakpath = absolute_solver_path(run);
  return true;
}

std::string trvfindprogram(RunState& run, const std::string& command) {
  const std::string name = command.substr(0, command.find(' '));
  if (name.empty()) return "";
  const bool scratch = run.options.usescratch;
  if (scratch && !enter_folder(run.files.scratch)) {
    fail(run, Code::cannot_enter_scratch, 66);
    return "";
  }
  const bool found =
      name.find(separator) != std::string::npos ? program_exists(name) : regular_file_exists(name);
  if (scratch && !enter_folder(run.files.execdir)) {
    fail(run, Code::cannot_enter_execution_folder, 67);
    return "";
  }
  // A bare name that stands in the folder isn't found by the command interpreter without its
  // folder.
  if (found) return name.find(separator) != std::string::npos ? name : std::string("./") + name;
  if (name.find(separator) != std::string::npos) return "";
  for (std::string entry : path_entries()) {
    if (entry.back() != separator) entry += separator;
    if (program_exists(entry + name)) return entry + name;
  }
  return "";
}

bool trvonpath(const std::string& name) {
  if (name.empty()) return false;
  if (name.find(separator) != std::string::npos) return program_exists(name);
  for (const std::string& entry : path_entries()) {
    if (program_exists(entry + separator + name)) return true;
  }
  return false;
}

}  // namespace torve
