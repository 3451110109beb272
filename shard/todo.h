// What a job still wants.
#ifndef KAVREL_SHARD_TODO_H
#define KAVREL_SHARD_TODO_H

#include <ostream>
#include <string>

namespace kavrel::shard {

// Prints the numbers of the shards without a result that verifies to the byte, one per line, and
// makes the links to their pictures that a worker elsewhere is sent; as an `array`, prints them as
// Slurm takes them ("1-3,7"), without links. What does not verify is moved to spoiled/, with a
// line in the log.
void print_todo(const std::string& job, bool array, std::ostream& out);

// Prints how many shards and rows are done, failed and not done, where runs failed, and how long
// the rest takes at the pace of the last hour. Results are held to the plan by names and sizes
// alone, and stay where they are.
void print_status(const std::string& job, std::ostream& out);

}  // namespace kavrel::shard

#endif
