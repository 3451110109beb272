// Boxes and corners, as they can be seen in the pictures that kavrel leaves.
#include "report/run/place.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "report/run/picture.h"
#include "report/run/strokes.h"
#include "report/run/suspicion.h"
#include "tests/report/output_dir.h"
#include "tests/support/pictures.h"

namespace kavrel::report {
namespace {

using kavrel_test::decoded;
using kavrel_test::frame_of;
using kavrel_test::gradient_image;
using kavrel_test::jpeg_of;
using kavrel_test::OutputDir;

const cv::Size kCrop(120, 70);
const Corners kPlate = {cv::Point2f(16, 12), {104, 10}, {105, 56}, {17, 60}};  // in the crop

cv::Mat as_in_file(const cv::Mat& picture) { return decoded(jpeg_of(picture)); }

// As kavrel draws them.
cv::Mat with_corners(cv::Mat picture, const Corners& corners) {
  for (std::size_t k = 0; k < corners.size(); ++k) {
    cv::circle(picture, corners[k], 4, cv::Scalar(0, 0, 255), cv::FILLED);
    cv::line(picture, corners[k], corners[(k + 1) % 4], cv::Scalar(0, 255, 0), 2);
  }
  return picture;
}

cv::Mat with_frame(cv::Mat picture, const cv::Rect& box) {
  cv::rectangle(picture, box, cv::Scalar(0, 255, 0), 2);
  return picture;
}

cv::Mat crop() { return gradient_image(kCrop.width, kCrop.height); }

TEST(Corners, AreFoundWhereTheyWereDrawn) {
  const auto found = find_corners(as_in_file(with_corners(crop(), kPlate)), as_in_file(crop()));
  ASSERT_TRUE(found.has_value());
  for (std::size_t k = 0; k < kPlate.size(); ++k) {
    EXPECT_NEAR((*found)[k].x, kPlate[k].x, 1) << k;
    EXPECT_NEAR((*found)[k].y, kPlate[k].y, 1) << k;
  }
}

TEST(Corners, AreFoundBesideATailLamp) {
  cv::Mat lamp = crop();
  cv::rectangle(lamp, {60, 2, 9, 6}, cv::Scalar(20, 20, 230), cv::FILLED);
  EXPECT_TRUE(find_corners(as_in_file(with_corners(lamp.clone(), kPlate)), as_in_file(lamp)));
}

// Kept inside of the crop, the lower right one shows no more than the ends of two lines.
TEST(Corners, AreFoundWhereTheRimHidesOne) {
  Corners corners = kPlate;
  corners[1] = {116, 10};
  corners[2] = {119, 69};
  const auto found = find_corners(as_in_file(with_corners(crop(), corners)), as_in_file(crop()));
  ASSERT_TRUE(found.has_value());
  for (std::size_t k = 0; k < 2; ++k) EXPECT_NEAR((*found)[k].x, corners[k].x, 2) << k;
  EXPECT_GT((*found)[2].x, 113);
}

// A plate that reaches the right rim, and one that reaches the lower rim.
TEST(Corners, AreFoundWhereTheRimOfAPlatesPictureHidesTwo) {
  const std::array<Corners, 2> both = {Corners{cv::Point2f(16, 9), {119, 0}, {119, 69}, {17, 60}},
                                       Corners{cv::Point2f(10, 12), {110, 10}, {119, 69}, {0, 69}}};
  for (const Corners& corners : both) {
    const cv::Mat picture = as_in_file(with_corners(crop(), corners));
    EXPECT_FALSE(find_corners(picture, as_in_file(crop())));
    const auto found = find_corners(picture, as_in_file(crop()), true);
    ASSERT_TRUE(found.has_value());
    for (std::size_t k = 0; k < corners.size(); ++k) {
      EXPECT_NEAR((*found)[k].x, corners[k].x, 11) << k;  // one dot tells no slope
      EXPECT_NEAR((*found)[k].y, corners[k].y, 11) << k;
    }
  }
}

TEST(Corners, AreNotGuessedWhereTheyCannotBeSeen) {
  const cv::Mat plain = as_in_file(crop());
  EXPECT_FALSE(find_corners(plain, plain));
  EXPECT_FALSE(find_corners(as_in_file(with_corners(crop(), {})), plain));  // all in one place
  EXPECT_FALSE(find_corners({}, plain));
}

TEST(Corners, ArePlausibleAroundThePlatesMiddle) {
  EXPECT_TRUE(is_plausible(kPlate, kCrop));
  Corners shifted = kPlate;
  for (cv::Point2f& corner : shifted) corner.x += 10;  // a ninth of the plate
  EXPECT_FALSE(is_plausible(shifted, kCrop));
  EXPECT_FALSE(is_plausible({kPlate[1], kPlate[0], kPlate[2], kPlate[3]}, kCrop));  // crossed
  EXPECT_FALSE(is_plausible({cv::Point2f(16, 30), {104, 30}, {104, 40}, {16, 40}}, kCrop));
  EXPECT_FALSE(is_plausible({cv::Point2f(40, 12), {80, 12}, {105, 58}, {15, 58}}, kCrop));
}

TEST(Frame, IsFoundWhereItWasDrawn) {
  const cv::Rect box(40, 25, 120, 70);
  const auto found = find_frame(as_in_file(with_frame(gradient_image(300, 200), box)), box.size());
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(*found, box.tl());
}

TEST(Frame, IsFoundAmongOthers) {
  cv::Mat picture = gradient_image(300, 200);
  cv::rectangle(picture, {30, 20, 150, 90}, cv::Scalar(0, 255, 0), 2);
  const cv::Rect box(40, 25, 120, 70);
  EXPECT_EQ(find_frame(as_in_file(with_frame(picture, box)), box.size()), box.tl());
}

TEST(Frame, IsNotThereWithoutOneOfTheCropsSize) {
  const cv::Mat picture = as_in_file(with_frame(gradient_image(300, 200), {40, 25, 120, 70}));
  EXPECT_FALSE(find_frame(picture, cv::Size(100, 70)));
  EXPECT_FALSE(find_frame(picture, cv::Size(400, 300)));
}

// A case whose crop was cut out at (40, 25) of a picture of 300 x 200.
class SeenCase : public testing::Test {
 protected:
  SeenCase() {
    dir_.write_finished({frame_of("g", "1.jpg", "", {})});
    write("plate_det_debug.jpg", with_frame(gradient_image(300, 200), {cv::Point(40, 25), kCrop}));
    write("plate_roi.jpg", crop());
    write("corner_debug.jpg", with_corners(crop(), kPlate));
  }

