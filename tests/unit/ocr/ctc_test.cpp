#include "ocr/ctc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/floats.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::attr_of;
using kavrel_test::Capture;
using kavrel_test::kInf;
using kavrel_test::kNaN;

const std::vector<std::string> kDict = {"a", "b", "c", "d", "e"};

// One row of `classes` values for each of `best`, which gets the greatest.
std::vector<float> logits_of(const std::vector<std::size_t>& best, std::size_t classes) {
  std::vector<float> logits(best.size() * classes, 0.0F);
  for (std::size_t step = 0; step < best.size(); ++step) logits[step * classes + best[step]] = 1.0F;
  return logits;
}

// The text of six classes: the blank and the five entries of the dictionary.
std::string text_of(const std::vector<std::size_t>& best) {
  const auto steps = static_cast<std::uint32_t>(best.size());
  return ctc_decode(logits_of(best, 6), attr_of({1, steps, 6}), kDict);
}

// The text of a single step.
std::string text_of_row(const std::vector<float>& row) {
  return ctc_decode(row, attr_of({1, static_cast<std::uint32_t>(row.size())}), kDict);
}

TEST(CtcDecode, GivesClassKTheEntryBeforeIt) {
  EXPECT_EQ(text_of({1, 2, 3, 4, 5}), "abcde");
  EXPECT_EQ(text_of({5, 1}), "ea");
}

TEST(CtcDecode, LeavesTheBlankOut) {
  EXPECT_EQ(text_of({0, 1, 0, 0, 2, 0}), "ab");
  EXPECT_EQ(text_of({0, 0, 0}), "");
}

TEST(CtcDecode, WritesARepeatedClassOnce) {
  EXPECT_EQ(text_of({5, 5, 5}), "e");
  EXPECT_EQ(text_of({1, 1, 2, 2, 1}), "aba");
}

TEST(CtcDecode, WritesAClassAgainAfterABlank) { EXPECT_EQ(text_of({5, 5, 0, 5}), "ee"); }

TEST(CtcDecode, GivesATieToTheLowestClass) {
  EXPECT_EQ(text_of_row({0, 3, 1, 3, 3}), "a");
  EXPECT_EQ(text_of_row({3, 1, 3, 3, 3}), "");
  EXPECT_EQ(text_of_row({-2, -2, -2}), "");
}

// A row of more classes than are compared at once, all of them `low` but for `peaks`.
int best_of_long_row(float low, const std::vector<std::pair<std::size_t, float>>& peaks) {
  std::vector<std::string> dict;
  for (int entry = 0; entry < 299; ++entry) dict.push_back(std::to_string(entry + 1));
  std::vector<float> row(300, low);
  for (const auto& [index, score] : peaks) row[index] = score;
  const std::string text = ctc_decode(row, attr_of({1, 300}), dict);
  return text.empty() ? 0 : std::stoi(text);
}

TEST(CtcDecode, FindsTheBestClassAnywhereInALongRow) {
  for (std::size_t index = 1; index < 300; ++index) {
    const int expected = static_cast<int>(index);
    EXPECT_EQ(best_of_long_row(0.0F, {{index, 1.0F}}), expected);
    EXPECT_EQ(best_of_long_row(-9.0F, {{index, -8.0F}, {299, -8.0F}}), expected);
    EXPECT_EQ(best_of_long_row(-kInf, {{index, 0.5F}, {1 + index / 2, 0.25F}}), expected);
  }
}

TEST(CtcDecode, GivesATieInALongRowToTheLowestClass) {
  EXPECT_EQ(best_of_long_row(0.0F, {{40, 1.0F}, {41, 1.0F}, {200, 1.0F}, {299, 1.0F}}), 40);
  EXPECT_EQ(best_of_long_row(0.0F, {{0, 1.0F}, {150, 1.0F}}), 0);
  EXPECT_EQ(best_of_long_row(kNaN, {{0, 1.0F}, {150, 2.0F}}), 150);
  EXPECT_EQ(best_of_long_row(0.0F, {{0, kNaN}, {150, 2.0F}}), 0);
}

