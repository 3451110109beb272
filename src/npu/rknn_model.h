// One network on the NPU runtime.
#ifndef KAVREL_NPU_RKNN_MODEL_H
#define KAVREL_NPU_RKNN_MODEL_H

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "npu/rknn_api.h"

namespace kavrel {

// The valid dimensions of a tensor, in the runtime's order.
std::vector<std::uint32_t> tensor_dims(const rknn_tensor_attr& attr);

// "[1,3,640,640]"; "[]" without dimensions.
std::string dims_to_string(const rknn_tensor_attr& attr);

// Owns the runtime's context from load to release. Failures are thrown as std::runtime_error.
// One thread at a time.
class RknnModel {
 public:
  RknnModel() = default;
  ~RknnModel() { release(); }
  RknnModel(const RknnModel&) = delete;
  RknnModel& operator=(const RknnModel&) = delete;

  // Releases an earlier network, loads the file, asks the runtime for its tensors and describes
  // them on standard error.
  void load(const std::string& path);

  // Destroys the context, if there is one.
  void release();

  // Runs the network on an 8-bit RGB image, continuous and already at the network's input size,
  // which is not checked: the runtime decides. Returns one vector of output_elem_count(i) floats
  // per output, in output order.
  std::vector<std::vector<float>> infer_uint8_nhwc(const cv::Mat& rgb);

  // Width and height of input 0 from its last two dimensions, as of a planar (channel first)
  // tensor whatever its reported format; 0 with fewer than four dimensions. Throw
  // std::out_of_range without an input.
  int input_w() const;
  int input_h() const;

  const std::vector<rknn_tensor_attr>& output_attrs() const { return output_attrs_; }

  // Floats of an output: n_elems or, where the runtime leaves that 0, the product of the dims.
  // Throws std::out_of_range past the last output.
  std::uint64_t output_elem_count(std::uint32_t index) const;

 private:
  void query_attrs(rknn_query_cmd cmd, const char* name, std::vector<rknn_tensor_attr>& attrs);
  void print_info() const;
  void check(int ret, const char* call) const;
  std::vector<std::vector<float>> copy_outputs(const std::vector<rknn_output>& outputs) const;

  rknn_context ctx_ = 0;  // 0 while nothing is loaded
  std::string path_;
  rknn_input_output_num io_num_{};
  std::vector<rknn_tensor_attr> input_attrs_;
  std::vector<rknn_tensor_attr> output_attrs_;
};

}  // namespace kavrel

#endif
