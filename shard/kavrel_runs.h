// kavrel, run over the list of a shard.
#ifndef KAVREL_SHARD_KAVREL_RUNS_H
#define KAVREL_SHARD_KAVREL_RUNS_H

#include <cstddef>
#include <string>

#include "shard/job.h"
#include "shard/result.h"

namespace kavrel::shard {

// The program beside this one; throws std::runtime_error where there is none.
std::string kavrel_program();

// The librknnrt.so that the loader gives to the program, "" for none.
std::string runtime_of(const std::string& program);

struct ShardRun {
  const Plan& plan;
  std::string job;        // the job's folder, or where its parts were shipped to
  std::size_t shard = 1;  // counted from 1
  bool shipped = false;   // pictures are those beside the shard's list
  std::string attempt;    // the folder in which kavrel's output and log are left
};

// Runs kavrel over the shard's list, and again without the groups whose pictures cannot be read.
// Leaves the pictures that the plan keeps, and tells in `result` how it ended: exit_status, error,
// failed_row, unreadable_rows. No output is left where kavrel ended with another error, or where
// the output is not whole.
void run_shard_list(const ShardRun& shard, Result& result);

}  // namespace kavrel::shard

#endif
