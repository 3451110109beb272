#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <opencv2/core/utils/logger.hpp>
#include <sstream>
#include <stdexcept>

#include "app/base/files.h"
#include "app/base/log.h"
#include "report/assessment/assessment.h"
#include "report/assessment/compare.h"
#include "report/assessment/gate.h"
#include "report/assessment/slices.h"
#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/html/html_compare.h"
#include "report/html/html_gallery.h"
#include "report/html/html_label.h"
#include "report/html/html_report.h"
#include "report/html/html_trend.h"
#include "report/list/foreign_labels.h"
#include "report/list/list_check.h"
#include "report/list/list_mend.h"
#include "report/list/list_sheet.h"
#include "report/list/new_list.h"
#include "report/output_file.h"
#include "report/run/run.h"
#include "report/run/truth.h"
#include "report/text/explain.h"
#include "report/text/gate_text.h"
#include "report/text/json_report.h"
#include "report/text/junit.h"
#include "report/text/misread.h"
#include "report/text/pre_annotations.h"
#include "report/text/text_check.h"
#include "report/text/text_compare.h"

namespace {

namespace report = kavrel::report;

constexpr int kExitFailure = 1;
constexpr int kExitLost = 3;
constexpr int kExitWarning = kExitLost;

struct Options {
  std::string output_dir;
  std::string new_dir;
  std::string case_name;
  std::string file;
  std::string dict_region;
  std::string list;
  std::string truth;
  std::size_t max_frames = 300;
  int allow_broken = 0;
  bool allow_removed = false;
  bool fix = false;
  bool separate_files = false;
  std::vector<std::string> runs;
  // Of labels that another tool is to make, or made.
  std::string export_format;
  std::string image_prefix;
  std::string import_file;
  // Of a new list.
  std::vector<std::string> folders;
  report::Grouping grouping;
  std::string expected_from;
  // Of the gate, as they were typed.
  std::string base_dir;
  std::string min_groups;
  std::string min_frames;
  std::vector<std::string> min_fields;
  std::vector<std::string> max_causes;
  std::vector<std::string> min_slices;
  std::string markdown;
  std::string json;
  int max_unlabelled = 0;
  int max_broken = 0;
  bool lower_bound = false;
};

std::string file_or(const Options& options, const std::string& dir, const char* name) {
  return options.file.empty() ? dir + "/" + name : options.file;
}

std::vector<std::string> built_in_words() {
  std::istringstream lines(report::resources::kRegionWords);
  return kavrel::trimmed_lines(lines);
}

std::vector<std::string> region_words(const Options& options) {
  if (options.dict_region.empty()) return built_in_words();
  return kavrel::read_trimmed_lines(options.dict_region);
}

report::Assessment assess(const report::RecordedRun& run, const Options& options) {
  const report::Truth truth =
      options.truth.empty() ? report::Truth() : report::read_truth(options.truth);
  return report::assess(run, region_words(options), truth);
}

// What only shows a run holds its tables against each other; what decides on it opens all files.
report::RecordedRun read_shown(const std::string& dir) {
  return report::read_run(dir, kavrel::RunDepth::kTables);
}

int write_html(const Options& options) {
  const report::RecordedRun run = read_shown(options.output_dir);
  const std::vector<std::string> words = region_words(options);
  const std::string words_name = options.dict_region.empty()
                                     ? "the region words that kavrel-report was built with"
                                     : "the region words of " + options.dict_region;
  const report::Assessment assessment = assess(run, options);
  const report::Slices slices = report::slice_run(run, assessment, options.list);
  const std::string page =
      report::render_report({run, assessment, words}, words_name, options.max_frames, slices);
  report::write_page(file_or(options, options.output_dir, "report.html"), page,
                     options.separate_files);
  return 0;
}

int write_comparison(const Options& options) {
  const report::RecordedRun base = report::read_run(options.output_dir);
  const report::RecordedRun fresh = report::read_run(options.new_dir);
  const report::Assessment base_assessment = report::assess(base, built_in_words());
  const report::Assessment fresh_assessment = report::assess(fresh, built_in_words());
  const report::Comparison comparison =
      report::compare_runs(base, base_assessment, fresh, fresh_assessment);
  const report::ComparedRuns runs{base, base_assessment, fresh, fresh_assessment, comparison};
  const std::string verdict = report::verdict_on(runs, options.allow_removed);
  report::print_comparison(runs, std::cout);
  std::cout << verdict << std::endl;
  if (!options.file.empty()) {
    const std::string page = report::render_comparison(runs, verdict, options.max_frames);
    report::write_page(options.file, page, options.separate_files);
  }
  if (!report::are_comparable(base, fresh)) return kExitLost;
  const int lost = report::count_lost(comparison, options.allow_removed);
  return lost > options.allow_broken ? kExitLost : 0;
}

int write_junit(const Options& options) {
  const report::RecordedRun run = report::read_run(options.output_dir);
  const report::Assessment assessment = report::assess(run, built_in_words());
  report::write_file(file_or(options, options.output_dir, "junit.xml"),
                     [&](std::ostream& out) { report::write_junit(run, assessment, out); });
  return 0;
}

int write_json(const Options& options) {
  const report::RecordedRun run = read_shown(options.output_dir);
  const report::Assessment assessment = assess(run, options);
  const report::Slices slices = report::slice_run(run, assessment, options.list);
  report::write_file(options.file.empty() ? "-" : options.file,
                     [&](std::ostream& out) { report::write_json(run, assessment, slices, out); });
  return 0;
}

int write_misread(const Options& options) {
  const report::RecordedRun run = read_shown(options.output_dir);
  const report::Assessment assessment = assess(run, options);
  report::write_file(options.file.empty() ? "-" : options.file,
                     [&](std::ostream& out) { report::write_misread(run, assessment, out); });
  return 0;
}

// The way from the page's folder to the output directory; that of standard output is unknown, and
// taken for the output directory.
std::string way_to_run(const Options& options) {
  if (options.file.empty() || options.file == "-") return "";
  const auto folder = std::filesystem::absolute(options.file).parent_path();
  const auto way =
      std::filesystem::proximate(std::filesystem::absolute(options.output_dir), folder);
  return way == "." ? "" : way.string() + "/";
}

int write_gallery(const Options& options) {
  const report::RecordedRun run = read_shown(options.output_dir);
  const report::Assessment assessment = assess(run, options);
  report::write_file(file_or(options, options.output_dir, "gallery.html"), [&](std::ostream& out) {
    out << report::render_gallery(run, assessment, way_to_run(options));
  });
  return 0;
}

// That of --list, or else of the run's frames.
report::ListRows rows_to_label(const Options& options, const report::RecordedRun& run) {
  if (!options.list.empty()) return report::read_list_rows(options.list);
  std::vector<kavrel::CaseItem> cases;
  for (const kavrel::FrameResult& frame : run.frames) {
    cases.push_back({frame.image_path, frame.expected, frame.group_id});
  }
  return report::rows_of_cases(cases);
}

int write_label_page(const Options& options, const report::RecordedRun& run) {
  const std::string name = options.list.empty()
                               ? "labelled.csv"
                               : std::filesystem::path(options.list).filename().string();
  const std::string page =
      report::render_label_page(run, rows_to_label(options, run), name, region_words(options));
  report::write_file(file_or(options, options.output_dir, "label.html"),
                     [&](std::ostream& out) { out << page; });
  return 0;
}

int explain(const Options& options) {
  report::explain(read_shown(options.output_dir), options.case_name, region_words(options),
                  std::cout);
  return 0;
}

int status_of(const report::ListVerdict& verdict) {
  if (verdict.count(report::Severity::kError) > 0) return kExitFailure;
  return verdict.count(report::Severity::kWarning) > 0 ? kExitWarning : 0;
}

int check_list(const std::string& path, const std::vector<std::string>& words) {
  const report::ListSheet sheet = report::read_list_sheet(path);
  const report::ListVerdict verdict = report::check_list(sheet, words);
  report::print_verdict(sheet, verdict, std::cout);
  return status_of(verdict);
}

void mend_list(const Options& options, const std::vector<std::string>& words) {
  std::error_code error;
  if (std::filesystem::equivalent(options.list, options.file, error)) {
    throw std::runtime_error("the list itself is not overwritten: " + options.file);
  }
  const report::ListSheet sheet = report::read_list_sheet(options.list);
  const report::MendedList mended = report::mend_list(sheet, words);
  report::print_changes(mended, std::cout);
  report::write_file(options.file, [&](std::ostream& out) { out << mended.text; });
}

// The list as it is, or what is left to say of the mended one.
int check(const Options& options) {
  const std::vector<std::string> words = region_words(options);
  if (!options.fix) return check_list(options.list, words);
  mend_list(options, words);
  return check_list(options.file, words);
}

constexpr std::size_t kNamesShown = 20;

void log_remark(const report::ListRemark& remark) {
  kavrel::log_line("[WARN] " + report::count_of(remark.names.size(), "name") + ": " + remark.text);
  const std::size_t shown = std::min(remark.names.size(), kNamesShown);
  for (std::size_t i = 0; i < shown; ++i) {
    kavrel::log_line("[WARN]   " + report::printable(remark.names[i]));
  }
  if (remark.names.size() > shown) {
    kavrel::log_line("[WARN]   and " + std::to_string(remark.names.size() - shown) + " more");
  }
}

// Labels are a person's work: no list is overwritten.
void refuse_to_overwrite(const std::string& path) {
  std::error_code error;
  if (path != "-" && std::filesystem::exists(path, error)) {
    throw std::runtime_error("there is a list already: " + path);
  }
}

int write_list(const Options& options) {
  refuse_to_overwrite(options.file);
  const bool wants_pattern = options.grouping.by == report::GroupBy::kName;
  if (wants_pattern == options.grouping.pattern.empty()) {
    throw std::runtime_error("--group-by name and --pattern need each other");
  }
  report::NewList list = report::list_pictures_below(options.folders);
  if (list.cases.empty()) throw std::runtime_error("there is no picture below the folders");
  report::group_cases(options.grouping, list);
  if (!options.expected_from.empty()) report::label_by_name(region_words(options), list);
  report::remark_on_cases(list);
  for (const report::ListRemark& remark : list.remarks) log_remark(remark);
  report::write_file(options.file, [&](std::ostream& out) { out << report::list_text(list); });
  kavrel::log_line(report::count_of(list.cases.size(), "picture") + " of " +
                   report::count_of(report::count_groups(list), "group"));
  return 0;
}

int export_labels(const Options& options, const report::RecordedRun& run) {
  const report::ListRows rows = rows_to_label(options, run);
  const auto plates = report::pre_annotations(run, rows);
  if (options.export_format == "csv") {
    report::write_file(file_or(options, options.output_dir, "boxes.csv"),
                       [&](std::ostream& out) { report::write_boxes_csv(plates, rows, out); });
  } else if (options.export_format == "coco") {
    report::write_file(file_or(options, options.output_dir, "coco.json"),
                       [&](std::ostream& out) { report::write_coco(plates, out); });
  } else {
    report::write_file(
        file_or(options, options.output_dir, "label_studio.json"),
        [&](std::ostream& out) { report::write_label_studio(plates, options.image_prefix, out); });
  }
  return 0;
}

int import_labels(const Options& options, const report::RecordedRun& run) {
  if (options.file.empty()) throw std::runtime_error("--import needs -o with the new list");
  refuse_to_overwrite(options.file);
  report::ListRows rows = rows_to_label(options, run);
  const auto labels = report::read_foreign_labels(options.import_file);
  for (const auto& remark : report::label_rows(labels, rows)) log_remark(remark);
  report::write_file(options.file, [&](std::ostream& out) { out << report::rows_text(rows); });
  return 0;
}

int label(const Options& options) {
  const report::RecordedRun run = read_shown(options.output_dir);
  if (!options.export_format.empty()) return export_labels(options, run);
  if (!options.import_file.empty()) return import_labels(options, run);
  return write_label_page(options, run);
}

report::GateRules rules_of(const Options& options) {
  report::GateRules rules;
  if (!options.min_groups.empty()) rules.min_groups = report::parse_share(options.min_groups);
  if (!options.min_frames.empty()) rules.min_frames = report::parse_share(options.min_frames);
  for (const std::string& text : options.min_fields) {
    const auto [name, share] = report::parse_named_share(text);
    rules.min_fields.emplace_back(report::field_named(name), share);
  }
  for (const std::string& text : options.max_causes) {
    const auto [name, share] = report::parse_named_share(text);
    rules.max_causes.emplace_back(report::cause_named(name), share);
  }
  for (const std::string& text : options.min_slices) {
    rules.min_slices.push_back(report::parse_named_share(text));
  }
  rules.max_unlabelled = options.max_unlabelled;
  rules.max_broken = options.max_broken;
  rules.lower_bound = options.lower_bound;
  return rules;
}

report::GateVerdict judge(const Options& options, const report::RecordedRun& run,
                          const report::Assessment& assessment, const report::Slices& slices) {
  const report::GateRules rules = rules_of(options);
  if (options.base_dir.empty()) {
    return report::judge_release(run, assessment, slices, nullptr, rules);
  }
  const report::RecordedRun base = report::read_run(options.base_dir);
  const report::Assessment base_assessment = assess(base, options);
  const report::Comparison comparison =
      report::compare_runs(base, base_assessment, run, assessment);
  const report::ComparedRuns runs{base, base_assessment, run, assessment, comparison};
  return report::judge_release(run, assessment, slices, &runs, rules);
}

int gate(const Options& options) {
  const report::RecordedRun run = report::read_run(options.output_dir);
  const report::Assessment assessment = assess(run, options);
  const report::Slices slices = report::slice_run(run, assessment, options.list);
  const report::GateVerdict verdict = judge(options, run, assessment, slices);
  const report::JudgedRun judged{run, assessment, slices, verdict};
  report::print_gate(verdict, std::cout);
  if (!options.markdown.empty()) {
    report::write_file(options.markdown,
                       [&](std::ostream& out) { report::write_gate_markdown(judged, out); });
  }
  if (!options.json.empty()) {
    report::write_file(options.json,
                       [&](std::ostream& out) { report::write_gate_json(judged, out); });
  }
  return verdict.passes() ? 0 : kExitLost;
}

int write_trend(const Options& options) {
  std::vector<report::TrendRun> runs;
  for (const std::string& dir : options.runs) {
    report::RecordedRun run = read_shown(dir);
    report::Assessment assessment = report::assess(run, region_words(options));
    runs.push_back({std::move(run), std::move(assessment)});
  }
  report::write_page(options.file, report::render_trend(runs), options.separate_files);
  return 0;
}

// Of a validator of CLI11's the message would end in the largest number that there is.
std::string complaint_about_count(const std::string& text) {
  const bool is_count =
      !text.empty() && text.size() < 9 && text.find_first_not_of("0123456789") == std::string::npos;
  return is_count ? "" : "is no count: " + text;
}

void add_output_dir(CLI::App& command, Options& options) {
  command.add_option("OUTPUT_DIR", options.output_dir, "where kavrel wrote its results")
      ->required();
}

void add_words(CLI::App& command, Options& options) {
  command.add_option("--dict-region", options.dict_region,
                     "region words of the run, if they were not those of this build");
}

void add_truth(CLI::App& command, Options& options) {
  command.add_option("--truth", options.truth,
                     "where the plates are: JSON with image_path, box and corners of each");
}

void add_max_frames(CLI::App& command, Options& options) {
  command.add_option("--max-frames", options.max_frames, "frames that are shown with pictures")
      ->capture_default_str()
      ->check(complaint_about_count);
}

void add_list(CLI::App& command, Options& options) {
  command.add_option("--list", options.list, "the run's list [the one that its log names]");
}

void add_separate_files(CLI::App& command, Options& options) {
  command.add_flag("--separate-files", options.separate_files,
                   "style and pictures beside the page, for servers that block embedded ones");
}

CLI::App& add_command(CLI::App& app, const std::string& name, const std::string& purpose,
                      const std::string& example, const std::function<void()>& run) {
  CLI::App& command = *app.add_subcommand(name, purpose);
  command.footer("Example: kavrel-report " + name + " " + example);
  command.callback(run);
  return command;
}

void add_check(CLI::App& app, Options& options, int& status) {
  CLI::App& check_command =
      add_command(app, "check",
                  "What is wrong with a case list, before it is run. Exit status 1 for errors, 3 "
                  "for warnings alone",
                  "list.csv --fix -o new.csv", [&] { status = check(options); });
  check_command.add_option("LIST", options.list, "the case list")->required();
  CLI::Option& output =
      *check_command.add_option("-o,--output", options.file, "the mended list of --fix");
  CLI::Option& fix = *check_command.add_flag(
      "--fix", options.fix, "write the list as kavrel reads it, and tell every change");
  fix.needs(&output);
  output.needs(&fix);
  add_words(check_command, options);
}

void add_list_command(CLI::App& app, Options& options, int& status) {
  CLI::App& list = add_command(app, "list", "A case list of every picture below folders",
                               "pictures -o list.csv --group-by name --pattern '(.*)_f[0-9]+'",
                               [&] { status = write_list(options); });
  list.add_option("DIR", options.folders, "folders of pictures")->required();
  list.add_option("-o,--output", options.file, "the new list; - is standard output")->required();
  const std::map<std::string, report::GroupBy> ways = {{"directory", report::GroupBy::kDirectory},
                                                       {"name", report::GroupBy::kName},
                                                       {"time", report::GroupBy::kTime}};
  list.add_option("--group-by", options.grouping.by,
                  "pictures of one vehicle: those of a folder, of a name (--pattern), or taken "
                  "within --seconds in a folder [each is one of its own]")
      ->transform(CLI::Transformer(ways).description("directory|name|time"))
      ->type_name("");
  list.add_option("--pattern", options.grouping.pattern,
                  "expression for file names without extension; its parentheses hold the group");
  list.add_option("--seconds", options.grouping.seconds,
                  "from a group's first picture to its last, by their EXIF time")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  list.add_option("--expected-from", options.expected_from, "take labels that stand in file names")
      ->check(CLI::IsMember({"name"}));
  add_words(list, options);
}

void add_html(CLI::App& app, Options& options, int& status) {
  CLI::App& html = add_command(app, "html", "One page: what was misread, and why",
                               "output/demo -o report.html", [&] { status = write_html(options); });
  add_output_dir(html, options);
  html.add_option("-o,--output", options.file,
                  "the page [OUTPUT_DIR/report.html]; - is standard output");
  add_words(html, options);
  add_list(html, options);
  add_truth(html, options);
  add_max_frames(html, options);
  add_separate_files(html, options);
}

void add_compare(CLI::App& app, Options& options, int& status) {
  CLI::App& compare = add_command(
      app, "compare",
      "What differs between two runs. Exit status 3 if a group that was correct no longer is",
      "output/old output/new -o diff.html", [&] { status = write_comparison(options); });
  compare.add_option("BASE_DIR", options.output_dir, "the run to compare with")->required();
  compare.add_option("NEW_DIR", options.new_dir, "the run in question")->required();
  compare.add_option("-o,--output", options.file, "a page with both runs' pictures [none]");
  compare.add_option("--allow-broken", options.allow_broken, "so many may be lost")
      ->capture_default_str()
      ->check(complaint_about_count);
  compare.add_flag("--allow-removed", options.allow_removed,
                   "groups that the new run does not have are not lost");
  add_max_frames(compare, options);
  add_separate_files(compare, options);
}

void add_gate(CLI::App& app, Options& options, int& status) {
  CLI::App& gate_command = add_command(
      app, "gate", "Whether the run is good enough for a release. Exit status 3 if it is not",
      "output/demo --min-groups 95% --min-field kana=98% --max-cause no-plate=1%",
      [&] { status = gate(options); });
  add_output_dir(gate_command, options);
  gate_command.add_option("--min-groups", options.min_groups, "least share of correct groups");
  gate_command.add_option("--min-frames", options.min_frames, "least share of correct frames");
  gate_command.add_option("--min-field", options.min_fields,
                          "FIELD=SHARE: region, class_no, kana or serial of groups");
  gate_command.add_option("--max-cause", options.max_causes,
                          "CAUSE=SHARE: of frames; the page and json have the causes");
  gate_command.add_option("--min-slice", options.min_slices,
                          "COLUMN=SHARE or COLUMN:VALUE=SHARE: of groups, by a column of the list");
  gate_command.add_flag("--lower-bound", options.lower_bound,
                        "the worse end of each 95 % interval has to hold");
  gate_command
      .add_option("--max-unlabelled", options.max_unlabelled,
                  "so many groups may be without an expected text")
      ->capture_default_str()
      ->check(complaint_about_count);
  gate_command.add_option("--base", options.base_dir, "a run in which no more groups were right");
  gate_command.add_option("--max-broken", options.max_broken, "so many of its groups may be lost")
      ->capture_default_str()
      ->check(complaint_about_count);
  gate_command.add_option("--markdown", options.markdown, "the verdict for a merge request");
  gate_command.add_option("--json", options.json, "the verdict for machines");
  add_words(gate_command, options);
  add_list(gate_command, options);
  add_truth(gate_command, options);
}

void add_trend(CLI::App& app, Options& options, int& status) {
  CLI::App& trend = add_command(app, "trend", "One page: the accuracy of several runs",
                                "output/1.0 output/1.1 output/1.2 -o trend.html",
                                [&] { status = write_trend(options); });
  trend.add_option("RUN", options.runs, "output directories, in their order")->required();
  trend.add_option("-o,--output", options.file, "the page; - is standard output")->required();
  add_words(trend, options);
  add_separate_files(trend, options);
}

void add_junit(CLI::App& app, Options& options, int& status) {
  CLI::App& junit = add_command(app, "junit", "One test case per group, for a build server",
                                "output/demo -o junit.xml", [&] { status = write_junit(options); });
  add_output_dir(junit, options);
  junit.add_option("-o,--output", options.file,
                   "the file [OUTPUT_DIR/junit.xml]; - is standard output");
}

void add_json(CLI::App& app, Options& options, int& status) {
  CLI::App& json =
      add_command(app, "json", "The page's figures for machines",
                  "output/demo | jq .groups.accuracy", [&] { status = write_json(options); });
  add_output_dir(json, options);
  json.add_option("-o,--output", options.file, "the file [standard output]");
  add_words(json, options);
  add_list(json, options);
  add_truth(json, options);
}

void add_misread(CLI::App& app, Options& options, int& status) {
  CLI::App& misread =
      add_command(app, "misread", "A CSV row for each frame that is not correct: stage and cause",
                  "output/demo -o misread.csv", [&] { status = write_misread(options); });
  add_output_dir(misread, options);
  misread.add_option("-o,--output", options.file, "the file [standard output]");
  add_words(misread, options);
  add_truth(misread, options);
}

void add_gallery(CLI::App& app, Options& options, int& status) {
  CLI::App& gallery =
      add_command(app, "gallery", "One page with every plate, also those that are correct",
                  "output/demo", [&] { status = write_gallery(options); });
  add_output_dir(gallery, options);
  gallery.add_option("-o,--output", options.file,
                     "the page [OUTPUT_DIR/gallery.html]; - is standard output");
  add_words(gallery, options);
  add_truth(gallery, options);
}

void add_label(CLI::App& app, Options& options, int& status) {
  CLI::App& command = add_command(app, "label", "One page on which a person labels the vehicles",
                                  "output/demo --list list.csv", [&] { status = label(options); });
  add_output_dir(command, options);
  command.add_option("-o,--output", options.file,
                     "the page [OUTPUT_DIR/label.html]; - is standard output");
  command.add_option("--list", options.list,
                     "the list whose rows are saved with labels [the run's frames]");
  CLI::Option& to = *command
                         .add_option("--export", options.export_format,
                                     "instead of the page, boxes and texts for another tool")
                         ->check(CLI::IsMember({"label-studio", "coco", "csv"}));
  command
      .add_option("--image-prefix", options.image_prefix,
                  "of label-studio: what stands before each image path")
      ->needs(&to);
  command
      .add_option("--import", options.import_file,
                  "instead of the page, the list of -o, with labels from this file of such a tool")
      ->excludes(&to);
  add_words(command, options);
}

void add_explain(CLI::App& app, Options& options, int& status) {
  CLI::App& why = add_command(app, "explain", "The votes that decided a case's four fields",
                              "output/demo car05_f02", [&] { status = explain(options); });
  add_output_dir(why, options);
  why.add_option("CASE", options.case_name, "its directory in cases/, or its image path")
      ->required();
  add_words(why, options);
}

// The parser would take it, and all that follows, for arguments that it did not expect.
void refuse_unknown_command(const CLI::App& app, int argc, char** argv) {
  if (argc < 2 || argv[1][0] == '-') return;
  const auto is_named = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
  if (!app.get_subcommands(is_named).empty()) return;
  throw std::runtime_error(std::string("no command ") + argv[1] + "; --help lists them");
}

int run(int argc, char** argv) {
  Options options;
  int status = 0;
  CLI::App app("Reports on what a run of kavrel left in its output directory.", "kavrel-report");
  // None is let through here, so that a mistyped one is named by the error.
  app.require_subcommand(0, 1);
  app.set_version_flag("--version", std::string(report::resources::kVersion));
  for (const auto& add :
       {add_list_command, add_label, add_check, add_html, add_gallery, add_misread, add_compare,
        add_gate, add_trend, add_junit, add_json, add_explain}) {
    add(app, options, status);
  }
  refuse_unknown_command(app, argc, argv);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  }
  if (app.get_subcommands().empty()) throw std::runtime_error("no command; --help lists them");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  // What OpenCV finds wrong with a picture is said on the page.
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    kavrel::log_line("[ERROR] " + report::printable(error.what()));
    return kExitFailure;
  }
}
