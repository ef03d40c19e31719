#include "report/trace.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/small_problem.h"

namespace torve {
namespace {

// The columns in the order that readers of old files rely on.
const std::vector<std::string> titles{
    "#filename",   "NINPUTS",     "NOUTPUTS",    "INITIALPOINTS", "OUTPUT",       "SET",
    "INITIALIZER", "SAMPLER",     "MODELER",     "BUILDER",       "GREEDYBUILD",  "BACKSTEPPER",
    "GREEDYBACK",  "REGULARIZER", "SOLVEMIP",    "SSEOLR",        "SSE",          "RMSE",
    "R2",          "ModelSize",   "BIC",         "RIC",           "Cp",           "AICc",
    "HQC",         "MSE",         "SSEp",        "MADp",          "OLRTime",      "numOLRs",
    "OLRoneCalls", "OLRoneFails", "OLRgsiCalls", "OLRgsiFails",   "OLRdgelCalls", "OLRdgelFails",
    "OLRclrCalls", "OLRclrFails", "OLRgmsCalls", "OLRgmsFails",   "CLRTime",      "numCLRs",
    "MIPTime",     "NumMIPs",     "LassoTime",   "Metric1Lasso",  "Metric2Lasso", "LassoSuccess",
    "LassoRed",    "nBasInitAct", "nBas",        "SimTime",       "SimData",      "TotData",
    "NdataConv",   "OtherTime",   "NumIters",    "IterConv",      "TimeConv",     "Step0Time",
    "Step1Time",   "Step2Time",   "TotalTime",   "TorveStatus",   "TorveVersion", "Model"};

using Row = std::map<std::string, std::string>;

std::vector<std::string> split(const std::string& line) {
  std::vector<std::string> fields;
  std::size_t from = 0;
  while (fields.size() + 1 < titles.size()) {
    const std::size_t to = line.find(", ", from);
    if (to == std::string::npos) break;
    fields.push_back(line.substr(from, to - from));
    from = to + 2;
  }
  fields.push_back(line.substr(from));
  return fields;
}

// A straight line through the origin: b = sum x z / sum x x. Values on any set follow from b.
struct Line {
  double b = 0.0;
  Line(const std::vector<double>& x, const std::vector<double>& z) {
    double xz = 0.0;
    double xx = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      xz += x[i] * z[i];
      xx += x[i] * x[i];
    }
    b = xz / xx;
  }
};

struct Set {
  int number;
  std::vector<double> x;
  std::vector<std::vector<double>> z;  // by output
};

// Two outputs over one input without constant: data, a bank of two points, two test sets of one and
// two points. The only column is x, so that every model is a line.
const std::vector<Set> sets{
    {0, {1, 2, 3, 4, 5}, {{2, 4, 6, 8, 11}, {1, 1, 2, 2, 3}}},
    {-1, {6, 7}, {{12, 13}, {3, 4}}},
    {1, {8}, {{17}, {4}}},
    {2, {9, 10}, {{18, 21}, {5, 5}}},
};

const std::string problem = R"(ninputs 1
noutputs 2
xlabels flow
zlabels head power
xmin 1
xmax 10
constant 0
ntestsets 2
ntestdata 1 2
ndata 7
nbank 2
tracefname trace.trc
print_to_screen 0
begin_data
1 2 1
2 4 1
3 6 2
4 8 2
5 11 3
6 12 3
7 13 4
end_data
begin_testdata
8 17 4
9 18 5
10 21 5
end_testdata
)";

class Trace : public testing::Test {
 protected:
  void SetUp() override {
    const test::SmallRun run(problem);
    std::istringstream file(run.trace());
    std::string line;
    while (std::getline(file, line)) lines_.push_back(line);
    ASSERT_EQ(lines_.size(), 1U + 2U * sets.size());
    header_ = split(lines_[0]);
    for (std::size_t i = 1; i < lines_.size(); ++i) {
      const std::vector<std::string> fields = split(lines_[i]);
      ASSERT_EQ(fields.size(), titles.size());
      Row row;
      for (std::size_t f = 0; f < titles.size(); ++f) row[titles[f]] = fields[f];
      rows_.push_back(row);
    }
  }

