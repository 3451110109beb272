#include "report/run/run.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "app/base/csv_records.h"
#include "app/base/output_format.h"
#include "app/base/text.h"
#include "app/base/whole_run.h"
#include "reading/status.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"

namespace kavrel::report {
namespace {

namespace fs = std::filesystem;

namespace column = output::column;

namespace fault {
constexpr const char* kAborted = "aborted";
constexpr const char* kCut = "cut";
constexpr const char* kMixed = "mixed";
constexpr const char* kEmpty = "empty";
constexpr const char* kUnlabelled = "unlabelled";
}  // namespace fault

constexpr std::size_t kFaultsTold = 5;

void add_fault(const char* key, const std::string& text, RecordedRun& run) {
  run.faults.push_back({key, text});
  run.notices.push_back(text);
}

const char* key_of(RunFaultKind kind) {
  switch (kind) {
    case RunFaultKind::kAborted:
      return fault::kAborted;
    case RunFaultKind::kCut:
      return fault::kCut;
    case RunFaultKind::kMixed:
      break;
  }
  return fault::kMixed;
}

// kavrel-shard leaves the output of a shard in a folder with its manifest and its log.
std::string folder_of_shard(const std::string& dir) {
  const std::string folder = dir + "/..";
  return fs::exists(folder + "/" + output::kShardFile) ? folder : "";
}

void refuse_shard(RecordedRun& run) {
  const std::string folder = folder_of_shard(run.dir);
  if (folder.empty()) return;
  if (!run.log) run.log = read_run_log(folder);
  add_fault(fault::kCut,
            "This is the output of one shard of a list; kavrel-shard merge makes that of the list.",
            run);
}

// A copy of a run may leave its cases out.
void check_wholeness(RunDepth depth, const std::vector<CaseItem>* list, RecordedRun& run) {
  const bool has_cases = fs::is_directory(run.dir + "/" + output::kCases);
  const RunCheck check = check_whole_run(run.dir, list, has_cases ? depth : RunDepth::kTables);
  const std::size_t told = std::min(check.faults.size(), kFaultsTold);
  for (std::size_t i = 0; i < told; ++i) {
    const auto& [kind, text] = check.faults[i];
    const std::size_t more = i + 1 == told ? check.faults.size() - told : 0;
    add_fault(key_of(kind),
              printable(text) + (more == 0 ? "." : "; and " + count_of(more, "more finding") + "."),
              run);
  }
  run.input_mode = printable(check.totals.input_mode);
  if (!run.input_mode.empty()) run.used_plate_det = check.totals.use_plate_det;
}

using TakeRow = std::function<void(const output::Row& row)>;

// A program that saved the table again may have ended its rows with a return, too.
bool next_row(CsvRecords& records, std::string& record) {
  if (!records.next(record)) return false;
  if (!record.empty() && record.back() == '\r') record.pop_back();
  return true;
}

// Nothing if there is no whole one.
std::optional<std::string> first_row(CsvRecords& records) {
  try {
    if (std::string record; next_row(records, record)) return record;
  } catch (const CutRow&) {  // a run that was killed at its start
  }
  return std::nullopt;
}

// Hands over the rows of a table behind its header one by one, as all cells at once are several
// times as large as the file. Returns how many rows are no rows of it.
std::size_t take_rows(CsvRecords& records, output::Columns columns, const TakeRow& take) {
  std::size_t damaged = 0;
  try {
    for (std::string record; next_row(records, record);) {
      const std::vector<std::string> cells = csv_cells(record);
      if (cells.size() == columns.size()) {
        take(output::make_row(columns, cells));
      } else {
        ++damaged;
      }
    }
  } catch (const CutRow&) {
    ++damaged;
  }
  return damaged;
}

// False without the file, or of an empty one.
bool read_rows(const std::string& name, output::Columns columns, RecordedRun& run,
               const TakeRow& take) {
  const std::string path = run.dir + "/" + name;
  if (!fs::exists(path)) return false;
  CsvRecords records(path);
  const std::optional<std::string> header = first_row(records);
  if (!header) return false;
  if (*header != output::csv_header(columns)) {
    throw std::runtime_error(path + " does not begin with kavrel's header");
  }
  const std::size_t damaged = take_rows(records, columns, take);
  if (damaged > 0) {
    run.notices.push_back(count_of(damaged, "row") + " of " + name +
                          (damaged == 1 ? " is" : " are") + " cut or damaged, and left out.");
  }
  return true;
}

PlateFields fields_of(const output::Row& row) {
  return {row.at(column::kRegion), row.at(column::kClassNo), row.at(column::kKana),
          row.at(column::kSerial), row.at(column::kFinalPlateNumber)};
}

FrameResult frame_of(const output::Row& row) {
  return {row.at(column::kImagePath), row.at(column::kExpected), row.at(column::kGroupId),
          fields_of(row), split_ocr_texts(row.at(column::kOcrTexts))};
}

bool read_frames(RecordedRun& run) {
  std::size_t other_status = 0;
  std::size_t without_source = 0;
  const bool found =
      read_rows(output::kFrameSummary, output::kFrameColumns, run, [&](const output::Row& row) {
        run.frames.push_back(frame_of(row));
        const FrameResult& frame = run.frames.back();
        const std::string status = plate_status(frame.expected, frame.fields.final_plate_number);
        if (status != row.at(column::kStatus)) ++other_status;
        if (frame.ocr_texts.empty() && !row.at(column::kOcrTexts).empty()) ++without_source;
      });
  if (other_status > 0) {
    run.notices.push_back(count_of(other_status, "frame") +
                          " recorded with a status that does not follow from expected and read.");
  }
  if (without_source > 0) {
    run.notices.push_back(count_of(without_source, "frame") +
                          " with readings that name no source.");
  }
  return found;
}

// As much of it as its group is voted from.
FrameResult without_readings(const FrameResult& frame) {
  return {frame.image_path, frame.expected, frame.group_id, frame.fields, {}};
}

std::vector<Group> vote_groups(const std::vector<FrameResult>& frames) {
  std::map<std::string, std::vector<std::size_t>> indices;
  for (std::size_t i = 0; i < frames.size(); ++i) indices[frames[i].group_id].push_back(i);
  std::vector<Group> groups;
  for (auto& [group_id, members] : indices) {
    std::vector<FrameResult> group_frames;
    for (const std::size_t i : members) group_frames.push_back(without_readings(frames[i]));
    groups.push_back({vote_group(group_frames), std::move(members)});
  }
  return groups;
}

// 0 for what is no count.
int frame_count_of(const output::Row& row) {
  const std::string& text = row.at(column::kFrameCount);
  const bool is_count =
      !text.empty() && text.size() < 9 && std::all_of(text.begin(), text.end(), is_ascii_digit);
  return is_count ? std::stoi(text) : 0;
}

GroupResult group_of(const output::Row& row) {
  return {row.at(column::kGroupId), row.at(column::kExpected), fields_of(row), frame_count_of(row)};
}

bool same(const GroupResult& a, const GroupResult& b) {
  return a.group_id == b.group_id && a.expected == b.expected && a.frame_count == b.frame_count &&
         a.fields.final_plate_number == b.fields.final_plate_number;
}

void compare_with_summary(const std::vector<GroupResult>& results, RecordedRun& run) {
  std::set<std::string> differing;
  std::map<std::string, GroupResult> written;
  for (const GroupResult& result : results) written[result.group_id] = result;
  for (const Group& group : run.groups) {
    const auto row = written.find(group.result.group_id);
    if (row == written.end() || !same(row->second, group.result)) {
      differing.insert(group.result.group_id);
    }
    if (row != written.end()) written.erase(row);
  }
  for (const auto& [group_id, result] : written) differing.insert(group_id);
  if (differing.empty()) return;
  const std::string text = std::string(output::kGroupSummary) + " tells otherwise of " +
                           count_of(differing.size(), "group") + ", " +
                           printable(*differing.begin()) + " the first. The figures here follow " +
                           output::kFrameSummary + ".";
  if (!run.faults.empty()) return run.notices.push_back(text);
  add_fault(fault::kMixed, text, run);  // both tables are whole, and edited
}

std::string utc_time(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "";
  std::array<char, 32> text{};
  std::tm time{};
  gmtime_r(&status.st_mtime, &time);
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &time);
  return text.data();
}

// Frames whose case directory a later case of the same name took.
std::set<std::size_t> overwritten_frames(const std::vector<FrameResult>& frames) {
  std::map<std::string, std::size_t> owners;
  std::set<std::size_t> overwritten;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto [owner, is_new] = owners.emplace(case_name(frames[i]), i);
    if (!is_new) overwritten.insert(std::exchange(owner->second, i));
  }
  return overwritten;
}

