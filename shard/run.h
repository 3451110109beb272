// Runs one shard, on whatever machine it is called.
#ifndef KAVREL_SHARD_RUN_H
#define KAVREL_SHARD_RUN_H

#include <cstddef>
#include <string>

namespace kavrel::shard {

struct RunRequest {
  std::string job;  // the job's folder, or where its parts were shipped to
  std::size_t shard = 1;
  int threads = 0;       // of the workstation's runtime; 0 leaves it to the runtime
  bool shipped = false;  // pictures are those beside the shard's list
};

// Runs kavrel, the program beside this one, in a folder of this attempt alone, checks that its
// output is whole, and gives the folder the shard's name in results/. A result that is there
// already and verifies is kept. Where a picture cannot be read, kavrel is run again without its
// group, and so on, until the result is that of all groups that can be read. Returns 0 for a result
// without an error, else 1, with the error logged. Throws std::runtime_error where nothing was run:
// another list, another network.
int run_shard(const RunRequest& request);

}  // namespace kavrel::shard

#endif
