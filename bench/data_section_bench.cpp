// Megabytes per second of a DATA section of a million rows, from a file to the tables of points.
// The file has just been written, so that no disk is waited for.
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "input/problem_reader.h"
#include "side_by_side.h"
#include "support/sample_problem.h"
#include "system/files.h"

namespace {

constexpr int rows = 1'000'000;
constexpr int inputs = 5;
constexpr std::size_t numbers = inputs + 1;

// A section in a file of its own, which goes away with it.
class SectionFile {
 public:
  explicit SectionFile(int digits) {
    std::string name = (std::filesystem::temp_directory_path() / "torve_bench_XXXXXX").string();
    const int fd = ::mkstemp(name.data());
    if (fd < 0) std::abort();
    ::close(fd);
    name_ = name;
    const std::string text = torve::test::data_rows(rows, inputs + 1, digits) + "END_DATA\n";
    size_ = static_cast<double>(text.size());
    std::ofstream(name_, std::ios::binary) << text;
  }
  ~SectionFile() { std::filesystem::remove(name_); }
  SectionFile(const SectionFile&) = delete;
  SectionFile& operator=(const SectionFile&) = delete;

  const std::string& name() const { return name_; }
  double size() const { return size_; }

 private:
  std::string name_;
  double size_ = 0.0;
};

// The section as the program reads it. The memory of the tables is new each time, as it is in a
// run.
class Ours {
 public:
  Ours() { torve::test::declare_data(run_, rows, inputs); }
  void prepare() {
    run_.points.xdata.release(run_.memory);
    run_.points.zdata.release(run_.memory);
  }
  bool read(const std::string& name) {
    torve::ProblemReader reader{run_, torve::LineReader(torve::source_of_file(name)), "", "", {}};
    return torve::read_data(reader);
  }

 private:
  torve::RunState run_;
};

template <class Put>
void read_numbers(const std::string& text, Put put) {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < numbers; ++j) {
      while (at < end && (*at == ' ' || *at == '\n')) ++at;
      double value = 0.0;
      at = std::from_chars(at, end, value).ptr;
      put(i, j, value);
    }
  }
}

template <class Bare>
void compare(benchmark::State& state, const SectionFile& file, Bare bare) {
  Ours ours;
  const auto read = [&] {
    if (!ours.read(file.name())) state.SkipWithError("the section was refused");
  };
  torve::bench::side_by_side(
      state, CLOCK_THREAD_CPUTIME_ID, file.size(), [&] { ours.prepare(); }, read, bare);
}

// Beside a loop that has the text in memory and does nothing but hand every number of it to
// std::from_chars.
void data_section(benchmark::State& state) {
  const SectionFile file(static_cast<int>(state.range(0)));
  const std::string text = torve::read_file(file.name()).value_or("");
  std::vector<double> values(numbers * rows);
  compare(state, file, [&] {
    double* next = values.data();
    read_numbers(text, [&](std::size_t, std::size_t, double value) { *next++ = value; });
    benchmark::DoNotOptimize(values.data());
    benchmark::ClobberMemory();
  });
}
// Significant digits of the numbers: as measured, as singles have them, and as another program
// writes doubles.
BENCHMARK(data_section)->ArgName("digits")->Arg(5)->Arg(8)->Arg(17)->Unit(benchmark::kMillisecond);

// Beside the same work in its plain form: the whole file, then number by number into new columns.
void data_section_whole(benchmark::State& state) {
  const SectionFile file(static_cast<int>(state.range(0)));
  compare(state, file, [&] {
    const std::string text = torve::read_file(file.name()).value_or("");
    auto* columns = static_cast<double*>(std::calloc(numbers * rows, sizeof(double)));
    read_numbers(
        text, [&](std::size_t i, std::size_t j, double value) { columns[j * rows + i] = value; });
    benchmark::DoNotOptimize(columns);
    benchmark::ClobberMemory();
    std::free(columns);
  });
}
BENCHMARK(data_section_whole)
    ->ArgName("digits")
    ->Arg(5)
    ->Arg(8)
    ->Arg(17)
    ->Unit(benchmark::kMillisecond);

}  // namespace
