#include "host_runtime/tensor_attr.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "host_runtime/refusal.h"

namespace host_runtime {
namespace {

constexpr std::uint32_t kImageChannels = 3;

struct ElementType {
  ONNXTensorElementDataType onnx;
  rknn_tensor_type rknn;
  std::uint32_t bytes;
};

constexpr std::array<ElementType, 7> kElementTypes = {{
    {ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT, RKNN_TENSOR_FLOAT32, 4},
    {ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT16, RKNN_TENSOR_FLOAT16, 2},
    {ONNX_TENSOR_ELEMENT_DATA_TYPE_INT8, RKNN_TENSOR_INT8, 1},
    {ONNX_TENSOR_ELEMENT_DATA_TYPE_UINT8, RKNN_TENSOR_UINT8, 1},
    {ONNX_TENSOR_ELEMENT_DATA_TYPE_INT16, RKNN_TENSOR_INT16, 2},
    {ONNX_TENSOR_ELEMENT_DATA_TYPE_UINT16, RKNN_TENSOR_UINT16, 2},
    {ONNX_TENSOR_ELEMENT_DATA_TYPE_INT32, RKNN_TENSOR_INT32, 4},
}};

// By the number an element type has in ONNX; the rarer ones that follow go by number.
constexpr std::array<const char*, 17> kOnnxTypeNames = {
    "undefined", "float",  "uint8",     "int8",       "uint16",  "int16",
    "int32",     "int64",  "string",    "bool",       "float16", "double",
    "uint32",    "uint64", "complex64", "complex128", "bfloat16"};

std::string type_name(ONNXTensorElementDataType type) {
  const auto number = static_cast<std::size_t>(type);
  return number < kOnnxTypeNames.size() ? kOnnxTypeNames[number]
                                        : "ONNX type " + std::to_string(number);
}

const ElementType& find_element_type(ONNXTensorElementDataType onnx, const std::string& label) {
  const auto found = std::find_if(kElementTypes.begin(), kElementTypes.end(),
                                  [onnx](const ElementType& type) { return type.onnx == onnx; });
  if (found == kElementTypes.end()) {
    refuse_tensor(label, "is of " + type_name(onnx) +
                             ", wanted is float, float16, int8, uint8, int16, uint16 or int32");
  }
  return *found;
}

std::string shape_text(const std::vector<std::int64_t>& shape) {
  std::string text;
  for (const std::int64_t dim : shape) text += (text.empty() ? "" : ",") + std::to_string(dim);
  return "[" + text + "]";
}

void set_shape(rknn_tensor_attr& attr, const std::vector<std::int64_t>& shape,
               std::uint32_t element_bytes, const std::string& label) {
  if (shape.size() > RKNN_MAX_DIMS) refuse_tensor(label, "has more than 16 dimensions");
  // Sizes are 32-bit, also that of the values as floats.
  const std::int64_t most_elements = std::numeric_limits<std::uint32_t>::max() / sizeof(float);
  std::int64_t elements = 1;
  for (const std::int64_t dim : shape) {
    if (dim <= 0) {
      refuse_tensor(label,
                    "has the shape " + shape_text(shape) + ", wanted are fixed sizes above 0");
    }
    if (dim > most_elements / elements) {
      refuse_tensor(
          label, "has the shape " + shape_text(shape) + ", which takes more than 4 GiB as floats");
    }
    elements *= dim;
    attr.dims[attr.n_dims++] = static_cast<std::uint32_t>(dim);
  }
  attr.n_elems = static_cast<std::uint32_t>(elements);
  attr.size = attr.n_elems * element_bytes;
}

rknn_tensor_format layout_of(const rknn_tensor_attr& attr) {
  if (attr.n_dims != 4 || attr.dims[0] != 1) return RKNN_TENSOR_UNDEFINED;
  if (attr.dims[1] == kImageChannels) return RKNN_TENSOR_NCHW;
  return attr.dims[3] == kImageChannels ? RKNN_TENSOR_NHWC : RKNN_TENSOR_UNDEFINED;
}

}  // namespace

void refuse_tensor(const std::string& label, const std::string& fault) {
  throw Refusal(RKNN_ERR_MODEL_INVALID,
                label + " " + fault + "; export the network again with this changed");
}

rknn_tensor_attr describe_tensor(std::uint32_t index, const std::string& name,
                                 const std::string& label, const Ort::TypeInfo& info) {
  if (info.GetONNXType() != ONNX_TYPE_TENSOR) refuse_tensor(label, "is no plain tensor");
  const auto tensor = info.GetTensorTypeAndShapeInfo();
  const ElementType& type = find_element_type(tensor.GetElementType(), label);

  rknn_tensor_attr attr{};
  attr.index = index;
  attr.type = type.rknn;
  name.copy(attr.name, RKNN_MAX_NAME_LEN - 1);
  set_shape(attr, tensor.GetShape(), type.bytes, label);
  attr.fmt = layout_of(attr);
  return attr;
}

void set_quantisation(rknn_tensor_attr& attr, const std::string& scale,
                      const std::string& zero_point, const std::string& label) {
  const bool is_signed = attr.type == RKNN_TENSOR_INT8;
  if (!is_signed && attr.type != RKNN_TENSOR_UINT8) {
    refuse_tensor(label, "has a scale and is not of 8 bits");
  }
  attr.scale = std::strtof(scale.c_str(), nullptr);
  if (!std::isfinite(attr.scale) || attr.scale <= 0) {
    refuse_tensor(label, "has the scale '" + scale + "', wanted is a number above 0");
  }
  const int least = is_signed ? -128 : 0;
  const long zero = std::strtol(zero_point.c_str(), nullptr, 10);
  if (zero < least || zero > least + 255) {
    refuse_tensor(label, "has the zero point '" + zero_point + "', which its type cannot hold");
  }
  attr.zp = static_cast<std::int32_t>(zero);
  attr.qnt_type = RKNN_TENSOR_QNT_AFFINE_ASYMMETRIC;
}

void require_image(const rknn_tensor_attr& attr, const std::string& label) {
  if (attr.fmt == RKNN_TENSOR_UNDEFINED) {
    refuse_tensor(label, "has the shape " + shape_text({attr.dims, attr.dims + attr.n_dims}) +
                             ", wanted is one image of three channels, "
                             "[1,3,H,W] or [1,H,W,3]");
  }
  const bool is_quantised_int8 =
      attr.type == RKNN_TENSOR_INT8 && attr.qnt_type == RKNN_TENSOR_QNT_AFFINE_ASYMMETRIC;
  if (attr.type != RKNN_TENSOR_UINT8 && attr.type != RKNN_TENSOR_FLOAT16 &&
      attr.type != RKNN_TENSOR_FLOAT32 && !is_quantised_int8) {
    refuse_tensor(label, "is of " + type_name(element_type(attr.type)) +
                             ", wanted for an image is uint8, float16, float or int8 with a scale");
  }
}

ONNXTensorElementDataType element_type(rknn_tensor_type type) {
  const auto found =
      std::find_if(kElementTypes.begin(), kElementTypes.end(),
                   [type](const ElementType& candidate) { return candidate.rknn == type; });
  return found == kElementTypes.end() ? ONNX_TENSOR_ELEMENT_DATA_TYPE_UNDEFINED : found->onnx;
}

std::size_t pixel_count(const rknn_tensor_attr& image) { return image.n_elems / kImageChannels; }

}  // namespace host_runtime
