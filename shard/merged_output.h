// What a merge writes: the output directory of one run, and the job's manifest.
#ifndef KAVREL_SHARD_MERGED_OUTPUT_H
#define KAVREL_SHARD_MERGED_OUTPUT_H

#include <string>

#include "app/base/run_totals.h"
#include "shard/job_results.h"

namespace kavrel::shard {

// Writes all of an output directory into the empty `dir`, with `log` as its kavrel.log. Rows are
// taken as they stand, files are linked. `output_dir` is the name that the results tell. Throws
// std::runtime_error at what cannot be written, or at a row that is not that of its case.
void write_merged_output(const JobResults& job, const std::string& dir,
                         const std::string& output_dir, const RunTotals& totals,
                         const std::string& log);

// Writes what was run with what, where and when to run.json in the job.
void write_manifest(const JobResults& job, const std::string& output_dir);

}  // namespace kavrel::shard

#endif
