// The workstation's NPU runtime against ONNX Runtime driven directly: the same networks, the same
// pixels, in turn.

#include <onnxruntime_cxx_api.h>
#include <onnxruntime_session_options_config_keys.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/base/files.h"
#include "npu/rknn_api.h"

namespace {

// Rows, columns and three channels of noise.
cv::Mat make_pixels(int rows, int cols) {
  cv::Mat pixels(rows, cols, CV_8UC3);
  cv::randu(pixels, 0, 256);
  return pixels;
}

// As our runtime does: no thread of one network loops while another network runs.
Ort::SessionOptions session_options() {
  Ort::SessionOptions options;
  options.AddConfigEntry(kOrtSessionOptionsConfigAllowIntraOpSpinning, "0");
  return options;
}

// ONNX Runtime fed and read as its examples do, the input's memory allocated once.
class Direct {
 public:
  Direct(const Ort::Env& env, const std::vector<unsigned char>& model)
      : session_(env, model.data(), model.size(), session_options()),
        shape_(session_.GetInputTypeInfo(0).GetTensorTypeAndShapeInfo().GetShape()),
        input_(Ort::Value::CreateTensor<float>(allocator_, shape_.data(), shape_.size())),
        input_name_(session_.GetInputNameAllocated(0, allocator_).get()) {
    for (std::size_t i = 0; i < session_.GetOutputCount(); ++i) {
      output_names_.emplace_back(session_.GetOutputNameAllocated(i, allocator_).get());
    }
  }

  int rows() const { return static_cast<int>(shape_.at(2)); }
  int cols() const { return static_cast<int>(shape_.at(3)); }

  float run(const cv::Mat& pixels) {
    auto* const values = input_.GetTensorMutableData<float>();
    pixels.convertTo(floats_, CV_32F);
    std::vector<cv::Mat> planes;
    for (int i = 0; i < 3; ++i) {
      planes.emplace_back(pixels.rows, pixels.cols, CV_32F, values + pixels.total() * i);
    }
    cv::split(floats_, planes);
    std::vector<const char*> outputs;
    for (const std::string& name : output_names_) outputs.push_back(name.c_str());
    const char* const input_name = input_name_.c_str();
    const auto results = session_.Run(Ort::RunOptions(nullptr), &input_name, &input_, 1,
                                      outputs.data(), outputs.size());
    return results[0].GetTensorData<float>()[0];
  }

 private:
  Ort::AllocatorWithDefaultOptions allocator_;
  Ort::Session session_;
  std::vector<int64_t> shape_;
  Ort::Value input_;
  cv::Mat floats_;
  std::string input_name_;
  std::vector<std::string> output_names_;
};

void require(int code) {
  if (code != RKNN_SUCC) throw std::runtime_error("the runtime returns " + std::to_string(code));
}

class ThroughRuntime {
 public:
  explicit ThroughRuntime(std::vector<unsigned char> model) {
    require(rknn_init(&context_, model.data(), static_cast<uint32_t>(model.size()), 0, nullptr));
  }
  ~ThroughRuntime() { rknn_destroy(context_); }
  ThroughRuntime(const ThroughRuntime&) = delete;
  ThroughRuntime& operator=(const ThroughRuntime&) = delete;

  float run(const cv::Mat& pixels) {
    rknn_input input{};
    input.buf = pixels.data;
    input.size = static_cast<uint32_t>(pixels.total() * pixels.elemSize());
    input.type = RKNN_TENSOR_UINT8;
    input.fmt = RKNN_TENSOR_NHWC;
    require(rknn_inputs_set(context_, 1, &input));
    require(rknn_run(context_, nullptr));
    rknn_output output{};
    output.want_float = 1;
    require(rknn_outputs_get(context_, 1, &output, nullptr));
    const float first = static_cast<const float*>(output.buf)[0];
    require(rknn_outputs_release(context_, 1, &output));
    return first;
  }

 private:
  rknn_context context_ = 0;
};

struct Samples {
  std::vector<double> wall_ms, cpu_ms;
};

template <typename Runner>
float timed_run(Runner& runner, const cv::Mat& pixels, Samples& samples) {
  const auto wall_start = std::chrono::steady_clock::now();
  const std::clock_t cpu_start = std::clock();
  const float answer = runner.run(pixels);
  const std::chrono::duration<double, std::milli> wall =
      std::chrono::steady_clock::now() - wall_start;
  samples.wall_ms.push_back(wall.count());
  samples.cpu_ms.push_back(1000.0 * static_cast<double>(std::clock() - cpu_start) / CLOCKS_PER_SEC);
  return answer;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void compare(const Ort::Env& env, const std::string& path) {
  constexpr int kRounds = 60;
  const auto model = kavrel::read_file_binary(path);
  Direct direct(env, model);
  ThroughRuntime runtime(model);
  const cv::Mat pixels = make_pixels(direct.rows(), direct.cols());
  Samples of_direct, of_runtime;
  for (int i = 0; i < kRounds; ++i) {
    const float expected = timed_run(direct, pixels, of_direct);
    const float answer = timed_run(runtime, pixels, of_runtime);
    if (answer != expected) throw std::runtime_error("the answers differ: " + path);
  }
  std::printf("%-36s runtime / direct = %.3f in CPU time (%.2f ms), %.3f in wall time\n",
              path.c_str(), median(of_runtime.cpu_ms) / median(of_direct.cpu_ms),
              median(of_direct.cpu_ms), median(of_runtime.wall_ms) / median(of_direct.wall_ms));
}

}  // namespace

int main() {
  try {
    std::filesystem::current_path(SOURCE_DIR);
    const Ort::Env env(ORT_LOGGING_LEVEL_FATAL);
    for (const char* path :
         {"models/reference/plate_det.onnx", "models/reference/plate_corner.onnx",
          "models/reference/plate_text.onnx", "models/reference/plate_rec.onnx"}) {
      compare(env, path);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "runtime_cost: %s\n", error.what());
    return 1;
  }
}
