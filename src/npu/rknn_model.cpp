#include "npu/rknn_model.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "app/base/files.h"
#include "app/base/log.h"
#include "app/base/text.h"

namespace kavrel {
namespace {

// Sets every byte to zero. An initialiser leaves the padding as it was, and the runtime gets that
// too.
template <typename Record>
void clear(Record& record) {
  std::memset(&record, 0, sizeof record);
}

std::string tensor_name(const rknn_tensor_attr& attr) {
  return {attr.name, std::find(attr.name, attr.name + RKNN_MAX_NAME_LEN, '\0')};
}

std::string layout_to_string(const rknn_tensor_attr& attr) {
  return " type=" + std::to_string(attr.type) + " fmt=" + std::to_string(attr.fmt);
}

// Dimension of a four- or more-dimensional tensor, counted from its last one; else 0.
int dim_from_back(const rknn_tensor_attr& attr, std::size_t back) {
  const std::vector<std::uint32_t> dims = tensor_dims(attr);
  return dims.size() < 4 ? 0 : static_cast<int>(dims[dims.size() - 1 - back]);
}

// Hands the runtime's output buffers back, also when copying them fails.
class OutputsRelease {
 public:
  OutputsRelease(rknn_context context, std::vector<rknn_output>& outputs)
      : context_(context), outputs_(outputs) {}
  ~OutputsRelease() {
    rknn_outputs_release(context_, static_cast<std::uint32_t>(outputs_.size()), outputs_.data());
  }
  OutputsRelease(const OutputsRelease&) = delete;
  OutputsRelease& operator=(const OutputsRelease&) = delete;

 private:
  rknn_context context_;
  std::vector<rknn_output>& outputs_;
};

}  // namespace

std::vector<std::uint32_t> tensor_dims(const rknn_tensor_attr& attr) {
  return {attr.dims, attr.dims + std::min<std::uint32_t>(attr.n_dims, RKNN_MAX_DIMS)};
}

std::string dims_to_string(const rknn_tensor_attr& attr) {
  std::vector<std::string> dims;
  for (const std::uint32_t dim : tensor_dims(attr)) dims.push_back(std::to_string(dim));
  return "[" + join_strings(dims, ",") + "]";
}

void RknnModel::load(const std::string& path) {
  release();
  path_ = path;
  std::vector<unsigned char> model = read_file_binary(path);
  check(rknn_init(&ctx_, model.data(), static_cast<std::uint32_t>(model.size()), 0, nullptr),
        "rknn_init");
  clear(io_num_);
  if (rknn_query(ctx_, RKNN_QUERY_IN_OUT_NUM, &io_num_, sizeof io_num_) != RKNN_SUCC) {
    throw std::runtime_error("RKNN_QUERY_IN_OUT_NUM failed: " + path_);
  }
  input_attrs_.resize(io_num_.n_input);
  output_attrs_.resize(io_num_.n_output);
  query_attrs(RKNN_QUERY_INPUT_ATTR, "RKNN_QUERY_INPUT_ATTR", input_attrs_);
  query_attrs(RKNN_QUERY_OUTPUT_ATTR, "RKNN_QUERY_OUTPUT_ATTR", output_attrs_);
  print_info();
}

void RknnModel::release() {
  if (ctx_ == 0) return;
  rknn_destroy(ctx_);
  ctx_ = 0;
}

std::vector<std::vector<float>> RknnModel::infer_uint8_nhwc(const cv::Mat& rgb) {
  if (ctx_ == 0) throw std::runtime_error("RKNN model not loaded");
  if (rgb.empty() || rgb.type() != CV_8UC3) {
    throw std::runtime_error("input must be CV_8UC3 RGB image");
  }
  rknn_input input;
  clear(input);
  input.buf = rgb.data;
  input.size = static_cast<std::uint32_t>(rgb.total() * rgb.elemSize());
  input.type = RKNN_TENSOR_UINT8;
  input.fmt = RKNN_TENSOR_NHWC;
  check(rknn_inputs_set(ctx_, 1, &input), "rknn_inputs_set");
  check(rknn_run(ctx_, nullptr), "rknn_run");

  std::vector<rknn_output> outputs(io_num_.n_output);
  for (std::uint32_t i = 0; i < io_num_.n_output; ++i) {
    clear(outputs[i]);
    outputs[i].index = i;
    outputs[i].want_float = 1;
  }
  check(rknn_outputs_get(ctx_, io_num_.n_output, outputs.data(), nullptr), "rknn_outputs_get");
  const OutputsRelease outputs_release(ctx_, outputs);
  return copy_outputs(outputs);
}

int RknnModel::input_w() const { return dim_from_back(input_attrs_.at(0), 0); }

int RknnModel::input_h() const { return dim_from_back(input_attrs_.at(0), 1); }

std::uint64_t RknnModel::output_elem_count(std::uint32_t index) const {
  const rknn_tensor_attr& attr = output_attrs_.at(index);
  if (attr.n_elems != 0) return attr.n_elems;
  std::uint64_t product = 1;
  for (const std::uint32_t dim : tensor_dims(attr)) product *= dim;
  return product;
}

void RknnModel::query_attrs(rknn_query_cmd cmd, const char* name,
                            std::vector<rknn_tensor_attr>& attrs) {
  for (std::uint32_t i = 0; i < attrs.size(); ++i) {
    clear(attrs[i]);
    attrs[i].index = i;
    if (rknn_query(ctx_, cmd, &attrs[i], sizeof attrs[i]) != RKNN_SUCC) {
      throw std::runtime_error(std::string(name) + " failed");
    }
  }
}

void RknnModel::print_info() const {
  log_line(std::string(logged::kNetwork) + path_);
  for (std::size_t i = 0; i < input_attrs_.size(); ++i) {
    const rknn_tensor_attr& attr = input_attrs_[i];
    log_line("  input[" + std::to_string(i) + "] name=" + tensor_name(attr) +
             " dims=" + dims_to_string(attr) + layout_to_string(attr));
  }
  for (std::size_t i = 0; i < output_attrs_.size(); ++i) {
    const rknn_tensor_attr& attr = output_attrs_[i];
    log_line("  output[" + std::to_string(i) + "] name=" + tensor_name(attr) +
             " dims=" + dims_to_string(attr) + " elems=" + std::to_string(attr.n_elems) +
             layout_to_string(attr));
  }
}

void RknnModel::check(int ret, const char* call) const {
  if (ret == RKNN_SUCC) return;
  throw std::runtime_error(std::string(call) + " failed: " + path_ +
                           ", ret=" + std::to_string(ret));
}

std::vector<std::vector<float>> RknnModel::copy_outputs(
    const std::vector<rknn_output>& outputs) const {
  std::vector<std::vector<float>> copies;
  for (std::uint32_t i = 0; i < outputs.size(); ++i) {
    const std::uint64_t count = output_elem_count(i);
    const rknn_output& output = outputs[i];
    // A size of 0 says nothing: some runtimes leave the field as it was handed in.
    const bool too_small = output.size != 0 && output.size / sizeof(float) < count;
    if (count > 0 && (output.buf == nullptr || too_small)) {
      throw std::runtime_error("rknn output " + std::to_string(i) + " too small: " + path_);
    }
    const auto* values = static_cast<const float*>(output.buf);
    copies.emplace_back(values, values + count);
  }
  return copies;
}

}  // namespace kavrel
