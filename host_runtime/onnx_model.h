// One ONNX network, loaded and ready to run on 8-bit images.
//
// All input and output tensors are allocated once, when the network is loaded, and bound to the
// session: a run neither allocates them nor touches fresh pages.
#ifndef KAVREL_HOST_RUNTIME_ONNX_MODEL_H
#define KAVREL_HOST_RUNTIME_ONNX_MODEL_H

#include <onnxruntime_cxx_api.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host_runtime/input_record.h"
#include "npu/rknn_api.h"

namespace host_runtime {

// Used by one thread at a time. An index given to a member is below the number of inputs or
// outputs; the caller checks what came from outside.
class OnnxModel {
 public:
  // Reads `size` bytes of an ONNX file; they are not needed afterwards. Throws Refusal with
  // RKNN_ERR_MODEL_INVALID for bytes that are no complete ONNX file, and for networks with
  // dynamic shapes, element types outside the interface or inputs that are no images.
  OnnxModel(const Ort::Env& env, const void* bytes, std::size_t size);

  const std::vector<rknn_tensor_attr>& inputs() const { return inputs_; }
  const std::vector<rknn_tensor_attr>& outputs() const { return outputs_; }

  // Copies height x width x 3 interleaved bytes into the input.
  void set_input(std::uint32_t index, const std::uint8_t* pixels);

  // Throws Refusal if an input was never set, and Ort::Exception when ONNX Runtime fails.
  void run();

  // Whether the outputs hold the values of a finished run.
  bool has_run() const { return has_run_; }

  // Bytes of an output in its own type or as floats.
  std::size_t output_size(std::uint32_t index, bool as_float) const;

  // The output's values in memory of the model, without a copy unless they must become floats.
  // The pointer stays valid as long as the model; the next run replaces the values.
  void* output(std::uint32_t index, bool as_float);

  // Writes output_size(index, as_float) bytes.
  void copy_output(std::uint32_t index, bool as_float, void* destination) const;

 private:
  void add_input(std::uint32_t index);
  void add_output(std::uint32_t index);
  bool must_convert(std::uint32_t index, bool as_float) const;

  InputRecord record_;
  Ort::Session session_;
  Ort::IoBinding binding_;
  std::vector<rknn_tensor_attr> inputs_;
  std::vector<rknn_tensor_attr> outputs_;
  std::vector<Ort::Value> input_tensors_;
  std::vector<Ort::Value> output_tensors_;
  std::vector<bool> input_is_set_;
  // Per output: its values as floats, filled only where the network computes another type.
  std::vector<std::vector<float>> output_floats_;
  bool has_run_ = false;
};

}  // namespace host_runtime

#endif