  void write(const std::string& name, const cv::Mat& picture) const {
    dir_.write("cases/1/" + name, jpeg_of(picture));
  }

  RecordedRun run() const { return read_run(dir_.path()); }

  PlaceError error_against(const TruePlace& truth) const {
    return measure_place(run(), 0, see_place(run(), 0), truth).value();
  }

  OutputDir dir_;
};

// The plate of the crop's corners, in the picture.
const TruePlace kTrue = {{cv::Point2f(56, 35), cv::Point2f(145, 85)},
                         {cv::Point2f(56, 37), {144, 35}, {145, 81}, {57, 85}}};

TEST_F(SeenCase, IsMeasuredAgainstTheTruth) {
  const PlaceError error = error_against(kTrue);
  EXPECT_DOUBLE_EQ(error.covered, 1);
  EXPECT_NEAR(error.overlap, 89.0 * 50 / (120 * 70), 1e-6);
  EXPECT_LT(error.corners.value(), 0.015);
}

TEST_F(SeenCase, IsWrongBesideThePlate) {
  TruePlace beside = kTrue;
  beside.box.x += 30;  // ten of its 89 columns are to the right of the crop
  const PlaceError error = error_against(beside);
  EXPECT_NEAR(error.covered, 74.0 / 89, 1e-6);
  EXPECT_EQ(judge_place(see_place(run(), 0), error).box, Finding::kWrong);
  EXPECT_EQ(judge_place(see_place(run(), 0), error_against(kTrue)).box, Finding::kGood);
}

TEST_F(SeenCase, MayCutAnEdgeOfThePlate) {
  EXPECT_EQ(judge_place(see_place(run(), 0), {0.93, 0.8, std::nullopt}).box, Finding::kGood);
}

TEST_F(SeenCase, IsWrongWithShiftedCorners) {
  TruePlace shifted = kTrue;
  for (cv::Point2f& corner : shifted.corners) corner.x += 9;
  const PlaceError error = error_against(shifted);
  EXPECT_NEAR(error.corners.value(), 9.0 / 88, 0.015);
  EXPECT_EQ(judge_place(see_place(run(), 0), error).corners, Finding::kWrong);
  EXPECT_EQ(judge_place(see_place(run(), 0), error_against(kTrue)).corners, Finding::kGood);
}

TEST_F(SeenCase, IsTheWholePictureWhereNoPlateWasFound) {
  write("plate_roi.jpg", gradient_image(300, 200));
  EXPECT_TRUE(suspect_place(see_place(run(), 0), true).whole_picture);
}

// Two rows of strokes, as writing has them, from `left` to `right` of the crop.
cv::Mat written_crop(int left, int right) {
  cv::Mat picture(kCrop, CV_8UC3, cv::Scalar(200, 200, 200));
  for (int x = left; x + 3 <= right; x += 7) {
    picture(cv::Rect(x, 18, 3, 12)).setTo(30);
    picture(cv::Rect(x, 36, 3, 16)).setTo(30);
  }
  return picture;
}

Corners shifted(Corners corners, float right) {
  for (cv::Point2f& corner : corners) corner.x += right;
  return corners;
}

TEST_F(SeenCase, HasASuspectBoxWithoutWritingAndReadings) {
  EXPECT_EQ(suspect_place(see_place(run(), 0), true).box, Finding::kSuspect);
  EXPECT_EQ(suspect_place(see_place(run(), 0), false).box, Finding::kUntold);
  write("plate_roi.jpg", written_crop(22, 100));
  EXPECT_EQ(suspect_place(see_place(run(), 0), true).box, Finding::kUntold);
}

class WrittenCase : public SeenCase {
 protected:
  void write_crop(const cv::Mat& picture, const Corners& corners) const {
    write("plate_roi.jpg", picture);
    write("corner_debug.jpg", with_corners(picture.clone(), corners));
  }

