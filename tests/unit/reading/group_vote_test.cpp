#include "reading/group_vote.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace kavrel {
namespace {

FrameResult frame_of(const PlateFields& fields) {
  FrameResult frame;
  frame.group_id = "car1";
  frame.fields = fields;
  return frame;
}

FrameResult frame_with_serial(const std::string& serial) {
  return frame_of({"", "", "", serial, ""});
}

TEST(VoteString, TakesTheValueThatOccursMostOften) {
  EXPECT_EQ(vote_string({"b", "a", "b"}), "b");
  EXPECT_EQ(vote_string({"b", "a", "a", "c"}), "a");
  EXPECT_EQ(vote_string({"x"}), "x");
}

TEST(VoteString, TakesTheFirstInByteOrderOfEqualCounts) {
  EXPECT_EQ(vote_string({"12-35", "12-34"}), "12-34");
  EXPECT_EQ(vote_string({"12-34", "12-35"}), "12-34");
  EXPECT_EQ(vote_string({"c", "b", "c", "b", "a"}), "b");
}

TEST(VoteString, DoesNotCountEmptyValues) {
  EXPECT_EQ(vote_string({"", "", "a"}), "a");
  EXPECT_EQ(vote_string({"", ""}), "");
  EXPECT_EQ(vote_string({}), "");
}

TEST(VoteGroup, TakesTheMajorityOfEveryField) {
  const PlateFields right = {"品川", "500", "あ", "12-34", ""};
  const PlateFields wrong = {"横浜", "300", "い", "12-35", ""};
  const GroupResult group = vote_group({frame_of(wrong), frame_of(right), frame_of(right)});
  EXPECT_EQ(group.fields.region, "品川");
  EXPECT_EQ(group.fields.class_no, "500");
  EXPECT_EQ(group.fields.kana, "あ");
  EXPECT_EQ(group.fields.serial, "12-34");
  EXPECT_EQ(group.fields.final_plate_number, "品川 500 あ 12-34");
  EXPECT_EQ(group.frame_count, 3);
}

TEST(VoteGroup, CombinesFieldsOfSeveralFrames) {
  const GroupResult group =
      vote_group({frame_of({"", "500", "", "", ""}), frame_of({"", "", "あ", "", ""}),
                  frame_of({"品川", "", "", "", ""})});
  EXPECT_EQ(group.fields.region, "品川");
  EXPECT_EQ(group.fields.class_no, "500");
  EXPECT_EQ(group.fields.kana, "あ");
  EXPECT_EQ(group.fields.serial, "");
  EXPECT_EQ(group.fields.final_plate_number, "品川 500 あ");
}

TEST(VoteGroup, DecidesATieWithoutRegardToTheOrderOfFrames) {
  std::vector<FrameResult> frames = {frame_with_serial("12-35"), frame_with_serial("12-34")};
  EXPECT_EQ(vote_group(frames).fields.serial, "12-34");
  std::reverse(frames.begin(), frames.end());
  EXPECT_EQ(vote_group(frames).fields.serial, "12-34");
}

TEST(VoteGroup, TakesNamesFromTheFirstFrame) {
  FrameResult first = frame_of({});
  first.group_id = "car1";
  first.expected = "first";
  FrameResult second = frame_of({});
  second.group_id = "car2";
  second.expected = "second";
  const GroupResult group = vote_group({first, second, second});
  EXPECT_EQ(group.group_id, "car1");
  EXPECT_EQ(group.expected, "first");
}

TEST(VoteGroup, DoesNotLookForAnExpectedTextInLaterFrames) {
  FrameResult later = frame_of({});
  later.expected = "品川 500 あ 12-34";
  EXPECT_EQ(vote_group({frame_of({}), later}).expected, "");
}

TEST(VoteGroup, CountsFramesWithoutAnyField) {
  const GroupResult group = vote_group({frame_of({}), frame_of({}), frame_of({})});
  EXPECT_EQ(group.frame_count, 3);
  EXPECT_EQ(group.fields.final_plate_number, "");
}

TEST(VoteGroup, DoesNotVoteOnWholePlateNumbers) {
  const GroupResult group = vote_group(
      {frame_of({"品川", "", "", "12-34", "横浜 300"}), frame_of({"", "", "", "", "横浜 300"})});
  EXPECT_EQ(group.fields.final_plate_number, "品川   12-34");
}

TEST(VoteGroup, IsDefaultWithoutFrames) {
  const GroupResult group = vote_group({});
  EXPECT_EQ(group.group_id, "");
  EXPECT_EQ(group.expected, "");
  EXPECT_EQ(group.frame_count, 0);
  EXPECT_EQ(group.fields.final_plate_number, "");
}

// Frames of a few values each, many of them empty, so that ties and gaps are frequent.
std::vector<FrameResult> random_frames(std::mt19937& random) {
  const auto one_of = [&](const std::vector<std::string>& values) {
    return values[random() % values.size()];
  };
  std::vector<FrameResult> frames(1 + random() % 6);
  for (FrameResult& frame : frames) {
    frame.group_id = one_of({"car1", "car2"});
    frame.expected = one_of({"", "品川 500 あ 12-34"});
    frame.fields = {one_of({"", "品川", "横浜"}), one_of({"", "300", "500"}),
                    one_of({"", "あ", "か", "さ"}), one_of({"", "12-34", "123"}), "not looked at"};
  }
  return frames;
}

std::vector<std::string> values_of(const PlateFields& fields) {
  return {fields.region, fields.class_no, fields.kana, fields.serial, fields.final_plate_number};
}

TEST(VoteGroup, GivesTheSameFieldsForAnyOrderOfFrames) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    std::vector<FrameResult> frames = random_frames(random);
    const GroupResult group = vote_group(frames);
    std::shuffle(frames.begin(), frames.end(), random);
    const GroupResult shuffled = vote_group(frames);
    ASSERT_EQ(values_of(shuffled.fields), values_of(group.fields)) << round;
    ASSERT_EQ(shuffled.frame_count, group.frame_count) << round;
    ASSERT_EQ(shuffled.group_id, frames.front().group_id) << round;
    ASSERT_EQ(shuffled.expected, frames.front().expected) << round;
  }
}

TEST(VoteGroup, GivesTheFieldsOfASingleFrame) {
  std::mt19937 random(2);
  for (int round = 0; round < 2000; ++round) {
    const FrameResult frame = random_frames(random).front();
    PlateFields expected = frame.fields;
    expected.final_plate_number = assemble_plate_number(expected);
    ASSERT_EQ(values_of(vote_group({frame}).fields), values_of(expected)) << round;
  }
}

}  // namespace
}  // namespace kavrel
