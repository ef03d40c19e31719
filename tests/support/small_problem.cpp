#include "small_problem.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>

#include "run/trvrun.h"

namespace torve::test {

namespace {

namespace fs = std::filesystem;

// The current folder while it exists; the one before comes back.
class TemporaryFolder {
 public:
  TemporaryFolder() : before_(fs::current_path()) {
    std::string pattern = (fs::temp_directory_path() / "torve-small-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    here_ = pattern;
    fs::current_path(here_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::current_path(before_, ignored);
    fs::remove_all(here_, ignored);
  }

 private:
  fs::path before_;
  fs::path here_;
};

std::string text_of(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<double> bound(const std::vector<std::vector<double>>& rows, bool upper) {
  std::vector<double> result = rows.at(0);
  for (const auto& row : rows) {
    for (std::size_t j = 0; j < row.size(); ++j) {
      result[j] = upper ? std::max(result[j], row[j]) : std::min(result[j], row[j]);
    }
  }
  return result;
}

}  // namespace

std::string digits(double value) {
  return fmt::format("{:.17g}", value);
}

std::string digits(const std::vector<double>& values) {
  std::string text;
  for (const double value : values) text += " " + digits(value);
  return text;
}

std::string SmallProblem::text() const {
  const std::vector<double> least = xmin.empty() ? bound(x, false) : xmin;
  const std::vector<double> most = xmax.empty() ? bound(x, true) : xmax;
  std::string text = fmt::format("ninputs {}\nnoutputs {}\nxmin{}\nxmax{}\n", least.size(),
                                 z.at(0).size() + static_cast<std::size_t>(transforms),
                                 digits(least), digits(most));
  text += fmt::format("usescratch 0\nndata {}\n{}\nbegin_data\n", x.size(), options);
  for (std::size_t i = 0; i < x.size(); ++i) text += digits(x[i]) + digits(z[i]) + "\n";
  return text + "end_data\n" + sections + "\n";
}

SmallRun::SmallRun(const std::string& problem, const std::function<void(RunState&)>& prepare)
    : run_(std::make_unique<RunState>()) {
  const TemporaryFolder folder;
  std::ofstream("problem.trv", std::ios::binary) << problem;
  run_->files.fname = "problem.trv";
  if (prepare) prepare(*run_);
  testing::internal::CaptureStdout();
  trvrun(*run_);
  screen_ = testing::internal::GetCapturedStdout();
  listing_ = text_of("problem.lst");
  trace_ = text_of("trace.trc");
}

std::vector<bool> SmallRun::chosen(int k) {
  std::vector<bool> result;
  for (int j = 0; j < run_->sizes.nbas; ++j) result.push_back(run_->models.bestchosen(j, k));
  return result;
}

std::vector<double> SmallRun::beta(int k) {
  std::vector<double> result;
  for (int j = 0; j < run_->sizes.nbas; ++j) result.push_back(run_->models.bestbeta(j, k));
  return result;
}

double SmallRun::reported_metric(const std::string& label) const {
  const std::size_t from = listing_.rfind("\nModel building for variable " + label + "\n");
  if (from == std::string::npos) return std::numeric_limits<double>::quiet_NaN();
  const std::size_t next = listing_.find("\nModel building for variable ", from + 1);
  const std::string part = listing_.substr(from, next == std::string::npos ? next : next - from);
  const std::size_t line = part.rfind("\n ---- ");
  if (line == std::string::npos) return std::numeric_limits<double>::quiet_NaN();
  return std::stod(part.substr(part.find(" = ", line) + 3));
}

}  // namespace torve::test
