// The case that every benchmark program works on: one street frame, and what the networks answer.
#ifndef KAVREL_BENCH_SCENE_H
#define KAVREL_BENCH_SCENE_H

#include <array>
#include <opencv2/core.hpp>
#include <vector>

namespace bench {

constexpr const char* kSampleImage = "samples/street/car05_f02.jpg";  // 960 x 540

// The plate detector's input and its one box, in pixels of the sample.
constexpr int kPlateDetSide = 640;
const cv::Rect kPlate(207, 37, 192, 103);
constexpr float kPlateScore = 0.9F;

// The corner network's answer, fractions of the plate's box.
const std::vector<cv::Point2f> kCorners = {
    {0.06F, 0.14F}, {0.92F, 0.06F}, {0.95F, 0.86F}, {0.08F, 0.94F}};

// The text detector's map and the two text lines in it.
constexpr int kMapSide = 640;
const std::array<cv::Rect, 2> kTextLines = {{{190, 70, 248, 87}, {90, 280, 442, 207}}};
constexpr float kTextProbability = 0.9F;

// Steps of the recogniser.
constexpr int kSteps = 40;

}  // namespace bench

#endif
