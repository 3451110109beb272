#include "report/html/html_cards.h"

#include <algorithm>
#include <optional>

#include "app/base/output_format.h"
#include "report/base/progress.h"
#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/html/html_frame.h"
#include "report/html/html_page.h"
#include "report/html/html_why.h"
#include "report/run/picture.h"

namespace kavrel::report {
namespace {

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

void set_photo(const Group& group, const AssessedRun& assessed, View& view) {
  view.set("photo", false);
  const auto frame = telling_frame(group, assessed.assessment);
  if (!frame) return;
  view.set("photo",
           text_or_false(case_picture(assessed.run, *frame, output::picture::kRectifiedPlate,
                                      kPhotoWidth, kPhotoHeight)));
  view.set("photo_of", printable(case_name(assessed.run.frames[*frame])));
}

View frame_views(const AssessedRun& assessed, const Group& group, std::size_t shown) {
  View frames = make_list();
  for (std::size_t i = 0; i < shown; ++i) frames.push_back(frame_view(assessed, group.frames[i]));
  return frames;
}

View card_view(const AssessedRun& assessed, std::size_t index, std::size_t frames_shown) {
  const Group& group = assessed.run.groups[index];
  const PlateJudgement& plate = assessed.assessment.group_judgements[index];
  const int correct = count_correct_frames(group, assessed.assessment);
  View view;
  view.set("number", std::to_string(index + 1));
  view.set("edits", std::to_string(plate.outcome == Outcome::kUnlabelled
                                       ? 0
                                       : count_edits(align(plate.expected, plate.read))));
  view.set("wrong_frames", std::to_string(group.result.frame_count - correct));
  view.set("group_id", printable(group.result.group_id));
  view.set("class", std::string(style_class(plate.outcome)));
  view.set("outcome", std::string(name_of(plate.outcome)));
  view.set("frames", frames_of_group(group, plate, correct));
  const auto& cause = assessed.assessment.group_causes[index];
  view.set("cause", cause ? View(std::string(entry_of(*cause).name)) : View(false));
  set_photo(group, assessed, view);
  view.set("plates", render_plates(plate, group.result.fields));
  view.set("whys", why_views(plate, group, assessed));
  view.set("remarks", list_of_texts(remarks_on(plate)));
  view.set("frame_list", frame_views(assessed, group, frames_shown));
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
  const AssessedRun assessed{run, assessment, region_words};
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
    cards.html += card_template.render(card_view(assessed, index, frames));
    ++cards.shown;
  }
  return cards;
}

}  // namespace kavrel::report
