#include "report/run.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "app/base/output_format.h"
#include "app/base/text.h"
#include "reading/status.h"
#include "report/csv_file.h"
#include "report/unicode.h"
#include "report/wording.h"

namespace kavrel::report {
namespace {

namespace fs = std::filesystem;

namespace column = output::column;

using Rows = std::vector<output::Row>;

// The rows of a file without its header and without those that are no rows of it; nothing without
// the file.
std::optional<Rows> read_rows(const std::string& dir, const std::string& name,
                              output::Columns columns, std::vector<std::string>& notices) {
  auto file = read_csv(dir + "/" + name);
  if (!file) return std::nullopt;
  if (file->cut) notices.push_back(name + ": the last row is cut and left out.");
  const CsvRow header(columns.begin(), columns.end());
  if (file->rows.empty() || file->rows.front() != header) {
    throw std::runtime_error(dir + "/" + name + " does not begin with kavrel's header");
  }
  Rows rows;
  std::size_t damaged = 0;
  for (std::size_t i = 1; i < file->rows.size(); ++i) {
    if (file->rows[i].size() == header.size()) {
      rows.push_back(output::make_row(columns, file->rows[i]));
    } else {
      ++damaged;
    }
  }
  if (damaged > 0) notices.push_back(name + ": " + count_of(damaged, "damaged row") + " left out.");
  return rows;
}

PlateFields fields_of(const output::Row& row) {
  return {row.at(column::kRegion), row.at(column::kClassNo), row.at(column::kKana),
          row.at(column::kSerial), row.at(column::kFinalPlateNumber)};
}

FrameResult frame_of(const output::Row& row) {
  return {row.at(column::kImagePath), row.at(column::kExpected), row.at(column::kGroupId),
          fields_of(row), split_ocr_texts(row.at(column::kOcrTexts))};
}

std::vector<FrameResult> frames_of(const Rows& rows, std::vector<std::string>& notices) {
  std::vector<FrameResult> frames;
  std::size_t other_status = 0;
  std::size_t without_source = 0;
  for (const output::Row& row : rows) {
    frames.push_back(frame_of(row));
    const FrameResult& frame = frames.back();
    const std::string status = plate_status(frame.expected, frame.fields.final_plate_number);
    if (status != row.at(column::kStatus)) ++other_status;
    if (frame.ocr_texts.empty() && !row.at(column::kOcrTexts).empty()) ++without_source;
  }
  if (other_status > 0) {
    notices.push_back(count_of(other_status, "frame") +
                      " recorded with a status that does not follow from expected and read.");
  }
  if (without_source > 0) {
    notices.push_back(count_of(without_source, "frame") + " with readings that name no source.");
  }
  return frames;
}

std::vector<Group> vote_groups(const std::vector<FrameResult>& frames) {
  std::map<std::string, std::vector<std::size_t>> indices;
  for (std::size_t i = 0; i < frames.size(); ++i) indices[frames[i].group_id].push_back(i);
  std::vector<Group> groups;
  for (auto& [group_id, members] : indices) {
    std::vector<FrameResult> group_frames;
    for (const std::size_t i : members) group_frames.push_back(frames[i]);
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

void compare_with_summary(const Rows& rows, RecordedRun& run) {
  std::set<std::string> differing;
  std::map<std::string, GroupResult> written;
  for (const output::Row& row : rows) written[row.at(column::kGroupId)] = group_of(row);
  for (const Group& group : run.groups) {
    const auto row = written.find(group.result.group_id);
    if (row == written.end() || !same(row->second, group.result)) {
      differing.insert(group.result.group_id);
    }
    if (row != written.end()) written.erase(row);
  }
  for (const auto& [group_id, result] : written) differing.insert(group_id);
  if (differing.empty()) return;
  run.notices.push_back(std::string(output::kGroupSummary) + " tells otherwise of " +
                        count_of(differing.size(), "group") + ", " + printable(*differing.begin()) +
                        " the first: it belongs to an earlier run, or a file was cut or edited. "
                        "The figures here follow " +
                        output::kFrameSummary + ".");
}

struct Totals {
  std::string input_mode;
  bool used_plate_det;
  std::size_t frames;
  std::size_t groups;
};

// Nothing if the file is missing or no JSON of kavrel.
std::optional<Totals> read_totals(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  try {
    const auto json = nlohmann::json::parse(text);
    return Totals{json.at(output::total::kInputMode), json.at(output::total::kUsePlateDet),
                  json.at(output::total::kFrameTotal), json.at(output::total::kGroupTotal)};
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

void compare_with_totals(RecordedRun& run) {
  const std::string path = run.dir + "/" + output::kFinalResult;
  const auto totals = read_totals(path);
  if (totals) {
    run.input_mode = printable(totals->input_mode);
    run.used_plate_det = totals->used_plate_det;
    if (totals->frames == run.frames.size() && totals->groups == run.groups.size()) return;
    run.notices.push_back(std::string(output::kFinalResult) + " counts " +
                          count_of(totals->frames, "frame") + " and " +
                          count_of(totals->groups, "group") + ", the rows are those of " +
                          count_of(run.frames.size(), "frame") + " and " +
                          count_of(run.groups.size(), "group") + ".");
  } else if (fs::exists(path)) {
    run.notices.push_back(std::string(output::kFinalResult) + " cannot be read.");
  }
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

void take_frames(const Rows& rows, RecordedRun& run) {
  run.frames = frames_of(rows, run.notices);
  run.groups = vote_groups(run.frames);
  run.overwritten = overwritten_frames(run.frames);
  if (run.overwritten.empty()) return;
  run.notices.push_back(count_of(run.overwritten.size(), "frame") +
                        " whose pictures were overwritten by a later image of the same file name.");
}

void take_groups(const Rows& rows, RecordedRun& run) {
  run.notices.push_back(std::string("There is no ") + output::kFrameSummary +
                        ": only the groups are known.");
  for (const output::Row& row : rows) run.groups.push_back({group_of(row), {}});
}

}  // namespace

std::string case_name(const FrameResult& frame) { return basename_no_ext(frame.image_path); }

RecordedRun read_run(const std::string& dir) {
  if (!fs::is_directory(dir)) throw std::runtime_error("there is no directory " + dir);
  RecordedRun run;
  run.dir = dir;
  const auto frame_rows = read_rows(dir, output::kFrameSummary, output::kFrameColumns, run.notices);
  const auto group_rows = read_rows(dir, output::kGroupSummary, output::kGroupColumns, run.notices);
  if (!frame_rows && !group_rows) {
    throw std::runtime_error(std::string("no output of kavrel: neither ") + output::kFrameSummary +
                             " nor " + output::kGroupSummary + " in " + dir);
  }
  run.ended = utc_time(dir + "/" + (frame_rows ? output::kFrameSummary : output::kGroupSummary));
  if (!frame_rows) {
    take_groups(*group_rows, run);
    return run;
  }
  take_frames(*frame_rows, run);
  if (group_rows) {
    compare_with_summary(*group_rows, run);
  } else {
    run.notices.push_back(std::string("The run did not finish, there is no ") +
                          output::kGroupSummary + ": these are the " +
                          count_of(run.frames.size(), "frame") +
                          " that it read before, and the last group may lack some.");
  }
  compare_with_totals(run);
  return run;
}

}  // namespace kavrel::report
