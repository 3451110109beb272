#include "report/assessment/rereading.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "report/base/alignment.h"
#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

constexpr std::size_t kReplacementsNamed = 5;

using ReplacementKey = std::tuple<std::size_t, char32_t, char32_t>;
using ReplacementCounts = std::map<ReplacementKey, int>;

void add_field(std::size_t field, const std::string& base, const std::string& fresh,
               Rereading& rereading, ReplacementCounts& counts) {
  if (base == fresh) return;
  ++rereading.fields_changed[field];
  for (const AlignedPair& pair : align(base, fresh)) {
    if (pair.expected != pair.read) ++counts[{field, pair.expected, pair.read}];
  }
}

void add_frame(const PlateFields& base, const PlateFields& fresh, Rereading& rereading,
               ReplacementCounts& counts) {
  ++rereading.frames;
  if (base.final_plate_number != fresh.final_plate_number) ++rereading.frames_changed;
  for (std::size_t field = 0; field < kFields.size(); ++field) {
    const auto value = kFields[field].value;
    add_field(field, base.*value, fresh.*value, rereading, counts);
  }
}

std::vector<Replacement> most_frequent(const ReplacementCounts& counts) {
  std::vector<Replacement> replacements;
  for (const auto& [key, count] : counts) {
    const auto& [field, base, fresh] = key;
    replacements.push_back({field, base, fresh, count});
  }
  std::stable_sort(replacements.begin(), replacements.end(),
                   [](const auto& a, const auto& b) { return a.count > b.count; });
  return replacements;
}

std::string share_text(int changed, int total, const char* what) {
  return std::to_string(changed) + " of " + std::to_string(total) + " " + what;
}

std::string character_text(char32_t character) {
  return character == kNoCharacter ? "nothing" : printable(std::u32string(1, character));
}

std::string fields_sentence(const Rereading& rereading) {
  std::string text;
  for (std::size_t field = 0; field < kFields.size(); ++field) {
    if (rereading.fields_changed[field] == 0) continue;
    text += (text.empty() ? "" : ", ") + std::string(kFields[field].name) + " " +
            std::to_string(rereading.fields_changed[field]);
  }
  return text.empty() ? "" : "; fields that changed in frames: " + text;
}

std::string replacements_sentence(const Rereading& rereading) {
  std::string text;
  for (std::size_t i = 0; i < std::min(kReplacementsNamed, rereading.replacements.size()); ++i) {
    const Replacement& one = rereading.replacements[i];
    text += (i == 0 ? "" : ", ") + std::string(kFields[one.field].name) + " " +
            character_text(one.base) + " became " + character_text(one.fresh) + " " +
            std::to_string(one.count) + (one.count == 1 ? " time" : " times");
  }
  return text;
}

}  // namespace

Rereading find_rereading(const ComparedRuns& runs) {
  Rereading rereading;
  for (const ChangedItem& item : runs.comparison.groups.items) {
    if (!item.base || !item.fresh) continue;
    ++rereading.groups;
    const PlateFields& base = runs.base.groups[*item.base].result.fields;
    const PlateFields& fresh = runs.fresh.groups[*item.fresh].result.fields;
    if (base.final_plate_number != fresh.final_plate_number) ++rereading.groups_changed;
  }
  ReplacementCounts counts;
  for (const ChangedItem& item : runs.comparison.frames.items) {
    if (!item.base || !item.fresh) continue;
    add_frame(runs.base.frames[*item.base].fields, runs.fresh.frames[*item.fresh].fields, rereading,
              counts);
  }
  rereading.replacements = most_frequent(counts);
  return rereading;
}

std::vector<std::string> sentences_on(const Rereading& rereading) {
  std::vector<std::string> sentences = {
      "Read otherwise: " + share_text(rereading.groups_changed, rereading.groups, "plates") + ", " +
      share_text(rereading.frames_changed, rereading.frames, "frames") +
      fields_sentence(rereading) + "."};
  if (!rereading.replacements.empty()) {
    sentences.push_back("Most often: " + replacements_sentence(rereading) + ".");
  }
  return sentences;
}

}  // namespace kavrel::report
