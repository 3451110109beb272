// Runs kavrel-shard and kavrel over the same lists, with answers that go by what a picture shows
// and not by its place in the run.
#ifndef KAVREL_TESTS_SHARD_SHARD_FIXTURE_H
#define KAVREL_TESTS_SHARD_SHARD_FIXTURE_H

#include <map>
#include <string>
#include <vector>

#include "tests/program/program_fixture.h"

namespace kavrel_test {

inline const std::string kJob = "job";
inline const std::string kMerged = "merged/out";

class ShardTest : public ProgramTest {
 protected:
  ShardTest();

  // Writes the case list, and for every name a picture like no other.
  void list(const std::string& lines, const std::vector<std::string>& images) const;

  Outcome shard(std::vector<std::string> arguments) const;
  Outcome plan(int shards, const std::vector<std::string>& options = {}) const;
  Outcome merge(const std::vector<std::string>& options = {}) const;

  // The numbers that todo prints.
  std::vector<std::string> todo() const;
  // Runs these shards in their order.
  void run_shards(const std::vector<std::string>& numbers) const;
  // The same where parallel has sent a shard to a worker: in a folder that has its parts alone,
  // without links. What it leaves comes back to the job.
  void run_on_worker(const std::vector<std::string>& numbers) const;

  // What one run of kavrel over this list into kMerged leaves and prints.
  struct Left {
    std::map<std::string, std::string> files;
    std::string block;
  };
  Left one_run(const std::string& case_list = kCaseList) const;
  // That kMerged holds the same beside its log, and `merged` printed the same; then removes it.
  void expect_same(const Outcome& merged, const Left& one) const;

  std::map<std::string, std::string> contents(const std::string& directory) const;
};

}  // namespace kavrel_test

#endif
