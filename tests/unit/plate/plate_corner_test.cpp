#include "plate/plate_corner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "plate/image_prep.h"
#include "tests/support/pictures.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::failure_of;
using kavrel_test::grey_row;
using kavrel_test::inputs_of;
using kavrel_test::noise_image;
using kavrel_test::row_values;
using kavrel_test::RuntimeLog;
using kavrel_test::same_pictures;
using kavrel_test::same_pixels;
using kavrel_test::ScriptedModel;
using testing::ElementsAre;
using testing::StartsWith;

using Corners = std::vector<cv::Point2f>;

std::string corner_script(const std::string& values, int count = 8) {
  return "name corner\ninput image 1,3,128,256\noutput corners 1," + std::to_string(count) +
         "\nanswer * 0 floats " + values + "\n";
}

// The corners in an image of 200 x 100 pixels.
Corners corners_of(const std::string& script) {
  ScriptedModel model(script);
  return run_plate_corner(model.get(), noise_image(200, 100));
}

TEST(PlateCorners, AreFractionsOfTheImageClampedToItsLastPixels) {
  EXPECT_EQ(corners_of(corner_script("0 0 1 0 1 1 0 1")),
            (Corners{{0, 0}, {199, 0}, {199, 99}, {0, 99}}));
}

TEST(PlateCorners, ArePixelsOfTheImageClampedToItsLastPixels) {
  EXPECT_EQ(corners_of(corner_script("10 5 300 5 300 130 10 80")),
            (Corners{{10, 5}, {199, 5}, {199, 99}, {10, 80}}));
}

TEST(PlateCorners, KeepTheirFractionOfAPixel) {
  EXPECT_EQ(corners_of(corner_script("0.126953125 0.126953125 10.75 5.25 50.5 3.5 0.5 4.25")),
            (Corners{{25.390625F, 12.6953125F}, {10.75F, 5.25F}, {50.5F, 3.5F}, {0.5F, 4.25F}}));
}

TEST(PlateCorners, AreFractionsUpToTwoPointByPoint) {
  // x and y of a point are tested together: either of them above 2 makes both pixels.
  EXPECT_EQ(corners_of(corner_script("2 2 2.001 1.5 1.5 2.001 0.5 0.25")),
            (Corners{{199, 99}, {2.001F, 1.5F}, {1.5F, 2.001F}, {100, 25}}));
}

TEST(PlateCorners, AreClampedToTheFirstPixels) {
  EXPECT_EQ(corners_of(corner_script("-0.5 -0.5 -10 50 50 -10 -1e30 -inf")),
            (Corners{{0, 0}, {0, 50}, {50, 0}, {0, 0}}));
}

TEST(PlateCorners, StayInsideTheImageForValuesThatAreNoPlace) {
  EXPECT_EQ(corners_of(corner_script("inf inf 1e30 -1e30 nan 0.5 0.5 nan")),
            (Corners{{199, 99}, {199, 0}, {199, 0.5F}, {0.5F, 99}}));
}

TEST(PlateCorners, KeepTheNetworksOrder) {
  EXPECT_EQ(corners_of(corner_script("90 80 10 80 90 5 10 5")),
            (Corners{{90, 80}, {10, 80}, {90, 5}, {10, 5}}));
}

TEST(PlateCorners, AreTheFirstEightValuesOfTheFirstOutput) {
  EXPECT_EQ(corners_of(corner_script("10 5 90 5 90 80 10 80 70 60 50", 11) +
                       "output other 1,8\nanswer * 1 floats 1 2 3 4 5 6 7 8\n"),
            (Corners{{10, 5}, {90, 5}, {90, 80}, {10, 80}}));
}

TEST(PlateCorners, NeedEightValues) {
  for (const std::string& script :
       {corner_script("10 5 90 5 90 80 10", 7), std::string("name corner\ninput image 1,3,8,8\n"),
        std::string("name corner\ninput image 1,3,8,8\noutput none 1,0\n"),
        corner_script("10 5 90 5 90 80 10", 7) + "output other 1,8\n"}) {
    SCOPED_TRACE(script);
    EXPECT_EQ(failure_of([&] { corners_of(script); }), "plate_corner output invalid");
  }
}

TEST(PlateCorners, PassTheNetworksFailureOn) {
  EXPECT_THAT(failure_of([] { corners_of(corner_script("1") + "fail outputs_get 1 -1\n"); }),
              StartsWith("rknn_outputs_get failed: "));
}

TEST(PlateCorners, ComeFromTheImageStretchedTo256x128WhateverTheInputSays) {
  for (const char* dims : {"1,3,128,256", "1,3,8,8", "-"}) {
    SCOPED_TRACE(dims);
    const RuntimeLog log;
    ScriptedModel model(std::string("name corner\ninput image ") + dims + "\noutput o 1,8\n");
    run_plate_corner(model.get(), noise_image(200, 100));
    EXPECT_TRUE(same_pictures(inputs_of(log.inputs("corner"), {256, 128}),
                              {bgr_to_rgb_resized(noise_image(200, 100), 256, 128)}));
  }
}

