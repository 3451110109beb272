// kavrel, run over the list of a shard.
#ifndef KAVREL_SHARD_KAVREL_RUNS_H
#define KAVREL_SHARD_KAVREL_RUNS_H

#include <string>

#include "shard/job.h"
#include "shard/result.h"
#include "shard/run.h"

namespace kavrel::shard {

// The program beside this one; throws std::runtime_error where there is none.
std::string kavrel_program();

// The librknnrt.so that the loader gives to the program, "" for none.
std::string runtime_of(const std::string& program);

// Runs kavrel over the shard's list, and again without the groups whose pictures cannot be read.
// Leaves its output and log in the folder `attempt`, with the pictures that the plan keeps, and
// tells in `result` how it ended: exit_status, error, failed_row, unreadable_rows. No output is
// left where kavrel ended with another error, or where the output is not whole.
void run_shard_list(const RunRequest& request, const Plan& plan, const std::string& attempt,
                    Result& result);

}  // namespace kavrel::shard

#endif
