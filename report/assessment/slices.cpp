#include "report/assessment/slices.h"

#include <map>
#include <optional>
#include <set>
#include <utility>

#include "app/base/files.h"
#include "report/base/unicode.h"
#include "report/list/list_sheet.h"

namespace kavrel::report {
namespace {

constexpr std::size_t kMostValues = 30;

// Picture and group.
using RowKey = std::pair<std::string, std::string>;
using Values = std::map<RowKey, std::string>;

bool is_read_by_kavrel(const std::string& column) {
  return std::find(kListColumns.begin(), kListColumns.end(), column) != kListColumns.end();
}

Values values_of(const ListSheet& sheet, std::size_t column) {
  const ListColumns columns = list_columns(sheet.meant_header());
  Values values;
  for (const SheetRow& row : sheet.rows) {
    const CaseItem item = case_of_row(row.cells, columns);
    values[{item.image_path, item.group_id}] =
        column < row.cells.size() ? row.cells[column] : std::string();
  }
  return values;
}

std::string value_of(const FrameResult& frame, const Values& values) {
  const auto value = values.find({frame.image_path, frame.group_id});
  return value == values.end() ? std::string() : value->second;
}

// Nothing if the frames differ.
std::optional<std::string> value_of(const Group& group, const RecordedRun& run,
                                    const Values& values) {
  std::set<std::string> seen;
  for (const std::size_t i : group.frames) seen.insert(value_of(run.frames[i], values));
  if (seen.size() != 1) return std::nullopt;
  return *seen.begin();
}

Slice slice_by(const std::string& column, const Values& values, const RecordedRun& run,
               const Assessment& assessment) {
  std::map<std::string, SliceValue> by_value;
  Slice slice{column, {}, 0};
  for (std::size_t i = 0; i < run.frames.size(); ++i) {
    by_value[value_of(run.frames[i], values)].frames.add(assessment.frame_judgements[i].outcome);
  }
  for (std::size_t i = 0; i < run.groups.size(); ++i) {
    const Outcome outcome = assessment.group_judgements[i].outcome;
    if (const auto value = value_of(run.groups[i], run, values)) {
      by_value[*value].groups.add(outcome);
    } else if (outcome != Outcome::kUnlabelled) {
      ++slice.mixed_groups;
    }
  }
  for (auto& [value, figures] : by_value) {
    figures.value = value;
    slice.values.push_back(figures);
  }
  return slice;
}

std::string list_of(const RecordedRun& run, const std::string& list_path) {
  if (!list_path.empty() || !run.log) return list_path;
  const LoggedFile* list = run.log->file_of("--input-list");
  return list == nullptr ? std::string() : list->path;
}

}  // namespace

Slices slice_run(const RecordedRun& run, const Assessment& assessment,
                 const std::string& list_path) {
  Slices slices;
  const std::string path = list_of(run, list_path);
  if (path.empty()) {
    slices.remark = "The list of the run is unknown; name it with --list.";
    return slices;
  }
  if (list_path.empty() && !file_exists(path)) {
    slices.remark = "The list " + printable(path) + " is not there; name it with --list.";
    return slices;
  }
  const ListSheet sheet = read_list_sheet(path);
  slices.list = path;
  for (std::size_t i = 0; sheet.has_header && i < sheet.columns.size(); ++i) {
    const std::string& column = sheet.columns[i].meant;
    if (column.empty() || is_read_by_kavrel(column)) continue;
    Slice slice = slice_by(column, values_of(sheet, i), run, assessment);
    if (slice.values.size() > kMostValues) {
      slices.remark = "Column " + printable(column) + " has more than " +
                      std::to_string(kMostValues) + " values and is left out.";
    } else if (!slice.values.empty()) {
      slices.columns.push_back(std::move(slice));
    }
  }
  return slices;
}

}  // namespace kavrel::report
