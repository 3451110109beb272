#include "report/html/html_frame.h"

#include <string>
#include <vector>

#include "app/base/output_format.h"
#include "report/base/unicode.h"
#include "report/run/picture.h"

namespace kavrel::report {
namespace {

constexpr int kPlateWidth = 320;
constexpr int kPlateHeight = 96;
constexpr int kCropWidth = 320;
constexpr int kCropHeight = 200;
constexpr std::size_t kCandidatesShown = 6;

// The style class of a value among the others of its field.
std::string candidate_class(const std::string& value, std::size_t field,
                            const PlateJudgement& plate, const PlateFields& read) {
  if (plate.fields && value == (*plate.fields)[field].expected) return "right";
  return value == read.*kFields[field].value ? "taken" : "";
}

View candidate_views(const FieldTallies& tallies, std::size_t field, const PlateJudgement& plate,
                     const PlateFields& read) {
  View views = make_list();
  for (const Candidate& candidate : ranking(tallies, kFields[field])) {
    if (views.list_value().size() == kCandidatesShown) break;
    View view;
    view.set("value", printable(candidate.value));
    view.set("votes", std::to_string(candidate.votes));
    view.set("class", candidate_class(candidate.value, field, plate, read));
    views.push_back(view);
  }
  return views;
}

View total_views(const FrameDecision& decision, const PlateJudgement& plate,
                 const PlateFields& read) {
  View totals = make_list();
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    const std::size_t count = (decision.plate.totals.*kFields[i].votes).size();
    View total;
    total.set("field", std::string(kFields[i].name));
    total.set("candidates", candidate_views(decision.plate.totals, i, plate, read));
    total.set("others", count > kCandidatesShown ? View(std::to_string(count - kCandidatesShown))
                                                 : View(false));
    totals.push_back(total);
  }
  return totals;
}

View reading_views(const FrameResult& frame, const FrameDecision& decision,
                   const PlateJudgement& plate) {
  View readings = make_list();
  for (std::size_t i = 0; i < frame.ocr_texts.size(); ++i) {
    const FieldTallies& tallies = decision.plate.votes[i];
    View votes = make_list();
    for (std::size_t field = 0; field < kFields.size(); ++field) {
      View cell;
      cell.set("candidates", candidate_views(tallies, field, plate, frame.fields));
      votes.push_back(cell);
    }
    View reading;
    reading.set("source", printable(frame.ocr_texts[i].source));
    reading.set("text", printable(frame.ocr_texts[i].text));
    reading.set("votes", votes);
    readings.push_back(reading);
  }
  return readings;
}

std::vector<std::string> remarks_on(const FrameResult& frame, const FrameDecision& decision) {
  std::vector<std::string> remarks;
  if (decision.kana_from_fallback) {
    remarks.push_back("The kana " + frame.fields.kana +
                      " came from the fallback search: no reading had a kana.");
  }
  if (decision.plate.exchanged) {
    remarks.emplace_back(
        "Class number and serial were exchanged: the upper row shows the latter more often.");
  }
  if (!decision.as_recorded) {
    remarks.push_back("These votes give \"" + decision.plate.fields.final_plate_number +
                      "\", not what the run recorded: it may have used other region words.");
  }
  return remarks;
}

void set_pictures(const RecordedRun& run, std::size_t index, View& view) {
  const std::string rectified =
      case_picture(run, index, output::picture::kRectifiedPlate, kPlateWidth, kPlateHeight);
  const std::string crop =
      case_picture(run, index, output::picture::kPlateCrop, kCropWidth, kCropHeight);
  view.set("rectified", text_or_false(rectified));
  view.set("crop", text_or_false(crop));
  view.set("no_pictures", false);
  if (run.overwritten.count(index) > 0) {
    view.set("no_pictures",
             std::string("A later image of the same file name took the pictures' place."));
  } else if (rectified.empty() || crop.empty()) {
    view.set("no_pictures", std::string("Pictures are missing or cannot be read."));
  }
}

// Where the stage's picture is one of the two that every frame has, it is not shown again.
void set_cause(const AssessedRun& assessed, std::size_t index, View& view) {
  view.set("cause", false);
  const auto& cause = assessed.assessment.frame_causes[index];
  if (!cause) return;
  const CauseEntry& entry = entry_of(*cause);
  const std::string picture = entry.picture;
  const bool is_shown =
      picture == output::picture::kRectifiedPlate || picture == output::picture::kPlateCrop;
  View shown;
  shown.set("name", std::string(entry.name));
  shown.set("advice", std::string(entry.advice));
  shown.set("picture", is_shown ? View(false)
                                : text_or_false(case_picture(assessed.run, index, entry.picture,
                                                             kCropWidth, kCropHeight)));
  view.set("cause", shown);
}

}  // namespace

View frame_view(const AssessedRun& assessed, std::size_t index) {
  const FrameResult& frame = assessed.run.frames[index];
  const PlateJudgement& plate = assessed.assessment.frame_judgements[index];
  const FrameDecision decision = decide_frame(frame, assessed.region_words);
  View view;
  view.set("name", printable(case_name(frame)));
  view.set("image_path", printable(frame.image_path));
  view.set("class", std::string(style_class(plate.outcome)));
  view.set("outcome", std::string(name_of(plate.outcome)));
  set_pictures(assessed.run, index, view);
  set_cause(assessed, index, view);
  view.set("plates", render_plates(plate, frame.fields));
  view.set("remarks", list_of_texts(remarks_on(frame, decision)));
  view.set("has_readings", !frame.ocr_texts.empty());
  view.set("reading_count", std::to_string(frame.ocr_texts.size()));
  view.set("totals", total_views(decision, plate, frame.fields));
  view.set("readings", reading_views(frame, decision, plate));
  return view;
}

}  // namespace kavrel::report
