// Megabytes per second of a DATA section, from the text in memory to the tables of points, beside a
// loop that does nothing but hand every number of the same text to std::from_chars.
#include <charconv>
#include <optional>
#include <string>
#include <vector>

#include "input/problem_reader.h"
#include "side_by_side.h"
#include "support/sample_problem.h"

namespace {

constexpr int rows = 5000;
constexpr int inputs = 5;

void read_all(std::string_view text, std::vector<double>& values) {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (double& value : values) {
    while (at < end && (*at == ' ' || *at == '\n')) ++at;
    at = std::from_chars(at, end, value).ptr;
  }
  benchmark::DoNotOptimize(values.data());
  benchmark::ClobberMemory();
}

void data_section(benchmark::State& state) {
  const std::string text =
      torve::test::data_rows(rows, inputs + 1, static_cast<int>(state.range(0)));
  torve::RunState run;
  torve::test::declare_data(run, rows, inputs);
  std::vector<double> values(static_cast<std::size_t>(rows * (inputs + 1)));
  std::optional<torve::ProblemReader> reader;
  const auto prepare = [&] {
    reader.reset();
    reader.emplace(torve::ProblemReader{run, torve::LineReader(text + "END_DATA\n"), "", "", {}});
  };
  const auto ours = [&] {
    if (!torve::read_data(*reader)) state.SkipWithError("the section was refused");
  };
  torve::bench::side_by_side(state, CLOCK_PROCESS_CPUTIME_ID, static_cast<double>(text.size()),
                             prepare, ours, [&] { read_all(text, values); });
}
// Significant digits of the numbers: as measured, and as another program writes them.
BENCHMARK(data_section)->ArgName("digits")->Arg(5)->Arg(17)->Unit(benchmark::kMillisecond);

}  // namespace
