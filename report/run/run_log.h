// What a run said of itself in kavrel.log, beside its results.
#ifndef KAVREL_REPORT_RUN_RUN_LOG_H
#define KAVREL_REPORT_RUN_RUN_LOG_H

#include <optional>
#include <string>
#include <vector>

namespace kavrel::report {

// A file that the command names.
struct LoggedFile {
  std::string option;  // "--input-list"
  std::string path;
  std::string sha256;  // when the run began; "" if the log has none
};

// Lines that begin with [RUN] are those of tools/logged.sh or of kavrel-shard, the others kavrel's
// own; a log of the latter alone leaves the rest empty. Of several runs in it the last is told.
struct RunLog {
  std::string started;  // as 2024-05-01T12:00:00 in UTC
  std::string machine;
  std::string command;
  LoggedFile runtime;
  std::vector<LoggedFile> files;
  std::string options;                // the command's others, but for where results go
  std::vector<std::string> networks;  // paths in the order of loading
  std::string input_mode;
  bool used_plate_det = true;
  int cases = -1;    // in the list; -1 if unknown
  int begun = 0;     // of them
  int seconds = -1;  // the whole run; -1 if unknown
  int status = -1;   // of its end; -1 if unknown
  std::vector<std::string> errors;
  std::vector<std::string> warnings;  // each once with its count; those of dictionaries first

  // The file of an option, or null.
  const LoggedFile* file_of(const std::string& option) const;
};

// Nothing if there is no log. `text`: its lines.
std::optional<RunLog> read_run_log(const std::string& output_dir);
RunLog parse_run_log(const std::string& text);

// What was run, for people: a name and a value for each fact. Without a log one line says so.
struct Fact {
  std::string name;
  std::string value;
};

std::vector<Fact> facts_of(const std::optional<RunLog>& log);

}  // namespace kavrel::report

#endif