  Finding box() const { return suspect_place(see_place(run(), 0), false).box; }
  Finding corners() const { return suspect_place(see_place(run(), 0), false).corners; }
};

TEST_F(WrittenCase, HasNothingSuspectAroundAllWriting) {
  write_crop(written_crop(22, 100), kPlate);
  EXPECT_EQ(box(), Finding::kUntold);
  EXPECT_EQ(corners(), Finding::kUntold);
}

// The box began in the middle of the plate, and the corners are right.
TEST_F(WrittenCase, HasASuspectBoxWhoseRimCutsTheWriting) {
  write_crop(written_crop(0, 84), {cv::Point2f(0, 12), {88, 10}, {89, 56}, {0, 60}});
  EXPECT_EQ(box(), Finding::kSuspect);
  EXPECT_EQ(corners(), Finding::kUntold);
}

// The same corners, and a plate that lies within the box.
TEST_F(WrittenCase, HasSuspectCornersWhereOnlyTheyReachTheRim) {
  write_crop(written_crop(22, 100), {cv::Point2f(0, 12), {88, 10}, {89, 56}, {0, 60}});
  EXPECT_EQ(box(), Finding::kUntold);
  EXPECT_EQ(corners(), Finding::kSuspect);
}

// The plate lies within the box, whose rim cuts a grille; the corners lie a ninth of it off.
TEST_F(WrittenCase, HasSuspectCornersBesideAGrille) {
  cv::Mat picture = written_crop(22, 100);
  for (int y = 10; y < 60; y += 7) picture(cv::Rect(0, y, 5, 3)).setTo(30);
  write_crop(picture, shifted(kPlate, -10));
  EXPECT_EQ(box(), Finding::kUntold);
  EXPECT_EQ(corners(), Finding::kSuspect);
}

TEST_F(WrittenCase, HasSuspectCornersThatLeaveWritingOut) {
  write_crop(written_crop(22, 100), shifted(kPlate, 5.5F));
  EXPECT_EQ(corners(), Finding::kUntold);
  write_crop(written_crop(15, 93), shifted(kPlate, 5.5F));
  EXPECT_EQ(corners(), Finding::kSuspect);
}

TEST_F(WrittenCase, HasSuspectCornersThatTheRimHides) {
  write_crop(written_crop(22, 100), {cv::Point2f(0, 0), {119, 0}, {119, 69}, {0, 69}});
  ASSERT_TRUE(see_place(run(), 0).corners_hidden);
  EXPECT_EQ(corners(), Finding::kSuspect);
  EXPECT_EQ(judge_place(see_place(run(), 0), {1, 1, std::nullopt}).corners, Finding::kSuspect);
  write_crop(written_crop(0, 90), {cv::Point2f(0, 0), {119, 0}, {119, 69}, {0, 69}});
  EXPECT_EQ(box(), Finding::kSuspect);
}

// No detector looked for the plate in it.
class WrittenPicture : public WrittenCase {
 protected:
  WrittenPicture() { dir_.remove("cases/1/plate_det_debug.jpg"); }
};

TEST_F(WrittenPicture, MayBeFilledByItsPlate) {
  write_crop(written_crop(22, 100), {cv::Point2f(0, 0), {119, 0}, {119, 69}, {0, 69}});
  const SeenPlace place = see_place(run(), 0);
  ASSERT_TRUE(place.corners_hidden);
  EXPECT_EQ(suspect_place(place, false).corners, Finding::kUntold);
  EXPECT_EQ(judge_place(place, {1, 1, std::nullopt}).corners, Finding::kUntold);
}

TEST_F(WrittenPicture, HasSuspectCornersThatReachOneRimAlone) {
  write_crop(written_crop(22, 100), {cv::Point2f(20, 9), {119, 0}, {119, 69}, {20, 60}});
  EXPECT_EQ(corners(), Finding::kSuspect);
}

TEST_F(WrittenPicture, HasSuspectCornersThatLeaveWritingOut) {
  write_crop(written_crop(22, 100), shifted(kPlate, 5.5F));
  EXPECT_EQ(corners(), Finding::kUntold);
  write_crop(written_crop(15, 93), shifted(kPlate, 5.5F));
  EXPECT_EQ(corners(), Finding::kSuspect);
}

TEST_F(WrittenCase, HasASuspectBoxThatNoPlateFits) {
  write("plate_roi.jpg", gradient_image(120, 24));
  EXPECT_EQ(box(), Finding::kSuspect);
}

TEST(Strokes, AreFoundWhereTheyReachARim) {
  const Sides none = strokes_on_rim(find_strokes(written_crop(22, 100)));
  EXPECT_THAT(none, testing::Each(0.0));
  const Sides left = strokes_on_rim(find_strokes(written_crop(0, 90)));
  // 28 of the crop's 70 rows, of which the middle 56 count.
  EXPECT_NEAR(left[kLeft], 0.5, 0.08);
  EXPECT_EQ(left[kRight] + left[kTop] + left[kBottom], 0);
}

TEST(Strokes, AreFoundBeyondThePlatesSides) {
  const Sides left = strokes_beyond(find_strokes(written_crop(5, 90)), kPlate, kCrop);
  EXPECT_GT(left[kLeft], 0.4);
  EXPECT_EQ(left[kRight], 0);
}

TEST_F(WrittenCase, HasSuspectCornersThatMakeNoPlate) {
  write_crop(written_crop(22, 100), {cv::Point2f(20, 20), {44, 20}, {104, 60}, {20, 60}});
  EXPECT_EQ(corners(), Finding::kSuspect);
  EXPECT_EQ(suspect_place(see_place(run(), 0), true).corners, Finding::kSuspect);
}

TEST_F(SeenCase, IsUnknownWithoutPictures) {
  dir_.remove("cases");
  const PlaceFinding finding = suspect_place(see_place(run(), 0), true);
  EXPECT_FALSE(finding.whole_picture);
  EXPECT_EQ(finding.box, Finding::kUntold);
  EXPECT_EQ(finding.corners, Finding::kUntold);
  EXPECT_FALSE(measure_place(run(), 0, see_place(run(), 0), kTrue).has_value());
}

TEST(PictureSize, IsThatOfTheJpegFile) {
  const OutputDir dir;
  const std::string path = dir.write("a.jpg", jpeg_of(gradient_image(123, 45)));
  EXPECT_EQ(picture_size(path), cv::Size(123, 45));
  const std::string head = dir.read("a.jpg").substr(0, 40);
  EXPECT_FALSE(picture_size(dir.write("cut.jpg", head)));
  EXPECT_FALSE(picture_size(dir.write("text.jpg", "no picture")));
  EXPECT_FALSE(picture_size(dir.path("none.jpg")));
}

}  // namespace
}  // namespace kavrel::report
