#include <gtest/gtest.h>

#include "report/run/run.h"

namespace kavrel::report {
namespace {

std::vector<std::string> split(const std::string& texts) {
  std::vector<std::string> readings;
  for (const OcrText& reading : split_ocr_texts(texts)) {
    readings.push_back(reading.source + "|" + reading.text);
  }
  return readings;
}

using Readings = std::vector<std::string>;

TEST(OcrTexts, AreSplitAtTheirSources) {
  EXPECT_EQ(split("original_det_crop_0:品川 / gray_full:品川330 / up2x_serial_area:12-34"),
            (Readings{"original_det_crop_0|品川", "gray_full|品川330", "up2x_serial_area|12-34"}));
  EXPECT_EQ(split(""), Readings());
}

TEST(OcrTexts, MayHoldTheSeparatorAndColons) {
  EXPECT_EQ(split("gray_full:a / b:c / clahe_lower_row: / gray_upper_row:x"),
            (Readings{"gray_full|a / b:c", "clahe_lower_row|", "gray_upper_row|x"}));
  EXPECT_EQ(split("gray_full:a / gray_det_crop_:b / gray_fully:c"),
            (Readings{"gray_full|a / gray_det_crop_:b / gray_fully:c"}));
}

TEST(OcrTexts, AreNothingWithoutASource) {
  EXPECT_EQ(split("品川"), Readings());
  EXPECT_EQ(split("gray"), Readings());
  EXPECT_EQ(split("gray_full"), Readings());
  EXPECT_EQ(split("gray_det_crop_12"), Readings());
}

}  // namespace
}  // namespace kavrel::report
