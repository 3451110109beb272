#include "report/assessment/gate.h"

#include <iostream>
#include <memory>
#include <vector>

#include "report/assessment/compare.h"
#include "report/assessment/slices.h"
#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/text/gate_text.h"

namespace kavrel::report {
namespace {

// Shares as they were typed.
struct GateOptions : SharedOptions {
  std::string min_groups;
  std::string min_frames;
  std::vector<std::string> min_fields;
  std::vector<std::string> max_causes;
  std::vector<std::string> min_slices;
  int max_unlabelled = 0;
  bool lower_bound = false;
  std::string base_dir;
  int max_broken = 0;
  std::string markdown;
  std::string json;
};

GateRules rules_of(const GateOptions& options) {
  GateRules rules;
  if (!options.min_groups.empty()) rules.min_groups = parse_share(options.min_groups);
  if (!options.min_frames.empty()) rules.min_frames = parse_share(options.min_frames);
  for (const std::string& text : options.min_fields) {
    const auto [name, share] = parse_named_share(text);
    rules.min_fields.emplace_back(field_named(name), share);
  }
  for (const std::string& text : options.max_causes) {
    const auto [name, share] = parse_named_share(text);
    rules.max_causes.emplace_back(cause_named(name), share);
  }
  for (const std::string& text : options.min_slices) {
    rules.min_slices.push_back(parse_named_share(text));
  }
  rules.max_unlabelled = options.max_unlabelled;
  rules.max_broken = options.max_broken;
  rules.lower_bound = options.lower_bound;
  return rules;
}

GateVerdict judge(const GateOptions& options, const RecordedRun& run, const Assessment& assessment,
                  const Slices& slices) {
  const GateRules rules = rules_of(options);
  if (options.base_dir.empty()) return judge_release(run, assessment, slices, nullptr, rules);
  refuse_the_same(options.base_dir, options.output_dir);
  const RecordedRun base = read_run(options.base_dir);
  const Assessment base_assessment = assess(base, options);
  const Comparison comparison = compare_runs(base, base_assessment, run, assessment);
  const ComparedRuns runs{base, base_assessment, run, assessment, comparison};
  return judge_release(run, assessment, slices, &runs, rules);
}

// A log tells how many cases the run's list had; a list that is named tells which.
RecordedRun read_judged(const GateOptions& options) {
  if (options.list.empty()) return read_run(options.output_dir);
  const std::vector<CaseItem> list = read_input_list(options.list);
  return read_run(options.output_dir, RunDepth::kAll, &list);
}

int gate(const GateOptions& options) {
  const RecordedRun run = read_judged(options);
  const Assessment assessment = assess(run, options);
  const Slices slices = slice_run(run, assessment, options.list);
  const GateVerdict verdict = judge(options, run, assessment, slices);
  const JudgedRun judged{run, assessment, slices, verdict};
  print_gate(verdict, std::cout);
  if (!options.markdown.empty()) {
    write_file(options.markdown, [&](std::ostream& out) { write_gate_markdown(judged, out); });
  }
  if (!options.json.empty()) {
    write_file(options.json, [&](std::ostream& out) { write_gate_json(judged, out); });
  }
  return verdict.passes() ? 0 : kExitRefused;
}

void add_rules(CLI::App& command, GateOptions& options) {
  add_text(command, "--min-groups", options.min_groups, "least share of correct groups");
  add_text(command, "--min-frames", options.min_frames, "least share of correct frames");
  add_texts(command, "--min-field", options.min_fields,
            "FIELD=SHARE: region, class_no, kana or serial of groups");
  add_texts(command, "--max-cause", options.max_causes,
            "CAUSE=SHARE: of frames; the page and json have the causes");
  add_texts(command, "--min-slice", options.min_slices,
            "COLUMN=SHARE or COLUMN:VALUE=SHARE: of groups, by a column of the list");
  add_flag(command, "--lower-bound", options.lower_bound,
           "the worse end of each 95 % interval has to hold");
  add_count(command, "--max-unlabelled", options.max_unlabelled,
            "so many groups may be without an expected text");
  CLI::Option& base =
      add_text(command, "--base", options.base_dir, "a run in which no more groups were right");
  let_need(
      add_count(command, "--max-broken", options.max_broken, "so many of its groups may be lost"),
      base);
}

}  // namespace

void add_gate(CLI::App& app, int& status) {
  const auto options = std::make_shared<GateOptions>();
  CLI::App& command = add_command(
      app, "gate", "Whether the run is good enough for a release. Exit status 3 if it is not",
      "output/demo --min-groups 95% --min-field kana=98% --max-cause no-plate=1%",
      [options, &status] { status = gate(*options); });
  add_output_dir(command, *options);
  add_rules(command, *options);
  add_text(command, "--markdown", options->markdown, "the verdict for a merge request");
  add_text(command, "--json", options->json, "the verdict for machines");
  add_words(command, *options);
  add_list_of_run(command, *options);
  add_truth(command, *options);
}

}  // namespace kavrel::report
