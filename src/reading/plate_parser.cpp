#include "reading/plate_parser.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "app/base/output_format.h"
#include "app/base/text.h"
#include "kana/kana_alphabet.h"
#include "reading/plate_text.h"

namespace kavrel {
namespace {

constexpr std::size_t kClassDigits = 3;
constexpr std::size_t kFullSerialDigits = 4;

constexpr int kBaseWeight = 1;

// What the window of a reading adds to its weight.
struct WindowWeight {
  const char* window;
  int weight;
};

constexpr std::array<WindowWeight, 4> kWindowWeights = {{
    {output::source::kFull, 1},
    {output::source::kUpperRow, 3},
    {output::source::kLowerRow, 2},
    {output::source::kSerialArea, 3},
}};

// Added to a reading's weight for a run of digits, by where it stands and how long it is.
constexpr int kPositionBonus = 5;   // the first run is a class number, the last one a serial
constexpr int kFourDigitBonus = 6;  // a serial and nothing else
constexpr int kCutDigitsBonus = 4;  // the last four of more digits

// The votes of a run of three digits, whatever the reading's weight.
constexpr int kRowOfThreeDigits = 8;    // in the row that tells what they are
constexpr int kDoubtOfThreeDigits = 1;  // for the other meaning, or for both without such a row

// Longer words first: a name is tried before the shorter ones that it contains.
std::vector<std::string_view> longest_first(const std::vector<std::string>& region_words) {
  std::vector<std::string_view> words(region_words.begin(), region_words.end());
  std::stable_sort(words.begin(), words.end(),
                   [](std::string_view a, std::string_view b) { return a.size() > b.size(); });
  return words;
}

// The first word that occurs in `text`; "" without one.
std::string find_region(const std::string& text,
                        const std::vector<std::string_view>& sorted_words) {
  const auto word = std::find_if(sorted_words.begin(), sorted_words.end(),
                                 [&](const auto& w) { return !w.empty() && contains(text, w); });
  return word == sorted_words.end() ? std::string() : std::string(*word);
}

int weight_of(const std::string& source) {
  int weight = kBaseWeight;
  for (const auto& [window, added] : kWindowWeights) {
    if (contains(source, window)) weight += added;
  }
  return weight;
}

std::vector<std::string> digit_runs(const std::string& text) {
  std::vector<std::string> runs = extract_digit_runs(text);
  std::transform(runs.begin(), runs.end(), runs.begin(), digits_only);
  return runs;
}

std::string last_four(const std::string& digits) {
  return digits.substr(digits.size() - kFullSerialDigits);
}

void vote_by_position(const std::vector<std::string>& runs, int weight, FieldTallies& tallies) {
  if (runs.size() < 2) return;
  const std::string& first = runs.front();
  const std::string& last = runs.back();
  if (first.size() == kClassDigits) tallies.class_no[first] += weight + kPositionBonus;
  if (last.size() > kFullSerialDigits) {
    tallies.serial[format_serial(last_four(last))] += weight + kCutDigitsBonus;
  } else if (last.size() >= kClassDigits) {
    tallies.serial[format_serial(last)] += weight + kPositionBonus;
  }
}

// Three digits can be a class number or a short serial: the row decides.
void vote_three_digits(const std::string& run, const std::string& source, FieldTallies& tallies) {
  const bool upper = contains(source, output::source::kUpperRow);
  const bool lower =
      contains(source, output::source::kLowerRow) || contains(source, output::source::kSerialArea);
  tallies.class_no[run] += upper ? kRowOfThreeDigits : kDoubtOfThreeDigits;
  tallies.serial[run] += !upper && lower ? kRowOfThreeDigits : kDoubtOfThreeDigits;
}

void vote_by_length(const std::string& run, const std::string& source, int weight,
                    FieldTallies& tallies) {
  if (run.size() == kClassDigits) {
    vote_three_digits(run, source, tallies);
  } else if (run.size() == kFullSerialDigits) {
    tallies.serial[format_serial(run)] += weight + kFourDigitBonus;
  } else if (run.size() > kFullSerialDigits) {
    tallies.serial[format_serial(last_four(run))] += weight + kCutDigitsBonus;
  }
}

FieldTallies votes_of(const OcrText& reading, const std::vector<std::string_view>& sorted_words) {
  FieldTallies tallies;
  const std::string text = remove_spaces(reading.text);
  const int weight = weight_of(reading.source);
  const std::string region = find_region(text, sorted_words);
  if (!region.empty()) tallies.region[region] += weight;
  const std::string kana = find_hiragana_kana(text);
  if (!kana.empty()) tallies.kana[kana] += weight;
  const std::vector<std::string> runs = digit_runs(text);
  vote_by_position(runs, weight, tallies);
  for (const std::string& run : runs) vote_by_length(run, reading.source, weight, tallies);
  return tallies;
}

void add(const Tally& votes, Tally& totals) {
  for (const auto& [candidate, vote] : votes) totals[candidate] += vote;
}

void add(const FieldTallies& votes, FieldTallies& totals) {
  add(votes.region, totals.region);
  add(votes.class_no, totals.class_no);
  add(votes.kana, totals.kana);
  add(votes.serial, totals.serial);
}

PlateFields top_fields(const FieldTallies& tallies) {
  PlateFields fields;
  fields.region = pick_top_vote(tallies.region);
  fields.class_no = pick_top_vote(tallies.class_no);
  fields.kana = pick_top_vote(tallies.kana);
  fields.serial = pick_top_vote(tallies.serial);
  return fields;
}

// Whether the readings of the upper row, where the class number stands, show the serial more often.
bool upper_row_shows_serial(const PlateFields& fields, const std::vector<OcrText>& texts,
                            const std::vector<std::string_view>& sorted_words) {
  int class_hits = 0;
  int serial_hits = 0;
  for (const OcrText& reading : texts) {
    const std::string text = remove_spaces(reading.text);
    const bool is_upper_row = contains(reading.source, output::source::kUpperRow) ||
                              !find_region(text, sorted_words).empty();
    if (!is_upper_row) continue;
    if (contains(text, fields.class_no)) ++class_hits;
    if (contains(text, fields.serial)) ++serial_hits;
  }
  return serial_hits > class_hits;
}

}  // namespace

PlateDecision decide_plate(const std::vector<OcrText>& texts,
                           const std::vector<std::string>& region_words) {
  const std::vector<std::string_view> sorted_words = longest_first(region_words);
  PlateDecision decision;
  for (const OcrText& reading : texts) {
    decision.votes.push_back(votes_of(reading, sorted_words));
    add(decision.votes.back(), decision.totals);
  }
  PlateFields& fields = decision.fields;
  fields = top_fields(decision.totals);
  const bool both_three_digits =
      fields.class_no.size() == kClassDigits && fields.serial.size() == kClassDigits;
  decision.exchanged = both_three_digits && upper_row_shows_serial(fields, texts, sorted_words);
  if (decision.exchanged) std::swap(fields.class_no, fields.serial);
  fields.final_plate_number = assemble_plate_number(fields);
  return decision;
}

PlateFields parse_jp_plate(const std::vector<OcrText>& texts,
                           const std::vector<std::string>& region_words) {
  return decide_plate(texts, region_words).fields;
}

}  // namespace kavrel
