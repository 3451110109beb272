// The functions that a case calls most, each by itself.

#include <benchmark/benchmark.h>

#include <array>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "kana/kana_alphabet.h"
#include "kana/kana_ctc.h"
#include "ocr/ctc.h"
#include "ocr/line_recogniser.h"
#include "ocr/text_detection.h"
#include "reading/plate_parser.h"

namespace {

constexpr int kSteps = 40;

// Plate kana and ideographs, one for each class but the blank.
std::vector<std::string> make_dictionary(int classes) {
  std::vector<std::string> entries(kavrel::kana_list.begin(), kavrel::kana_list.end());
  for (unsigned code = 0x4E00; entries.size() + 1 < static_cast<std::size_t>(classes); ++code) {
    entries.push_back({static_cast<char>(0xE0U | code >> 12U),
                       static_cast<char>(0x80U | (code >> 6U & 0x3FU)),
                       static_cast<char>(0x80U | (code & 0x3FU))});
  }
  return entries;
}

// Scores of a recogniser: noise, and at each step one class above it.
std::vector<float> make_scores(int classes, int best) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> noise(0.0F, 0.01F);
  std::vector<float> scores(static_cast<std::size_t>(kSteps) * classes);
  for (float& score : scores) score = noise(random);
  for (int step = 0; step < kSteps; ++step) {
    scores[static_cast<std::size_t>(step) * classes + (step % 2 == 0 ? best : 0)] = 0.9F;
  }
  return scores;
}

rknn_tensor_attr make_attr(int classes) {
  rknn_tensor_attr attr{};
  attr.n_dims = 3;
  attr.dims[0] = 1;
  attr.dims[1] = kSteps;
  attr.dims[2] = static_cast<std::uint32_t>(classes);
  return attr;
}

void read_share(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

// The measure for decoding: a sum in as many lanes as keep a CPU busy.
void read_array_once(benchmark::State& state) {
  constexpr std::size_t kLanes = 32;
  const std::vector<float> scores(static_cast<std::size_t>(kSteps * state.range(0)), 0.5F);
  for (auto _ : state) {
    std::array<float, kLanes> sums{};
    for (std::size_t i = 0; i + kLanes <= scores.size(); i += kLanes) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) sums[lane] += scores[i + lane];
    }
    benchmark::DoNotOptimize(sums);
  }
  read_share(state, scores.size() * sizeof(float));
}

void decode_greedily(benchmark::State& state) {
  const int classes = static_cast<int>(state.range(0));
  const auto dictionary = make_dictionary(classes);
  const auto scores = make_scores(classes, classes / 2);
  const auto attr = make_attr(classes);
  for (auto _ : state) benchmark::DoNotOptimize(kavrel::ctc_decode(scores, attr, dictionary));
  read_share(state, scores.size() * sizeof(float));
}

// No kana wins a step, so that the nearest one is searched too.
void decode_kana(benchmark::State& state) {
  const int classes = static_cast<int>(state.range(0));
  const auto dictionary = make_dictionary(classes);
  const auto scores = make_scores(classes, 0);
  const auto attr = make_attr(classes);
  for (auto _ : state) {
    benchmark::DoNotOptimize(kavrel::ctc_decode_kana_constrained(scores, attr, dictionary));
  }
  read_share(state, scores.size() * sizeof(float));
}

void prepare_line(benchmark::State& state) {
  const cv::Mat crop(static_cast<int>(state.range(1)), static_cast<int>(state.range(0)), CV_8UC3,
                     cv::Scalar(90, 160, 220));
  for (auto _ : state) benchmark::DoNotOptimize(kavrel::make_rec_input_rgb(crop));
}

// Two lines.
std::vector<float> make_text_map() {
  cv::Mat map(640, 640, CV_32F, cv::Scalar(0));
  map(cv::Rect(190, 70, 248, 87)) = 0.9F;
  map(cv::Rect(90, 280, 442, 207)) = 0.9F;
  return {map.begin<float>(), map.end<float>()};
}

void find_text_lines(benchmark::State& state) {
  const std::vector<float> values = make_text_map();
  for (auto _ : state) {
    const cv::Mat mask = kavrel::text_mask(kavrel::text_probability_map(values), 0.3F);
    benchmark::DoNotOptimize(kavrel::text_boxes(mask, cv::Size(320, 96)));
  }
}

std::vector<kavrel::OcrText> make_readings(int count) {
  const std::vector<kavrel::OcrText> kinds = {
      {"original_full", "品川330あ12-34"}, {"gray_upper_row", "品川 330"},
      {"clahe_lower_row", "あ12-34"},      {"sharpen_serial_area", "12-34"},
      {"up2x_det_crop_0", "品川 330"},     {"up2x_det_crop_1", "あ 1234"}};
  std::vector<kavrel::OcrText> readings;
  for (int i = 0; i < count; ++i) readings.push_back(kinds[static_cast<std::size_t>(i) % 6]);
  return readings;
}

void parse_plate(benchmark::State& state) {
  const auto readings = make_readings(static_cast<int>(state.range(0)));
  std::vector<std::string> words;
  for (int i = 0; i < 137; ++i) words.push_back("地名" + std::to_string(i));
  words.emplace_back("品川");
  for (auto _ : state) benchmark::DoNotOptimize(kavrel::parse_jp_plate(readings, words));
}

BENCHMARK(read_array_once)->Arg(250)->Arg(6906)->Arg(18385);
BENCHMARK(decode_greedily)->Arg(250)->Arg(6906)->Arg(18385);
BENCHMARK(decode_kana)->Arg(250)->Arg(6906)->Arg(18385);
BENCHMARK(prepare_line)->Args({320, 96})->Args({640, 192})->Args({58, 61});
BENCHMARK(find_text_lines);
BENCHMARK(parse_plate)->Arg(60);

}  // namespace

BENCHMARK_MAIN();
