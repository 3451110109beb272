#include "report/assessment/parting.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "app/base/files.h"
#include "app/base/output_format.h"
#include "report/assessment/decision.h"
#include "report/base/wording.h"

namespace kavrel::report {
namespace {

namespace fs = std::filesystem;
namespace picture = output::picture;

// The two folders of a case.
struct CasePair {
  std::string base;
  std::string fresh;
};

enum class Likeness { kAlike, kDiffer, kMissing };

Likeness compare_file(const CasePair& dirs, const std::string& name) {
  const fs::path base = dirs.base + "/" + name;
  const fs::path fresh = dirs.fresh + "/" + name;
  std::error_code error;
  const auto base_size = fs::file_size(base, error);
  if (error) return Likeness::kMissing;
  const auto fresh_size = fs::file_size(fresh, error);
  if (error) return Likeness::kMissing;
  if (base_size != fresh_size) return Likeness::kDiffer;
  return read_file_binary(base) == read_file_binary(fresh) ? Likeness::kAlike : Likeness::kDiffer;
}

// Of several files: whether one differs, and else whether one is missing.
Likeness compare_files(const CasePair& dirs, const std::vector<std::string>& names) {
  Likeness all = Likeness::kAlike;
  for (const std::string& name : names) {
    const Likeness one = compare_file(dirs, name);
    if (one == Likeness::kDiffer) return one;
    if (one == Likeness::kMissing) all = one;
  }
  return all;
}

std::vector<std::string> text_line_pictures() {
  namespace source = output::source;
  std::vector<std::string> names;
  for (const char* variant :
       {source::kOriginal, source::kGray, source::kClahe, source::kSharpen, source::kUp2x}) {
    names.push_back(picture::variant_stem(variant) + picture::kTextBoxesEnd);
    names.push_back(picture::variant_stem(variant) + picture::kTextMaskEnd);
  }
  return names;
}

bool same_readings(const FrameResult& a, const FrameResult& b) {
  return std::equal(
      a.ocr_texts.begin(), a.ocr_texts.end(), b.ocr_texts.begin(), b.ocr_texts.end(),
      [](const OcrText& x, const OcrText& y) { return x.source == y.source && x.text == y.text; });
}

bool same_fields(const PlateFields& a, const PlateFields& b) {
  return std::all_of(kFields.begin(), kFields.end(),
                     [&](const Field& field) { return a.*field.value == b.*field.value; });
}

// With other fields by the same readings: a kana that no reading had was searched for.
bool was_searched(const FrameResult& frame) {
  return !frame.fields.kana.empty() && decide_frame(frame, {}).kana_from_fallback;
}

// Nothing: alike, or missing pictures.
struct Difference {
  std::optional<Stage> stage;
  bool untold = false;
};

Difference difference_between(const FrameResult& base, const FrameResult& fresh,
                              const CasePair& dirs) {
  const bool same_result = same_readings(base, fresh) && same_fields(base.fields, fresh.fields);
  const auto crop = compare_file(dirs, picture::kPlateCrop);
  if (crop == Likeness::kDiffer) return {Stage::kDetector};
  const auto corners = compare_files(dirs, {picture::kCorners, picture::kRectifiedPlate});
  if (crop == Likeness::kAlike && corners == Likeness::kDiffer) return {Stage::kCorners};
  if (same_result) return {};
  if (crop != Likeness::kAlike || corners != Likeness::kAlike) return {std::nullopt, true};
  if (!same_readings(base, fresh)) {
    const auto lines = compare_files(dirs, text_line_pictures());
    if (lines == Likeness::kMissing) return {std::nullopt, true};
    return {lines == Likeness::kDiffer ? Stage::kTextDetector : Stage::kRecogniser};
  }
  const bool searched = was_searched(base) || was_searched(fresh);
  return {searched ? Stage::kRecogniser : Stage::kVote};
}

}  // namespace

Parting find_parting(const RecordedRun& base, const RecordedRun& fresh,
                     const Comparison& comparison) {
  Parting parting;
  for (const ChangedItem& item : comparison.frames.items) {
    if (!item.base || !item.fresh) continue;
    if (base.overwritten.count(*item.base) > 0 || fresh.overwritten.count(*item.fresh) > 0) {
      continue;
    }
    const FrameResult& was = base.frames[*item.base];
    const FrameResult& is = fresh.frames[*item.fresh];
    const CasePair dirs{output::case_dir(base.dir, was.image_path),
                        output::case_dir(fresh.dir, is.image_path)};
    const Difference difference = difference_between(was, is, dirs);
    if (difference.stage) {
      ++parting.frames[static_cast<std::size_t>(*difference.stage)];
    } else {
      ++(difference.untold ? parting.untold : parting.alike);
    }
  }
  return parting;
}

std::vector<std::string> exchanged_in(const Parting& parting) {
  std::vector<std::string> lines;
  for (const StageEntry& entry : kStages) {
    const int frames = parting.count(entry.stage);
    if (frames == 0) continue;
    lines.push_back(std::string(entry.exchanged) + ": " + count_of(frames, "frame") +
                    (frames == 1 ? " parts" : " part") + " at the " + entry.name);
  }
  return lines;
}

}  // namespace kavrel::report
