#include "app/final_report.h"

#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "app/base/output_format.h"
#include "app/base/text.h"
#include "reading/group_vote.h"

namespace kavrel {
namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitGroupsNotCorrect = 2;

// The run's totals as both reports show them.
struct Totals {
  std::string input_mode;
  std::string use_plate_det;
  std::size_t frame_total;
  StatusCounts frames;
  std::size_t group_total;
  StatusCounts groups;
  std::string frame_summary_csv;
  std::string summary_csv;
};

using Groups = std::map<std::string, std::vector<FrameResult>>;

Groups group_frames(std::vector<FrameResult> frames) {
  Groups groups;
  for (FrameResult& frame : frames) groups[frame.group_id].push_back(std::move(frame));
  return groups;
}

output::Row row_of(const GroupResult& group, const std::string& status) {
  return {{output::column::kGroupId, group.group_id},
          {output::column::kExpected, group.expected},
          {output::column::kFinalPlateNumber, group.fields.final_plate_number},
          {output::column::kStatus, status},
          {output::column::kRegion, group.fields.region},
          {output::column::kClassNo, group.fields.class_no},
          {output::column::kKana, group.fields.kana},
          {output::column::kSerial, group.fields.serial},
          {output::column::kFrameCount, std::to_string(group.frame_count)}};
}

StatusCounts write_summary_csv(const Groups& groups, const std::string& path) {
  StatusCounts counts;
  std::ofstream file(path);
  file << output::csv_header(output::kGroupColumns) << '\n';
  for (const auto& [group_id, frames] : groups) {
    const GroupResult group = vote_group(frames);
    const std::string status = plate_status(group.expected, group.fields.final_plate_number);
    counts.add(status);
    file << output::csv_line(output::kGroupColumns, row_of(group, status)) << '\n';
  }
  return counts;
}

void write_final_json(const Totals& totals, const std::string& path) {
  std::ofstream(path) << json_object({
      {output::total::kInputMode, json_string(totals.input_mode)},
      {output::total::kUsePlateDet, totals.use_plate_det},
      {output::total::kFrameTotal, std::to_string(totals.frame_total)},
      {output::total::kFrameCorrect, std::to_string(totals.frames.correct)},
      {output::total::kFrameCheckOrFailed, std::to_string(totals.frames.check_or_failed)},
      {output::total::kGroupTotal, std::to_string(totals.group_total)},
      {output::total::kGroupCorrect, std::to_string(totals.groups.correct)},
      {output::total::kGroupCheckOrFailed, std::to_string(totals.groups.check_or_failed)},
      {output::total::kFrameSummaryCsv, json_string(totals.frame_summary_csv)},
      {output::total::kSummaryCsv, json_string(totals.summary_csv)},
  });
}

void print_final_block(const Totals& totals) {
  std::cout << "========== FINAL_RESULT ==========\n"
            << "input_mode=" << totals.input_mode << " use_plate_det=" << totals.use_plate_det
            << "\nframe_total=" << totals.frame_total << " frame_correct=" << totals.frames.correct
            << " frame_check_or_failed=" << totals.frames.check_or_failed
            << "\ngroup_total=" << totals.group_total << " group_correct=" << totals.groups.correct
            << " group_check_or_failed=" << totals.groups.check_or_failed
            << "\nsummary=" << totals.summary_csv << std::endl;
}

}  // namespace

int report_run(FinishedRun run) {
  const std::string& output_dir = run.args.output_dir;
  Totals totals;
  totals.input_mode = run.args.input_mode;
  totals.use_plate_det = run.use_plate_det ? "true" : "false";
  totals.frame_total = run.frames.size();
  totals.frames = run.frame_counts;
  totals.frame_summary_csv = output_dir + "/" + output::kFrameSummary;
  totals.summary_csv = output_dir + "/" + output::kGroupSummary;
  const Groups groups = group_frames(std::move(run.frames));
  totals.group_total = groups.size();
  totals.groups = write_summary_csv(groups, totals.summary_csv);
  write_final_json(totals, output_dir + "/" + output::kFinalResult);
  print_final_block(totals);
  const bool failed = run.args.fail_on_error && totals.groups.check_or_failed > 0;
  return failed ? kExitGroupsNotCorrect : kExitSuccess;
}

}  // namespace kavrel
