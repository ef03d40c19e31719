// Any sequence of set calls, a run, and the get calls. Names are those of the option table and a
// few that aren't; options that start outside programs or write files are left alone.
#include <fcntl.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>

#include <array>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "run/get_calls.h"
#include "run/option_table.h"
#include "run/set_calls.h"
#include "run/trvrun.h"

namespace {

using torve::TRVSPACE;

const std::set<std::string_view> left_alone = {"print_to_screen", "print_to_file", "usescratch",
                                               "trace",           "maxtime",       "usegams",
                                               "matsnob",         "solvemip",      "debug"};

constexpr std::array<std::string_view, 12> points_and_others = {
    "data",     "xdata",    "zdata",     "testdata",   "xpredata", "convepen",
    "nvaldata", "nvalsets", "custombas", "transforms", "nonsense", ""};

std::string_view name_from(FuzzedDataProvider& bytes) {
  const std::size_t count = torve::option_table.size() + points_and_others.size();
  const auto i = bytes.ConsumeIntegralInRange<std::size_t>(0, count - 1);
  const bool option = i < torve::option_table.size();
  const std::string_view name =
      option ? torve::option_table[i].name : points_and_others[i - torve::option_table.size()];
  return left_alone.contains(name) ? "seed" : name;
}

int whole_from(FuzzedDataProvider& bytes) {
  constexpr std::array edges = {-2147483647 - 1, -1000, -2, -1, 0, 1, 2, 1000000000, 2147483647};
  if (bytes.ConsumeBool()) return bytes.ConsumeIntegralInRange(-3, 12);
  return bytes.PickValueInArray(edges);
}

double real_from(FuzzedDataProvider& bytes) {
  constexpr std::array edges = {-1e308, -1e50, -1.0, -1e-300, 0.0, 1e-10, 0.5, 1.0, 1e50, 1e308};
  if (bytes.ConsumeBool()) return bytes.ConsumeIntegralInRange(-40, 40) / 4.0;
  return bytes.PickValueInArray(edges);
}

// As long as the sizes ask for, or nearly so.
std::size_t length_from(FuzzedDataProvider& bytes) {
  const torve::Sizes& sizes = TRVSPACE.sizes;
  const std::array<long long, 6> lengths = {
      sizes.ninputs,
      sizes.noutputs,
      1LL * sizes.ndata * (sizes.ninputs + sizes.noutputs),
      1LL * sizes.ndata * sizes.ninputs,
      1LL * sizes.ndata * sizes.noutputs,
      1LL * sizes.ntestdatasum * (sizes.ninputs + sizes.noutputs)};
  const long long length = bytes.PickValueInArray(lengths) + bytes.ConsumeIntegralInRange(0, 8) / 8;
  return length < 0 || length > 2000 ? 0 : static_cast<std::size_t>(length);
}

void call(FuzzedDataProvider& bytes) {
  const std::string_view name = name_from(bytes);
  switch (bytes.ConsumeIntegralInRange(0, 4)) {
    case 0:
      torve::trvsetint(TRVSPACE, name, whole_from(bytes));
      return;
    case 1:
      torve::trvsetreal(TRVSPACE, name, real_from(bytes));
      return;
    case 2: {
      std::vector<int> values(length_from(bytes));
      for (int& value : values) value = whole_from(bytes);
      torve::trvsetintvector(TRVSPACE, name, values);
      return;
    }
    case 3: {
      std::vector<double> values(length_from(bytes));
      for (double& value : values) value = real_from(bytes);
      torve::trvsetrealvector(TRVSPACE, name, values);
      return;
    }
    default: {
      const std::string labels = bytes.ConsumeRandomLengthString(60);
      torve::trvsetlabels(TRVSPACE, bytes.ConsumeBool() ? "xlabels" : "zlabels",
                          bytes.ConsumeIntegralInRange(-1, 4), labels);
      return;
    }
  }
}

// Sizes, bounds and a few points, so that most runs come to models.
void set_problem(FuzzedDataProvider& bytes) {
  const int inputs = bytes.ConsumeIntegralInRange(1, 3);
  const int outputs = bytes.ConsumeIntegralInRange(1, 2);
  const int points = bytes.ConsumeIntegralInRange(1, 9);
  torve::trvsetint(TRVSPACE, "ninputs", inputs);
  torve::trvsetint(TRVSPACE, "noutputs", outputs);
  torve::trvsetrealvector(TRVSPACE, "xmin",
                          std::vector<double>(static_cast<std::size_t>(inputs), -10.0));
  torve::trvsetrealvector(TRVSPACE, "xmax",
                          std::vector<double>(static_cast<std::size_t>(inputs), 10.0));
  for (int i = bytes.ConsumeIntegralInRange(0, 4); i > 0; --i) call(bytes);
  torve::trvsetint(TRVSPACE, "ndata", points);
  if (bytes.ConsumeBool()) torve::trvsetint(TRVSPACE, "nbank", bytes.ConsumeIntegralInRange(0, 9));
  std::vector<double> rows(static_cast<std::size_t>(points * (inputs + outputs)));
  for (double& value : rows) value = real_from(bytes);
  torve::trvsetrealvector(TRVSPACE, "data", rows);
}

void keep_silent() {
  const int nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDOUT_FILENO);
  close(nowhere);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool silent = (keep_silent(), true);
  static_cast<void>(silent);
  FuzzedDataProvider bytes(data, size);
  TRVSPACE.memory.machine_bytes = std::int64_t{256} << 20;
  for (const std::string_view name : {"print_to_file", "usescratch", "olrmir"}) {
    torve::trvsetint(TRVSPACE, name, 0);
  }
  torve::trvsetstring(TRVSPACE, "tracefname", "/dev/null");
  torve::trvsetreal(TRVSPACE, "maxtime", 0.2);
  if (bytes.ConsumeIntegralInRange(0, 7) > 0) set_problem(bytes);
  for (int i = 0; i < 40 && bytes.remaining_bytes() > 0; ++i) call(bytes);
  torve::trvrun(TRVSPACE);
  std::string text;
  for (int k = 0; k <= 3; ++k) torve::trvgetmodel(TRVSPACE, k, text);
  torve::trvinit();
  return 0;
}
