#include "app/base/bounded_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace kavrel {
namespace {

constexpr int kMark = 0x5eed;
constexpr std::size_t kMostRecords = 200;

struct Record {
  float score = 0.0F;
  int id = 0;
  int mark = kMark;
};

using Before = std::function<bool(const Record&, const Record&)>;

bool higher_score(const Record& a, const Record& b) { return a.score > b.score; }

// Few different scores, so that there are many ties.
std::vector<Record> random_records(std::size_t count, std::mt19937& random) {
  std::vector<Record> records(count);
  for (std::size_t i = 0; i < count; ++i) {
    records[i].score = static_cast<float>(random() % 8);
    records[i].id = static_cast<int>(i);
  }
  return records;
}

std::vector<int> ids_of(const std::vector<Record>& records) {
  std::vector<int> ids;
  for (const Record& record : records) ids.push_back(record.id);
  return ids;
}

// Sorts `records` by `before` and expects the same records in any order; a comparison of anything
// else is seen by its mark.
void expect_permutation(std::vector<Record> records, const Before& before) {
  std::vector<int> ids = ids_of(records);
  int strangers = 0;
  bounded_sort(records, [&](const Record& a, const Record& b) {
    if (a.mark != kMark || b.mark != kMark) ++strangers;
    return before(a, b);
  });
  std::vector<int> sorted_ids = ids_of(records);
  std::sort(sorted_ids.begin(), sorted_ids.end());
  EXPECT_EQ(sorted_ids, ids);
  EXPECT_EQ(strangers, 0);
}

TEST(BoundedSort, PutsRecordsInOrder) {
  std::vector<int> numbers = {3, 1, 2};
  bounded_sort(numbers, std::less<>());
  EXPECT_EQ(numbers, (std::vector<int>{1, 2, 3}));
}

TEST(BoundedSort, GivesTheOrderOfStdSortAlsoAmongEquals) {
  std::mt19937 random(1);
  for (std::size_t count = 0; count <= kMostRecords; ++count) {
    std::vector<Record> records = random_records(count, random);
    std::vector<Record> wanted = records;
    std::sort(wanted.begin(), wanted.end(), higher_score);
    bounded_sort(records, higher_score);
    EXPECT_EQ(ids_of(records), ids_of(wanted)) << count << " records";
  }
}

TEST(BoundedSort, KeepsTheRecordsWhenEverythingComesBeforeEverything) {
  std::mt19937 random(2);
  for (std::size_t count = 0; count <= kMostRecords; ++count) {
    SCOPED_TRACE(count);
    expect_permutation(random_records(count, random),
                       [](const auto&, const auto&) { return true; });
  }
}

TEST(BoundedSort, KeepsTheRecordsWhenTheAnswersAreRandom) {
  std::mt19937 random(3);
  for (std::size_t count = 0; count <= kMostRecords; ++count) {
    SCOPED_TRACE(count);
    expect_permutation(random_records(count, random),
                       [&](const auto&, const auto&) { return random() % 2 == 0; });
  }
}

TEST(BoundedSort, KeepsTheRecordsWhenScoresAreNoNumbers) {
  std::mt19937 random(4);
  for (std::size_t count = 0; count <= kMostRecords; ++count) {
    SCOPED_TRACE(count);
    std::vector<Record> records = random_records(count, random);
    for (Record& record : records) {
      if (random() % 3 == 0) record.score = std::numeric_limits<float>::quiet_NaN();
    }
    expect_permutation(records, higher_score);
    expect_permutation(records,
                       [](const Record& a, const Record& b) { return !(a.score <= b.score); });
  }
}

TEST(BoundedSort, KeepsTheRecordsWhenNearScoresCountAsEqual) {
  std::mt19937 random(5);
  for (std::size_t count = 0; count <= kMostRecords; ++count) {
    SCOPED_TRACE(count);
    expect_permutation(random_records(count, random), [](const Record& a, const Record& b) {
      return std::abs(a.score - b.score) <= 1.0F ? a.id > b.id : a.score < b.score;
    });
  }
}

}  // namespace
}  // namespace kavrel
