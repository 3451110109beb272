#include "report/base/statistics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace kavrel::report {
namespace {

std::string fixed_decimal(double number) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f", number);
  return text.data();
}
constexpr double kZ = 1.959963984540054;  // the normal distribution's 97.5 % quantile

}  // namespace

std::optional<Interval> wilson_interval(const Share& share) {
  if (share.whole == 0) return std::nullopt;
  const double n = share.whole;
  const double p = share.part / n;
  const double scale = 1 + kZ * kZ / n;
  const double centre = (p + kZ * kZ / (2 * n)) / scale;
  const double reach = kZ * std::sqrt(p * (1 - p) / n + kZ * kZ / (4 * n * n)) / scale;
  return Interval{p, std::max(0.0, centre - reach), std::min(1.0, centre + reach)};
}

std::optional<Interval> mean_interval(const std::vector<double>& numbers) {
  if (numbers.size() < 2) return std::nullopt;
  const auto n = static_cast<double>(numbers.size());
  const double mean = std::accumulate(numbers.begin(), numbers.end(), 0.0) / n;
  double squares = 0;
  for (const double number : numbers) squares += (number - mean) * (number - mean);
  const double reach = kZ * std::sqrt(squares / (n - 1) / n);
  return Interval{mean, mean - reach, mean + reach};
}

double mcnemar_exact(int fixed, int broken) {
  const int n = fixed + broken;
  double tail = 0;
  for (int k = 0; k <= std::min(fixed, broken); ++k) {
    // By logarithms: neither the binomial coefficient nor the power fits a double for large n.
    const double log_ways = std::lgamma(n + 1) - std::lgamma(k + 1) - std::lgamma(n - k + 1);
    tail += std::exp(log_ways - n * std::log(2.0));
  }
  return std::min(1.0, 2 * tail);
}

std::string percent(double share) { return fixed_decimal(100 * share) + " %"; }

std::string percent_of(const std::optional<Interval>& interval) {
  return interval ? percent(interval->value) : "–";
}

std::string range_of(const std::optional<Interval>& interval) {
  if (!interval) return "";
  return "(" + fixed_decimal(100 * interval->low) + " to " + fixed_decimal(100 * interval->high) +
         ")";
}

std::string probability_text(double probability) {
  if (probability < 0.0001) return "p < 0.0001";
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "p = %.4f", probability);
  return text.data();
}

}  // namespace kavrel::report
