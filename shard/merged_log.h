// The log of a merged output directory: kavrel.log in it, as tools/logged.sh would have written it
// for one run over the whole list. kavrel-report reads it, and so refuses a run of which groups
// were left out: the log counts the cases of the whole list.
#ifndef KAVREL_SHARD_MERGED_LOG_H
#define KAVREL_SHARD_MERGED_LOG_H

#include <cstddef>
#include <string>
#include <vector>

#include "shard/job.h"
#include "shard/result.h"

namespace kavrel::shard {

struct MergedRun {
  const std::string& root;  // of the job
  const Plan& plan;
  std::string output_dir;
  std::vector<Result> results;       // of the shards that have one
  std::size_t rows = 0;              // of cases in the output
  std::vector<std::string> remarks;  // lines on what was left out
  int status = 0;
};

// Lines with [RUN], the warnings that all shards logged, and the remarks. The duration is that from
// the first shard's start to the last one's end.
std::string merged_log(const MergedRun& run);

}  // namespace kavrel::shard

#endif
