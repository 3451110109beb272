#include "host_runtime/onnx_model.h"

#include <onnxruntime_session_options_config_keys.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host_runtime/conversion.h"
#include "host_runtime/refusal.h"
#include "host_runtime/tensor_attr.h"

namespace host_runtime {
namespace {

constexpr const char* kAdvice =
    "; compiled NPU models run only on the board, give this runtime ONNX files such as those in "
    "models/reference";

[[noreturn]] void refuse_file(std::size_t size, const std::string& fault) {
  throw Refusal(RKNN_ERR_MODEL_INVALID,
                "the model of " + std::to_string(size) + " bytes " + fault + kAdvice);
}

// How many threads run a network; 0 leaves it to ONNX Runtime, which takes all cores. Several
// processes on one machine take one each.
int thread_count() {
  const char* const text = std::getenv("KAVREL_HOST_THREADS");
  return text == nullptr ? 0 : static_cast<int>(std::strtol(text, nullptr, 10));
}

Ort::Session open_session(const Ort::Env& env, const void* bytes, std::size_t size) {
  if (size == 0) refuse_file(size, "is empty");
  Ort::SessionOptions options;
  options.AddConfigEntry(kOrtSessionOptionsConfigLoadModelFormat, "ONNX");
  // Networks run in turn: threads of one that wait in a loop for its next run slow down the others.
  options.AddConfigEntry(kOrtSessionOptionsConfigAllowIntraOpSpinning, "0");
  // Older x86-64 cores overflow in 8-bit products, and would answer otherwise than newer ones.
  options.AddConfigEntry(kOrtSessionOptionsAvx2PrecisionMode, "1");
  options.SetIntraOpNumThreads(std::max(0, thread_count()));
  try {
    return Ort::Session(env, bytes, size, options);
  } catch (const Ort::Exception& fault) {
    if (fault.GetOrtErrorCode() == ORT_INVALID_PROTOBUF) {
      refuse_file(size, "is no complete ONNX file");
    }
    refuse_file(size, std::string("is not accepted by ONNX Runtime (") + fault.what() + ")");
  }
}

std::string label(const char* kind, std::uint32_t index, const std::string& name) {
  return kind + (" " + std::to_string(index)) + " '" + name + "'";
}

std::string input_name(const Ort::Session& session, std::size_t index) {
  return session.GetInputNameAllocated(index, Ort::AllocatorWithDefaultOptions()).get();
}

// What the file's own properties say of a tensor, such as "image.scale"; empty if nothing.
std::string property(const Ort::Session& session, const std::string& key) {
  const Ort::ModelMetadata properties = session.GetModelMetadata();
  const Ort::AllocatorWithDefaultOptions allocator;
  const auto value = properties.LookupCustomMetadataMapAllocated(key.c_str(), allocator);
  return value == nullptr ? "" : value.get();
}

rknn_tensor_attr with_quantisation(rknn_tensor_attr attr, const Ort::Session& session,
                                   const std::string& name, const std::string& tensor) {
  const std::string scale = property(session, name + ".scale");
  if (!scale.empty()) {
    set_quantisation(attr, scale, property(session, name + ".zero_point"), tensor);
  }
  return attr;
}

// ONNX Runtime does not write such an output into the tensor bound for it.
void refuse_handed_through(const Ort::Session& session, const std::string& output) {
  for (std::size_t i = 0; i < session.GetInputCount(); ++i) {
    if (input_name(session, i) == output) {
      refuse_tensor("'" + output + "'", "is an input and an output at once");
    }
  }
}

Ort::Value make_tensor(const rknn_tensor_attr& attr) {
  const std::vector<std::int64_t> shape(attr.dims, attr.dims + attr.n_dims);
  return Ort::Value::CreateTensor(Ort::AllocatorWithDefaultOptions(), shape.data(), shape.size(),
                                  element_type(attr.type));
}

}  // namespace

OnnxModel::OnnxModel(const Ort::Env& env, const void* bytes, std::size_t size)
    : record_(bytes, size), session_(open_session(env, bytes, size)), binding_(session_) {
  for (std::size_t i = 0; i < session_.GetInputCount(); ++i) {
    add_input(static_cast<std::uint32_t>(i));
  }
  for (std::size_t i = 0; i < session_.GetOutputCount(); ++i) {
    add_output(static_cast<std::uint32_t>(i));
  }
  if (inputs_.empty() || outputs_.empty()) {
    refuse_tensor("the network", "has no input or no output");
  }
}

void OnnxModel::add_input(std::uint32_t index) {
  const std::string name = input_name(session_, index);
  const std::string tensor = label("input", index, name);
  inputs_.push_back(
      with_quantisation(describe_tensor(index, name, tensor, session_.GetInputTypeInfo(index)),
                        session_, name, tensor));
  require_image(inputs_.back(), tensor);

  input_tensors_.push_back(make_tensor(inputs_.back()));
  binding_.BindInput(name.c_str(), input_tensors_.back());
  input_is_set_.push_back(false);
}

void OnnxModel::add_output(std::uint32_t index) {
  const std::string name =
      session_.GetOutputNameAllocated(index, Ort::AllocatorWithDefaultOptions()).get();
  refuse_handed_through(session_, name);
  const std::string tensor = label("output", index, name);
  outputs_.push_back(
      with_quantisation(describe_tensor(index, name, tensor, session_.GetOutputTypeInfo(index)),
                        session_, name, tensor));

  output_tensors_.push_back(make_tensor(outputs_.back()));
  binding_.BindOutput(name.c_str(), output_tensors_.back());
  output_floats_.emplace_back();
}

void OnnxModel::set_input(std::uint32_t index, const std::uint8_t* pixels) {
  record_.add(pixels, inputs_[index]);
  pixels_to_tensor(pixels, inputs_[index], input_tensors_[index].GetTensorMutableRawData());
  input_is_set_[index] = true;
}

void OnnxModel::run() {
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    if (!input_is_set_[i]) {
      throw Refusal(RKNN_ERR_INPUT_INVALID,
                    "input " + std::to_string(i) + " was never given by rknn_inputs_set");
    }
  }
  has_run_ = false;
  session_.Run(Ort::RunOptions(nullptr), binding_);
  has_run_ = true;
}

std::size_t OnnxModel::output_size(std::uint32_t index, bool as_float) const {
  const rknn_tensor_attr& attr = outputs_[index];
  return as_float ? attr.n_elems * sizeof(float) : attr.size;
}

bool OnnxModel::must_convert(std::uint32_t index, bool as_float) const {
  return as_float && outputs_[index].type != RKNN_TENSOR_FLOAT32;
}

void* OnnxModel::output(std::uint32_t index, bool as_float) {
  if (!must_convert(index, as_float)) return output_tensors_[index].GetTensorMutableRawData();
  std::vector<float>& floats = output_floats_[index];
  floats.resize(outputs_[index].n_elems);
  copy_output(index, as_float, floats.data());
  return floats.data();
}

void OnnxModel::copy_output(std::uint32_t index, bool as_float, void* destination) const {
  const void* values = output_tensors_[index].GetTensorRawData();
  if (must_convert(index, as_float)) {
    return tensor_to_floats(values, outputs_[index], static_cast<float*>(destination));
  }
  std::memcpy(destination, values, outputs_[index].size);
}

}  // namespace host_runtime
