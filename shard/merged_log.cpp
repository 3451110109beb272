#include "shard/merged_log.h"

#include <algorithm>
#include <ctime>
#include <fstream>
#include <set>

#include "app/base/log.h"
#include "app/base/output_format.h"
#include "app/base/text.h"

namespace kavrel::shard {
namespace {

// A word of a command as tools/logged.sh writes it: a backslash before what is special.
std::string escaped(const std::string& word) {
  static const std::string kSpecial = "][ \\\"'`$&|;<>()*?!~#";
  std::string text;
  for (const char byte : word) {
    if (kSpecial.find(byte) != std::string::npos) text += '\\';
    text += byte;
  }
  return text;
}

// What one run of kavrel would have been called as.
std::string command_of(const MergedRun& run) {
  std::vector<std::string> words = {"kavrel", "--input-list", run.plan.list, "--output-dir",
                                    run.output_dir};
  words.insert(words.end(), run.plan.options.begin(), run.plan.options.end());
  for (const PlannedFile& file : run.plan.files) {
    words.push_back("--" + file.name);
    words.push_back(file.path);
  }
  std::transform(words.begin(), words.end(), words.begin(), escaped);
  return join_strings(words, " ");
}

std::string machines_of(const std::vector<Result>& results) {
  std::set<std::string> hosts;
  for (const Result& result : results) hosts.insert(result.host);
  return std::to_string(results.size()) + (results.size() == 1 ? " shard" : " shards") + " on " +
         join_strings({hosts.begin(), hosts.end()}, ", ");
}

std::time_t time_of(const std::string& text) {
  std::tm time{};
  return strptime(text.c_str(), kTimeFormat, &time) == nullptr ? 0 : timegm(&time);
}

class Log {
 public:
  void add(const std::string& line) {
    text_ += line;
    std::replace(text_.end() - static_cast<std::ptrdiff_t>(line.size()), text_.end(), '\n', ' ');
    text_ += '\n';
  }
  void add_checksum(const std::string& sha256, const std::string& path) {
    add(std::string(logged::kChecksum) + sha256 + " " + path);
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

void add_files(const MergedRun& run, Log& log) {
  log.add_checksum(run.plan.list_sha256, run.plan.list);
  for (const PlannedFile& file : run.plan.files) log.add_checksum(file.sha256, file.path);
  static const std::string kRuntime = "librknnrt.so";
  log.add(std::string(logged::kRuntime) + kRuntime);
  if (!run.results.empty()) log.add_checksum(run.results.front().runtime_sha256, kRuntime);
}

void add_warnings(const MergedRun& run, Log& log) {
  for (std::size_t number = 1; number <= run.plan.shards.size(); ++number) {
    std::ifstream lines(result_of(run.root, number) + "/" + output::kRunLog);
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("[WARN] ", 0) == 0) log.add(line);
    }
  }
}

}  // namespace

std::string merged_log(const MergedRun& run) {
  std::set<std::string> starts;
  std::set<std::string> ends;
  for (const Result& result : run.results) {
    starts.insert(result.started);
    ends.insert(result.ended);
  }
  std::size_t cases = 0;
  for (const PlannedShard& shard : run.plan.shards) cases += shard.rows;
  Log log;
  const std::string started = starts.empty() ? "" : *starts.begin();
  log.add(std::string(logged::kStarted) + started.substr(0, started.find('Z')));
  log.add(std::string(logged::kMachine) + machines_of(run.results));
  log.add(std::string(logged::kCommand) + command_of(run));
  add_files(run, log);
  log.add(std::string(logged::kInputMode) + run.plan.input_mode);
  log.add(std::string(logged::kUsePlateDet) + (run.plan.use_plate_det ? "true" : "false"));
  log.add(std::string(logged::kCases) + std::to_string(cases));
  log.add(std::string(logged::kBegun) + std::to_string(run.rows));
  add_warnings(run, log);
  for (const std::string& remark : run.remarks) log.add(remark);
  const auto seconds = starts.empty() ? 0 : time_of(*ends.rbegin()) - time_of(started);
  log.add(std::string(logged::kStatus) + std::to_string(run.status) + " " + logged::kSeconds +
          std::to_string(seconds));
  return log.text();
}

}  // namespace kavrel::shard
