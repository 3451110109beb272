#include "report/confusion.h"

#include <algorithm>

#include "report/alignment.h"

namespace kavrel::report {
namespace {

int count_expected(const CharacterCounts& counts, char32_t expected) {
  if (expected == kNoCharacter) return 0;
  int total = 0;
  for (auto pair = counts.lower_bound({expected, 0});
       pair != counts.end() && pair->first.first == expected; ++pair) {
    total += pair->second;
  }
  return total;
}

}  // namespace

void add_confusions(const PlateJudgement& plate, ConfusionCounts& counts) {
  if (!plate.fields) return;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const FieldJudgement& field = (*plate.fields)[i];
    if (field.outcome == Outcome::kNotRead) continue;
    for (const AlignedPair& pair : align(field.expected, field.read)) {
      ++counts[i][{pair.expected, pair.read}];
    }
  }
}

std::vector<Confusion> most_frequent(const ConfusionCounts& counts) {
  std::vector<Confusion> confusions;
  for (std::size_t field = 0; field < counts.size(); ++field) {
    for (const auto& [pair, count] : counts[field]) {
      if (pair.first == pair.second) continue;
      const int of = count_expected(counts[field], pair.first);
      confusions.push_back({field, pair.first, pair.second, count, of});
    }
  }
  std::stable_sort(confusions.begin(), confusions.end(),
                   [](const auto& a, const auto& b) { return a.count > b.count; });
  return confusions;
}

}  // namespace kavrel::report