void group_frames(RecordedRun& run) {
  run.groups = vote_groups(run.frames);
  run.overwritten = overwritten_frames(run.frames);
  if (run.overwritten.empty()) return;
  run.notices.push_back(count_of(run.overwritten.size(), "frame") +
                        " whose pictures were overwritten by a later image of the same file name.");
}

void take_groups(const std::vector<GroupResult>& results, RecordedRun& run) {
  run.notices.emplace_back("Only the groups are known.");
  for (const GroupResult& result : results) run.groups.push_back({result, {}});
}

// First what spoils every reading: no detector, another dictionary.
void tell_warnings(const RunLog& log, RecordedRun& run) {
  std::vector<std::string> told;
  if (log.input_mode == "auto" && !log.used_plate_det) {
    told.emplace_back(
        "The detector's file was not there, so the whole picture was read as a plate.");
  }
  for (const std::string& warning : log.warnings) {
    told.push_back("kavrel warned: " + printable(warning));
  }
  run.notices.insert(run.notices.begin(), told.begin(), told.end());
}

// What the log tells is not told again where the files tell it.
void compare_with_log(RecordedRun& run) {
  if (!run.log) return;
  const RunLog& log = *run.log;
  tell_warnings(log, run);
  for (const std::string& error : log.errors) {
    add_fault(fault::kAborted, "The log ends in an error: " + printable(error) + ".", run);
  }
  const bool is_short = log.cases >= 0 && static_cast<std::size_t>(log.cases) != run.frames.size();
  if (is_short) {
    add_fault(fault::kAborted,
              "The log tells of " + count_of(log.cases, "case") + ", and " +
                  count_of(run.frames.size(), "frame") + " have a row.",
              run);
  }
  if (log.errors.empty() && !is_short && !log.command.empty() && log.status < 0) {
    add_fault(fault::kAborted, "The log has no end: the run was killed, or is still running.", run);
  }
}

