// Whatever goes wrong ends in the same bytes, or in exit status 1 and no output directory.
#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "tests/shard/shard_fixture.h"

namespace kavrel_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class Fault : public ShardTest {
 protected:
  Fault() {
    list("a.png,x,a\nb.png,,b\nc.png,x,c\nd.png,,d\n", {"a.png", "b.png", "c.png", "d.png"});
    one_ = one_run();
    EXPECT_EQ(plan(2).status, 0);
  }

  void expect_no_merge(const std::string& finding, const std::vector<std::string>& options = {}) {
    const Outcome outcome = merge(options);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr(finding));
    EXPECT_FALSE(exists(kMerged));
    EXPECT_THAT(outcome.out, IsEmpty());
  }

  // A command line of a shell whose files may have so many bytes, as on a full disk.
  Outcome on_a_full_disk(const std::string& words) const {
    return run_other(
        {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 1; exec " KAVREL_SHARD_PROGRAM " " + words});
  }

  Left one_;
};

TEST_F(Fault, AResultThatIsSpoiledIsMovedAsideAndRunAgain) {
  const std::string result = "job/results/1/";
  const std::map<std::string, std::function<void()>> faults = {
      {"output/summary.csv has other bytes",
       [&] { write(result + "output/summary.csv", read(result + "output/summary.csv") + "x"); }},
      {"result.txt is missing", [&] { remove(result + "output/cases/a/result.txt"); }},
      {"it has a file output/cases/other",
       [&] { write(result + "output/cases/other", "of another attempt"); }},
      {"shard.json is missing or cut", [&] { remove(result + "shard.json"); }},
      {"it is of shard 2",
       [&] { write(result + "shard.json", read("job/results/2/shard.json")); }}};
  for (const auto& [finding, spoil] : faults) {
    SCOPED_TRACE(finding);
    run_shards(todo());
    EXPECT_THAT(todo(), IsEmpty());
    spoil();
    expect_no_merge(finding);
    EXPECT_THAT(todo(), ElementsAre("1"));
    EXPECT_TRUE(exists("job/spoiled"));
    remove("job/spoiled");
  }
  run_shards(todo());
  expect_same(merge(), one_);
}

TEST_F(Fault, AResultOfAnotherJobIsNotMerged) {
  run_shards(todo());
  const auto files_before = contents("job/results/1");
  remove(kJob);
  EXPECT_EQ(plan(2, {"--", "--plate-det-thresh", "0.5"}).status, 0);
  run_shards(todo());
  remove("job/results/1");
  for (const auto& [name, bytes] : files_before) write("job/results/1/" + name, bytes);
  expect_no_merge("shard 1 is spoiled: it is of shard 1 of plan ");
}

TEST_F(Fault, AFlippedByteIsFoundWhereSizesAreTheSame) {
  run_shards(todo());
  std::string table = read("job/results/2/output/frame_summary.csv");
  table[table.size() - 3] ^= 1;
  write("job/results/2/output/frame_summary.csv", table);
  expect_no_merge("shard 2 is spoiled: output/frame_summary.csv has other bytes");
}

TEST_F(Fault, AShardThatIsMissingIsNamed) {
  run_shards({"2"});
  expect_no_merge("[FINDING] shard 1 is not done\n");
  EXPECT_THAT(shard({"status", kJob}).out,
              StartsWith("done: 1 of 2 shards, 2 rows\nfailed: 0 of 2 shards, 0 rows\n"
                         "spoiled: 0 of 2 shards, 0 rows\nnot done: 1 of 2 shards, 2 rows\n"));
}

TEST_F(Fault, AShardOfWhichFilesAreMissingMayStillArrive) {
  run_shards({"1"});
  remove("job/results/1/output/summary.csv");
  EXPECT_THAT(shard({"status", kJob}).out,
              StartsWith("shard 1 spoiled, or still arriving: output/summary.csv is missing\n"));
  EXPECT_TRUE(exists("job/results/1"));
}

TEST_F(Fault, TheRestTakesAsLongAsTheLastHourTells) {
  run_shards({"2"});
  std::string result = read("job/results/2/shard.json");
  const std::string key = "\"started\": \"";
  result.replace(result.find(key) + key.size(), 4, "2001");
  write("job/results/2/shard.json", result);
  EXPECT_THAT(
      shard({"status", kJob}).out,
      HasSubstr(" ago; at the pace of the 1 h 0 min before it (2 rows) the rest takes 1 h 0 "
                "min\n"));
}

TEST_F(Fault, AListThatWasEditedIsRefused) {
  write("job/shards/1/list.csv", read("job/shards/1/list.csv") + "a.png\n");
  EXPECT_THAT(shard({"run", kJob, "1"}),
              FailsWith("not the list that was planned: job/shards/1/list.csv"));
  EXPECT_FALSE(exists("job/results/1"));
}

TEST_F(Fault, TheListOfThePlanIsKeptWhereItsSourceIsEdited) {
  write(kCaseList, "d.png\n");
  run_shards(todo());
  expect_same(merge(), one_);
}

TEST_F(Fault, ANetworkThatWasExchangedIsRefused) {
  write(kCornerModel, corner_script() + "# another\n");
  EXPECT_THAT(shard({"run", kJob, "1"}),
              FailsWith("not the file that was planned: job/common/plate-corner-model"));
  EXPECT_FALSE(exists("job/results/1"));
}

TEST_F(Fault, AResultOfAnotherRuntimeIsNotMerged) {
  run_shards(todo());
  std::string result = read("job/results/2/shard.json");
  const std::size_t at = result.find("\"runtime_sha256\": \"") + 19;
  result.replace(at, 4, "ffff");
  write("job/results/2/shard.json", result);
  expect_no_merge("shard 2 was run with another librknnrt.so than shard 1");
}

TEST_F(Fault, WhatAnAttemptThatWasKilledLeftIsNotMerged) {
  write("job/attempts/1.killed/output/cases/a/result.txt", "half");
  run_shards(todo());
  EXPECT_FALSE(exists("job/attempts/1.killed"));
  expect_same(merge(), one_);
}

TEST_F(Fault, APlanWhoseRowsWereEditedIsRefused) {
  run_shards(todo());
  write("job/rows.txt", "1\n0\n9\n2\n");
  expect_no_merge("[FINDING] not what was planned: ");
  EXPECT_THAT(merge().err, HasSubstr("[ERROR] findings: 1, no "));
}

TEST_F(Fault, ASecondAttemptKeepsTheWholeResultOfTheFirst) {
  run_shards({"1"});
  const auto before = contents("job/results/1");
  run_shards({"1"});
  EXPECT_TRUE(contents("job/results/1") == before);
}

TEST_F(Fault, AFullDiskOnAWorkerLeavesTheShardToDo) {
  EXPECT_EQ(on_a_full_disk("run job 1").status, 1);
  EXPECT_THAT(todo(), ElementsAre("1", "2"));
  run_shards(todo());
  expect_same(merge(), one_);
}

TEST_F(Fault, AFullDiskAtTheMergeLeavesNoOutput) {
  run_shards(todo());
  EXPECT_EQ(on_a_full_disk("merge job --output-dir " + kMerged).status, 1);
  EXPECT_THAT(files("merged"), IsEmpty());
  expect_same(merge(), one_);
}

TEST_F(Fault, OfTwoMergesAtOnceOneGoes) {
  run_shards(todo());
  const Outcome both =
      run_other({"/bin/sh", "-c",
                 "flock job -c '" KAVREL_SHARD_PROGRAM " merge job --output-dir " + kMerged + "'"});
  EXPECT_THAT(both, FailsWith("another kavrel-shard works on job"));
  EXPECT_FALSE(exists(kMerged));
}

TEST_F(Fault, AnOutputDirectoryThatIsThereIsNotTouched) {
  run_shards(todo());
  write(kMerged + "/summary.csv", "mine");
  EXPECT_THAT(merge(), FailsWith("is there already: " + kMerged));
  EXPECT_EQ(read(kMerged + "/summary.csv"), "mine");
}

TEST_F(Fault, ALinkIsNoPlaceForAnOutputDirectory) {
  run_shards(todo());
  make_directory("elsewhere");
  link_to("../elsewhere", kMerged);
  EXPECT_THAT(merge(), FailsWith("is there already: " + kMerged));
}

TEST_F(Fault, AnOutputDirectoryOnAnotherDiskIsRefusedAtOnce) {
  struct stat memory {
  }, job{};
  stat("/dev/shm", &memory);
  stat(std::filesystem::temp_directory_path().c_str(), &job);
  if (memory.st_dev == job.st_dev) GTEST_SKIP() << "there is one disk alone";
  EXPECT_THAT(shard({"merge", kJob, "--output-dir", "/dev/shm/kavrel_test/out"}),
              FailsWith("not on the file system of job, whose files it links to: "
                        "/dev/shm/kavrel_test/out"));
}

class BrokenPicture : public ShardTest {
 protected:
  BrokenPicture() {
    list("a.png,x,a\nb.png,,b\nc.png,x,c\nd.png,,d\n", {"a.png", "c.png", "d.png"});
    EXPECT_EQ(plan(4).status, 0);
    for (const std::string& number : todo()) shard({"run", kJob, number});
  }
};

TEST_F(BrokenPicture, IsNamedByTheMerge) {
  const Outcome outcome = merge();
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("[FINDING] shard 2 failed: [ERROR] failed to read image: "
                                     "b.png\n[WARN] the first failing picture in the list is "
                                     "b.png: [ERROR] failed to read image: b.png\n[INFO] "
                                     "--without-failed makes a result of the groups that can be "
                                     "read\n"));
  EXPECT_FALSE(exists(kMerged));
  EXPECT_THAT(shard({"todo", kJob}).err,
              HasSubstr("[WARN] shard 2 failed and is to be run again: [ERROR] failed to read "));
  EXPECT_THAT(todo(), ElementsAre("2"));
}

