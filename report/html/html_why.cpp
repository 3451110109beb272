#include "report/html/html_why.h"

#include <string>
#include <vector>

#include "report/base/unicode.h"
#include "report/base/wording.h"

namespace kavrel::report {
namespace {

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
  std::vector<Cause> causes;  // of the frames that are wrong in it
};

FieldStory story_of(std::size_t field, const FieldJudgement& judgement, const Group& group,
                    const AssessedRun& assessed) {
  FieldStory story;
  for (const std::size_t i : group.frames) {
    const FrameResult& frame = assessed.run.frames[i];
    const FrameDecision decision = decide_frame(frame, assessed.region_words);
    const std::string& read = field_of(frame.fields, field);
    if (read == judgement.expected) ++story.frames_right;
    if (read == judgement.read) ++story.frames_as_group;
    story.votes_expected += votes_for(decision.plate.totals, kFields[field], judgement.expected);
    story.votes_read += votes_for(decision.plate.totals, kFields[field], judgement.read);
    if (field == kKana && decision.kana_from_fallback) ++story.fallback;
    const Label label = read_label(frame.expected, assessed.region_words);
    const auto cause = field_causes(label, frame.fields, decision)[field];
    if (cause) story.causes.push_back(cause->cause);
  }
  return story;
}

// "" where the field is right but for the label's spelling.
std::string cause_text(const FieldStory& story) {
  if (story.frames_right > 0) {
    return story.frames_right < story.frames_as_group ? "outvoted by frames" : "tie of frames";
  }
  return story.causes.empty() ? "" : entry_of(most_frequent(story.causes)).name;
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
    text += " The kana search found the kana of " + count_of(story.fallback, "frame") + ".";
  }
  return text;
}

View why_view(std::size_t field, const FieldJudgement& judgement, const Group& group,
              const AssessedRun& assessed) {
  View view;
  view.set("field", std::string(kFields[field].name));
  view.set("outcome", std::string(name_of(judgement.outcome)));
  view.set("cause", false);
  view.set("text", std::string());
  if (group.frames.empty()) return view;
  const FieldStory story = story_of(field, judgement, group, assessed);
  view.set("cause", text_or_false(cause_text(story)));
  view.set("text", printable(frames_text(judgement, story, group.frames.size()) +
                             votes_text(judgement, story)));
  return view;
}

}  // namespace

View why_views(const PlateJudgement& plate, const Group& group, const AssessedRun& assessed) {
  View whys = make_list();
  for (std::size_t i = 0; plate.fields && i < kFields.size(); ++i) {
    const FieldJudgement& field = (*plate.fields)[i];
    if (field.outcome != Outcome::kCorrect) whys.push_back(why_view(i, field, group, assessed));
  }
  return whys;
}

}  // namespace kavrel::report