TEST(PlateCorners, LieOnTheOnlyPixelOfTheSmallestImage) {
  ScriptedModel model(corner_script("0 0 1 0 1 1 300 200"));
  EXPECT_EQ(run_plate_corner(model.get(), noise_image(1, 1)),
            (Corners{{0, 0}, {0, 0}, {0, 0}, {0, 0}}));
}

TEST(WarpPlate, ReturnsTheImageForItsOwnCornersAndSize) {
  const Corners corners = {{0, 0}, {199, 0}, {199, 99}, {0, 99}};
  const cv::Mat plate = warp_plate(noise_image(200, 100), corners, 200, 100);
  EXPECT_TRUE(same_pixels(plate, noise_image(200, 100)));
}

TEST(WarpPlate, CutsTheQuadrilateralOut) {
  const Corners corners = {{20, 10}, {59, 10}, {59, 39}, {20, 39}};
  const cv::Mat plate = warp_plate(noise_image(200, 100), corners, 40, 30);
  EXPECT_TRUE(same_pixels(plate, noise_image(200, 100)(cv::Rect(20, 10, 40, 30))));
}

TEST(WarpPlate, TakesTheCornersClockwiseFromTheTopLeft) {
  cv::Mat turned;
  cv::rotate(noise_image(20, 10), turned, cv::ROTATE_90_COUNTERCLOCKWISE);
  const Corners from_the_top_right = {{19, 0}, {19, 9}, {0, 9}, {0, 0}};
  EXPECT_TRUE(same_pixels(warp_plate(noise_image(20, 10), from_the_top_right, 10, 20), turned));
}

TEST(WarpPlate, HasTheSizeThatIsAskedFor) {
  const Corners corners = {{0, 0}, {199, 3}, {190, 99}, {5, 90}};
  const cv::Mat plate = warp_plate(noise_image(200, 100), corners, 320, 96);
  EXPECT_EQ(plate.size(), cv::Size(320, 96));
  EXPECT_EQ(plate.type(), CV_8UC3);
}

TEST(WarpPlate, InterpolatesLinearly) {
  cv::Mat image;
  cv::repeat(grey_row({0, 200}), 2, 1, image);
  const cv::Mat plate = warp_plate(image, {{0, 0}, {1, 0}, {1, 1}, {0, 1}}, 5, 2);
  EXPECT_THAT(row_values(plate, 1, 0), ElementsAre(0, 50, 100, 150, 200));
}

TEST(WarpPlate, MapsAPerspective) {
  // The middle of the plate is where the diagonals of the quadrilateral cross, at (5, 4); the mean
  // of its corners is (5, 5).
  cv::Mat image(11, 11, CV_8UC3, cv::Scalar::all(0));
  image.at<cv::Vec3b>(4, 5) = {240, 240, 240};
  const cv::Mat plate = warp_plate(image, {{3, 2}, {7, 2}, {11, 8}, {-1, 8}}, 101, 101);
  double brightest = 0.0;
  cv::Mat grey;
  cv::extractChannel(plate, grey, 0);
  cv::minMaxLoc(grey, nullptr, &brightest);
  EXPECT_EQ(brightest, 240);
}

TEST(WarpPlate, RepeatsTheBorderBeyondTheImage) {
  cv::Mat image;
  cv::repeat(grey_row({70, 100, 130, 160}), 4, 1, image);
  const cv::Mat plate = warp_plate(image, {{-2, 0}, {5, 0}, {5, 3}, {-2, 3}}, 8, 4);
  for (int y = 0; y < 4; ++y) {
    EXPECT_THAT(row_values(plate, y, 1), ElementsAre(70, 70, 70, 100, 130, 160, 160, 160));
  }
}

TEST(WarpPlate, GivesAPictureForCornersThatCollapse) {
  const Corners corners(4, {10, 10});
  EXPECT_EQ(warp_plate(noise_image(20, 20), corners, 320, 96).size(), cv::Size(320, 96));
}

TEST(WarpPlate, PassesTheLibrarysErrorOnForAnotherNumberOfCorners) {
  EXPECT_THROW(warp_plate(noise_image(20, 20), {{0, 0}, {9, 0}, {9, 9}}, 320, 96), cv::Exception);
  EXPECT_THROW(warp_plate(noise_image(20, 20), {}, 320, 96), cv::Exception);
}

TEST(WarpPlate, LeavesItsInputUntouched) {
  const cv::Mat image = noise_image(20, 20);
  cv::Mat plate = warp_plate(image, {{0, 0}, {19, 0}, {19, 19}, {0, 19}}, 20, 20);
  plate.setTo(cv::Scalar::all(0));
  EXPECT_TRUE(same_pixels(image, noise_image(20, 20)));
}

}  // namespace
}  // namespace kavrel
