#include "report/assessment/confusion.h"

#include <algorithm>
#include <set>

#include "app/base/output_format.h"
#include "app/base/text.h"
#include "report/base/alignment.h"
#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

// A part of the plate: its characters, and the field of each.
struct Row {
  std::u32string text;
  std::vector<std::size_t> fields;
};

// What readings of a plate can show.
struct PlateRows {
  Row upper;
  Row lower;
  Row serial;
  Row whole;
  std::vector<Row> parts;  // all of these, and each field
};

// Without what a vote does not look at: blanks, and the hyphen or the dots of a serial.
std::u32string characters_of(const std::string& text) {
  std::u32string characters = code_points(remove_spaces(text));
  const auto ignored = [](char32_t character) { return character == U'-' || character == U'・'; };
  characters.erase(std::remove_if(characters.begin(), characters.end(), ignored), characters.end());
  return characters;
}

Row row_of(const PlateFields& plate, const std::vector<std::size_t>& fields) {
  Row row;
  for (const std::size_t field : fields) {
    row.text += characters_of(plate.*kFields[field].value);
    row.fields.resize(row.text.size(), field);
  }
  return row;
}

PlateRows rows_of(const PlateFields& plate) {
  PlateRows rows{row_of(plate, {0, 1}),
                 row_of(plate, {2, 3}),
                 row_of(plate, {3}),
                 row_of(plate, {0, 1, 2, 3}),
                 {}};
  rows.parts = {rows.upper, rows.lower, rows.whole};
  for (std::size_t field = 0; field < kFields.size(); ++field) {
    rows.parts.push_back(row_of(plate, {field}));
  }
  return rows;
}

std::vector<const Row*> rows_shown(const std::string& source, const PlateRows& rows) {
  if (contains(source, output::source::kUpperRow)) return {&rows.upper};
  if (contains(source, output::source::kLowerRow)) return {&rows.lower};
  if (contains(source, output::source::kSerialArea)) return {&rows.serial};
  if (contains(source, output::source::kFull)) return {&rows.whole};
  std::vector<const Row*> parts;
  for (const Row& part : rows.parts) parts.push_back(&part);
  return parts;
}

// Quicker than to align them, and never less than what they have in common in order.
std::size_t characters_in_common(const std::u32string& a, std::u32string b) {
  std::size_t common = 0;
  for (const char32_t character : a) {
    const std::size_t place = b.find(character);
    if (place == std::u32string::npos) continue;
    b.erase(place, 1);
    ++common;
  }
  return common;
}

// Whether at least half of the expected characters are there.
bool is_enough(std::size_t right, const Row& row) { return 2 * right >= row.text.size(); }

std::size_t count_right(const std::vector<AlignedPair>& pairs) {
  return static_cast<std::size_t>(std::count_if(
      pairs.begin(), pairs.end(), [](const auto& pair) { return pair.expected == pair.read; }));
}

// The row that the text is nearest to, the first of equally near ones; null if it means none.
const Row* row_meant(const std::vector<const Row*>& rows, const std::u32string& text) {
  const Row* nearest = nullptr;
  int least_edits = 0;
  for (const Row* row : rows) {
    if (row->text.empty() || !is_enough(characters_in_common(row->text, text), *row)) continue;
    if (row->text == text) return row;
    const auto pairs = align(row->text, text);
    const int edits = count_edits(pairs);
    if (!is_enough(count_right(pairs), *row) || (nearest && edits >= least_edits)) continue;
    nearest = row;
    least_edits = edits;
  }
  return nearest;
}

using Pairs = std::set<std::pair<char32_t, char32_t>>;

// A character that was added counts for the field of the one before it.
void add_pairs(const Row& row, const std::u32string& text,
               std::array<Pairs, kFields.size()>& pairs_of_fields) {
  std::size_t next = 0;
  for (const AlignedPair& pair : align(row.text, text)) {
    const std::size_t field =
        row.fields[next > 0 && pair.expected == kNoCharacter ? next - 1 : next];
    pairs_of_fields[field].insert({pair.expected, pair.read});
    if (pair.expected != kNoCharacter) ++next;
  }
}

void count_once(const Pairs& pairs, FieldConfusions& counts) {
  std::set<char32_t> expected;
  for (const auto& pair : pairs) {
    ++counts.pairs[pair];
    if (pair.first != kNoCharacter) expected.insert(pair.first);
  }
  for (const char32_t character : expected) ++counts.expected[character];
}

}  // namespace

void add_confusions(const PlateFields& expected, const std::vector<OcrText>& readings,
                    ConfusionCounts& counts) {
  const PlateRows rows = rows_of(expected);
  std::array<Pairs, kFields.size()> pairs;
  for (const OcrText& reading : readings) {
    const std::u32string text = characters_of(reading.text);
    const Row* row = row_meant(rows_shown(reading.source, rows), text);
    if (row != nullptr) add_pairs(*row, text, pairs);
  }
  for (std::size_t field = 0; field < pairs.size(); ++field) {
    count_once(pairs[field], counts[field]);
  }
}

std::vector<Confusion> most_frequent(const ConfusionCounts& counts) {
  std::vector<Confusion> confusions;
  for (std::size_t field = 0; field < counts.size(); ++field) {
    for (const auto& [pair, count] : counts[field].pairs) {
      if (pair.first == pair.second) continue;
      const auto expected = counts[field].expected.find(pair.first);
      const int of = expected == counts[field].expected.end() ? 0 : expected->second;
      confusions.push_back({field, pair.first, pair.second, count, of});
    }
  }
  std::stable_sort(confusions.begin(), confusions.end(),
                   [](const auto& a, const auto& b) { return a.count > b.count; });
  return confusions;
}

}  // namespace kavrel::report