void find_nothing_to_judge(RecordedRun& run) {
  if (run.groups.empty()) return add_fault(fault::kEmpty, "The run read nothing.", run);
  const bool any_label = std::any_of(run.groups.begin(), run.groups.end(), [](const Group& group) {
    return !group.result.expected.empty();
  });
  if (!any_label) add_fault(fault::kUnlabelled, "No group has an expected text.", run);
}

}  // namespace

std::string case_name(const FrameResult& frame) { return basename_no_ext(frame.image_path); }

RecordedRun read_run(const std::string& dir, RunDepth depth, const std::vector<CaseItem>* list) {
  if (!fs::is_directory(dir)) throw std::runtime_error("there is no directory " + dir);
  RecordedRun run;
  run.dir = dir;
  run.log = read_run_log(dir);
  refuse_shard(run);
  check_wholeness(depth, list, run);
  std::vector<GroupResult> results;
  const bool has_frames = read_frames(run);
  const bool has_groups =
      read_rows(output::kGroupSummary, output::kGroupColumns, run,
                [&](const output::Row& row) { results.push_back(group_of(row)); });
  if (!has_frames && !has_groups) {
    throw std::runtime_error(std::string("no output of kavrel: neither ") + output::kFrameSummary +
                             " nor " + output::kGroupSummary + " in " + dir);
  }
  run.ended = utc_time(dir + "/" + (has_frames ? output::kFrameSummary : output::kGroupSummary));
  if (has_frames) {
    group_frames(run);
    if (has_groups) {
      compare_with_summary(results, run);
    } else {
      run.notices.push_back("These are the " + count_of(run.frames.size(), "frame") +
                            " that were read, and the last group may lack some.");
    }
    compare_with_log(run);
  } else {
    take_groups(results, run);
  }
  find_nothing_to_judge(run);
  return run;
}

}  // namespace kavrel::report
