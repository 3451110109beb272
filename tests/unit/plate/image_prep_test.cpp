#include "plate/image_prep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

#include "tests/support/floats.h"
#include "tests/support/pictures.h"

namespace kavrel {
namespace {

using kavrel_test::channels_reversed;
using kavrel_test::coordinate_image;
using kavrel_test::grey_row;
using kavrel_test::kInf;
using kavrel_test::kNaN;
using kavrel_test::noise_image;
using kavrel_test::plain_image;
using kavrel_test::row_values;
using kavrel_test::same_pixels;
using testing::ElementsAre;

TEST(BgrToRgbResized, GivesTheRedChannelFirst) {
  const cv::Mat image = plain_image(1280, 720, {10, 20, 30});
  const cv::Mat rgb = bgr_to_rgb_resized(image, 640, 640);
  EXPECT_TRUE(same_pixels(rgb, plain_image(640, 640, {30, 20, 10})));
}

TEST(BgrToRgbResized, TakesTheWidthBeforeTheHeight) {
  const cv::Mat image = noise_image(9, 9);
  const cv::Mat rgb = bgr_to_rgb_resized(image, 7, 5);
  EXPECT_EQ(rgb.size(), cv::Size(7, 5));
}

TEST(BgrToRgbResized, StretchesTheImageToEveryEdge) {
  const cv::Mat source = channels_reversed(noise_image(2, 2));
  const cv::Mat rgb = bgr_to_rgb_resized(noise_image(2, 2), 64, 40);
  EXPECT_EQ(rgb.at<cv::Vec3b>(0, 0), source.at<cv::Vec3b>(0, 0));
  EXPECT_EQ(rgb.at<cv::Vec3b>(0, 63), source.at<cv::Vec3b>(0, 1));
  EXPECT_EQ(rgb.at<cv::Vec3b>(39, 0), source.at<cv::Vec3b>(1, 0));
  EXPECT_EQ(rgb.at<cv::Vec3b>(39, 63), source.at<cv::Vec3b>(1, 1));
}

TEST(BgrToRgbResized, InterpolatesLinearly) {
  const cv::Mat image = grey_row({0, 200});
  const cv::Mat rgb = bgr_to_rgb_resized(image, 4, 1);
  EXPECT_THAT(row_values(rgb, 0, 0), ElementsAre(0, 50, 150, 200));
}

// A third of the width: pixel x lies at (x + 0.5) x 3 - 0.5 = 3 x + 1, so it is one pixel of the
// image and no mean of several.
TEST(BgrToRgbResized, ShrinksWithoutAveraging) {
  const cv::Mat row = grey_row({0, 60, 240, 30, 90, 200});
  EXPECT_THAT(row_values(bgr_to_rgb_resized(row, 2, 1), 0, 0), ElementsAre(60, 90));
  const cv::Mat column = bgr_to_rgb_resized(row.t(), 1, 2);
  EXPECT_THAT(row_values(column.t(), 0, 0), ElementsAre(60, 90));
}

TEST(BgrToRgbResized, EnlargesASinglePixel) {
  const cv::Mat rgb = bgr_to_rgb_resized(plain_image(1, 1, {1, 2, 3}), 5, 4);
  EXPECT_TRUE(same_pixels(rgb, plain_image(5, 4, {3, 2, 1})));
}

TEST(MakeGrayBgr, WeighsTheColoursAsTheEyeDoes) {
  struct Colour {
    cv::Scalar bgr;
    int grey;
  };
  for (const Colour& colour : {Colour{{255, 0, 0}, 29}, Colour{{0, 255, 0}, 150},
                               Colour{{0, 0, 255}, 76}, Colour{{255, 255, 255}, 255}}) {
    SCOPED_TRACE(colour.bgr);
    const cv::Mat gray = make_gray_bgr(plain_image(3, 2, colour.bgr));
    EXPECT_TRUE(same_pixels(gray, plain_image(3, 2, cv::Scalar::all(colour.grey))));
  }
}

TEST(MakeGrayBgr, GivesThreeEqualChannels) {
  const cv::Mat gray = make_gray_bgr(noise_image(31, 17));
  ASSERT_EQ(gray.type(), CV_8UC3);
  EXPECT_TRUE(same_pixels(gray, channels_reversed(gray)));
  EXPECT_EQ(row_values(gray, 16, 0), row_values(gray, 16, 1));
}

// A dull picture with a colour cast, brighter to the right.
cv::Mat dull_image() {
  const cv::Mat noise = noise_image(320, 96);
  cv::Mat image(noise.size(), CV_8UC3);
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      const int light = 90 + x / 16 + noise.at<cv::Vec3b>(y, x)[0] / 12;
      image.at<cv::Vec3b>(y, x) = {cv::saturate_cast<unsigned char>(light - 8),
                                   cv::saturate_cast<unsigned char>(light),
                                   cv::saturate_cast<unsigned char>(light + 12)};
    }
  }
  return image;
}

