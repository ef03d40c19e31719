#include "gms_execution.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "gms_numbers.h"

namespace torve::test {

namespace {

namespace fs = std::filesystem;

// A number as put writes it. Without a width it gets all its digits.
std::string put_number(double value, const GmsPutItem& item) {
  if (item.width < 0) return fmt::format("{:.17g}", value);
  return fmt::format("{:{}.{}f}", value, item.width, std::max(item.decimals, 0));
}

class Executor {
 public:
  Executor(const GmsProgram& program, const GmsModelValues& model, const GmsSolution& solution,
           const GmsSystem& system)
      : program_(program),
        parameters_(model.parameters),
        levels_(solution.levels),
        modelstat_(solution.modelstat),
        system_(system) {}

  std::string run() {
    run_all(program_.afterwards);
    return std::move(text_);
  }

 private:
  using Kind = GmsStatement::Kind;

  void run_all(const std::vector<GmsStatement>& body) {
    for (const GmsStatement& statement : body) run_one(statement);
  }

  void run_one(const GmsStatement& statement) {
    switch (statement.kind) {
      case Kind::assignment:
        return assign(statement.assignment);
      case Kind::put:
        for (const GmsPutItem& item : statement.items) put(item);
        return;
      case Kind::loop:
        return for_each_element(program_, statement.sets, elements_,
                                [&] { run_all(statement.body); });
      case Kind::branch:
        if (value(statement.condition) != 0.0) run_all(statement.body);
        return;
      case Kind::execute:
        if (!system_.execute) throw std::runtime_error("no commands here");
        return system_.execute(statement.text);
      case Kind::load:
        return load(statement);
    }
  }

  double value(const GmsExpression& expression) {
    return number_of(program_, expression, elements_,
                     [this](const GmsExpression& reference, const std::string& name) {
                       if (reference.suffix == "modelstat") return double(modelstat_);
                       const GmsKind kind = program_.symbol(reference.name).kind;
                       const auto& values = kind == GmsKind::parameter ? parameters_ : levels_;
                       // What was never given is 0.
                       const auto found = values.find(name);
                       return found == values.end() ? 0.0 : found->second;
                     });
  }

  void assign(const GmsAssignment& assignment) {
    for_each_element(program_, assignment.target.indices, elements_, [&] {
      const double result = value(assignment.value);
      const std::string name = full_name(assignment.target, elements_);
      if (program_.symbol(assignment.target.name).kind == GmsKind::parameter) {
        parameters_[name] = result;
      }
    });
  }

  void put(const GmsPutItem& item) {
    if (item.is_new_line) {
      text_ += '\n';
      return;
    }
    if (!text_.empty() && text_.back() != '\n') text_ += ' ';
    text_ += put_number(value(item.value), item);
  }

  // A variable that is loaded loses what the file doesn't hold.
  void load(const GmsStatement& statement) {
    if (!system_.load) throw std::runtime_error("no files here");
    for (const GmsLoad& pair : statement.loads) {
      std::erase_if(levels_, [&](const auto& level) {
        return level.first == pair.variable || level.first.starts_with(pair.variable + "(");
      });
      for (const auto& [indices, level] : system_.load(statement.text, pair.symbol)) {
        levels_[pair.variable + indices] = level;
      }
    }
  }

  const GmsProgram& program_;
  std::map<std::string, double> parameters_;
  GmsPoint levels_;
  int modelstat_;
  const GmsSystem& system_;
  GmsElements elements_;
  std::string text_;
};

// --- files --------------------------------------------------------------------------------------

constexpr const char* scratch_folder = "225a/";

struct GdxValue {
  std::string symbol;
  std::string indices;  // (a,b), or () without any
  double level = 0.0;
};

std::vector<GdxValue> read_gdx(const std::string& name) {
  std::ifstream file(name);
  if (!file) throw std::runtime_error("no file " + name);
  std::vector<GdxValue> values;
  for (GdxValue value; file >> value.symbol >> value.indices >> value.level;) {
    values.push_back(value);
  }
  return values;
}

void write_gdx(const std::string& name, const std::vector<GdxValue>& values) {
  std::ofstream file(name);
  for (const GdxValue& value : values) {
    file << fmt::format("{} {} {:.17g}\n", value.symbol, value.indices, value.level);
  }
}

// merged.gdx with all symbols of the files that match, in the order of their names; the name of a
// file becomes the first index.
void merge_gdx(const std::string& pattern, const std::string& report) {
  const std::string expression = std::regex_replace(pattern, std::regex("\\*"), ".*");
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(".")) {
    if (std::regex_match(entry.path().filename().string(), std::regex(expression))) {
      files.push_back(entry.path());
    }
  }
  std::ranges::sort(files);
  std::vector<GdxValue> merged;
  for (const fs::path& file : files) {
    for (GdxValue value : read_gdx(file.string())) {
      const std::string more = value.indices == "()" ? ")" : "," + value.indices.substr(1);
      value.indices = "(" + file.stem().string() + more;
      merged.push_back(std::move(value));
    }
  }
  write_gdx("merged.gdx", merged);
  std::ofstream out(report);
  if (!(out << files.size() << " files\n")) throw std::runtime_error("cannot write " + report);
}

void run_command(const std::string& command) {
  const std::string text =
      std::regex_replace(command, std::regex("%gams\\.scrdir%"), scratch_folder);
  std::istringstream stream(text);
  const std::vector<std::string> words(std::istream_iterator<std::string>(stream), {});
  if (words.size() == 4 && words[0] == "gdxmerge" && words[2] == ">") {
    merge_gdx(words[1], words[3]);
  } else if (words.size() == 2 && words[0] == "rm") {
    if (!fs::remove(words[1])) throw std::runtime_error("no file " + words[1]);
  } else {
    throw std::runtime_error("unknown command " + command);
  }
}

GmsPoint load_symbol(const std::string& file, const std::string& symbol) {
  GmsPoint values;
  for (const GdxValue& value : read_gdx(file)) {
    if (value.symbol == symbol) values[value.indices] = value.level;
  }
  if (values.empty()) throw std::runtime_error("no symbol " + symbol + " in " + file);
  return values;
}

}  // namespace

std::string put_text(const GmsProgram& program, const GmsModelValues& model,
                     const GmsSolution& solution, const GmsSystem& system) {
  return Executor(program, model, solution, system).run();
}

GmsFolder::GmsFolder() {
  fs::create_directory(scratch_folder);
}

GmsFolder::~GmsFolder() {
  std::error_code ignored;
  fs::remove_all(scratch_folder, ignored);
}

void GmsFolder::write_solutions(const std::string& name, const GmsSolution& solution) {
  int number = 0;
  const auto write = [&](const GmsPoint& levels) {
    std::vector<GdxValue> values;
    for (const auto& [variable, level] : levels) {
      const std::size_t bracket = std::min(variable.find('('), variable.size());
      const std::string indices = variable.substr(bracket);
      values.push_back({variable.substr(0, bracket), indices.empty() ? "()" : indices, level});
    }
    write_gdx(fmt::format("{}{}.gdx", name, ++number), values);
  };
  if (!solution.levels.empty()) write(solution.levels);
  for (const GmsPoint& other : solution.others) write(other);
}

GmsSystem GmsFolder::system() const {
  return {run_command, load_symbol};
}

}  // namespace torve::test
