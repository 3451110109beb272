// What is merged has the bytes of one run.
#include <algorithm>
#include <random>
#include <set>

#include "tests/shard/shard_fixture.h"

namespace kavrel_test {
namespace {

struct RandomList {
  std::string lines;
  std::vector<std::string> images;
};

// Groups spread over the list, names that several folders have, columns in any order or missing,
// quotes, rows without a group, an expected text or an image, paths that climb, ends of lines of
// other systems.
RandomList random_list(std::mt19937& random) {
  const auto up_to = [&](std::size_t last) {
    return std::uniform_int_distribution<std::size_t>(0, last)(random);
  };
  const std::vector<std::vector<std::string>> headers = {
      {},
      {"image_path", "expected", "group_id"},
      {"image_path", "group_id", "camera", "expected"},
      {"image_path", "group_id"},
      {"image_path"}};
  const std::vector<std::string>& header = headers[up_to(headers.size() - 1)];
  const std::vector<std::string> columns =
      header.empty() ? std::vector<std::string>{"image_path", "expected", "group_id"} : header;
  const std::vector<std::string> expected = {"品川 500 あ 12-34", "", "\"横浜,500\"", "品川500"};
  const std::vector<std::string> folders = {"east", "west/lane 2", "../work/east"};
  const std::string end = up_to(2) == 0 ? "\r\n" : "\n";
  RandomList list;
  for (const std::string& name : header) list.lines += name + (name == header.back() ? end : ",");
  std::set<std::string> images;
  const std::size_t rows = 4 + up_to(14);
  for (std::size_t row = 0; row < rows; ++row) {
    const std::string image = folders[up_to(2)] + "/" + std::to_string(up_to(9)) + ".png";
    if (up_to(9) == 0) list.lines += " , no image," + end + end;
    images.insert(image);
    for (const std::string& name : columns) {
      std::string cell = "3";
      if (name == "image_path") cell = image;
      if (name == "expected") cell = expected[up_to(3)];
      if (name == "group_id") cell = up_to(2) == 0 ? "" : "car " + std::to_string(up_to(7));
      list.lines += cell + (name == columns.back() ? end : ",");
    }
  }
  list.images.assign(images.begin(), images.end());
  return list;
}

class Identity : public ShardTest, public testing::WithParamInterface<int> {};

TEST_P(Identity, OfRandomListsInAnyNumberOfShardsAndOrderOfArrival) {
  std::mt19937 random(static_cast<unsigned>(GetParam()));
  const RandomList cases = random_list(random);
  SCOPED_TRACE(cases.lines);
  list(cases.lines, cases.images);
  const Left one = one_run();
  for (const int shards : {1, 2, 4 + GetParam() * 9}) {
    ASSERT_EQ(plan(shards).status, 0);
    std::vector<std::string> numbers = todo();
    EXPECT_LE(numbers.size(), static_cast<std::size_t>(shards));
    std::shuffle(numbers.begin(), numbers.end(), random);
    const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
    run_shards({numbers.begin(), middle});
    run_on_worker({middle, numbers.end()});
    expect_same(merge(), one);
    remove(kJob);
  }
}

INSTANTIATE_TEST_SUITE_P(Lists, Identity, testing::Range(1, 5));

class Plan : public ShardTest {};

TEST_F(Plan, KeepsGroupsAndNamesTogetherAndFillsShardsEvenly) {
  list("1.png,,a\nx/2.png,,b\n3.png,,a\ny/2.png,,c\n4.png,,d\n5.png,,e\n", {});
  EXPECT_EQ(plan(3).out, "3 shards of 2 to 2 rows\n");
  const std::string header = "image_path,expected,group_id\n";
  EXPECT_EQ(read("job/shards/1/list.csv"), header + "1.png,,a\n3.png,,a\n");
  EXPECT_EQ(read("job/shards/2/list.csv"), header + "x/2.png,,b\ny/2.png,,c\n");
  EXPECT_EQ(read("job/shards/3/list.csv"), header + "4.png,,d\n5.png,,e\n");
}

TEST_F(Plan, NamesWhatTiesMoreThanAFairShareTogether) {
  list("a/1.png,,a\nb/1.png,,b\nc/1.png,,c\nd/2.png,,d\n",
       {"a/1.png", "b/1.png", "c/1.png", "d/2.png"});
  const Outcome outcome = plan(3);
  EXPECT_EQ(outcome.out, "2 shards of 1 to 3 rows, not 3: no more can be parted\n");
  EXPECT_EQ(outcome.err,
            "[WARN] 3 of 4 rows stay together, more than a shard's fair share of 2; most of them "
            "share the image name 1\n");
}

TEST_F(Plan, WarnsOfPicturesThatAreNotThere) {
  list("a.png\nhere/1.png\nhere/2.png\n/elsewhere/3.png\n", {"a.png"});
  EXPECT_EQ(plan(2).err,
            "[WARN] pictures that cannot be opened from here: 2, the first is here/1.png\n");
}

TEST_F(Plan, TellsWhereOptionsOfKavrelStand) {
  EXPECT_THAT(plan(2, {"--ocr-dict", "x"}),
              FailsWith("The following argument was not expected: --ocr-dict; options of kavrel "
                        "stand behind --"));
}

TEST_F(Plan, OfAListWithoutCasesIsOneShard) {
  const Left one = one_run();
  ASSERT_EQ(plan(5).out, "1 shard of 0 to 0 rows, not 5: no more can be parted\n");
  run_shards(todo());
  expect_same(merge(), one);
}

TEST_F(Plan, RefusesWhatTheJobSetsItself) {
  for (const std::string option : {"--input-list", "--output-dir"}) {
    EXPECT_THAT(plan(1, {"--", option, "x"}),
                FailsWith(option + " does not stand behind --: the job sets it"));
  }
  EXPECT_THAT(plan(1, {"--", "--fail-on-error"}),
              FailsWith("--fail-on-error is an option of merge"));
  EXPECT_THAT(plan(1, {"--", "--ocr-dict", "no"}), FailsWith("missing required file: no"));
  EXPECT_FALSE(exists(kJob));
}

TEST_F(Plan, LeavesNoFolderWhereOptionsAskForTheUsage) {
  EXPECT_THAT(plan(1, {"--", "--help"}).out, testing::StartsWith("Usage: kavrel"));
  EXPECT_FALSE(exists(kJob));
}

TEST_F(Plan, TellsThatTheJobWasForgotten) {
  EXPECT_THAT(
      shard({"plan", "--input-list", kCaseList, "--shards", "2", "--", "--input-mode", "roi"}),
      FailsWith("JOB stands before --, and is no option: --input-mode"));
}

TEST_F(Plan, RefusesAFolderThatParallelCannotTake) {
  for (const std::string name : {"of o'clock", "{}", "two\nlines"}) {
    const Outcome outcome = shard({"plan", "--input-list", kCaseList, "--shards", "2", name});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, testing::HasSubstr("GNU parallel takes no path with "));
    EXPECT_FALSE(exists(name));
  }
}

class Worker : public ShardTest {};

TEST_F(Worker, FindsPicturesByTheirRelativePaths) {
  list("a.png,,a\n../work/b.png,,b\n../beside/c.png,,c\n./x/../../work/y z/d.png,,d\n",
       {"a.png", "b.png", "../beside/c.png", "x/e.png", "y z/d.png"});
  const Left one = one_run();
  ASSERT_EQ(plan(2).err, "");
  run_on_worker(todo());
  expect_same(merge(), one);
}

// As GNU parallel does, which takes one level of quotes off the profile.
TEST_F(Worker, MayHaveTheProgramAtAnotherPlace) {
  const Outcome outcome =
      run_other({"/bin/sh", "-c",
                 "set -e; mkdir here; cp " KAVREL_PROGRAM " " KAVREL_SHARD_PROGRAM " here; "
                 "here/kavrel-shard plan --input-list " +
                     kCaseList +
                     " --shards 1 'a job' >&2; rm -r here; "
                     "eval set -- $(tail -1 'a job/parallel' | sed 's/{}$/1/'); "
                     "PATH=$(dirname " KAVREL_SHARD_PROGRAM "):$PATH; eval \"$*\""});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_TRUE(exists("a job/results/1/shard.json"));
}

class Options : public ShardTest {
 protected:
  Options() {
    list("a.png,品川 500 あ 12-34,a\nb.png,x,b\nc.png,,c\n", {"a.png", "b.png", "c.png"});
  }
};

TEST_F(Options, OfKavrelReachEveryShard) {
  write(kPlateModel, plate_detector_script(""));
  const std::vector<std::string> options = {"--input-mode", "auto", "--plate-det-thresh", "0.5"};
  std::vector<std::string> words = options;
  append(words, {"--output-dir", kMerged});
  const Outcome whole = run(words);
  const Left one{contents(kMerged), whole.out};
  remove("merged");
  std::vector<std::string> behind = {"--"};
  append(behind, options);
  ASSERT_EQ(plan(2, behind).status, 0);
  run_shards(todo());
  expect_same(merge(), one);
}

TEST_F(Options, FailOnErrorIsDecidedByTheMerge) {
  ASSERT_EQ(plan(2).status, 0);
  run_shards(todo());
  EXPECT_EQ(merge({"--fail-on-error"}).status, 2);
  EXPECT_TRUE(exists(kMerged + "/FINAL_RESULT.json"));
}

TEST_F(Options, PicturesAreKeptAsPlannedAndTablesAreTheSame) {
  const Left one = one_run();
  const auto without_pictures = [](const Left& left) {
    std::set<std::string> names;
    for (const auto& [name, bytes] : left.files) {
      if (name.find(".jpg") == std::string::npos) names.insert(name);
    }
    return names;
  };
  ASSERT_EQ(plan(2, {"--keep-pictures", "none"}).status, 0);
  run_shards(todo());
  const Outcome merged = merge();
  EXPECT_EQ(merged.out, one.block);
  Left left{contents(kMerged), merged.out};
  left.files.erase("kavrel.log");
  EXPECT_EQ(left.files.size(), without_pictures(one).size());
  for (const auto& [name, bytes] : left.files) EXPECT_EQ(bytes, one.files.at(name)) << name;
}

}  // namespace
}  // namespace kavrel_test