cv::Mat lab_plane(const cv::Mat& bgr, int plane) {
  cv::Mat lab;
  cv::cvtColor(bgr, lab, cv::COLOR_BGR2Lab);
  cv::Mat values;
  cv::extractChannel(lab, values, plane);
  return values;
}

// Stripes of 32 columns, in turn with the grey levels 60 to 91 and 160 to 191, one level per row,
// the lowest at the top, eight times over.
cv::Mat striped_image() {
  cv::Mat image(256, 256, CV_8UC3);
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      const auto level = static_cast<unsigned char>((x / 32 % 2 == 0 ? 60 : 160) + y % 32);
      image.at<cv::Vec3b>(y, x) = {level, level, level};
    }
  }
  return image;
}

// Each of 8 x 8 tiles has 32 x 32 = 1024 pixels, 32 of each of its levels. A limit of 2 leaves
// 2 x 1024 / 256 = 8 of each, and spreads the other 32 x 24 = 768 over the 256 levels of lightness,
// 3 for each. So the k-th level of a tile, counted from 1, with a lightness of L, becomes
// (3 (L + 1) + 8 k) x 255 / 1024. The lightness of grey is 255 / 100 of CIE's L*:
//   grey  60, k =  1: L =  64.6, becomes  51.0, grey  48
//   grey  76, k = 17: L =  82.4, becomes  96.2, grey  89
//   grey  91, k = 32: L =  98.6, becomes 138.1, grey 130
//   grey 160, k =  1: L = 168.0, becomes 128.2, grey 120
//   grey 176, k = 17: L = 183.2, becomes 171.5, grey 164
//   grey 191, k = 32: L = 197.2, becomes 211.8, grey 207
// In the middle of a stripe the neighbours' tiles do not count. The same picture on its side shows
// that tiles have the same height as width.
TEST(MakeClaheBgr, EqualisesTheLightnessWithinTiles) {
  const cv::Mat upright = make_clahe_bgr(striped_image());
  const cv::Mat on_its_side = make_clahe_bgr(striped_image().t()).t();
  for (const cv::Mat& equalised : {upright, on_its_side}) {
    const std::vector<std::pair<cv::Point, int>> expected = {{{80, 96}, 48},    {{80, 112}, 89},
                                                             {{80, 127}, 130},  {{112, 96}, 120},
                                                             {{112, 112}, 164}, {{112, 127}, 207}};
    for (const auto& [place, level] : expected) {
      const auto pixel = equalised.at<cv::Vec3b>(place);
      for (int channel = 0; channel < 3; ++channel) EXPECT_NEAR(pixel[channel], level, 3) << place;
    }
  }
}

TEST(MakeClaheBgr, KeepsTheColours) {
  const cv::Mat equalised = make_clahe_bgr(dull_image());
  for (const int plane : {1, 2}) {
    EXPECT_TRUE(same_pixels(lab_plane(equalised, plane), lab_plane(dull_image(), plane), 2.0));
  }
}

TEST(MakeClaheBgr, TakesImagesSmallerThanTheTileGrid) {
  for (const cv::Size& size : {cv::Size(1, 1), cv::Size(1, 30), cv::Size(30, 1), cv::Size(9, 7)}) {
    const cv::Mat equalised = make_clahe_bgr(noise_image(size.width, size.height));
    EXPECT_EQ(equalised.size(), size);
    EXPECT_EQ(equalised.type(), CV_8UC3);
  }
}