  const Row& row(std::size_t output, std::size_t set) const {
    return rows_[output * sets.size() + set];
  }
  static double number(const Row& row, const std::string& title) {
    return std::stod(row.at(title));
  }

  std::vector<std::string> lines_;
  std::vector<std::string> header_;
  std::vector<Row> rows_;
};

TEST_F(Trace, has_66_columns_in_order) {
  EXPECT_EQ(titles.size(), 66U);
  EXPECT_EQ(header_, titles);
}

TEST_F(Trace, tells_the_options_in_every_row) {
  const Row options{{"NINPUTS", "1"},     {"NOUTPUTS", "2"},    {"INITIALPOINTS", "5"},
                    {"INITIALIZER", "3"}, {"SAMPLER", "2"},     {"MODELER", "1"},
                    {"BUILDER", "1"},     {"GREEDYBUILD", "1"}, {"BACKSTEPPER", "0"},
                    {"GREEDYBACK", "1"},  {"REGULARIZER", "0"}, {"SOLVEMIP", "0"}};
  for (std::size_t k = 0; k < 2; ++k) {
    for (std::size_t s = 0; s < sets.size(); ++s) {
      EXPECT_EQ(row(k, s).at("OUTPUT"), std::to_string(k + 1));
      EXPECT_EQ(row(k, s).at("SET"), std::to_string(sets[s].number));
      EXPECT_NE(row(k, s).at("#filename"), "");
      for (const auto& [title, value] : options) EXPECT_EQ(row(k, s).at(title), value) << title;
    }
  }
}

TEST_F(Trace, tells_the_quality_of_every_set) {
  for (std::size_t k = 0; k < 2; ++k) {
    const Line line(sets[0].x, sets[0].z[k]);
    for (std::size_t s = 0; s < sets.size(); ++s) {
      const std::vector<double>& z = sets[s].z[k];
      double sse = 0.0;
      double sst = 0.0;
      double mad = 0.0;
      for (std::size_t i = 0; i < z.size(); ++i) {
        const double e = z[i] - line.b * sets[s].x[i];
        sse += e * e;
        sst += z[i] * z[i];
        mad = std::max(mad, 100.0 * std::abs(e / z[i]));
      }
      const double n = static_cast<double>(z.size());
      const double likelihood = n * std::log(sse / n);
      const double loglog = static_cast<double>(std::log(std::log(static_cast<float>(n))));
      const std::map<std::string, double> values{
          {"SSE", sse},
          {"RMSE", std::sqrt(sse / n)},
          {"R2", 1.0 - sse / sst},
          {"ModelSize", 1.0},
          {"BIC", likelihood + std::log(n)},
          {"RIC", sse},
          {"Cp", 2.0 + sse - n},
          {"AICc", likelihood + 2.0 + (n > 2.0 ? 4.0 / (n - 2.0) : 0.0)},
          {"HQC", likelihood + 2.0 * loglog},
          {"MSE", n > 2.0 ? sse / (n - 2.0) : sse},
          {"SSEp", sse},
          {"MADp", mad}};
      for (const auto& [title, value] : values) {
        if (std::isfinite(value)) {
          EXPECT_NEAR(number(row(k, s), title), value, 1e-9 * std::max(1.0, std::abs(value)))
              << title << " of output " << k + 1 << ", set " << sets[s].number;
        } else {
          EXPECT_EQ(number(row(k, s), title), value) << title;
        }
      }
    }
  }
}

