// Counts that no machine can serve are refused at once, before the memory for them is touched.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <string>

#include "../support/in_process.h"
#include "../support/process.h"

namespace torve::test {
namespace {

struct Count {
  std::string name;
  std::string problem;
  int code;
};

constexpr const char* start = "ninputs 1\nnoutputs 1\nxmin 0\nxmax 9\n";
constexpr const char* data = "begin_data\n1 2\n2 4\n3 7\nend_data\n";
constexpr const char* cut_data = "begin_data\n1 2\n2 4\n3 7\n";

std::string with_data(const std::string& options) {
  return std::string(start) + "ndata 3\n" + options + data;
}

// `options` where the section of the data doesn't follow any more.
std::string without_data(const std::string& options) {
  return std::string(start) + options;
}

std::string many_inputs(int count, const std::string& options) {
  std::string bounds[2] = {"xmin", "xmax"};
  std::string point;
  for (int j = 0; j < count; ++j) {
    bounds[0] += " 0";
    bounds[1] += " 9";
    point += "1 ";
    if (j % 1000 != 999) continue;
    for (std::string* text : {&bounds[0], &bounds[1], &point}) *text += "&\n";
  }
  return "ninputs " + std::to_string(count) + "\nnoutputs 1\n" + bounds[0] + "\n" + bounds[1] +
         "\n" + options + "ndata 1\nbegin_data\n" + point + " 1\nend_data\n";
}

const std::vector<Count> counts = {
    {"ninputs", "ninputs 1000000000\nnoutputs 1\nxmin 0\nxmax 1\n", 51},
    {"noutputs",
     "ninputs 1\nnoutputs 1000000000\nxmin 0\nxmax 1\nndata 1\n"
     "begin_data\n1 1\nend_data\n",
     51},
    {"ninputs_noutputs", "ninputs 1000000000\nnoutputs 1000000000\nxmin 0\nxmax 1\n", 51},
    {"ndata", without_data("ndata 1000000000\n") + cut_data, 55},
    {"ndata_without_data", without_data("ndata 1000000000\n"), 50},
    {"nbank", without_data("ndata 1000000000\nnbank 999999999\n") + cut_data, 55},
    {"ndata_ninputs", "ninputs 1000000\nnoutputs 1\nndata 1000000000\nbegin_data\n1 2\n", 51},
    {"ndata_noutputs", "ninputs 1\nnoutputs 1000000\nndata 1000000000\nbegin_data\n1 2\n", 51},
    {"xdata", without_data("ndata 1000000000\nbegin_xdata\n1\n"), 55},
    {"zdata", without_data("ndata 1000000000\nbegin_zdata\n1\n"), 55},
    {"npredata", without_data("npredata 1000000000\nbegin_xpredata\n1\n"), 55},
    {"npredata_without_points", with_data("npredata 1000000000\n"), 103},
    {"ntestdata", without_data("ntestdata 1000000000\nbegin_testdata\n1 2\n"), 55},
    {"ntestsets", with_data("ntestsets 1000000000\nntestdata 1\n"), 55},
    {"ntestsets_after",
     with_data("ntestdata 1\nntestsets 1000000000\n"
               "begin_testdata\n1 2\nend_testdata\n"),
     0},
    {"ntestdata_sum", with_data("ntestsets 3\nntestdata 1e9 1e9 1e9\n"), 51},
    {"ntestsample", with_data("ntestsets 3\nntestsample 2e9 2e9 2e9\n"), 51},
    {"nsample", without_data("nsample 1000000000\n"), 51},
    {"nsample_ndata", with_data("nsample 1000000000\n"), 51},
    {"initialpoints", without_data("initialpoints 1000000000\n"), 51},
    {"minpoints", without_data("minpoints 1000000000\n"), 51},
    {"npenl", with_data("npenl 1000000000\nscreener 1\n"), 51},
    {"npenl_path", with_data("npenl 1000000000\nscreener 1\nlassopath 1\n"), 51},
    {"ncvf", with_data("ncvf 1000000000\n"), 51},
    {"ncvf_lasso", with_data("ncvf 1000000000\nscreener 1\n"), 51},
    {"ngroups", with_data("ngroups 1000000000\n"), 111},
    {"ngroups_rows", with_data("ngroups 1000000000\nbegin_groups\n1 lin 1\nend_groups\n"), 111},
    {"ncustombas", without_data("ncustombas 1000000000\nbegin_custombas\nx1\n"), 55},
    {"crncustom", without_data("crncustom 1000000000\nbegin_customcon\n1 z1\n"), 55},
    {"ntrans", without_data("ntrans 1000000000\n"), 96},
    {"mono", with_data("mono 1000000000\n"), 46},
    {"multi2", with_data("multi2 1000000000\n"), 47},
    {"multi3", with_data("multi3 1000000000\n"), 48},
    {"ratios", with_data("ratios 1000000000\n"), 49},
    {"mono_beside_its_list", with_data("monomialpower 2\nmono 1000000000\n"), 0},
    {"triples", many_inputs(2000, "multi3power 1\n"), 51},
    {"triples_beyond_whole_numbers", many_inputs(20000, "multi3power 1\n"), 51},
    {"pairs", many_inputs(60000, "multi2power 1\n"), 51},
    {"crinitial", with_data("crninitial 1e50\ncrntrials 1e50\ncrmaxiter 1e50\ncrnviol 1e50\n"), 0},
    {"maxpoints", with_data("maxpoints 1000000000\n"), 0},
    {"too_large_for_a_count", without_data("ndata 1e10\n") + data, 23},
};

class HugeCounts : public testing::TestWithParam<Count> {
  WorkingFolder folder_;
};

void limit_address_space() {
  const rlimit most{rlim_t{16} << 30U, rlim_t{16} << 30U};
  ::setrlimit(RLIMIT_AS, &most);
}

TEST_P(HugeCounts, are_refused_at_once) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "this build takes memory of its own";
#endif
  write_file("problem.trv", GetParam().problem);
  const Finished end =
      run_process(TORVE_PROGRAM, {.arguments = {"problem.trv"}, .in_child = limit_address_space});
  EXPECT_TRUE(end.ended_normally()) << end.screen;
  const std::string ending = GetParam().code == 0 ? "\nNormal termination\n"
                                                  : "terminated with termination code " +
                                                        std::to_string(GetParam().code) + " \n";
  EXPECT_NE(end.screen.find(ending), std::string::npos) << end.screen.substr(0, 4000);
  RecordProperty("cpu_milliseconds", static_cast<int>(1000.0 * end.cpu_seconds));
  RecordProperty("peak_kibibytes", static_cast<int>(end.peak_kibibytes));
  EXPECT_LT(end.cpu_seconds, 1.0);
  EXPECT_LT(end.peak_kibibytes, 200 * 1024);
  EXPECT_FALSE(fs::exists("problem.scr"));
}

INSTANTIATE_TEST_SUITE_P(Counts, HugeCounts, testing::ValuesIn(counts),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace torve::test
