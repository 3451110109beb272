#ifndef KAVREL_APP_BASE_LOG_H
#define KAVREL_APP_BASE_LOG_H

#include <string>

namespace kavrel {

// How the lines of a run's log begin by which others tell what was run.
namespace logged {
constexpr const char* kInputMode = "[INFO] input_mode=";
constexpr const char* kUsePlateDet = "[INFO] use_plate_det=";  // and "true" or "false"
constexpr const char* kCases = "[INFO] cases=";
constexpr const char* kNetwork = "[RKNN] ";        // and the path of its file
constexpr const char* kCase = "========== CASE ";  // and its number
// These are written by tools/logged.sh, and by kavrel-shard for a run in parts.
constexpr const char* kStarted = "[RUN] started=";
constexpr const char* kMachine = "[RUN] machine=";
constexpr const char* kCommand = "[RUN] command=";
constexpr const char* kRuntime = "[RUN] runtime=";
constexpr const char* kChecksum = "[RUN] sha256=";  // a blank, and the path of the file
constexpr const char* kBegun = "[RUN] begun=";      // cases, where no line tells of each
constexpr const char* kStatus = "[RUN] status=";    // a blank, and kSeconds
constexpr const char* kSeconds = "seconds=";
}  // namespace logged

// Writes `line` and a newline to standard error in one piece.
void log_line(const std::string& line);

}  // namespace kavrel

#endif
