#include "support/sample_problem.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include "input/problem_reader.h"
#include "input/trvcheck.h"
#include "model/trvsurr.h"

namespace torve::test {

namespace {

// Numbers between 0 and 1: Knuth's MMIX generator, its upper bits.
class Numbers {
 public:
  double next() {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return static_cast<double>(state_ >> 11U) / 9007199254740992.0;
  }
  double between(double low, double high) { return low + (high - low) * next(); }

 private:
  std::uint64_t state_ = 1;
};

// A problem that doesn't stand as meant is a fault of the test itself.
void must(bool good) {
  if (!good) std::abort();
}

}  // namespace

void fill_selection(RunState& run, const std::vector<std::vector<double>>& columns,
                    const std::vector<double>& output) {
  const int rows = static_cast<int>(output.size());
  const int count = static_cast<int>(columns.size());
  Sizes& sizes = run.sizes;
  sizes.noutputs = sizes.noutputs0 = 1;
  sizes.ndata = sizes.ndatacap = rows;
  sizes.nbas = sizes.nbasmax = count;
  sizes.nbasm1 = count - 1;
  Points& points = run.points;
  MemoryAccount& memory = run.memory;
  must(points.zdata.request(memory, rows, 1) && points.simulated.request(memory, rows, 1) &&
       points.rows.request(memory, rows) && run.basis.xij.request(memory, rows, count) &&
       run.groups.groupcon.request(memory, 1) && run.outputs.tolmeanerror.request(memory, 1) &&
       run.models.conreg.request(memory, 1));
  must(request_model_work(run) && request_model_results(run));
  points.simulated.fill(true);
  points.rows.fill(true);
  run.models.screened.fill(true);
  run.options.maxtime = 1e9;
  for (int j = 0; j < count; ++j) {
    std::ranges::copy(columns[static_cast<std::size_t>(j)], run.basis.xij.column(j, rows).begin());
  }
  std::ranges::copy(output, points.zdata.column(0, rows).begin());
}

void fill_selection(RunState& run, int rows, int columns) {
  Numbers numbers;
  std::vector<std::vector<double>> x(static_cast<std::size_t>(columns),
                                     std::vector<double>(static_cast<std::size_t>(rows)));
  for (auto& column : x) {
    for (double& value : column) value = numbers.between(-1.0, 1.0);
  }
  std::vector<double> z(static_cast<std::size_t>(rows));
  for (std::size_t i = 0; i < z.size(); ++i) {
    z[i] = numbers.between(-0.5, 0.5);
    for (const std::size_t j : {2U, 7U, 11U}) {
      if (j < x.size()) z[i] += x[j][i];
    }
  }
  fill_selection(run, x, z);
}

void fill_catalogue(RunState& run, int points, std::string_view keywords) {
  std::string text = fmt::format(
      "ninputs 4\nnoutputs 1\nxlabels a b c d\nxmin 1 1 1 1\nxmax 2 2 2 2\n"
      "print_to_screen 0\nndata {}\n{}begin_data\n",
      points, keywords);
  Numbers numbers;
  for (int i = 0; i < points; ++i) {
    for (int j = 0; j < 5; ++j) text += fmt::format(" {}", numbers.between(1.0, 2.0));
    text += '\n';
  }
  text += "end_data\n";
  read_problem_text(run, text);
  must(!failed(run));
  trvcheck(run);
  must(!failed(run));
}

std::string data_rows(int rows, int numbers, int digits) {
  constexpr std::array magnitudes{1.0, 1e-3, 1e2, 1e5, 10.0, 1e-2};
  Numbers values;
  std::string text;
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < numbers; ++j) {
      const double magnitude = magnitudes[static_cast<std::size_t>(j) % magnitudes.size()];
      text += fmt::format("{}{:.{}g}", j == 0 ? "" : " ", magnitude * values.between(-9.0, 9.0),
                          digits);
    }
    text += '\n';
  }
  return text;
}

void declare_data(RunState& run, int rows, int inputs) {
  run.sizes.ndata = rows;
  run.sizes.ninputs = inputs;
  run.sizes.noutputs = run.sizes.noutputs0 = 1;
  for (const char* name : {"ndata", "ninputs", "noutputs"}) {
    const std::optional<OptionName> option = look_up(name);
    must(option.has_value());
    run.seen.set(option->flag);
  }
}

}  // namespace torve::test