// A Gaussian of sigma 1 over seven pixels weighs 0.3991, 0.2420, 0.0540 and 0.0044 from the middle
// outwards. Blurred, one pixel of 200 on 100 is 100 + 100 x 0.3991 x 0.3991 = 115.9, its neighbour
// 100 + 100 x 0.3991 x 0.2420 = 109.7, the one across the corner 105.9, the next but one in the row
// 102.2. Then 1.6 x 200 - 0.6 x 115.9 = 250, 160 - 0.6 x 109.7 = 94, 96 and 99.
TEST(MakeSharpenBgr, SubtractsTheBlurredImageChannelByChannel) {
  cv::Mat image = plain_image(15, 15, cv::Scalar::all(100));
  image.at<cv::Vec3b>(7, 7)[0] = 200;
  const cv::Mat sharpened = make_sharpen_bgr(image);
  EXPECT_EQ(sharpened.at<cv::Vec3b>(7, 7), cv::Vec3b(250, 100, 100));
  for (const cv::Point& beside :
       {cv::Point(6, 7), cv::Point(8, 7), cv::Point(7, 6), cv::Point(7, 8)}) {
    EXPECT_EQ(sharpened.at<cv::Vec3b>(beside), cv::Vec3b(94, 100, 100)) << beside;
  }
  EXPECT_EQ(sharpened.at<cv::Vec3b>(8, 8), cv::Vec3b(96, 100, 100));
  EXPECT_EQ(sharpened.at<cv::Vec3b>(7, 9), cv::Vec3b(99, 100, 100));
}

// Beyond its edge the image is mirrored without the outermost pixel: blurred, that pixel of 200 is
// 100 + 100 x 0.3991 = 139.9, and 320 - 0.6 x 139.9 = 236.
TEST(MakeSharpenBgr, MirrorsTheImageBeyondItsEdge) {
  const cv::Mat image = grey_row({200, 100, 100, 100, 100, 100, 100, 100});
  EXPECT_EQ(row_values(make_sharpen_bgr(image), 0, 1)[0], 236);
}

TEST(MakeSharpenBgr, LeavesAPlainImageAsItIs) {
  const cv::Mat image = plain_image(9, 9, {10, 100, 200});
  EXPECT_TRUE(same_pixels(make_sharpen_bgr(image), image));
}

TEST(MakeSharpenBgr, SaturatesAtAnEdge) {
  const cv::Mat image = grey_row({10, 10, 10, 10, 245, 245, 245, 245});
  const std::vector<int> sharpened = row_values(make_sharpen_bgr(image), 0, 1);
  EXPECT_EQ(sharpened[3], 0);
  EXPECT_EQ(sharpened[4], 255);
}

// A row of pixels of these colours.
cv::Mat colour_row(const std::vector<cv::Vec3b>& colours) {
  return cv::Mat(colours).reshape(3, 1).clone();
}

const cv::Vec3b kBlue(255, 0, 0);   // of grey 29
const cv::Vec3b kGreen(0, 255, 0);  // 150
const cv::Vec3b kRed(0, 0, 255);    // 76
const cv::Vec3b kWhite(255, 255, 255);

TEST(MakeOtsuBgr, TellsTheBrighterPixelsFromTheDarkerOnes) {
  const cv::Mat dark = make_otsu_bgr(colour_row({kBlue, kRed, kRed, kBlue}));
  EXPECT_THAT(row_values(dark, 0, 0), ElementsAre(0, 255, 255, 0));
  EXPECT_TRUE(same_pixels(dark, channels_reversed(dark)));
  const cv::Mat bright = make_otsu_bgr(colour_row({kGreen, kWhite, kWhite, kGreen}));
  EXPECT_THAT(row_values(bright, 0, 1), ElementsAre(0, 255, 255, 0));
}

// Six pixels of 29, one of 76 and one of 150. Divided above 76 the parts have the means 35.7 and
// 150, and 7 x 1 x (150 - 35.7)^2 = 91,429; divided above 29 it is 6 x 2 x (113 - 29)^2 = 84,672,
// although the mean of all, 50, lies there.
TEST(MakeOtsuBgr, DividesWhereThePartsDifferMost) {
  const cv::Mat image = colour_row({kBlue, kBlue, kRed, kBlue, kGreen, kBlue, kBlue, kBlue});
  EXPECT_THAT(row_values(make_otsu_bgr(image), 0, 2), ElementsAre(0, 0, 0, 0, 255, 0, 0, 0));
}

