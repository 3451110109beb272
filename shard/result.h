// What a run of a shard left: its folder in results/, with shard.json written last.
#ifndef KAVREL_SHARD_RESULT_H
#define KAVREL_SHARD_RESULT_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "shard/job.h"

namespace kavrel::shard {

constexpr const char* kTimeFormat = "%Y-%m-%dT%H:%M:%SZ";  // of strftime and strptime, in UTC

struct ResultFile {
  std::string name;  // relative to the result's folder
  std::uintmax_t size = 0;
  std::string sha256;
};

// shard.json
struct Result {
  std::string plan;
  std::size_t shard = 0;
  std::string list_sha256;
  std::string version;         // of kavrel-shard, which comes with kavrel
  std::string kavrel_sha256;   // of the program
  std::string runtime_sha256;  // of the librknnrt.so that it loads
  std::vector<std::string> options;
  std::map<std::string, std::string> file_hashes;  // networks and dictionaries, by name
  std::string host;
  std::string started, ended;             // 2024-05-01T12:00:00Z
  int exit_status = 0;                    // of kavrel; 1 as well where its output is not whole
  std::string error;                      // its last line, without exit status 0
  std::optional<std::size_t> failed_row;  // of the shard's cases from 0, the one it ended at
  // Those whose pictures cannot be read. Where there are some, output/ is a run over the list
  // without their groups.
  std::vector<std::size_t> unreadable_rows;
  std::vector<ResultFile> files;
};

void write_result(const Result& result, const std::string& dir);

enum class State {
  kMissing,  // no folder: not run, or still running
  kSpoiled,  // not what a run of this shard left
  kFailed,   // kavrel ended with an error
  kDone
};

struct Verdict {
  State state = State::kMissing;
  std::string reason;  // of kSpoiled and kFailed
  Result result;       // of kFailed and kDone
};

enum class Look { kAtSizes, kAtBytes };

// Looks at every file of the result, and holds shard.json to the plan.
Verdict verify_result(const Plan& plan, std::size_t number, const std::string& dir, Look look);

}  // namespace kavrel::shard

#endif
