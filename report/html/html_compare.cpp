#include "report/html/html_compare.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

#include "app/base/output_format.h"
#include "report/assessment/parting.h"
#include "report/assessment/rereading.h"
#include "report/base/progress.h"
#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/html/html_page.h"
#include "report/html/html_run.h"
#include "report/run/picture.h"

namespace kavrel::report {
namespace {

// One run's plate, of a group or of a frame, and the frame that shows it.
struct Side {
  const PlateJudgement* plate = nullptr;  // null: the run does not have it
  const PlateFields* fields = nullptr;
  std::optional<std::size_t> frame;
};

Side group_side(const RecordedRun& run, const Assessment& assessment,
                std::optional<std::size_t> index) {
  if (!index) return {};
  const Group& group = run.groups[*index];
  Side side{&assessment.group_judgements[*index], &group.result.fields, std::nullopt};
  if (!group.frames.empty()) side.frame = group.frames.front();
  return side;
}

Side frame_side(const RecordedRun& run, const Assessment& assessment,
                std::optional<std::size_t> index) {
  if (!index) return {};
  return {&assessment.frame_judgements[*index], &run.frames[*index].fields, index};
}

View side_view(const RecordedRun& run, const char* name, const Side& side) {
  View view;
  view.set("run", std::string(name));
  view.set("photo", false);
  view.set("plates", false);
  if (side.plate == nullptr) return view;
  view.set("plates", render_read_plate(*side.plate, *side.fields, name));
  if (!side.frame) return view;
  view.set("photo", text_or_false(case_picture(run, *side.frame, output::picture::kRectifiedPlate,
                                               kPhotoWidth, kPhotoHeight)));
  view.set("photo_of", printable(case_name(run.frames[*side.frame])));
  return view;
}

View side_views(const ComparedRuns& runs, const Side& base, const Side& fresh) {
  View sides = make_list();
  sides.push_back(side_view(runs.base, "base", base));
  sides.push_back(side_view(runs.fresh, "new", fresh));
  return sides;
}

const char* style_class(Change change) {
  switch (change) {
    case Change::kBroken:
    case Change::kRemoved:
      return "misread";
    case Change::kFixed:
      return "correct";
    case Change::kStillNotCorrect:
      return "notread";
    default:
      return "unlabelled";
  }
}

using FramesOfGroup = std::map<std::string, std::vector<const ChangedItem*>>;

FramesOfGroup changed_frames(const ComparedRuns& runs) {
  FramesOfGroup changed;
  for (const ChangedItem& item : runs.comparison.frames.items) {
    if (!is_change(item.change)) continue;
    const FrameResult& frame =
        item.base ? runs.base.frames[*item.base] : runs.fresh.frames[*item.fresh];
    changed[frame.group_id].push_back(&item);
  }
  return changed;
}

View frame_view(const ComparedRuns& runs, const ChangedItem& item) {
  const FrameResult& frame =
      item.base ? runs.base.frames[*item.base] : runs.fresh.frames[*item.fresh];
  View view;
  view.set("name", printable(case_name(frame)));
  view.set("class", std::string(style_class(item.change)));
  view.set("change", std::string(name_of(item.change)));
  view.set("sides", side_views(runs, frame_side(runs.base, runs.base_assessment, item.base),
                               frame_side(runs.fresh, runs.fresh_assessment, item.fresh)));
  return view;
}

// The frame that shows a group: one that changed, if there is one.
void prefer_changed_frame(const std::vector<const ChangedItem*>& frames, Side& base, Side& fresh) {
  if (frames.empty()) return;
  if (base.frame && frames.front()->base) base.frame = frames.front()->base;
  if (fresh.frame && frames.front()->fresh) fresh.frame = frames.front()->fresh;
}

View card_view(const ComparedRuns& runs, const ChangedItem& item, std::size_t number,
               const std::vector<const ChangedItem*>& frames, std::size_t frames_shown) {
  const GroupResult& group =
      item.fresh ? runs.fresh.groups[*item.fresh].result : runs.base.groups[*item.base].result;
  Side base = group_side(runs.base, runs.base_assessment, item.base);
  Side fresh = group_side(runs.fresh, runs.fresh_assessment, item.fresh);
  prefer_changed_frame(frames, base, fresh);
  View frame_list = make_list();
  for (std::size_t i = 0; i < frames_shown; ++i) frame_list.push_back(frame_view(runs, *frames[i]));
  const std::size_t more = frames.size() - frames_shown;
  View view;
  view.set("number", std::to_string(number));
  view.set("group_id", printable(group.group_id));
  view.set("class", std::string(style_class(item.change)));
  view.set("change", std::string(name_of(item.change)));
  view.set("expected", group.expected.empty() ? "nothing" : printable(group.expected));
  view.set("frames_changed", count_of(frames.size(), "frame") + " changed");
  view.set("sides", side_views(runs, base, fresh));
  view.set("frames", frame_list);
  view.set("more_frames", more == 0 ? View(false)
                                    : View(count_of(more, "more changed frame") +
                                           " not shown: the page's limit is reached."));
  return view;
}

const std::string& group_id_of(const ComparedRuns& runs, const ChangedItem& item) {
  return item.base ? runs.base.groups[*item.base].result.group_id
                   : runs.fresh.groups[*item.fresh].result.group_id;
}

// Groups that changed, and those of which a frame did: what is worse comes first.
std::vector<const ChangedItem*> groups_to_show(const ComparedRuns& runs,
                                               const FramesOfGroup& frames) {
  std::vector<const ChangedItem*> groups;
  for (const ChangedItem& item : runs.comparison.groups.items) {
    if (is_change(item.change) || frames.count(group_id_of(runs, item)) > 0) {
      groups.push_back(&item);
    }
  }
  std::stable_sort(groups.begin(), groups.end(),
                   [](const auto* a, const auto* b) { return a->change < b->change; });
  return groups;
}

struct DiffCards {
  std::string html;
  std::size_t total = 0;
  std::size_t left_out = 0;
};

DiffCards render_cards(const ComparedRuns& runs, std::size_t max_frames) {
  const FramesOfGroup frames = changed_frames(runs);
  const std::vector<const ChangedItem*> groups = groups_to_show(runs, frames);
  Template card_template(resources::kDiffCard);
  Progress progress("writing cards", groups.size());
  DiffCards cards;
  std::size_t left = max_frames;
  for (const ChangedItem* item : groups) {
    progress.step();
    ++cards.total;
    if (left == 0) {
      ++cards.left_out;
      continue;
    }
    const auto changed = frames.find(group_id_of(runs, *item));
    const auto of_group =
        changed == frames.end() ? std::vector<const ChangedItem*>() : changed->second;
    const std::size_t shown = std::min(left, of_group.size());
    left -= std::max<std::size_t>(shown, 1);
    cards.html += card_template.render(card_view(runs, *item, cards.total, of_group, shown));
  }
  return cards;
}

std::string share_text(const Score& score) {
  return digits(score.plates.correct) + " of " + digits(score.plates.total());
}

std::string difference_text(const Score& base, const Score& fresh) {
  if (base.plates.total() == 0 || fresh.plates.total() == 0) return "–";
  const double difference = 100.0 * fresh.plates.correct / fresh.plates.total() -
                            100.0 * base.plates.correct / base.plates.total();
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%+.1f points", difference);
  return text.data();
}

View total_view(const char* name, const Score& base, const Score& fresh,
                const ItemChanges& changes) {
  const int broken = changes.count(Change::kBroken);
  const int fixed = changes.count(Change::kFixed);
  View view;
  view.set("name", std::string(name));
  view.set("base", share_text(base));
  view.set("fresh", share_text(fresh));
  view.set("difference", difference_text(base, fresh));
  view.set("broken", digits(broken));
  view.set("broken_any", broken > 0);
  view.set("fixed", digits(fixed));
  view.set("fixed_any", fixed > 0);
  view.set("still", digits(changes.count(Change::kStillNotCorrect)));
  view.set("removed", digits(changes.count(Change::kRemoved)));
  view.set("added", digits(changes.count(Change::kAdded)));
  view.set("p", probability_text(
                    mcnemar_exact(changes.like_labelled_fixed, changes.like_labelled_broken)));
  return view;
}

}  // namespace

std::string render_comparison(const ComparedRuns& runs, const std::string& verdict,
                              std::size_t max_frames) {
  const DiffCards cards = render_cards(runs, max_frames);
  const std::vector<std::string> notices = notices_on(runs);
  View totals = make_list();
  totals.push_back(total_view("Groups", runs.base_assessment.groups, runs.fresh_assessment.groups,
                              runs.comparison.groups));
  totals.push_back(total_view("Frames", runs.base_assessment.frames, runs.fresh_assessment.frames,
                              runs.comparison.frames));
  View view;
  view.set("heading", std::string("What changed between two runs"));
  view.set("base_dir", printable(runs.base.dir));
  view.set("new_dir", printable(runs.fresh.dir));
  view.set("base_facts", render_run_facts(runs.base, "base"));
  view.set("new_facts", render_run_facts(runs.fresh, "new"));
  view.set("has_notices", !notices.empty());
  view.set("notices", list_of_texts(notices));
  view.set("rereading", list_of_texts(sentences_on(find_rereading(runs))));
  view.set("totals", totals);
  const Parting parting = find_parting(runs.base, runs.fresh, runs.comparison);
  view.set("exchanged", list_of_texts(exchanged_in(parting)));
  view.set("any_exchanged", !exchanged_in(parting).empty());
  view.set("alike", count_of(parting.alike, "frame"));
  view.set("untold", parting.untold > 0 ? View(count_of(parting.untold, "frame")) : View(false));
  view.set("verdict", verdict);
  view.set("card_count", std::to_string(cards.total));
  view.set("any_changes", cards.total > 0);
  view.set("cap", cards.left_out == 0
                      ? View(false)
                      : View("Cards are shown until they hold " + count_of(max_frames, "frame") +
                             ", which leaves out " + count_of(cards.left_out, "group") +
                             "; --max-frames raises the limit."));
  view.set("cards", cards.html);
  view.set("version", std::string(resources::kVersion));
  return render_page("kavrel: two runs", Template(resources::kDiff).render(view));
}

}  // namespace kavrel::report