TEST_F(Trace, tells_what_the_run_did) {
  // A full fit and one subset for each output, all by the one-term formula.
  const Row counts{
      {"numOLRs", "4"},      {"OLRoneCalls", "4"},   {"OLRoneFails", "0"},  {"OLRgsiCalls", "0"},
      {"OLRgsiFails", "0"},  {"OLRdgelCalls", "0"},  {"OLRdgelFails", "0"}, {"OLRclrCalls", "0"},
      {"OLRclrFails", "0"},  {"OLRgmsCalls", "0"},   {"OLRgmsFails", "0"},  {"numCLRs", "0"},
      {"NumMIPs", "0"},      {"LassoSuccess", "F"},  {"LassoRed", "0"},     {"nBasInitAct", "1"},
      {"nBas", "1"},         {"SimData", "0"},       {"TotData", "5"},      {"NumIters", "1"},
      {"TorveStatus", "0"},  {"MIPTime", "0.0000"},  {"CLRTime", "0.0000"}, {"LassoTime", "0.0000"},
      {"SimTime", "0.0000"}, {"Step2Time", "0.0000"}};
  const std::vector<std::string> missing{"Metric1Lasso", "Metric2Lasso", "NdataConv", "IterConv",
                                         "TimeConv"};
  for (const Row& row : rows_) {
    for (const auto& [title, value] : counts) EXPECT_EQ(row.at(title), value) << title;
    for (const std::string& title : missing) EXPECT_EQ(row.at(title), "-111111") << title;
    for (const char* title : {"OLRTime", "OtherTime", "Step0Time", "Step1Time", "TotalTime"}) {
      EXPECT_GE(number(row, title), 0.0) << title;
      EXPECT_LT(number(row, title), 10.0) << title;
    }
    EXPECT_GE(number(row, "TotalTime"), number(row, "Step1Time"));
    EXPECT_EQ(row.at("TorveVersion").find_first_not_of("0123456789."), std::string::npos);
  }
}

TEST_F(Trace, ends_its_rows_with_the_model) {
  for (std::size_t k = 0; k < 2; ++k) {
    const Line line(sets[0].x, sets[0].z[k]);
    for (std::size_t s = 0; s < sets.size(); ++s) {
      const std::string& model = row(k, s).at("Model");
      const std::string start = k == 0 ? "head = " : "power = ";
      ASSERT_EQ(model.substr(0, start.size()), start);
      EXPECT_DOUBLE_EQ(std::stod(model.substr(start.size())), line.b);
      EXPECT_EQ(model.substr(model.size() - 7), " * flow");
      EXPECT_NEAR(number(row(k, s), "SSEOLR"), number(row(k, 0), "SSE"), 1e-12);
    }
  }
}

TEST(TraceOfAnIgnoredOutput, has_no_rows) {
  std::string text = problem;
  text.insert(text.find("constant 0"), "ignore 1 0\n");
  const test::SmallRun run(text);
  EXPECT_EQ(run.trace().find("head = "), std::string::npos);
  EXPECT_NE(run.trace().find("power = "), std::string::npos);
}

TEST(TraceOfNoModel, has_preset_for_every_metric) {
  std::string text = problem;
  text.insert(text.find("constant 0"), "linfcns 0\n");
  const test::SmallRun run(text);
  std::istringstream file(run.trace());
  std::string line;
  std::getline(file, line);
  int rows = 0;
  while (std::getline(file, line)) {
    ++rows;
    const std::vector<std::string> fields = split(line);
    ASSERT_EQ(fields.size(), titles.size());
    for (std::size_t f = 0; f < titles.size(); ++f) {
      const bool metric = (f >= 15 && f <= 18) || (f >= 20 && f <= 27);
      if (!metric) continue;
      EXPECT_EQ(fields[f], "-111111") << titles[f];
    }
    EXPECT_EQ(fields.back().substr(fields.back().find('=')), "= 0.00");
  }
  EXPECT_EQ(rows, 8);
}

}  // namespace
}  // namespace torve
