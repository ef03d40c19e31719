#include "report/quality.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace torve {
namespace {

constexpr double preset = -111111.0;

// Four points with the errors 1, -1, 2, 0: sse 6, mean of z 4, sst about it 20, about zero 84.
const std::vector<double> z{1.0, 3.0, 5.0, 7.0};
const std::vector<double> y{0.0, 4.0, 3.0, 7.0};

QualityRules rules_with(bool constant, int terms) {
  QualityRules rules;
  rules.preset = preset;
  rules.constant = constant;
  rules.terms = terms;
  rules.metrics = {1.0, 0.5, false, 3};
  return rules;
}

TEST(Quality, is_told_about_the_mean_with_a_constant_term) {
  const SetQuality q = measure(z, y, rules_with(true, 2));
  EXPECT_DOUBLE_EQ(q.sse, 6.0);
  EXPECT_DOUBLE_EQ(q.rmse, std::sqrt(6.0 / 4.0));
  EXPECT_DOUBLE_EQ(q.r2, 1.0 - 6.0 / 20.0);
  EXPECT_NEAR(q.r2adjusted, 0.1, 1e-14);
  EXPECT_DOUBLE_EQ(q.maxpercent, 100.0);
}

TEST(Quality, is_told_about_zero_without_a_constant_term) {
  const SetQuality q = measure(z, y, rules_with(false, 2));
  EXPECT_DOUBLE_EQ(q.r2, 1.0 - 6.0 / 84.0);
  EXPECT_GT(q.r2, measure(z, y, rules_with(true, 2)).r2);
}

TEST(Quality, has_all_eight_metrics) {
  const SetQuality q = measure(z, y, rules_with(true, 1));
  const double n = 4.0;
  const double likelihood = n * std::log(6.0 / n);
  const double loglog = static_cast<double>(std::log(std::log(4.0F)));
  EXPECT_DOUBLE_EQ(q.metrics[0], likelihood + std::log(n));
  EXPECT_DOUBLE_EQ(q.metrics[1], 2.0 + 6.0 - n);
  EXPECT_DOUBLE_EQ(q.metrics[2], likelihood + 2.0 + 4.0 / 2.0);
  EXPECT_DOUBLE_EQ(q.metrics[3], likelihood + 2.0 * loglog);
  EXPECT_DOUBLE_EQ(q.metrics[4], 6.0 / 2.0);
  EXPECT_DOUBLE_EQ(q.metrics[5], 6.5);
  EXPECT_DOUBLE_EQ(q.metrics[6], 6.0 + 2.0 * std::log(3.0));
  EXPECT_DOUBLE_EQ(q.metrics[7], 100.5);
}

TEST(Quality, leaves_bad_points_out) {
  std::vector<double> zbad = z;
  std::vector<double> ybad = y;
  zbad.push_back(preset + 0.00005);
  ybad.push_back(12.0);
  const SetQuality q = measure(zbad, ybad, rules_with(true, 2));
  EXPECT_DOUBLE_EQ(q.sse, 6.0);
  EXPECT_DOUBLE_EQ(q.rmse, std::sqrt(1.5));
  EXPECT_NEAR(q.r2adjusted, 0.1, 1e-14);
}

TEST(Quality, has_no_adjusted_r2_with_as_many_terms_as_points_but_one) {
  EXPECT_EQ(measure(z, y, rules_with(true, 3)).r2adjusted, -1e31);
}

TEST(Quality, takes_errors_for_percentages_near_zero) {
  const std::vector<double> small{0.001, 2.0};
  const std::vector<double> model{0.501, 2.0};
  const SetQuality q = measure(small, model, rules_with(true, 0));
  EXPECT_DOUBLE_EQ(q.metrics[7], 0.5);
  EXPECT_DOUBLE_EQ(q.maxpercent, 50000.0);
}

TEST(Quality, of_a_set_without_usable_points_does_not_exist) {
  const std::vector<double> bad{preset, preset};
  const SetQuality q = measure(bad, {y.data(), 2}, rules_with(true, 1));
  EXPECT_EQ(q.sse, preset);
  EXPECT_EQ(q.r2adjusted, preset);
  EXPECT_EQ(q.metrics[7], preset);
}

TEST(Quality, of_equal_observations_has_no_r2) {
  const std::vector<double> same{2.0, 2.0, 2.0};
  const SetQuality q = measure(same, same, rules_with(true, 1));
  EXPECT_EQ(q.r2, preset);
  EXPECT_EQ(q.sse, 0.0);
  EXPECT_EQ(q.metrics[0], -1e30);
}

TEST(Quality, of_the_data_counts_all_points_in_its_metrics) {
  std::vector<double> zbad = z;
  std::vector<double> ybad = y;
  zbad.push_back(preset);
  ybad.push_back(0.0);
  QualityRules rules = rules_with(true, 1);
  rules.points = 5;
  EXPECT_DOUBLE_EQ(measure(zbad, ybad, rules).metrics[1], 2.0 + 6.0 - 5.0);
}

}  // namespace
}  // namespace torve
