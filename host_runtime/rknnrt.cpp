// The NPU runtime's C functions on ONNX Runtime, for machines without the NPU: the same programs
// run on a workstation, with ONNX files in the place of compiled models.
//
// Every function returns 0 or a negative code and then writes one line to standard error. Any
// number of contexts may be alive, each used by one thread at a time. A context that was never
// given out or is destroyed is refused with RKNN_ERR_CTX_INVALID.
#include <onnxruntime_cxx_api.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "host_runtime/onnx_model.h"
#include "host_runtime/refusal.h"
#include "npu/rknn_api.h"

namespace host_runtime {
namespace {

// ONNX Runtime's text and a network's names may break lines; ours is one. It is put together
// without allocating because memory may be what has run out.
void complain(const char* function, const char* text) noexcept {
  std::array<char, 1024> line{};
  std::snprintf(line.data(), line.size(), "librknnrt (workstation): %s: %s", function, text);
  for (char& c : line) c = c > '\0' && c < ' ' ? ' ' : c;
  std::fprintf(stderr, "%s\n", line.data());
}

// Runs a C function's work; what it throws becomes the code returned.
template <typename Work>
int guarded(const char* function, Work work) noexcept {
  try {
    work();
    return RKNN_SUCC;
  } catch (const Refusal& refusal) {
    complain(function, refusal.what());
    return refusal.code();
  } catch (const std::bad_alloc&) {
    complain(function, "out of memory");
    return RKNN_ERR_MALLOC_FAIL;
  } catch (const std::exception& fault) {
    complain(function, fault.what());
    return RKNN_ERR_FAIL;
  }
}

void require(bool holds, int code, const char* fault) {
  if (!holds) throw Refusal(code, fault);
}

// The process's ONNX Runtime and its live networks.
// ONNX Runtime's own builds for Linux tell their maker of every run: they keep a number of the
// machine and what is still to be sent below the home folder, and send it from a thread that is at
// work even while the process ends. A run here tells nobody, and leaves nothing but its results.
// Standard error belongs to the one line per refused call, so ONNX Runtime keeps silent there, too.
Ort::Env silent_env() {
  setenv("ORT_DISABLE_TELEMETRY", "1", 1);
  return {ORT_LOGGING_LEVEL_FATAL, "librknnrt"};
}

class Runtime {
 public:
  rknn_context add(const void* model, std::size_t size) {
    auto loaded = std::make_shared<OnnxModel>(env_, model, size);
    const std::lock_guard<std::mutex> lock(mutex_);
    models_.emplace(++last_context_, std::move(loaded));
    return last_context_;
  }

  std::shared_ptr<OnnxModel> find(rknn_context context) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = models_.find(context);
    require(found != models_.end(), RKNN_ERR_CTX_INVALID, kNoContext);
    return found->second;
  }

  void remove(rknn_context context) {
    const std::lock_guard<std::mutex> lock(mutex_);
    require(models_.erase(context) == 1, RKNN_ERR_CTX_INVALID, kNoContext);
  }

 private:
  static constexpr const char* kNoContext =
      "the context was never given out or is already destroyed";

  Ort::Env env_ = silent_env();
  std::mutex mutex_;
  std::map<rknn_context, std::shared_ptr<OnnxModel>> models_;
  rknn_context last_context_ = 0;
};

Runtime& runtime() {
  static Runtime instance;
  return instance;
}

void require_room(const void* info, std::uint32_t size, std::size_t record_size) {
  require(info != nullptr, RKNN_ERR_PARAM_INVALID, "info is null");
  require(size >= record_size, RKNN_ERR_PARAM_INVALID, "size is below that of the record");
}

void answer_counts(const OnnxModel& model, void* info, std::uint32_t size) {
  rknn_input_output_num counts{};
  require_room(info, size, sizeof counts);
  counts.n_input = static_cast<std::uint32_t>(model.inputs().size());
  counts.n_output = static_cast<std::uint32_t>(model.outputs().size());
  std::memcpy(info, &counts, sizeof counts);
}

// The tensor asked for is the one whose index stands in `info`.
void answer_attr(const std::vector<rknn_tensor_attr>& attrs, void* info, std::uint32_t size) {
  require_room(info, size, sizeof(rknn_tensor_attr));
  const std::uint32_t index = static_cast<const rknn_tensor_attr*>(info)->index;
  require(index < attrs.size(), RKNN_ERR_PARAM_INVALID, "there is no tensor of this index");
  std::memcpy(info, &attrs[index], sizeof(rknn_tensor_attr));
}

void answer(const OnnxModel& model, rknn_query_cmd command, void* info, std::uint32_t size) {
  switch (command) {
    case RKNN_QUERY_IN_OUT_NUM:
      return answer_counts(model, info, size);
    case RKNN_QUERY_INPUT_ATTR:
      return answer_attr(model.inputs(), info, size);
    case RKNN_QUERY_OUTPUT_ATTR:
      return answer_attr(model.outputs(), info, size);
    default:
      throw Refusal(RKNN_ERR_PARAM_INVALID, "unknown command " + std::to_string(command));
  }
}

// "640 x 480 pixels of 3 bytes"; the width stands last but for the channels of NHWC.
std::string image_text(const rknn_tensor_attr& image) {
  const std::uint32_t* height = image.dims + (image.fmt == RKNN_TENSOR_NCHW ? 2 : 1);
  return std::to_string(height[1]) + " x " + std::to_string(height[0]) + " pixels of 3 bytes";
}

void check_input(const rknn_input& input, const std::vector<rknn_tensor_attr>& images) {
  require(input.index < images.size(), RKNN_ERR_INPUT_INVALID, "there is no input of this index");
  require(input.buf != nullptr, RKNN_ERR_INPUT_INVALID, "buf is null");
  require(
      input.type == RKNN_TENSOR_UINT8 && input.fmt == RKNN_TENSOR_NHWC && input.pass_through == 0,
      RKNN_ERR_INPUT_INVALID,
      "only 8-bit interleaved pixels are taken: type UINT8, fmt NHWC, pass_through 0");
  const rknn_tensor_attr& image = images[input.index];
  if (input.size != image.n_elems) {
    throw Refusal(RKNN_ERR_INPUT_INVALID, "input " + std::to_string(input.index) + " takes " +
                                              std::to_string(image.n_elems) + " bytes (" +
                                              image_text(image) + "), " +
                                              std::to_string(input.size) + " were given");
  }
}

void check_output(const rknn_output& output, const OnnxModel& model) {
  require(output.index < model.outputs().size(), RKNN_ERR_OUTPUT_INVALID,
          "there is no output of this index");
  if (output.is_prealloc == 0) return;
  require(output.buf != nullptr, RKNN_ERR_OUTPUT_INVALID, "is_prealloc is 1 and buf is null");
  const std::size_t needed = model.output_size(output.index, output.want_float != 0);
  if (output.size < needed) {
    throw Refusal(RKNN_ERR_OUTPUT_INVALID, "output " + std::to_string(output.index) + " takes " +
                                               std::to_string(needed) + " bytes, " +
                                               std::to_string(output.size) + " were given");
  }
}

void hand_out(rknn_output& output, OnnxModel& model) {
  const bool as_float = output.want_float != 0;
  output.size = static_cast<std::uint32_t>(model.output_size(output.index, as_float));
  if (output.is_prealloc != 0) return model.copy_output(output.index, as_float, output.buf);
  output.buf = model.output(output.index, as_float);
}

}  // namespace
}  // namespace host_runtime

