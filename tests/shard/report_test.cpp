// What kavrel-report says of what kavrel-shard leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/shard/shard_fixture.h"

namespace kavrel_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class ReportOnShards : public ShardTest {
 protected:
  ReportOnShards() {
    list("a1.png,x,a\nb.png,x,b\na2.png,x,a\nc.png,x,c\nd.png,x,d\n",
         {"a1.png", "b.png", "a2.png", "c.png", "d.png"});
  }

  void run_all() const {
    ASSERT_EQ(plan(3, {"--", "--plate-det-thresh", "0.5"}).status, 0);
    for (const std::string& number : todo()) shard({"run", kJob, number});
  }
  Outcome report(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), KAVREL_REPORT_PROGRAM);
    return run_other(arguments);
  }
};

TEST_F(ReportOnShards, AMergedRunPassesAndTellsWhatWasRun) {
  run_all();
  ASSERT_EQ(merge().status, 0);
  const Outcome gate = report({"gate", kMerged, "--markdown", "gate.md"});
  EXPECT_EQ(gate.status, 0) << gate.out << gate.err;
  EXPECT_THAT(read("gate.md"), AllOf(HasSubstr("--plate-det-thresh 0.5"), HasSubstr("SHA-256"),
                                     HasSubstr("3 shards on "), HasSubstr("5 begun of 5"),
                                     HasSubstr("librknnrt.so, SHA-256 ")));
}

TEST_F(ReportOnShards, AMergeThatLeavesGroupsOutPassesNothing) {
  remove("b.png");
  run_all();
  ASSERT_EQ(merge({"--without-failed"}).status, 4);
  const std::string reason = "The log tells of 5 cases, and 4 frames have a row.";
  const Outcome gate = report({"gate", kMerged});
  EXPECT_EQ(gate.status, 3);
  EXPECT_THAT(gate.out, HasSubstr(reason));
  for (const auto& [name, bytes] : contents(kMerged)) write("copy/" + name, bytes);
  EXPECT_EQ(report({"compare", kMerged, "copy"}).status, 3);
  EXPECT_EQ(report({"junit", kMerged}).status, 0);
  EXPECT_THAT(read(kMerged + "/junit.xml"), AllOf(HasSubstr("<error"), HasSubstr(reason)));
  EXPECT_EQ(report({"html", kMerged}).status, 0);
  EXPECT_THAT(read(kMerged + "/report.html"),
              HasSubstr("group b is left out: failed to read image: b.png"));
}

TEST_F(ReportOnShards, TheOutputOfOneShardPassesNothing) {
  run_all();
  const Outcome gate = report({"gate", "job/results/1/output"});
  EXPECT_EQ(gate.status, 3);
  EXPECT_THAT(gate.out, HasSubstr("the output of one shard of a list"));
}

}  // namespace
}  // namespace kavrel_test
