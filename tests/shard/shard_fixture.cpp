#include "tests/shard/shard_fixture.h"

#include <algorithm>

#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

// What a recogniser reads goes by what it is shown: parts of plates, so that votes are split, and
// some plates have no kana at first.
std::string reader_by_input() {
  const std::vector<std::string> texts = {"品川500", "横浜500", "あ12-34", "12-34",  "12-35",
                                          "",        "品川",    "500",     "さ1234", "愛"};
  std::string answers = "by_input " + std::to_string(texts.size()) + "\n";
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (!texts[i].empty()) answers += reads(std::to_string(i + 1), texts[i]);
  }
  return reader_script(answers);
}

}  // namespace

ShardTest::ShardTest() { write(kReaderModel, reader_by_input()); }

void ShardTest::list(const std::string& lines, const std::vector<std::string>& images) const {
  write(kCaseList, lines);
  int shade = 0;
  for (const std::string& image : images) {
    cv::Mat picture = gradient_image(40, 20);
    picture(cv::Rect(shade % 8 * 5, shade / 8 % 4 * 5, 5, 5)) = cv::Scalar(shade * 7 % 256, 200, 9);
    write_image(image, picture);
    ++shade;
  }
}

Outcome ShardTest::shard(std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), KAVREL_SHARD_PROGRAM);
  return run_other(arguments);
}

Outcome ShardTest::plan(int shards, const std::vector<std::string>& options) const {
  std::vector<std::string> words = {"plan",     "--input-list",         kCaseList,
                                    "--shards", std::to_string(shards), kJob};
  append(words, options);
  return shard(words);
}

Outcome ShardTest::merge(const std::vector<std::string>& options) const {
  std::vector<std::string> words = {"merge", kJob, "--output-dir", kMerged};
  append(words, options);
  return shard(words);
}

std::vector<std::string> ShardTest::todo() const { return lines_of(shard({"todo", kJob}).out); }

void ShardTest::run_shards(const std::vector<std::string>& numbers) const {
  for (const std::string& number : numbers) {
    const Outcome outcome = shard({"run", kJob, number});
    EXPECT_EQ(outcome.status, 0) << number << ": " << outcome.err;
  }
}

void ShardTest::run_on_worker(const std::vector<std::string>& numbers) const {
  for (const std::string& number : numbers) {
    const std::string script = "set -e; mkdir worker; (cd job; cp -rL --parents common shards/" +
                               number + " ../worker); cd worker; PARALLEL_SSHLOGIN=host " +
                               KAVREL_SHARD_PROGRAM " run ../job " + number +
                               "; cp -r results ../job";
    const Outcome outcome = run_other({"/bin/sh", "-c", script});
    EXPECT_EQ(outcome.status, 0) << number << ": " << outcome.err;
    remove("worker");
  }
}

ShardTest::Left ShardTest::one_run(const std::string& case_list) const {
  const Outcome outcome = run({"--input-list", case_list, "--output-dir", kMerged});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const Left left{contents(kMerged), outcome.out};
  remove("merged");
  return left;
}

void ShardTest::expect_same(const Outcome& merged, const Left& one) const {
  EXPECT_EQ(merged.out, one.block) << merged.err;
  ASSERT_TRUE(exists(kMerged)) << merged.err;
  auto files = contents(kMerged);
  EXPECT_EQ(files.erase("kavrel.log"), 1U);
  for (const auto& [name, bytes] : one.files) {
    ASSERT_EQ(files.count(name), 1U) << name << " is missing";
    EXPECT_TRUE(files.at(name) == bytes) << name << " has other bytes";
  }
  EXPECT_EQ(files.size(), one.files.size());
  remove("merged");
}

std::map<std::string, std::string> ShardTest::contents(const std::string& directory) const {
  std::map<std::string, std::string> contents;
  for (const std::string& name : files(directory)) contents[name] = read(directory + "/" + name);
  return contents;
}

}  // namespace kavrel_test
