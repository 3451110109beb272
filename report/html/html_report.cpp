#include "report/html/html_report.h"

#include <algorithm>
#include <numeric>

#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/html/html_cards.h"
#include "report/html/html_causes.h"
#include "report/html/html_heat_map.h"
#include "report/html/html_page.h"
#include "report/html/html_run.h"

namespace kavrel::report {
namespace {

constexpr std::size_t kConfusionsListed = 30;

std::string rate_of(const std::optional<double>& rate) { return rate ? percent(*rate) : "–"; }

View tile_view(const char* id, const char* name, const Score& score) {
  View tile;
  tile.set("id", std::string(id));
  tile.set("name", std::string(name));
  tile.set("correct", digits(score.plates.correct));
  tile.set("labelled", digits(score.plates.total()));
  tile.set("misread", digits(score.plates.misread));
  tile.set("not_read", digits(score.plates.not_read));
  tile.set("unlabelled", score.unlabelled > 0 ? View(digits(score.unlabelled)) : View(false));
  tile.set("micro", rate_of(score.micro_error_rate()));
  tile.set("macro", rate_of(score.macro_error_rate()));
  tile.set("edits", count_of(score.edits, "edit"));
  tile.set("characters", count_of(score.characters, "character"));
  const auto interval = wilson_interval(score.plates.share());
  tile.set("interval", interval.has_value());
  if (!interval) return tile;
  tile.set("percent", percent(interval->value));
  tile.set("low", percent(interval->low));
  tile.set("high", percent(interval->high));
  tile.set("low_x", std::to_string(100 * interval->low));
  tile.set("reach", std::to_string(100 * (interval->high - interval->low)));
  tile.set("value_x", std::to_string(std::min(99.3, 100 * interval->value)));
  return tile;
}

View tile_views(const Assessment& assessment) {
  View tiles = make_list();
  tiles.push_back(tile_view("groups", "Groups correct", assessment.groups));
  tiles.push_back(tile_view("frames", "Frames correct", assessment.frames));
  return tiles;
}

View side_view(const OutcomeCounts& counts) {
  const auto interval = wilson_interval(counts.share());
  View side;
  side.set("correct", digits(counts.correct));
  side.set("misread", digits(counts.misread));
  side.set("misread_any", counts.misread > 0);
  side.set("not_read", digits(counts.not_read));
  side.set("not_read_any", counts.not_read > 0);
  side.set("percent", percent_of(interval));
  side.set("range", range_of(interval));
  return side;
}

View field_views(const Assessment& assessment) {
  View fields = make_list();
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    View sides = make_list();
    sides.push_back(side_view(assessment.groups.fields[i]));
    sides.push_back(side_view(assessment.frames.fields[i]));
    View causes = make_list();
    for (const Cause cause : kFieldCauses) {
      View count;
      count.set("count", digits(assessment.field_causes[i][static_cast<std::size_t>(cause)]));
      causes.push_back(count);
    }
    View field;
    field.set("name", std::string(kFields[i].name));
    field.set("sides", sides);
    field.set("guessed", digits(assessment.guessed[i]));
    field.set("causes", causes);
    fields.push_back(field);
  }
  return fields;
}

std::string character_name(char32_t character) {
  return character == kNoCharacter ? "nothing" : printable(std::u32string(1, character));
}

// "Kana is the weakest field: ..."; "" if no field is wrong.
std::string weakest_field(const Score& score, const std::string& of) {
  const auto wrong = [](const OutcomeCounts& counts) { return counts.misread + counts.not_read; };
  const auto worst = std::max_element(
      score.fields.begin(), score.fields.end(),
      [&](const OutcomeCounts& a, const OutcomeCounts& b) { return wrong(a) < wrong(b); });
  if (wrong(*worst) == 0) return "";
  const auto index = static_cast<std::size_t>(worst - score.fields.begin());
  return std::string(kFields[index].name) + " is the weakest field: misread in " +
         digits(worst->misread) + ", not read in " + digits(worst->not_read) + " of " +
         count_of(worst->total(), of) + ".";
}

std::string top_confusion(const std::vector<Confusion>& confusions) {
  if (confusions.empty()) return "";
  const Confusion& top = confusions.front();
  return "Most frequent confusion: " + character_name(top.expected) + " read as " +
         character_name(top.read) + " in " + kFields[top.field].name + ", in readings of " +
         count_of(top.count, "frame") + ".";
}

std::string main_cause(const Assessment& assessment) {
  const CauseCounts& counts = assessment.frames_by_cause;
  const auto most = std::max_element(counts.begin(), counts.end());
  if (*most == 0) return "";
  const CauseEntry& entry = kCauses[static_cast<std::size_t>(most - counts.begin())];
  const int failed = std::accumulate(counts.begin(), counts.end(), 0);
  return "Most frequent cause: " + std::string(entry.name) + ", in " + digits(*most) + " of " +
         count_of(failed, "frame") + (failed == 1 ? " that is" : " that are") + " not correct.";
}

std::vector<std::string> insights(const Assessment& assessment,
                                  const std::vector<Confusion>& confusions) {
  std::vector<std::string> lines;
  for (const std::string& line : {main_cause(assessment), weakest_field(assessment.groups, "group"),
                                  top_confusion(confusions)}) {
    if (!line.empty()) lines.push_back(line);
  }
  if (lines.empty()) {
    lines.emplace_back(assessment.groups.plates.total() > 0
                           ? "Every field of every labelled plate was read as expected."
                           : "No plate has an expected text: nothing can be judged.");
  }
  return lines;
}

View confusion_views(const std::vector<Confusion>& confusions) {
  View views = make_list();
  for (const Confusion& confusion : confusions) {
    if (views.list_value().size() == kConfusionsListed) break;
    View view;
    view.set("field", std::string(kFields[confusion.field].name));
    view.set("expected", character_name(confusion.expected));
    view.set("read", character_name(confusion.read));
    view.set("count", digits(confusion.count));
    view.set("of", confusion.of > 0 ? digits(confusion.of) : "–");
    views.push_back(view);
  }
  return views;
}

std::string more_confusions(std::size_t count) {
  if (count <= kConfusionsListed) return "";
  return std::to_string(count - kConfusionsListed) +
         " rarer ones are left out; kavrel-report json lists all.";
}

std::string cap_text(const Cards& cards, std::size_t max_frames) {
  if (cards.left_out == 0) return "";
  return "Cards are shown until they hold " + count_of(max_frames, "frame") +
         ", which leaves out " + count_of(cards.left_out, "group") +
         ": the table of all groups has them, and --max-frames raises the limit.";
}

std::string render_group_rows(const RecordedRun& run, const Assessment& assessment) {
  Template row_template(resources::kGroupRow);
  std::string rows;
  for (std::size_t i = 0; i < run.groups.size(); ++i) {
    const Group& group = run.groups[i];
    const PlateJudgement& plate = assessment.group_judgements[i];
    const bool labelled = plate.outcome != Outcome::kUnlabelled;
    View row;
    row.set("group_id", printable(group.result.group_id));
    row.set("class", std::string(style_class(plate.outcome)));
    row.set("outcome", std::string(name_of(plate.outcome)));
    row.set("expected", printable(group.result.expected));
    row.set("spans", read_line(plate, group.result.fields));
    row.set("edits", labelled ? digits(count_edits(align(plate.expected, plate.read))) : "–");
    row.set("frames_correct", digits(count_correct_frames(group, assessment)));
    row.set("frame_count", digits(group.result.frame_count));
    rows += row_template.render(row);
  }
  return rows;
}

void set_head(const RecordedRun& run, const Assessment& assessment, View& view) {
  std::vector<std::string> notices = run.notices;
  if (assessment.not_as_recorded > 0) {
    notices.push_back(count_of(assessment.not_as_recorded, "frame") +
                      " whose votes, counted again, do not give what the run recorded: did it use "
                      "other region words? Name them with --dict-region.");
  }
  view.set("heading", std::string("What kavrel read"));
  view.set("dir", printable(run.dir));
  view.set("input_mode", text_or_false(run.input_mode));
  std::string ended = run.ended;
  std::replace(ended.begin(), ended.end(), 'T', ' ');
  view.set("ended", text_or_false(ended));
  view.set("has_notices", !notices.empty());
  view.set("notices", list_of_texts(notices));
}

void set_figures(const Assessment& assessment, View& view) {
  const std::vector<Confusion> confusions = most_frequent(assessment.confusions);
  view.set("tiles", tile_views(assessment));
  view.set("insights", list_of_texts(insights(assessment, confusions)));
  View both = make_list();
  both.push_back(View(true));
  both.push_back(View(true));
  view.set("both", both);
  View cause_names = make_list();
  for (const Cause cause : kFieldCauses) {
    View name;
    name.set("name", std::string(entry_of(cause).name));
    cause_names.push_back(name);
  }
  view.set("cause_names", cause_names);
  view.set("fields", field_views(assessment));
  view.set("any_confusion", !confusions.empty());
  view.set("confusions", confusion_views(confusions));
  view.set("more_confusions", text_or_false(more_confusions(confusions.size())));
  view.set("heat_maps", heat_maps(assessment.confusions));
}

// Labelled plates whose expected text is not that of four fields.
int unsplit(const Score& score) { return score.plates.total() - score.fields.front().total(); }

View place_view(const PlaceFigures& places) {
  const auto recall = wilson_interval({places.on_plate, places.frames});
  const auto overlap = mean_interval(places.overlaps);
  const auto corners = mean_interval(places.corner_errors);
  View view;
  view.set("frames", count_of(places.frames, "frame"));
  view.set("on_plate", digits(places.on_plate));
  view.set("recall", percent_of(recall));
  view.set("recall_range", range_of(recall));
  view.set("overlap", percent_of(overlap));
  view.set("overlap_range", range_of(overlap));
  view.set("corners", percent_of(corners));
  view.set("corners_range", range_of(corners));
  return view;
}

void set_causes(const AssessedRun& assessed, std::size_t max_frames, View& view) {
  const View causes = cause_views(assessed, max_frames);
  view.set("any_cause", !causes.list_value().empty());
  view.set("any_labelled", assessed.assessment.groups.plates.total() > 0);
  view.set("cause_list", causes);
  const auto& places = assessed.assessment.places;
  view.set("places", places ? place_view(*places) : View(false));
}

void set_method(const Assessment& assessment, const std::string& words_name, View& view) {
  view.set("unlabelled_groups", count_of(assessment.groups.unlabelled, "group"));
  view.set("unlabelled_frames", count_of(assessment.frames.unlabelled, "frame"));
  view.set("unsplit_groups", count_of(unsplit(assessment.groups), "group"));
  view.set("unsplit_frames", count_of(unsplit(assessment.frames), "frame"));
  view.set("words", printable(words_name));
  view.set("fallback_frames", count_of(assessment.fallback_frames, "labelled frame"));
  view.set("fallback_right", digits(assessment.fallback_right));
  view.set("version", std::string(resources::kVersion));
}

}  // namespace

std::string render_report(const AssessedRun& assessed, const std::string& words_name,
                          std::size_t max_frames, const Slices& slices) {
  const auto& [run, assessment, region_words] = assessed;
  const Cards cards = render_cards(run, assessment, region_words, max_frames);
  View view;
  set_head(run, assessment, view);
  view.set("run_facts", render_run_facts(run, ""));
  view.set("slices", render_slices(slices));
  set_causes(assessed, max_frames, view);
  set_figures(assessment, view);
  set_method(assessment, words_name, view);
  const int not_correct = cards.shown + cards.left_out;
  view.set("not_correct", digits(not_correct));
  view.set("any_not_correct", not_correct > 0);
  view.set("cap", text_or_false(cap_text(cards, max_frames)));
  view.set("cards", cards.html);
  view.set("group_total", std::to_string(run.groups.size()));
  view.set("group_rows", render_group_rows(run, assessment));
  return render_page("kavrel: " + printable(run.dir), Template(resources::kReport).render(view));
}

}  // namespace kavrel::report
