#include "reading/status.h"

#include <gtest/gtest.h>

namespace kavrel {
namespace {

TEST(PlateStatus, IsUnknownWithoutAnExpectedText) {
  EXPECT_EQ(plate_status("", "品川 330 あ 12-34"), "unknown");
  EXPECT_EQ(plate_status("", ""), "unknown");
}

TEST(PlateStatus, IsCorrectForTextsThatAreEqualButForBlanks) {
  EXPECT_EQ(plate_status("品川 330 あ 12-34", "品川330あ12-34"), "correct");
  EXPECT_EQ(plate_status("品川330あ12-34", "品川 330  12-34"), "check");
  EXPECT_EQ(plate_status("あ\t1\r\n2", " あ12"), "correct");
}

TEST(PlateStatus, IsCheckForAnyOtherDifference) {
  EXPECT_EQ(plate_status("品川 330 あ 12-34", "品川 330 あ 1234"), "check");
  EXPECT_EQ(plate_status("品川 330 あ 12-34", "品川\u3000330 あ 12-34"), "check");
  EXPECT_EQ(plate_status("品川 330 あ 12-34", "品川 330 い 12-34"), "check");
  EXPECT_EQ(plate_status("品川 330 あ 12-34", ""), "check");
}

// A text of blanks is a ground truth that nothing but an empty reading meets.
TEST(PlateStatus, TakesBlanksForAnExpectedText) {
  EXPECT_EQ(plate_status(" ", ""), "correct");
  EXPECT_EQ(plate_status(" ", "あ"), "check");
}

TEST(StatusCounts, CountsEverythingButCorrectAgainstTheRun) {
  StatusCounts counts;
  for (const char* status : {"correct", "check", "unknown", "correct", "correct"}) {
    counts.add(status);
  }
  EXPECT_EQ(counts.correct, 3);
  EXPECT_EQ(counts.check_or_failed, 2);
}

TEST(StatusCounts, StartsAtZero) {
  EXPECT_EQ(StatusCounts().correct, 0);
  EXPECT_EQ(StatusCounts().check_or_failed, 0);
}

}  // namespace
}  // namespace kavrel
