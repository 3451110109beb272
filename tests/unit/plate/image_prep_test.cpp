#include "plate/image_prep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "plate/pictures.h"

namespace kavrel {
namespace {

using kavrel_test::channels_reversed;
using kavrel_test::coordinate_image;
using kavrel_test::grey_row;
using kavrel_test::noise_image;
using kavrel_test::plain_image;
using kavrel_test::row_values;
using kavrel_test::same_pixels;
using testing::ElementsAre;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

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

// A network compares by the bit: no rounding of another way of interpolating will do.
TEST(BgrToRgbResized, MatchesThePlainStretchInEveryPixel) {
  for (const cv::Size& size : {cv::Size(640, 640), cv::Size(256, 128), cv::Size(3, 640)}) {
    SCOPED_TRACE(size);
    const cv::Mat rgb = bgr_to_rgb_resized(noise_image(101, 67), size.width, size.height);
    EXPECT_TRUE(same_pixels(
        rgb, kavrel_test::stretched_rgb(noise_image(101, 67), size.width, size.height)));
  }
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

// A dull picture with a colour cast, brighter to the right, and large enough for the clip limit to
// tell: a tile's histogram is clipped at whole pixels.
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

TEST(MakeClaheBgr, EqualisesTheLightnessWithinTiles) {
  cv::Mat lab;
  cv::cvtColor(dull_image(), lab, cv::COLOR_BGR2Lab);
  cv::Mat lightness;
  const cv::Ptr<cv::CLAHE> clahe = cv::createCLAHE();
  clahe->setClipLimit(2.0);
  clahe->setTilesGridSize({8, 8});
  clahe->apply(lab_plane(dull_image(), 0), lightness);
  cv::insertChannel(lightness, lab, 0);
  cv::Mat expected;
  cv::cvtColor(lab, expected, cv::COLOR_Lab2BGR);
  EXPECT_TRUE(same_pixels(make_clahe_bgr(dull_image()), expected));
}

TEST(MakeClaheBgr, WidensTheRangeOfADullPicture) {
  const auto range = [](const cv::Mat& image) {
    double low = 0.0;
    double high = 0.0;
    cv::minMaxLoc(lab_plane(image, 0), &low, &high);
    return high - low;
  };
  EXPECT_GT(range(make_clahe_bgr(dull_image())), 1.5 * range(dull_image()));
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

// Gaussian of sigma 1 over seven pixels; the image is mirrored about its outermost pixels.
cv::Mat blurred_by_hand(const cv::Mat& image) {
  std::array<double, 7> weights{};
  double sum = 0.0;
  for (int i = -3; i <= 3; ++i) {
    weights[static_cast<std::size_t>(i + 3)] = std::exp(-i * i / 2.0);
    sum += std::exp(-i * i / 2.0);
  }
  const auto mirrored = [](int at, int size) {
    return at < 0 ? -at : at >= size ? 2 * size - 2 - at : at;
  };
  cv::Mat blurred(image.size(), CV_64FC3, cv::Scalar::all(0));
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      for (int i = 0; i < 49; ++i) {
        const int from_y = mirrored(y + i / 7 - 3, image.rows);
        const int from_x = mirrored(x + i % 7 - 3, image.cols);
        const double weight = weights[static_cast<std::size_t>(i / 7)] / sum *
                              weights[static_cast<std::size_t>(i % 7)] / sum;
        blurred.at<cv::Vec3d>(y, x) += weight * cv::Vec3d(image.at<cv::Vec3b>(from_y, from_x));
      }
    }
  }
  return blurred;
}

TEST(MakeSharpenBgr, SubtractsTheBlurredImage) {
  const cv::Mat image = noise_image(20, 12);
  const cv::Mat blurred = blurred_by_hand(image);
  cv::Mat expected(image.size(), CV_8UC3);
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        expected.at<cv::Vec3b>(y, x)[channel] = cv::saturate_cast<unsigned char>(
            1.6 * image.at<cv::Vec3b>(y, x)[channel] - 0.6 * blurred.at<cv::Vec3d>(y, x)[channel]);
      }
    }
  }
  EXPECT_TRUE(same_pixels(make_sharpen_bgr(image), expected, 1.0));
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
