#ifndef KAVREL_REPORT_BASE_STATISTICS_H
#define KAVREL_REPORT_BASE_STATISTICS_H

#include <optional>
#include <string>
#include <vector>

namespace kavrel::report {

// How many of how many.
struct Share {
  int part = 0;
  int whole = 0;
};

struct Interval {
  double value;  // part / whole, or a mean
  double low;
  double high;
};

// Wilson's 95 % score interval of a share, between 0 and 1; none where nothing was counted.
std::optional<Interval> wilson_interval(const Share& share);

// The mean with its 95 % interval, by the normal distribution; none of less than two numbers.
std::optional<Interval> mean_interval(const std::vector<double>& numbers);

// McNemar's exact test, two-sided: the probability that of `fixed + broken` changes, each as
// likely to help as to hurt, so many or more go one way. 1 without changes.
double mcnemar_exact(int fixed, int broken);

// "12.5 %"
std::string percent(double share);

// "12.5 %", and "(2.2 to 47.1)"; without an interval "–", and "".
std::string percent_of(const std::optional<Interval>& interval);
std::string range_of(const std::optional<Interval>& interval);

// "p = 0.0312"; "p < 0.0001".
std::string probability_text(double probability);

}  // namespace kavrel::report

#endif
