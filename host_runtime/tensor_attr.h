// The attributes of a network's inputs and outputs as the C interface reports them.
#ifndef KAVREL_HOST_RUNTIME_TENSOR_ATTR_H
#define KAVREL_HOST_RUNTIME_TENSOR_ATTR_H

#include <onnxruntime_cxx_api.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "npu/rknn_api.h"

namespace host_runtime {

// Throws Refusal with RKNN_ERR_MODEL_INVALID and says that the tensor `label` has a fault such as
// "is of int64".
[[noreturn]] void refuse_tensor(const std::string& label, const std::string& fault);

// The attributes of the tensor `name`, input or output number `index`: its dims as the graph has
// them, a name cut to 255 bytes, n_elems and size filled in, everything unused zero. The layout
// is NCHW for [1,3,H,W], NHWC for [1,H,W,3], else undefined.
//
// `label` names the tensor in messages, such as "input 0 'image'". Throws Refusal with
// RKNN_ERR_MODEL_INVALID for what the interface cannot describe: no tensor, an element type it
// has no name for, a dimension that is not fixed, more than 16 dims, more than 4 GiB as floats.
rknn_tensor_attr describe_tensor(std::uint32_t index, const std::string& name,
                                 const std::string& label, const Ort::TypeInfo& info);

// States that an element q of an 8-bit tensor stands for (q - zero_point) * scale, both as the
// network's file has them, in text. Throws Refusal with RKNN_ERR_MODEL_INVALID for a tensor of
// another type, a scale that is no number above 0, or a zero point beyond the type's range.
void set_quantisation(rknn_tensor_attr& attr, const std::string& scale,
                      const std::string& zero_point, const std::string& label);

// Throws Refusal with RKNN_ERR_MODEL_INVALID unless 8-bit pixels can fill the tensor: one image
// of three channels with elements of type uint8, float16, float32, or int8 with a quantisation.
void require_image(const rknn_tensor_attr& attr, const std::string& label);

// The graph's element type that `type` stands for.
ONNXTensorElementDataType element_type(rknn_tensor_type type);

// Height times width of an image tensor.
std::size_t pixel_count(const rknn_tensor_attr& image);

}  // namespace host_runtime

#endif