TEST_F(BrokenPicture, LeavesAResultOfTheOtherGroupsWhereThatIsAskedFor) {
  write("others.csv", "a.png,x,a\nc.png,x,c\nd.png,,d\n");
  const Left others = one_run("others.csv");
  const Outcome outcome = merge({"--without-failed"});
  EXPECT_EQ(outcome.status, 4);
  EXPECT_THAT(outcome.err,
              HasSubstr("[WARN] group b is left out: failed to read image: b.png\n"
                        "[WARN] THE RESULT IS NOT THAT OF THE WHOLE LIST: 1 of 4 groups are left "
                        "out, with 1 of 4 rows\n"));
  expect_same(outcome, others);
}

TEST_F(BrokenPicture, IsRunAgainWhereItIsMended) {
  write("b.png", read("a.png"));
  const Left one = one_run();
  run_shards(todo());
  expect_same(merge({"--without-failed"}), one);
}

class BrokenPictures : public ShardTest {
 protected:
  // The rows of a, c and e are in one shard with those of the broken ones.
  BrokenPictures() {
    list(
        "a1.png,x,a\nbroken1.png,,b\nb2.png,,b\nc/x.png,x,c\nd/x.png,,d\nbroken2.png,,d\n"
        "e.png,,e\nbroken3.png,,e\na2.png,x,a\nf.png,x,f\n",
        {"a1.png", "a2.png", "b2.png", "c/x.png", "d/x.png", "e.png", "f.png"});
    write("others.csv", "a1.png,x,a\nc/x.png,x,c\na2.png,x,a\nf.png,x,f\n");
    others_ = one_run("others.csv");
  }
  Left others_;
};

