#include "report/base/alignment.h"

#include <algorithm>

#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

constexpr std::size_t kLongestText = 256;

// (i, j): edits from the first i expected characters to the first j read ones.
class Distances {
 public:
  Distances(std::size_t rows, std::size_t columns) : columns_(columns), cells_(rows * columns) {}
  int& operator()(std::size_t i, std::size_t j) { return cells_[i * columns_ + j]; }

 private:
  std::size_t columns_;
  std::vector<int> cells_;
};

Distances distances_between(const std::u32string& expected, const std::u32string& read) {
  Distances distance(expected.size() + 1, read.size() + 1);
  for (std::size_t i = 0; i <= expected.size(); ++i) {
    for (std::size_t j = 0; j <= read.size(); ++j) {
      if (i == 0 || j == 0) {
        distance(i, j) = static_cast<int>(i + j);
        continue;
      }
      const int changed = expected[i - 1] == read[j - 1] ? 0 : 1;
      distance(i, j) = std::min(
          {distance(i - 1, j - 1) + changed, distance(i - 1, j) + 1, distance(i, j - 1) + 1});
    }
  }
  return distance;
}

}  // namespace

std::vector<AlignedPair> align(const std::u32string& whole_expected,
                               const std::u32string& whole_read) {
  const std::u32string expected = whole_expected.substr(0, kLongestText);
  const std::u32string read = whole_read.substr(0, kLongestText);
  Distances distance = distances_between(expected, read);
  std::vector<AlignedPair> pairs;
  std::size_t i = expected.size();
  std::size_t j = read.size();
  while (i > 0 || j > 0) {
    const int changed = i > 0 && j > 0 && expected[i - 1] == read[j - 1] ? 0 : 1;
    if (i > 0 && j > 0 && distance(i, j) == distance(i - 1, j - 1) + changed) {
      pairs.push_back({expected[--i], read[--j]});
    } else if (i > 0 && distance(i, j) == distance(i - 1, j) + 1) {
      pairs.push_back({expected[--i], kNoCharacter});
    } else {
      pairs.push_back({kNoCharacter, read[--j]});
    }
  }
  std::reverse(pairs.begin(), pairs.end());
  return pairs;
}

std::vector<AlignedPair> align(const std::string& expected, const std::string& read) {
  return align(code_points(expected), code_points(read));
}

int count_edits(const std::vector<AlignedPair>& pairs) {
  return static_cast<int>(std::count_if(
      pairs.begin(), pairs.end(), [](const auto& pair) { return pair.expected != pair.read; }));
}

}  // namespace kavrel::report