TEST(CtcDecode, ComparesLogitsOfAnySign) {
  EXPECT_EQ(text_of_row({-9, -7, -3, -5}), "b");
  EXPECT_EQ(text_of_row({-kInf, -1e30F, -kInf}), "a");
  EXPECT_EQ(text_of_row({0, 1e30F, kInf, 3}), "b");
}

TEST(CtcDecode, TakesAStepWithoutNumbersForABlank) {
  EXPECT_EQ(text_of_row({-kInf, -kInf, -kInf}), "");
  EXPECT_EQ(text_of_row({kNaN, kNaN, kNaN}), "");
}

TEST(CtcDecode, ReplacesTheBestClassOnlyByAGreaterValue) {
  EXPECT_EQ(text_of_row({1, kNaN, 5, 2}), "b");
  EXPECT_EQ(text_of_row({kNaN, 1, 5, 2}), "");
}

TEST(CtcDecode, LeavesAClassBeyondTheDictionaryOut) {
  const std::vector<float> logits = logits_of({1, 6, 7, 2}, 8);
  const Capture messages;
  EXPECT_EQ(ctc_decode(logits, attr_of({1, 4, 8}), kDict), "ab");
  EXPECT_EQ(messages.text(), "");
}

TEST(CtcDecode, RemembersAClassBeyondTheDictionary) {
  EXPECT_EQ(ctc_decode(logits_of({1, 7, 1}, 8), attr_of({1, 3, 8}), kDict), "aa");
}

TEST(CtcDecode, ReadsNothingWithAnEmptyDictionary) {
  EXPECT_EQ(ctc_decode(logits_of({1, 2}, 3), attr_of({1, 2, 3}), {}), "");
}

TEST(CtcDecode, LeavesTheTailOfALongDictionaryUnused) {
  EXPECT_EQ(ctc_decode(logits_of({1, 2}, 3), attr_of({1, 2, 3}), kDict), "ab");
}

TEST(CtcDecode, AppendsEntriesAsTheyAre) {
  const std::vector<std::string> dict = {"\xE3\x81\x82", " ", "xyz", ""};
  EXPECT_EQ(ctc_decode(logits_of({2, 1, 3, 4, 2}, 5), attr_of({1, 5, 5}), dict),
            " \xE3\x81\x82xyz ");
}

TEST(CtcDecode, TakesTheLastTwoDimensionsForStepsAndClasses) {
  // Two steps of three classes, not three of two: that would read "".
  const std::vector<float> logits = {0, 1, 0, 0, 0, 1};
  for (const rknn_tensor_attr& attr :
       {attr_of({2, 3}), attr_of({1, 2, 3}), attr_of({1, 1, 2, 3}), attr_of({7, 9, 2, 3})}) {
    EXPECT_EQ(ctc_decode(logits, attr, kDict), "ab");
  }
}

TEST(CtcDecode, ReadsTheShapeOfFortyStepsOf97Classes) {
  std::vector<float> logits(40 * 97, 0.0F);
  logits[0 * 97 + 1] = 1.0F;
  logits[39 * 97 + 96] = 1.0F;
  std::vector<std::string> dict(96, "-");
  dict[0] = "first";
  dict[95] = "last";
  EXPECT_EQ(ctc_decode(logits, attr_of({1, 40, 97}), dict), "firstlast");
}

TEST(CtcDecode, TakesTheClassesFromTheDictionaryWithFewerThanTwoDimensions) {
  const std::vector<float> logits = logits_of({1, 5, 0}, 6);
  EXPECT_EQ(ctc_decode(logits, attr_of({18}), kDict), "ae");
  EXPECT_EQ(ctc_decode(logits, attr_of({2}), kDict), "ae");
  EXPECT_EQ(ctc_decode(logits, attr_of({}), kDict), "ae");
}

TEST(CtcDecode, SaysNothingWhereTheDictionarySizeDoesNotFitTheCount) {
  const Capture messages;
  EXPECT_EQ(ctc_decode(std::vector<float>(17, 1.0F), attr_of({17}), kDict), "");
  EXPECT_EQ(ctc_decode(std::vector<float>(5, 1.0F), attr_of({5}), kDict), "");
  EXPECT_EQ(ctc_decode(std::vector<float>(4, 1.0F), attr_of({4}), {}), "");
  EXPECT_EQ(messages.text(), "");
}