TEST_F(BrokenPictures, LeaveAResultOfTheOtherGroupsOfTheirShard) {
  for (const int shards : {1, 2, 3}) {
    SCOPED_TRACE(shards);
    ASSERT_EQ(plan(shards).status, 0);
    for (const std::string& number : todo()) shard({"run", kJob, number});
    const Outcome outcome = merge({"--without-failed"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("[WARN] the first failing picture in the list is "
                                       "broken1.png: [ERROR] failed to read image: broken1.png\n"));
    EXPECT_THAT(outcome.err, HasSubstr("[WARN] group b is left out: failed to read image: "
                                       "broken1.png\n[WARN] group d is left out: failed to read "
                                       "image: broken2.png\n[WARN] group e is left out: failed to "
                                       "read image: broken3.png\n"));
    EXPECT_THAT(outcome.err, HasSubstr("3 of 6 groups are left out, with 6 of 10 rows\n"));
    EXPECT_THAT(read("job/run.json"), HasSubstr("\"left_out_groups\": [\n  \"b\",\n  \"d\",\n"));
    expect_same(outcome, others_);
    remove(kJob);
  }
}

TEST_F(BrokenPictures, AreNoReasonToLeaveOutAShardThatFailsOtherwise) {
  ASSERT_EQ(plan(1).status, 0);
  write(kReaderModel, reader_script("fail run * -1"));
  remove(kJob);
  ASSERT_EQ(plan(1).status, 0);
  shard({"run", kJob, "1"});
  const Outcome outcome = merge({"--without-failed"});
  EXPECT_EQ(outcome.status, 4);
  EXPECT_THAT(outcome.err, HasSubstr("[WARN] all of shard 1 is left out: [ERROR] "));
  EXPECT_THAT(outcome.err, HasSubstr("6 of 6 groups are left out, with 10 of 10 rows\n"));
}

class Verify : public ShardTest {
 protected:
  Verify() {
    list("a.png,x,a\nb.png,,a\nx/b.png,,c\n", {"a.png", "b.png", "x/b.png"});
    EXPECT_EQ(run({"--output-dir", "out"}).status, 0);
  }
  Outcome verify() const { return shard({"verify", "out", "--input-list", kCaseList}); }
};

TEST_F(Verify, TellsThatARunIsWhole) {
  const Outcome outcome = verify();
  EXPECT_EQ(outcome.out, "whole: 3 frames, 2 groups\n") << outcome.err;
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(Verify, FindsWhatIsNot) {
  const auto whole = contents("out");
  const auto cut = [&](const std::string& name) {
    write("out/" + name, whole.at(name).substr(0, whole.at(name).size() - 2));
  };
  const std::map<std::string, std::function<void()>> faults = {
      {"frame_summary.csv cannot be read to its end, or is cut", [&] { cut("frame_summary.csv"); }},
      {"summary.csv is missing: the run did not finish", [&] { remove("out/summary.csv"); }},
      {"summary.csv is empty: was the disk full?", [&] { write("out/summary.csv", ""); }},
      {"FINAL_RESULT.json is cut or edited", [&] { cut("FINAL_RESULT.json"); }},
      {"frame_summary.csv has 3 rows, the list has 2",
       [&] { write(kCaseList, "a.png,x,a\nb.png,,a\n"); }},
      {"frame_summary.csv has in row 1 a.png, the list has a.png",
       [&] { write(kCaseList, "a.png,y,a\nb.png,,a\nx/b.png,,c\n"); }},
      {"cases/b/result.json is missing, cut or of another run",
       [&] { cut("cases/b/result.json"); }},
      {"cases/a/result.txt is missing", [&] { remove("out/cases/a/result.txt"); }},
      {"cases/a/plate_roi.jpg is empty or cut", [&] { cut("cases/a/plate_roi.jpg"); }},
      {"cases/old is of no row", [&] { write("out/cases/old/result.txt", ""); }}};
  const std::string case_list = read(kCaseList);
  for (const auto& [finding, spoil] : faults) {
    SCOPED_TRACE(finding);
    spoil();
    const Outcome outcome = verify();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("[FINDING] " + finding));
    remove("out");
    for (const auto& [name, bytes] : whole) write("out/" + name, bytes);
    write(kCaseList, case_list);
  }
}

}  // namespace
}  // namespace kavrel_test
