#include "html_cards.h"

#include <algorithm>
#include <optional>

#include "html_page.h"
#include "picture.h"
#include "progress.h"
#include "resources.h"
#include "unicode.h"
#include "wording.h"

namespace kavrel::report {
namespace {

constexpr int kPlateWidth = 320;
constexpr int kPlateHeight = 96;
constexpr int kCropWidth = 320;
constexpr int kCropHeight = 200;
constexpr int kPhotoWidth = 213;
constexpr int kPhotoHeight = 64;
constexpr std::size_t kCandidatesShown = 6;

// A run, and what is known of it.
struct Source {
  const RecordedRun& run;
  const Assessment& assessment;
  const std::vector<std::string>& region_words;
};

const std::string& field_of(const PlateFields& fields, std::size_t field) {
  return fields.*kFields[field].value;
}

// The field as its frames read it.
struct FieldStory {
  int frames_right = 0;
  int frames_as_group = 0;
  int votes_expected = 0;
  int votes_read = 0;
  int fallback = 0;
};

FieldStory story_of(std::size_t field, const FieldJudgement& judgement, const Group& group,
                    const Source& source) {
  FieldStory story;
  for (const std::size_t i : group.frames) {
    const FrameResult& frame = source.run.frames[i];
    const FrameDecision decision = decide_frame(frame, source.region_words);
    const std::string& read = field_of(frame.fields, field);
    if (read == judgement.expected) ++story.frames_right;
    if (read == judgement.read) ++story.frames_as_group;
    story.votes_expected += votes_for(decision.plate.totals, kFields[field], judgement.expected);
    story.votes_read += votes_for(decision.plate.totals, kFields[field], judgement.read);
    if (kFields[field].key == std::string("kana") && decision.kana_from_fallback) ++story.fallback;
  }
  return story;
}

std::string cause_text(const FieldStory& story) {
  if (story.frames_right > 0) {
    return story.frames_right < story.frames_as_group ? "outvoted by frames" : "tie of frames";
  }
  if (story.votes_expected > 0) return "outvoted";
  return story.fallback > 0 ? "fallback" : "never read";
}

std::string frames_text(const FieldJudgement& judgement, const FieldStory& story,
                        std::size_t frames) {
  if (frames == 1) return "";
  return std::to_string(story.frames_as_group) + " of " + std::to_string(frames) + " frames read " +
         (judgement.read.empty() ? "nothing" : judgement.read) + ", " +
         std::to_string(story.frames_right) + " read " + judgement.expected + ". ";
}

std::string votes_text(const FieldJudgement& judgement, const FieldStory& story) {
  std::string text;
  if (!judgement.read.empty()) {
    text = judgement.read + " had " + count_of(story.votes_read, "vote") + ", ";
  }
  text += judgement.expected + " had " + std::to_string(story.votes_expected) + ".";
  if (story.fallback > 0) {
    text += " The fallback found the kana of " + std::to_string(story.fallback) + ".";
  }
  return text;
}

View why_view(std::size_t field, const FieldJudgement& judgement, const Group& group,
              const Source& source) {
  View view;
  view.set("field", std::string(kFields[field].name));
  view.set("outcome", std::string(name_of(judgement.outcome)));
  view.set("cause", false);
  view.set("text", std::string());
  if (group.frames.empty()) return view;
  const FieldStory story = story_of(field, judgement, group, source);
  view.set("cause", cause_text(story));
  view.set("text", printable(frames_text(judgement, story, group.frames.size()) +
                             votes_text(judgement, story)));
  return view;
}

View why_views(const PlateJudgement& plate, const Group& group, const Source& source) {
  View whys = make_list();
  for (std::size_t i = 0; plate.fields && i < kFields.size(); ++i) {
    const FieldJudgement& field = (*plate.fields)[i];
    if (field.outcome != Outcome::kCorrect) whys.push_back(why_view(i, field, group, source));
  }
  return whys;
}

// Which class a value has beside the others of its field.
std::string candidate_class(const std::string& value, std::size_t field,
                            const PlateJudgement& plate, const PlateFields& read) {
  if (plate.fields && value == (*plate.fields)[field].expected) return "right";
  return value == field_of(read, field) ? "taken" : "";
}

View candidate_views(const FieldTallies& tallies, std::size_t field, std::size_t most,
                     const PlateJudgement& plate, const PlateFields& read) {
  View views = make_list();
  for (const Candidate& candidate : ranking(tallies, kFields[field])) {
    if (most-- == 0) break;
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
    total.set("candidates",
              candidate_views(decision.plate.totals, i, kCandidatesShown, plate, read));
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
      cell.set("candidates",
               candidate_views(tallies, field, kCandidatesShown, plate, frame.fields));
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

std::string picture_of(const RecordedRun& run, std::size_t frame, const char* name, int width,
                       int height) {
  if (run.overwritten.count(frame) > 0) return "";
  return picture_address(run.dir + "/cases/" + case_name(run.frames[frame]) + "/" + name, width,
                         height);
}

View text_or_false(const std::string& text) { return text.empty() ? View(false) : View(text); }

void set_pictures(const RecordedRun& run, std::size_t index, View& view) {
  const std::string rectified =
      picture_of(run, index, "rectified_plate.jpg", kPlateWidth, kPlateHeight);
  const std::string crop = picture_of(run, index, "plate_roi.jpg", kCropWidth, kCropHeight);
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

View frame_view(const Source& source, std::size_t index) {
  const FrameResult& frame = source.run.frames[index];
  const PlateJudgement& plate = source.assessment.frame_judgements[index];
  const FrameDecision decision = decide_frame(frame, source.region_words);
  View view;
  view.set("name", printable(case_name(frame)));
  view.set("image_path", printable(frame.image_path));
  view.set("class", std::string(style_class(plate.outcome)));
  view.set("outcome", std::string(name_of(plate.outcome)));
  set_pictures(source.run, index, view);
  view.set("plates", render_plates(plate, frame.fields));
  view.set("remarks", list_of_texts(remarks_on(frame, decision)));
  view.set("has_readings", !frame.ocr_texts.empty());
  view.set("reading_count", std::to_string(frame.ocr_texts.size()));
  view.set("totals", total_views(decision, plate, frame.fields));
  view.set("readings", reading_views(frame, decision, plate));
  return view;
}

// The frame that stands for the group: the first that is not correct, else the first.
std::optional<std::size_t> telling_frame(const Group& group, const Assessment& assessment) {
  if (group.frames.empty()) return std::nullopt;
  const auto wrong = std::find_if(group.frames.begin(), group.frames.end(), [&](std::size_t i) {
    return assessment.frame_judgements[i].outcome != Outcome::kCorrect;
  });
  return wrong == group.frames.end() ? group.frames.front() : *wrong;
}

std::vector<std::string> remarks_on(const PlateJudgement& plate) {
  if (plate.outcome == Outcome::kUnlabelled) return {"No expected text to compare with."};
  if (!plate.fields) return {"The expected text is not that of four fields."};
  const bool all_misread =
      std::all_of(plate.fields->begin(), plate.fields->end(),
                  [](const auto& field) { return field.outcome == Outcome::kMisread; });
  if (all_misread) return {"All four fields differ: is the expected text that of this vehicle?"};
  return {};
}

std::string frames_of_group(const Group& group, const PlateJudgement& plate, int correct) {
  std::string frames = count_of(group.result.frame_count, "frame");
  if (plate.outcome == Outcome::kUnlabelled || group.frames.empty()) return frames;
  return std::to_string(correct) + " of " + frames + " correct";
}

void set_photo(const Group& group, const Source& source, View& view) {
  view.set("photo", false);
  const auto frame = telling_frame(group, source.assessment);
  if (!frame) return;
  view.set("photo", text_or_false(picture_of(source.run, *frame, "rectified_plate.jpg", kPhotoWidth,
                                             kPhotoHeight)));
  view.set("photo_of", printable(case_name(source.run.frames[*frame])));
}

int count_correct_frames(const Group& group, const Assessment& assessment) {
  return static_cast<int>(std::count_if(
      group.frames.begin(), group.frames.end(),
      [&](std::size_t i) { return assessment.frame_judgements[i].outcome == Outcome::kCorrect; }));
}

View frame_views(const Source& source, const Group& group, std::size_t shown) {
  View frames = make_list();
  for (std::size_t i = 0; i < shown; ++i) {
    frames.push_back(frame_view(source, group.frames[i]));
  }
  return frames;
}

View card_view(const Source& source, std::size_t index, std::size_t frames_shown) {
  const Group& group = source.run.groups[index];
  const PlateJudgement& plate = source.assessment.group_judgements[index];
  const int correct = count_correct_frames(group, source.assessment);
  const auto pairs = align(code_points(plate.expected), code_points(plate.read));
  View view;
  view.set("number", std::to_string(index + 1));
  view.set("edits", std::to_string(plate.outcome == Outcome::kUnlabelled ? 0 : count_edits(pairs)));
  view.set("wrong_frames", std::to_string(group.result.frame_count - correct));
  view.set("group_id", printable(group.result.group_id));
  view.set("class", std::string(style_class(plate.outcome)));
  view.set("outcome", std::string(name_of(plate.outcome)));
  view.set("frames", frames_of_group(group, plate, correct));
  set_photo(group, source, view);
  view.set("plates", render_plates(plate, group.result.fields));
  view.set("whys", why_views(plate, group, source));
  view.set("remarks", list_of_texts(remarks_on(plate)));
  view.set("frame_list", frame_views(source, group, frames_shown));
  const std::size_t more = group.frames.size() - frames_shown;
  view.set("more_frames", more == 0
                              ? View(false)
                              : View(count_of(more, "more frame") +
                                     " of this group not shown: the page's limit is reached."));
  return view;
}

// Indices of groups that get a card, in the order of the cards.
std::vector<std::size_t> groups_not_correct(const Assessment& assessment) {
  std::vector<std::size_t> wrong;
  std::vector<std::size_t> unlabelled;
  for (std::size_t i = 0; i < assessment.group_judgements.size(); ++i) {
    const Outcome outcome = assessment.group_judgements[i].outcome;
    if (outcome == Outcome::kUnlabelled) unlabelled.push_back(i);
    if (outcome == Outcome::kMisread || outcome == Outcome::kNotRead) wrong.push_back(i);
  }
  wrong.insert(wrong.end(), unlabelled.begin(), unlabelled.end());
  return wrong;
}

}  // namespace

Cards render_cards(const RecordedRun& run, const Assessment& assessment,
                   const std::vector<std::string>& region_words, std::size_t max_frames) {
  const Source source{run, assessment, region_words};
  const std::vector<std::size_t> groups = groups_not_correct(assessment);
  Template card_template(resources::kCard);
  Cards cards;
  Progress progress("writing cards", groups.size());
  std::size_t left = max_frames;
  for (const std::size_t index : groups) {
    progress.step();
    if (left == 0) {
      ++cards.left_out;
      continue;
    }
    const std::size_t frames = std::min(left, run.groups[index].frames.size());
    left -= std::max<std::size_t>(frames, 1);
    cards.html += card_template.render(card_view(source, index, frames));
    ++cards.shown;
  }
  return cards;
}

}  // namespace kavrel::report
