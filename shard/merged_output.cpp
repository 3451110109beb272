#include "shard/merged_output.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <queue>
#include <stdexcept>
#include <vector>

#include "app/base/csv_records.h"
#include "app/base/files.h"
#include "app/base/output_format.h"
#include "app/base/text.h"
#include "shard/job.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// A file of the output directory; what cannot be written is an error, not a file that is cut.
class Table {
 public:
  Table(const std::string& path, output::Columns columns) : path_(path), file_(path) {
    add(output::csv_header(columns));
  }
  void add(const std::string& record) { file_ << record << '\n'; }
  void close() {
    file_.close();
    if (!file_) throw std::runtime_error("failed to write: " + path_);
  }

 private:
  std::string path_;
  std::ofstream file_;
};

// A shard's table behind its header; one that is never read where the shard is left out.
CsvRecords open_table(const JobResults& job, std::size_t number, const char* name) {
  CsvRecords records(job.output_of(number) + "/" + name);
  std::string header;
  if (!job.parts[number - 1].left_out) records.next(header);
  return records;
}

bool is_row_of(const CaseItem& item, const std::string& record) {
  const output::Row row = output::make_row(output::kFrameColumns, csv_cells(record));
  return row.at(output::column::kGroupId) == item.group_id &&
         row.at(output::column::kImagePath) == item.image_path &&
         row.at(output::column::kExpected) == item.expected;
}

std::string group_of(const std::string& record) {
  return output::make_row(output::kGroupColumns, csv_cells(record)).at(output::column::kGroupId);
}

// Rows in the order of the list. Each must be the row of its case.
void merge_frames(const JobResults& job, const std::string& dir) {
  std::vector<CsvRecords> tables;
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    tables.push_back(open_table(job, number, output::kFrameSummary));
  }
  Table table(dir + "/" + output::kFrameSummary, output::kFrameColumns);
  std::string record;
  for_each_case(job, [&](const PlannedCase& planned) {
    const CaseItem& item = planned.item;
    if (job.left_out_groups.count(item.group_id) > 0) return;
    if (!tables[planned.shard - 1].next(record) || !is_row_of(item, record)) {
      throw std::runtime_error(shard_name(planned.shard) + " has no row of " + item.image_path);
    }
    table.add(record);
  });
  table.close();
}

// Rows in byte order of the groups. Every shard has them in that order.
void merge_groups(const JobResults& job, const std::string& dir) {
  struct Next {
    std::string group;
    std::size_t number;
    bool operator>(const Next& other) const { return group > other.group; }
  };
  std::vector<CsvRecords> tables;
  std::vector<std::string> records(job.parts.size());
  std::priority_queue<Next, std::vector<Next>, std::greater<>> order;
  const auto advance = [&](std::size_t number) {
    std::string& record = records[number - 1];
    if (tables[number - 1].next(record)) order.push({group_of(record), number});
  };
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    tables.push_back(open_table(job, number, output::kGroupSummary));
    if (!job.parts[number - 1].left_out) advance(number);
  }
  Table table(dir + "/" + output::kGroupSummary, output::kGroupColumns);
  std::string last;
  for (bool first = true; !order.empty(); first = false) {
    const Next next = order.top();
    order.pop();
    if (!first && next.group == last) throw std::runtime_error("twice there: group " + last);
    last = next.group;
    table.add(records[next.number - 1]);
    advance(next.number);
  }
  table.close();
}

bool is_table(const fs::path& name) {
  return name == output::kFrameSummary || name == output::kGroupSummary ||
         name == output::kFinalResult;
}

// Hard links to everything of a shard's output but its tables.
void link_files(const JobResults& job, std::size_t number, const std::string& dir) {
  const fs::path from = job.output_of(number);
  for (const auto& entry : fs::recursive_directory_iterator(from)) {
    const fs::path name = entry.path().lexically_relative(from);
    if (is_table(name)) continue;
    const fs::path to = fs::path(dir) / name;
    if (entry.is_directory()) {
      fs::create_directories(to);
    } else if (link(entry.path().c_str(), to.c_str()) != 0) {
      throw std::runtime_error("failed to link: " + entry.path().string() + " (" +
                               std::strerror(errno) + ")");
    }
  }
}

}  // namespace

void write_merged_output(const JobResults& job, const std::string& dir,
                         const std::string& output_dir, const RunTotals& totals,
                         const std::string& log) {
  merge_frames(job, dir);
  merge_groups(job, dir);
  write_whole(dir + "/" + output::kFinalResult, final_result_json(totals, output_dir));
  write_whole(dir + "/" + output::kRunLog, log);
  ensure_dir(dir + "/" + output::kCases);
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    if (!job.parts[number - 1].left_out) link_files(job, number, dir);
  }
}

void write_manifest(const JobResults& job, const std::string& output_dir) {
  Json json;
  json["plan"] = job.plan.id;
  json["list"] = to_json_text(job.plan.list);
  json["list_sha256"] = job.plan.list_sha256;
  json["output_dir"] = to_json_text(fs::absolute(output_dir));
  json["options"] = Json::array();
  for (const std::string& option : job.plan.options) {
    json["options"].push_back(to_json_text(option));
  }
  json["networks_and_dictionaries"] = Json::object();
  for (const PlannedFile& file : job.plan.files) {
    json["networks_and_dictionaries"][file.name] = {{"path", to_json_text(file.path)},
                                                    {"sha256", file.sha256}};
  }
  for (std::size_t i = 0; i < job.parts.size(); ++i) {
    const Result& result = job.parts[i].result;
    json["shards"].push_back({{"shard", i + 1},
                              {"rows", job.plan.shards[i].rows},
                              {"host", to_json_text(result.host)},
                              {"started", result.started},
                              {"ended", result.ended},
                              {"version", result.version},
                              {"kavrel_sha256", result.kavrel_sha256},
                              {"runtime_sha256", result.runtime_sha256}});
  }
  json["left_out_groups"] = Json::array();
  for (const std::string& group : job.left_out_groups) {
    json["left_out_groups"].push_back(to_json_text(group));
  }
  write_whole(job.root + "/" + kManifest, json.dump(1) + "\n");
}

}  // namespace kavrel::shard
