// Makes a job of a case list.
#ifndef KAVREL_SHARD_PLAN_H
#define KAVREL_SHARD_PLAN_H

#include <ostream>
#include <string>
#include <vector>

namespace kavrel::shard {

struct PlanRequest {
  std::string list;
  std::size_t shards = 1;
  std::string job;                    // a folder that is not there yet
  std::string keep_pictures = "all";  // "not-correct" and "none" save room
  std::vector<std::string> options;   // of kavrel
};

// Makes the job's folder and tells on `out` what came out. Throws std::runtime_error, as kavrel
// does for its options and files, and then leaves no folder.
void make_plan(const PlanRequest& request, std::ostream& out);

}  // namespace kavrel::shard

#endif