TEST(CtcDecode, ReadsNothingFromNoLogitsAndSaysNothing) {
  const Capture messages;
  EXPECT_EQ(ctc_decode({}, attr_of({1, 4, 6}), kDict), "");
  EXPECT_EQ(ctc_decode({}, attr_of({1, 0, 6}), kDict), "");
  EXPECT_EQ(ctc_decode({}, attr_of({}), kDict), "");
  EXPECT_EQ(messages.text(), "");
}

TEST(CtcDecode, IgnoresValuesBeyondTheShape) {
  EXPECT_EQ(ctc_decode({0, 1, 0, 0, 0, 1, 0, 1, 0, 9}, attr_of({1, 2, 3}), kDict), "ab");
}

TEST(CtcDecode, WarnsOfAShapeThatTheLogitsDoNotFill) {
  struct Shape {
    std::vector<std::uint32_t> dims;
    std::size_t count;
    std::string said;
  };
  const std::vector<Shape> shapes = {
      {{1, 2, 3}, 5, "T=2 C=3 logits=5"},
      {{0, 3}, 6, "T=0 C=3 logits=6"},
      {{2, 0}, 6, "T=2 C=0 logits=6"},
      {{65536, 65536}, 4, "T=65536 C=65536 logits=4"},
      {{2147483647, 2147483647}, 4, "T=2147483647 C=2147483647 logits=4"},
      {{4294967295U, 3}, 6, "T=-1 C=3 logits=6"},
      {{2, 2147483648U}, 6, "T=2 C=-2147483648 logits=6"},
      {{4294967295U, 4294967295U}, 6, "T=-1 C=-1 logits=6"},
  };
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(shape.said);
    const Capture messages;
    EXPECT_EQ(ctc_decode(std::vector<float>(shape.count, 1.0F), attr_of(shape.dims), kDict), "");
    EXPECT_EQ(messages.text(), "[WARN] invalid rec output shape " + shape.said + "\n");
  }
}

TEST(CtcDecode, ReadsNoDimensionBeyondTheRecord) {
  rknn_tensor_attr attr = attr_of({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 3});
  for (const std::uint32_t n_dims : {16U, 17U, 4000000000U}) {
    attr.n_dims = n_dims;
    EXPECT_EQ(ctc_decode({0, 1, 0, 0, 0, 1}, attr, kDict), "ab");
  }
}

TEST(CtcShapeOfATensor, IsItsLastTwoDimensions) {
  const CtcShape shape = ctc_shape(attr_of({1, 40, 97}));
  EXPECT_EQ(shape.steps, 40);
  EXPECT_EQ(shape.classes, 97);
}

TEST(CtcShapeOfATensor, IsEmptyWithFewerThanTwoDimensions) {
  for (const rknn_tensor_attr& attr : {attr_of({}), attr_of({97})}) {
    EXPECT_EQ(ctc_shape(attr).steps, 0);
    EXPECT_EQ(ctc_shape(attr).classes, 0);
  }
}

TEST(CtcShapeOfATensor, FitsACountThatHoldsAllItsSteps) {
  const CtcShape shape = {2, 3};
  EXPECT_FALSE(shape.fits(0));
  EXPECT_FALSE(shape.fits(5));
  EXPECT_TRUE(shape.fits(6));
  EXPECT_TRUE(shape.fits(7));
}

TEST(CtcShapeOfATensor, FitsNothingWithoutStepsOrClasses) {
  for (const CtcShape& shape : {CtcShape{0, 3}, CtcShape{3, 0}, CtcShape{-1, 3}, CtcShape{3, -1},
                                CtcShape{-1, -1}, CtcShape{}}) {
    EXPECT_FALSE(shape.fits(1000)) << shape.steps << " x " << shape.classes;
  }
}

}  // namespace
}  // namespace kavrel
