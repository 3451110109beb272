#include "report/base/statistics.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <regex>

#include "tests/support/test_support.h"

namespace kavrel::report {
namespace {

// Of n = 4 with one hit: centre (1/4 + z^2/8) / (1 + z^2/4) = 0.37247, reach 0.32688.
TEST(WilsonInterval, IsTheScoreInterval) {
  const auto quarter = wilson_interval({1, 4}).value();
  EXPECT_DOUBLE_EQ(quarter.value, 0.25);
  EXPECT_NEAR(quarter.low, 0.04559, 5e-6);
  EXPECT_NEAR(quarter.high, 0.69936, 5e-6);
}

// The bounds of none and of all are z^2 / (n + z^2): 0.27753 for ten.
TEST(WilsonInterval, StaysBetweenZeroAndOne) {
  const auto none = wilson_interval({0, 10}).value();
  EXPECT_EQ(none.low, 0);
  EXPECT_NEAR(none.high, 0.27753, 5e-6);
  const auto all = wilson_interval({10, 10}).value();
  EXPECT_NEAR(all.low, 0.72247, 5e-6);
  EXPECT_DOUBLE_EQ(all.high, 1);
}

TEST(WilsonInterval, IsNothingOfNothing) { EXPECT_FALSE(wilson_interval({0, 0}).has_value()); }

// A row such as "| 50 | 67.0 to 88.8 | ...". Where a share of the vehicles is no whole number of
// them, it lies between its neighbours.
TEST(WilsonInterval, IsWhatTheDocumentTells) {
  constexpr std::array<int, 4> kPercents = {80, 90, 95, 99};
  constexpr double kRounding = 0.0501;
  const std::regex cell("([0-9.]+) to ([0-9.]+)");
  int rows = 0;
  for (const std::string& line :
       kavrel_test::lines_of(kavrel_test::read_file(KAVREL_SOURCE_DIR "/docs/labelling.md"))) {
    if (!std::regex_search(line, std::regex("^\\| [0-9]+ \\| [0-9.]+ to"))) continue;
    ++rows;
    const int vehicles = std::stoi(line.substr(2));
    std::sregex_iterator found(line.begin(), line.end(), cell);
    for (const int percent : kPercents) {
      const double correct = vehicles * percent / 100.0;
      const auto below = wilson_interval({static_cast<int>(std::floor(correct)), vehicles}).value();
      const auto above = wilson_interval({static_cast<int>(std::ceil(correct)), vehicles}).value();
      ASSERT_NE(found, std::sregex_iterator()) << line;
      const double low = std::stod((*found)[1]);
      const double high = std::stod((*found)[2]);
      EXPECT_GE(low, 100 * below.low - kRounding) << line;
      EXPECT_LE(low, 100 * above.low + kRounding) << line;
      EXPECT_GE(high, 100 * below.high - kRounding) << line;
      EXPECT_LE(high, 100 * above.high + kRounding) << line;
      ++found;
    }
  }
  EXPECT_GE(rows, 5);
}

// Of 5 changes, 0 one way: 2 / 2^5. Of 6, one: 2 (1 + 6) / 2^6. Of 10, two: 2 (1 + 10 + 45) / 2^10.
TEST(McNemar, IsTheTwoSidedBinomialTest) {
  EXPECT_NEAR(mcnemar_exact(5, 0), 0.0625, 1e-12);
  EXPECT_NEAR(mcnemar_exact(1, 5), 0.21875, 1e-12);
  EXPECT_NEAR(mcnemar_exact(8, 2), 0.109375, 1e-12);
}

TEST(McNemar, IsOneForEvenChangesAndForNone) {
  EXPECT_EQ(mcnemar_exact(0, 0), 1);
  EXPECT_EQ(mcnemar_exact(3, 3), 1);
  EXPECT_EQ(mcnemar_exact(0, 1), 1);
}

TEST(McNemar, HoldsForManyChanges) {
  EXPECT_EQ(mcnemar_exact(5000, 5000), 1);
  EXPECT_NEAR(mcnemar_exact(5100, 4900), 0.0466, 0.0005);  // the normal approximation has 0.0466
  EXPECT_LT(mcnemar_exact(10000, 0), 1e-300);
}

TEST(Probability, IsWrittenWithFourDigits) {
  EXPECT_EQ(probability_text(0.015625), "p = 0.0156");
  EXPECT_EQ(probability_text(1), "p = 1.0000");
  EXPECT_EQ(probability_text(0.00009), "p < 0.0001");
}

}  // namespace
}  // namespace kavrel::report
