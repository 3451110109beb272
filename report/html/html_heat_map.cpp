#include "report/html/html_heat_map.h"

#include <algorithm>
#include <set>

#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

constexpr std::size_t kClass = 1;  // in kFields
constexpr std::size_t kSerial = 3;

using Characters = std::set<char32_t>;

struct Axes {
  Characters expected;
  Characters read;
};

bool is_digit_or_none(char32_t character) {
  return (character >= U'0' && character <= U'9') || character == kNoCharacter;
}

CharacterCounts digit_counts(const ConfusionCounts& counts) {
  CharacterCounts digits;
  for (const std::size_t field : {kClass, kSerial}) {
    for (const auto& [pair, count] : counts[field].pairs) {
      if (is_digit_or_none(pair.first) && is_digit_or_none(pair.second)) digits[pair] += count;
    }
  }
  return digits;
}

int largest_confusion(const CharacterCounts& counts) {
  int largest = 0;
  for (const auto& [pair, count] : counts) {
    if (pair.first != pair.second) largest = std::max(largest, count);
  }
  return largest;
}

// Characters that were confused; those on the rows stand in the columns too.
Axes axes_of(const CharacterCounts& counts) {
  Axes axes;
  for (const auto& [pair, count] : counts) {
    if (pair.first == pair.second) continue;
    axes.expected.insert(pair.first);
    axes.read.insert({pair.first, pair.second});
  }
  return axes;
}

View character_views(const Characters& characters) {
  View views = make_list();
  for (const char32_t character : characters) {
    views.push_back(View("text", character == kNoCharacter
                                     ? std::string("–")
                                     : printable(std::u32string(1, character))));
  }
  return views;
}

View cell_view(int count, bool same, int largest) {
  constexpr int kShades = 4;
  View cell;
  cell.set("count", count > 0 ? std::to_string(count) : std::string());
  cell.set("class", std::string(same ? "same" : ""));
  if (!same && count > 0) {
    cell.set("class", "h" + std::to_string((kShades * count + largest - 1) / largest));
  }
  return cell;
}

View row_views(const CharacterCounts& counts, const Axes& axes) {
  const int largest = largest_confusion(counts);
  View rows = make_list();
  for (const char32_t expected : axes.expected) {
    View cells = make_list();
    for (const char32_t read : axes.read) {
      const auto count = counts.find({expected, read});
      cells.push_back(
          cell_view(count == counts.end() ? 0 : count->second, expected == read, largest));
    }
    View row = character_views({expected}).list_value().front();
    row.set("cells", cells);
    rows.push_back(row);
  }
  return rows;
}

void add_map(const char* id, const char* caption, const CharacterCounts& counts, const Axes& axes,
             View& maps) {
  if (largest_confusion(counts) == 0) return;
  View map;
  map.set("id", std::string(id));
  map.set("caption", std::string(caption));
  map.set("columns", character_views(axes.read));
  map.set("rows", row_views(counts, axes));
  maps.push_back(map);
}

}  // namespace

View heat_maps(const ConfusionCounts& counts) {
  View maps = make_list();
  add_map("kana", "Kana that were confused: expected down, read across", counts[kKana].pairs,
          axes_of(counts[kKana].pairs), maps);
  const CharacterCounts digits = digit_counts(counts);
  Axes all_digits = axes_of(digits);
  for (char32_t digit = U'0'; digit <= U'9'; ++digit) {
    all_digits.expected.insert(digit);
    all_digits.read.insert(digit);
  }
  add_map("digits", "Digits of class number and serial: expected down, read across; – is none",
          digits, all_digits, maps);
  return maps;
}

}  // namespace kavrel::report
