#include "app/final_report.h"

#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <utility>

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

std::string summary_row(const GroupResult& group, const std::string& status) {
  std::vector<std::string> cells;
  for (const std::string& value :
       {group.group_id, group.expected, group.fields.final_plate_number, status,
        group.fields.region, group.fields.class_no, group.fields.kana, group.fields.serial}) {
    cells.push_back(csv_escape(value));
  }
  cells.push_back(std::to_string(group.frame_count));
  return join_strings(cells, ",");
}

StatusCounts write_summary_csv(const Groups& groups, const std::string& path) {
  StatusCounts counts;
  std::ofstream file(path);
  file << "group_id,expected,final_plate_number,status,region,class_no,kana,serial,frame_count\n";
  for (const auto& [group_id, frames] : groups) {
    const GroupResult group = vote_group(frames);
    const std::string status = plate_status(group.expected, group.fields.final_plate_number);
    counts.add(status);
    file << summary_row(group, status) << '\n';
  }
  return counts;
}

void write_final_json(const Totals& totals, const std::string& path) {
  const auto quoted = [](const std::string& text) { return '"' + json_escape(text) + '"'; };
  std::ofstream file(path);
  file << "{\n"
       << "  \"input_mode\": " << quoted(totals.input_mode) << ",\n"
       << "  \"use_plate_det\": " << totals.use_plate_det << ",\n"
       << "  \"frame_total\": " << totals.frame_total << ",\n"
       << "  \"frame_correct\": " << totals.frames.correct << ",\n"
       << "  \"frame_check_or_failed\": " << totals.frames.check_or_failed << ",\n"
       << "  \"group_total\": " << totals.group_total << ",\n"
       << "  \"group_correct\": " << totals.groups.correct << ",\n"
       << "  \"group_check_or_failed\": " << totals.groups.check_or_failed << ",\n"
       << "  \"frame_summary_csv\": " << quoted(totals.frame_summary_csv) << ",\n"
       << "  \"summary_csv\": " << quoted(totals.summary_csv) << "\n"
       << "}\n";
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
  totals.frame_summary_csv = output_dir + "/frame_summary.csv";
  totals.summary_csv = output_dir + "/summary.csv";
  const Groups groups = group_frames(std::move(run.frames));
  totals.group_total = groups.size();
  totals.groups = write_summary_csv(groups, totals.summary_csv);
  write_final_json(totals, output_dir + "/FINAL_RESULT.json");
  print_final_block(totals);
  const bool failed = run.args.fail_on_error && totals.groups.check_or_failed > 0;
  return failed ? kExitGroupsNotCorrect : kExitSuccess;
}

}  // namespace kavrel
