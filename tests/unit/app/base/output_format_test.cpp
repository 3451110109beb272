#include "app/base/output_format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "app/base/text.h"

namespace kavrel::output {
namespace {

using testing::Pair;
using testing::UnorderedElementsAre;

constexpr Columns kTwoColumns = {"a", "b"};

TEST(OutputFormat, NamesACaseByItsImage) {
  EXPECT_EQ(case_dir("out", "in/car01_f02.jpg"), "out/cases/car01_f02");
}

TEST(OutputFormat, WritesTheCellsInTheOrderOfTheColumns) {
  EXPECT_EQ(csv_header(kTwoColumns), "a,b");
  EXPECT_EQ(csv_line(kTwoColumns, {{"b", "x,y"}, {"c", "of another file"}, {"a", "1"}}),
            "1,\"x,y\"");
}

TEST(OutputFormat, RefusesARowThatLacksACell) {
  EXPECT_THROW(csv_line(kTwoColumns, {{"a", "1"}}), std::out_of_range);
  EXPECT_THROW(make_row(kTwoColumns, {"1"}), std::out_of_range);
}

TEST(OutputFormat, FindsCellsByTheirColumn) {
  EXPECT_THAT(make_row(kTwoColumns, {"1", "2"}),
              UnorderedElementsAre(Pair("a", "1"), Pair("b", "2")));
}

TEST(OutputFormat, NamesWhereAReadingComesFrom) {
  EXPECT_EQ(source::of_window(source::kGray, source::kUpperRow), "gray_upper_row");
  EXPECT_EQ(source::of_text_line(source::kUp2x, 12), "up2x_det_crop_12");
}

// Plates are parsed by the windows' names that occur in a source.
TEST(OutputFormat, HidesNoWindowInAnotherName) {
  for (const std::string window : source::kWindows) {
    for (const char* variant :
         {source::kOriginal, source::kGray, source::kClahe, source::kSharpen, source::kUp2x}) {
      EXPECT_FALSE(contains(variant, window)) << variant;
    }
    for (const char* other : source::kWindows) {
      EXPECT_EQ(contains(other, window), other == window) << other;
    }
    EXPECT_FALSE(contains(source::kTextLine, window));
  }
}

TEST(OutputFormat, NamesThePicturesOfACase) {
  EXPECT_EQ(picture::variant("gray"), "ocr_variant_gray.jpg");
  EXPECT_EQ(picture::variant_stem("gray") + picture::kTextMaskEnd, "ocr_variant_gray_det_mask.jpg");
  EXPECT_EQ(picture::text_line("gray", 3), "ocr_gray_crop_3.jpg");
  EXPECT_EQ(picture::kana_candidate("rect_kana_narrow_low_otsu"),
            "kana_fallback_rect_kana_narrow_low_otsu.jpg");
  EXPECT_EQ(picture::variant_stem(source::kOriginal) + picture::kTextBoxesEnd,
            picture::kPlateTextBoxes);
}

}  // namespace
}  // namespace kavrel::output
