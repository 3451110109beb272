// The functions that a case calls most, each by itself.

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "app/frame_report.h"
#include "dictionary.h"
#include "kana/kana_ctc.h"
#include "ocr/ctc.h"
#include "ocr/line_recogniser.h"
#include "ocr/text_detection.h"
#include "plate/plate_detection.h"
#include "reading/plate_parser.h"
#include "scene.h"
#include "support/temp_dir.h"

namespace {

// Scores of a recogniser: noise, and at each step one class above it.
std::vector<float> make_scores(int classes, int best) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> noise(0.0F, 0.01F);
  std::vector<float> scores(static_cast<std::size_t>(bench::kSteps) * classes);
  for (float& score : scores) score = noise(random);
  for (int step = 0; step < bench::kSteps; ++step) {
    scores[static_cast<std::size_t>(step) * classes + (step % 2 == 0 ? best : 0)] = 0.9F;
  }
  return scores;
}

rknn_tensor_attr make_attr(int classes) {
  rknn_tensor_attr attr{};
  attr.n_dims = 3;
  attr.dims[0] = 1;
  attr.dims[1] = bench::kSteps;
  attr.dims[2] = static_cast<std::uint32_t>(classes);
  return attr;
}

void read_share(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

// The measure for decoding: a sum in as many lanes as keep a CPU busy.
void read_array_once(benchmark::State& state) {
  constexpr std::size_t kLanes = 32;
  const std::vector<float> scores(static_cast<std::size_t>(bench::kSteps * state.range(0)), 0.5F);
  for (auto _ : state) {
    std::array<float, kLanes> sums{};
    for (std::size_t i = 0; i + kLanes <= scores.size(); i += kLanes) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) sums[lane] += scores[i + lane];
    }
    benchmark::DoNotOptimize(sums);
  }
  read_share(state, scores.size() * sizeof(float));
}

// The same with the widest instructions that the C library finds: it looks for a byte that is not
// there.
void read_array_with_memchr(benchmark::State& state) {
  const std::vector<float> scores(static_cast<std::size_t>(bench::kSteps * state.range(0)), 0.5F);
  const std::size_t bytes = scores.size() * sizeof(float);
  for (auto _ : state) benchmark::DoNotOptimize(std::memchr(scores.data(), 0xFF, bytes));
  read_share(state, bytes);
}

void decode_greedily(benchmark::State& state) {
  const int classes = static_cast<int>(state.range(0));
  const auto dictionary = bench::make_dictionary(classes);
  const auto scores = make_scores(classes, classes / 2);
  const auto attr = make_attr(classes);
  for (auto _ : state) benchmark::DoNotOptimize(kavrel::ctc_decode(scores, attr, dictionary));
  read_share(state, scores.size() * sizeof(float));
}

// No kana wins a step, so that the nearest one is searched too.
void decode_kana(benchmark::State& state) {
  const int classes = static_cast<int>(state.range(0));
  const auto dictionary = bench::make_dictionary(classes);
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

std::vector<float> make_text_map() {
  cv::Mat map(bench::kMapSide, bench::kMapSide, CV_32F, cv::Scalar(0));
  for (const cv::Rect& line : bench::kTextLines) map(line) = bench::kTextProbability;
  return {map.begin<float>(), map.end<float>()};
}

void find_text_lines(benchmark::State& state) {
  const std::vector<float> values = make_text_map();
  for (auto _ : state) {
    const cv::Mat mask = kavrel::text_mask(kavrel::text_probability_map(values), 0.3F);
    benchmark::DoNotOptimize(kavrel::text_boxes(mask, cv::Size(320, 96)));
  }
}

void parse_detection_rows(benchmark::State& state) {
  std::vector<float> rows;
  for (int i = 0; i < state.range(0); ++i) {
    const auto shift = static_cast<float>(i % 100);
    rows.insert(rows.end(),
                {0.0F, i % 10 == 0 ? 0.9F : 0.01F, shift, shift, shift + 190.0F, shift + 100.0F});
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(kavrel::parse_detection_output_as_n6(rows, 960, 540, 0.25F));
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

kavrel::FrameResult make_frame() {
  return {"samples/a.jpg",
          "品川 330 あ 12-34",
          "a",
          {"品川", "330", "あ", "12-34", "品川 330 あ 12-34"},
          make_readings(60)};
}

void write_json(benchmark::State& state) {
  const kavrel_test::TempDir scratch;
  const kavrel::FrameResult frame = make_frame();
  for (auto _ : state) kavrel::write_result_json(kavrel::make_frame_report(frame), scratch.path());
}

void write_csv_row(benchmark::State& state) {
  const kavrel::FrameResult frame = make_frame();
  kavrel::FrameSummary summary("/dev/null");
  for (auto _ : state) summary.add_row(kavrel::make_frame_report(frame));
}

BENCHMARK(read_array_once)->Arg(97)->Arg(4401)->Arg(6906)->Arg(18385);
BENCHMARK(read_array_with_memchr)->Arg(97)->Arg(4401)->Arg(6906)->Arg(18385);
BENCHMARK(decode_greedily)->Arg(97)->Arg(4401)->Arg(6906)->Arg(18385);
BENCHMARK(decode_kana)->Arg(97)->Arg(4401)->Arg(6906)->Arg(18385);
BENCHMARK(prepare_line)->Args({320, 96})->Args({640, 192})->Args({58, 61});
BENCHMARK(find_text_lines);
BENCHMARK(parse_detection_rows)->Arg(300)->Arg(8400);
BENCHMARK(parse_plate)->Arg(60);
BENCHMARK(write_json);
BENCHMARK(write_csv_row);

}  // namespace

BENCHMARK_MAIN();
