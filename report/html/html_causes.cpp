#include "report/html/html_causes.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "app/base/output_format.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/html/html_page.h"
#include "report/run/picture.h"

namespace kavrel::report {
namespace {

constexpr int kStageWidth = 300;
constexpr int kStageHeight = 180;

// In kCauses, those of most frames first, of equally many the earliest; those of groups alone last.
std::vector<std::size_t> causes_found(const Assessment& assessment) {
  std::vector<std::size_t> causes;
  for (std::size_t i = 0; i < kCauses.size(); ++i) {
    if (assessment.frames_by_cause[i] + assessment.groups_by_cause[i] > 0) causes.push_back(i);
  }
  std::stable_sort(causes.begin(), causes.end(), [&](std::size_t a, std::size_t b) {
    return assessment.frames_by_cause[a] > assessment.frames_by_cause[b];
  });
  return causes;
}

View frame_view(const AssessedRun& assessed, std::size_t index, const CauseEntry& cause) {
  const FrameResult& frame = assessed.run.frames[index];
  View view;
  view.set("name", printable(case_name(frame)));
  view.set("group_id", printable(frame.group_id));
  view.set("stage", text_or_false(case_picture(assessed.run, index, cause.picture, kStageWidth,
                                               kStageHeight)));
  view.set("plate",
           text_or_false(case_picture(assessed.run, index, output::picture::kRectifiedPlate,
                                      kPhotoWidth, kPhotoHeight)));
  view.set("plates", render_plates(assessed.assessment.frame_judgements[index], frame.fields));
  return view;
}

std::vector<std::size_t> frames_with(Cause cause, const Assessment& assessment) {
  std::vector<std::size_t> frames;
  for (std::size_t i = 0; i < assessment.frame_causes.size(); ++i) {
    if (assessment.frame_causes[i] == cause) frames.push_back(i);
  }
  return frames;
}

std::string groups_with(Cause cause, const AssessedRun& assessed) {
  const auto& causes = assessed.assessment.group_causes;
  const int count = static_cast<int>(std::count(causes.begin(), causes.end(), cause));
  return count_of(count, "group");
}

View frame_views(const AssessedRun& assessed, const std::vector<std::size_t>& frames,
                 std::size_t shown, const CauseEntry& cause) {
  View views = make_list();
  for (std::size_t i = 0; i < shown; ++i) views.push_back(frame_view(assessed, frames[i], cause));
  return views;
}

View cause_view(const AssessedRun& assessed, const CauseEntry& cause,
                const std::vector<std::size_t>& frames, std::size_t shown) {
  const CauseCounts& counts = assessed.assessment.frames_by_cause;
  const int failed = std::accumulate(counts.begin(), counts.end(), 0);
  View view;
  view.set("key", std::string(cause.key));
  view.set("name", std::string(cause.name));
  view.set("stage_name", std::string(cause.stage));
  view.set("advice", std::string(cause.advice));
  view.set("count", std::to_string(frames.size()));
  view.set("unit", std::string(frames.size() == 1 ? "frame" : "frames"));
  view.set("groups", groups_with(cause.cause, assessed));
  view.set("width",
           std::to_string(100 * frames.size() / static_cast<std::size_t>(std::max(1, failed))));
  view.set("any_frames", shown > 0);
  view.set("frames", frame_views(assessed, frames, shown, cause));
  const std::size_t more = frames.size() - shown;
  view.set("more", more == 0 ? View(false)
                             : View(count_of(more, "more frame") +
                                    ": kavrel-report misread lists them, and --max-frames raises "
                                    "the limit."));
  return view;
}

}  // namespace

View cause_views(const AssessedRun& assessed, std::size_t max_frames) {
  View views = make_list();
  std::size_t left = max_frames;
  for (const std::size_t i : causes_found(assessed.assessment)) {
    const auto frames = frames_with(kCauses[i].cause, assessed.assessment);
    const std::size_t shown = std::min(left, frames.size());
    left -= shown;
    views.push_back(cause_view(assessed, kCauses[i], frames, shown));
  }
  return views;
}

}  // namespace kavrel::report