TEST(Enlarge, InterpolatesCubically) {
  const cv::Mat image = grey_row({100, 100, 100, 100, 164, 100, 100, 100, 100});
  const std::vector<int> row = row_values(enlarge(image, 2.0), 0, 2);
  const std::vector<int> around_the_peak(row.begin() + 4, row.begin() + 14);
  EXPECT_THAT(around_the_peak, ElementsAre(100, 98, 93, 117, 156, 156, 117, 93, 98, 100));
}

TEST(Enlarge, TakesTheFactorInBothDirections) {
  EXPECT_EQ(enlarge(noise_image(10, 6), 2.0).size(), cv::Size(20, 12));
  EXPECT_EQ(enlarge(noise_image(10, 6), 3.5).size(), cv::Size(35, 21));
}

struct Crop {
  std::array<float, 4> fractions;  // x0, y0, x1, y1
  cv::Rect expected;
};

void expect_crops(const cv::Size& size, const std::vector<Crop>& crops) {
  const cv::Mat image = coordinate_image(size.width, size.height);
  for (const Crop& crop : crops) {
    const auto& [x0, y0, x1, y1] = crop.fractions;
    SCOPED_TRACE(testing::Message() << x0 << " " << y0 << " " << x1 << " " << y1);
    EXPECT_TRUE(same_pixels(crop_ratio(image, x0, y0, x1, y1), image(crop.expected)));
  }
}

TEST(CropRatio, TakesFractionsOfWidthAndHeight) {
  expect_crops({100, 50}, {{{0.0F, 0.0F, 1.0F, 1.0F}, {0, 0, 100, 50}},
                           {{0.25F, 0.5F, 0.75F, 1.0F}, {25, 25, 50, 25}}});
}

TEST(CropRatio, RoundsTheStartDownAndTheEndUp) {
  expect_crops({100, 50}, {{{0.259F, 0.0F, 0.301F, 1.0F}, {25, 0, 6, 50}},
                           {{0.0F, 0.259F, 1.0F, 0.501F}, {0, 12, 100, 14}}});
}

TEST(CropRatio, MultipliesInSinglePrecision) {
  // In double precision 100 x 0.38F is below 38 and 100 x 0.28F is above 28.
  expect_crops({100, 100}, {{{0.38F, 0.38F, 1.0F, 1.0F}, {38, 38, 62, 62}},
                            {{0.0F, 0.0F, 0.28F, 0.28F}, {0, 0, 28, 28}}});
}

TEST(CropRatio, GivesOnePixelForAnEmptyOrInvertedRange) {
  expect_crops({100, 50}, {{{0.8F, 0.0F, 0.2F, 1.0F}, {80, 0, 1, 50}},
                           {{0.0F, 0.8F, 1.0F, 0.2F}, {0, 40, 100, 1}},
                           {{0.5F, 0.5F, 0.5F, 0.5F}, {50, 25, 1, 1}}});
}

TEST(CropRatio, StartsInsideTheImage) {
  expect_crops({100, 50}, {{{1.0F, 0.0F, 1.0F, 1.0F}, {99, 0, 1, 50}},
                           {{0.0F, 1.0F, 1.0F, 1.0F}, {0, 49, 100, 1}},
                           {{-0.5F, -0.5F, 0.5F, 0.5F}, {0, 0, 50, 25}}});
}

TEST(CropRatio, EndsWithTheImage) {
  expect_crops({100, 50}, {{{0.5F, 0.5F, 7.0F, 7.0F}, {50, 25, 50, 25}},
                           {{0.5F, 0.5F, -7.0F, -7.0F}, {50, 25, 1, 1}}});
}

TEST(CropRatio, StaysInsideForFractionsBeyondAnyImage) {
  expect_crops({100, 50}, {{{-1e30F, -kInf, 1e30F, kInf}, {0, 0, 100, 50}},
                           {{1e30F, kInf, -1e30F, -kInf}, {99, 49, 1, 1}},
                           {{kNaN, kNaN, kNaN, kNaN}, {99, 49, 1, 1}}});
}

TEST(CropRatio, FindsAPixelInTheSmallestImages) {
  expect_crops({1, 1}, {{{0.0F, 0.0F, 1.0F, 1.0F}, {0, 0, 1, 1}},
                        {{0.28F, 0.38F, 1.0F, 1.0F}, {0, 0, 1, 1}},
                        {{1.0F, 1.0F, 0.0F, 0.0F}, {0, 0, 1, 1}}});
  expect_crops({1, 40}, {{{0.28F, 0.5F, 1.0F, 1.0F}, {0, 20, 1, 20}}});
  expect_crops({40, 1}, {{{0.5F, 0.38F, 1.0F, 1.0F}, {20, 0, 20, 1}}});
}

