// The results of all shards of a job, held to its plan: what a merge is made of.
#ifndef KAVREL_SHARD_JOB_RESULTS_H
#define KAVREL_SHARD_JOB_RESULTS_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "app/base/case_list.h"
#include "app/base/run_totals.h"
#include "shard/job.h"
#include "shard/result.h"

namespace kavrel::shard {

// A result whose files are listed in shard.json on the disk: those of all shards need not fit into
// memory.
struct Part {
  bool left_out = false;  // all of it: there is no output
  Result result;
  std::size_t rows = 0, groups = 0;  // in its output
  RunTotals totals;
};

struct JobResults {
  std::string root;  // of the job
  Plan plan;
  std::vector<Part> parts;                // of each shard
  std::set<std::string> left_out_groups;  // of all shards
  std::vector<std::string> findings;      // why no result can be made of them; none if one can

  std::string output_of(std::size_t number) const;  // shards count from 1
};

// A case of the job's list, and where it was read.
struct PlannedCase {
  CaseItem item;
  std::size_t shard = 1;
  std::size_t row = 0;  // of the shard's cases
};

// Goes through the list in its order.
void for_each_case(const JobResults& job, const std::function<void(const PlannedCase&)>& take);

// Holds every result to the plan, to the byte, and all of them to each other. Without
// `without_failed` a shard that failed is a finding.
JobResults read_job_results(const std::string& root, bool without_failed);

// The picture at which a shard failed that comes first in the list, with its error; "" if none did.
std::string first_failing_picture(const JobResults& job);

// Lines with [WARN] on what was left out: who reads the figures must know. None if nothing was.
std::vector<std::string> remarks_on_left_out(const JobResults& job);

}  // namespace kavrel::shard

#endif
