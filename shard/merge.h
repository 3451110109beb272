// Makes one run of a job's shards.
#ifndef KAVREL_SHARD_MERGE_H
#define KAVREL_SHARD_MERGE_H

#include <ostream>
#include <string>

namespace kavrel::shard {

struct MergeRequest {
  std::string job;
  std::string output_dir;
  bool without_failed = false;
  bool fail_on_error = false;
};

// Makes the output directory that one run of kavrel over the whole list into it would make, byte
// for byte, with a log beside its results (merged_log.h), prints that run's FINAL_RESULT block, and
// returns its exit status. The directory appears at once or not at all: where a shard is missing or
// spoiled, or shards were run with different things, every finding is logged and 1 returned. Rows
// and totals are taken as they stand; files are linked. What was run with what is told in run.json
// in the job.
//
// With `without_failed`, groups with a picture that cannot be read are left out, and so are all of
// a shard that failed for another reason: the result is that of the list without their rows, and 4
// is returned.
int merge(const MergeRequest& request, std::ostream& out);

}  // namespace kavrel::shard

#endif
