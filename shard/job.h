// The folder of a job: what was planned, and where its parts stand.
//
//   JOB/
//     plan.json     what is run on what, and the shards
//     list.csv      the case list as it was when it was planned
//     rows.txt      the shard of each row of the list that is a case, one number per line
//     parallel      the profile for GNU parallel
//     shard.sbatch  the batch script for Slurm
//     common/       links to plan.json, the networks and the dictionaries: what every worker gets
//     shards/N/     list.csv of the shard; for a worker elsewhere files/, the links to its
//                   pictures, and start, the folder in it that their relative paths start from
//     attempts/     runs of shards that have not ended
//     results/N/    a run that ended: shard.json, kavrel.log, output/
//     spoiled/      results that did not verify
//     run.json      what was merged
//
// A worker that this folder was shipped to has common/, shards/N and the folders of a run alone.
#ifndef KAVREL_SHARD_JOB_H
#define KAVREL_SHARD_JOB_H

#include <string>
#include <vector>

namespace kavrel::shard {

constexpr const char* kPlanFile = "plan.json";
constexpr const char* kListFile = "list.csv";
constexpr const char* kRowsFile = "rows.txt";
constexpr const char* kProfileFile = "parallel";
constexpr const char* kBatchFile = "shard.sbatch";
constexpr const char* kCommon = "common";
constexpr const char* kShards = "shards";
constexpr const char* kPictures = "files";
constexpr const char* kStart = "start";
constexpr const char* kAttempts = "attempts";
constexpr const char* kResults = "results";
constexpr const char* kSpoiledFolder = "spoiled";
constexpr const char* kManifest = "run.json";
// In a result:
constexpr const char* kOutput = "output";
constexpr const char* kRestFile = "rest.csv";  // what was run where pictures cannot be read

// A network or a dictionary of the run, by the name of its option without the dashes.
struct PlannedFile {
  std::string name;
  std::string path;  // as it was typed
  std::string sha256;
};

struct PlannedShard {
  std::size_t rows = 0;
  std::size_t groups = 0;
  std::string list_sha256;
};

struct Plan {
  std::string id;    // the hash of all below
  std::string job;   // where it was planned: the folder's absolute path, behind the host's name
  std::string list;  // the case list as it was typed
  std::string list_sha256;
  std::string rows_sha256;
  std::string directory;             // what relative paths of pictures are relative to
  std::vector<std::string> options;  // of kavrel, without those that name a file of `files`
  std::string input_mode;
  bool use_plate_det = false;
  std::string keep_pictures;  // "all", "not-correct" or "none"
  std::vector<PlannedFile> files;
  std::vector<PlannedShard> shards;  // the first is number 1
};

std::string host_name();                     // of this machine
std::string shard_name(std::size_t number);  // "shard 3"

// The places of a shard in a job, or on a worker.
std::string list_of(const std::string& root, std::size_t number);
std::string pictures_of(const std::string& root, std::size_t number);
std::string start_of(const std::string& root, std::size_t number);
std::string result_of(const std::string& root, std::size_t number);

void write_plan(const Plan& plan, const std::string& path);

// Throws std::runtime_error if there is no plan in it.
Plan read_plan(const std::string& root);

std::string id_of(const Plan& plan);

// JSON has no bytes, only characters: what is no UTF-8 is written as %80 to %FF, and % as %25.
std::string to_json_text(const std::string& bytes);
std::string from_json_text(const std::string& text);

}  // namespace kavrel::shard

#endif