using host_runtime::guarded;
using host_runtime::require;
using host_runtime::runtime;

// Flags and extensions steer the NPU and have no meaning here.
int rknn_init(rknn_context* context, void* model, std::uint32_t size, std::uint32_t flag,
              rknn_init_extend* extend) {
  return guarded("rknn_init", [=] {
    require(context != nullptr && (model != nullptr || size == 0), RKNN_ERR_PARAM_INVALID,
            "context or model is null");
    require(flag == 0 && extend == nullptr, RKNN_ERR_PARAM_INVALID,
            "flag and extend mean nothing without an NPU, pass 0 and null");
    *context = 0;
    *context = runtime().add(model, size);
  });
}

int rknn_query(rknn_context context, rknn_query_cmd cmd, void* info, std::uint32_t size) {
  return guarded("rknn_query",
                 [=] { host_runtime::answer(*runtime().find(context), cmd, info, size); });
}

// All records are checked before the first pixel is copied.
int rknn_inputs_set(rknn_context context, std::uint32_t n_inputs, rknn_input inputs[]) {
  return guarded("rknn_inputs_set", [=] {
    const auto model = runtime().find(context);
    require(inputs != nullptr && n_inputs > 0, RKNN_ERR_PARAM_INVALID, "no inputs given");
    for (std::uint32_t i = 0; i < n_inputs; ++i) {
      host_runtime::check_input(inputs[i], model->inputs());
    }
    for (std::uint32_t i = 0; i < n_inputs; ++i) {
      model->set_input(inputs[i].index, static_cast<const std::uint8_t*>(inputs[i].buf));
    }
  });
}

int rknn_run(rknn_context context, rknn_run_extend* extend) {
  return guarded("rknn_run", [=] {
    const auto model = runtime().find(context);
    require(extend == nullptr, RKNN_ERR_PARAM_INVALID, "extend means nothing here, pass null");
    model->run();
  });
}

// Without is_prealloc the buffers are the network's own tensors: the next rknn_run replaces the
// values in buffers that are not released yet, and rknn_destroy frees them.
int rknn_outputs_get(rknn_context context, std::uint32_t n_outputs, rknn_output outputs[],
                     rknn_output_extend* extend) {
  return guarded("rknn_outputs_get", [=] {
    const auto model = runtime().find(context);
    require(outputs != nullptr && n_outputs > 0, RKNN_ERR_PARAM_INVALID, "no outputs given");
    require(extend == nullptr, RKNN_ERR_PARAM_INVALID, "extend means nothing here, pass null");
    require(model->has_run(), RKNN_ERR_OUTPUT_INVALID, "no rknn_run has succeeded yet");
    for (std::uint32_t i = 0; i < n_outputs; ++i) host_runtime::check_output(outputs[i], *model);
    for (std::uint32_t i = 0; i < n_outputs; ++i) host_runtime::hand_out(outputs[i], *model);
  });
}

// There is nothing to free. The pointers are cleared, so that a use after the release shows here
// and not first on the board.
int rknn_outputs_release(rknn_context context, std::uint32_t n_outputs, rknn_output outputs[]) {
  return guarded("rknn_outputs_release", [=] {
    runtime().find(context);
    require(outputs != nullptr && n_outputs > 0, RKNN_ERR_PARAM_INVALID, "no outputs given");
    for (std::uint32_t i = 0; i < n_outputs; ++i) {
      if (outputs[i].is_prealloc == 0) {
        outputs[i].buf = nullptr;
        outputs[i].size = 0;
      }
    }
  });
}

int rknn_destroy(rknn_context context) {
  return guarded("rknn_destroy", [=] { runtime().remove(context); });
}