TEST(CropRatio, CopiesThePixels) {
  cv::Mat image = noise_image(20, 10);
  const cv::Mat crop = crop_ratio(image, 0.0F, 0.0F, 1.0F, 1.0F);
  image.setTo(cv::Scalar::all(0));
  EXPECT_TRUE(same_pixels(crop, noise_image(20, 10)));
}

using Preparation = std::function<cv::Mat(const cv::Mat&)>;

std::vector<Preparation> all_preparations() {
  return {[](const cv::Mat& image) { return bgr_to_rgb_resized(image, image.cols, image.rows); },
          make_gray_bgr,
          make_clahe_bgr,
          make_sharpen_bgr,
          make_otsu_bgr,
          [](const cv::Mat& image) { return enlarge(image, 2.0); },
          [](const cv::Mat& image) { return crop_ratio(image, 0.0F, 0.0F, 1.0F, 1.0F); }};
}

TEST(ImagePreparation, LeavesItsInputUntouched) {
  for (const Preparation& prepare : all_preparations()) {
    const cv::Mat image = noise_image(33, 21);
    cv::Mat result = prepare(image);
    result.setTo(cv::Scalar::all(0));
    EXPECT_TRUE(same_pixels(image, noise_image(33, 21)));
  }
}

TEST(ImagePreparation, PassesTheLibrarysErrorOnForAnEmptyImage) {
  for (const Preparation& prepare : all_preparations()) {
    EXPECT_THROW(prepare(cv::Mat()), cv::Exception);
  }
}

TEST(AreFractions, AreBothAtMostTwo) {
  EXPECT_TRUE(are_fractions(0.5F, 0.25F));
  EXPECT_TRUE(are_fractions(2.0F, 2.0F));
  EXPECT_TRUE(are_fractions(-1e30F, -kInf));
  EXPECT_FALSE(are_fractions(2.001F, 0.5F));
  EXPECT_FALSE(are_fractions(0.5F, 2.001F));
  EXPECT_FALSE(are_fractions(kNaN, 0.5F));
  EXPECT_FALSE(are_fractions(0.5F, kNaN));
}

TEST(ClampFloat, KeepsWhatLiesBetweenItsBounds) {
  EXPECT_EQ(clamp_float(4.5F, 1.0F, 9.0F), 4.5F);
  EXPECT_EQ(clamp_float(0.5F, 1.0F, 9.0F), 1.0F);
  EXPECT_EQ(clamp_float(9.5F, 1.0F, 9.0F), 9.0F);
  EXPECT_EQ(clamp_float(-kInf, 1.0F, 9.0F), 1.0F);
  EXPECT_EQ(clamp_float(kInf, 1.0F, 9.0F), 9.0F);
}

TEST(ClampFloat, GivesTheUpperBoundForNoNumber) { EXPECT_EQ(clamp_float(kNaN, 1.0F, 9.0F), 9.0F); }

TEST(ClampFloat, PrefersTheLowerOfCrossedBounds) {
  EXPECT_EQ(clamp_float(5.0F, 3.0F, 1.0F), 3.0F);
  EXPECT_EQ(clamp_float(kNaN, 3.0F, 1.0F), 3.0F);
}

TEST(Sigmoid, IsTheLogisticFunction) {
  EXPECT_EQ(sigmoid(0.0F), 0.5F);
  EXPECT_NEAR(sigmoid(2.0F), 0.880797F, 1e-6F);
  EXPECT_NEAR(sigmoid(-2.0F), 0.119203F, 1e-6F);
}

TEST(Sigmoid, ReachesItsLimits) {
  EXPECT_EQ(sigmoid(kInf), 1.0F);
  EXPECT_EQ(sigmoid(-kInf), 0.0F);
  EXPECT_EQ(sigmoid(1e30F), 1.0F);
  EXPECT_EQ(sigmoid(-1e30F), 0.0F);
  EXPECT_TRUE(std::isnan(sigmoid(kNaN)));
}

TEST(Sigmoid, OverflowsInSinglePrecision) { EXPECT_EQ(sigmoid(-89.0F), 0.0F); }

}  // namespace
}  // namespace kavrel
