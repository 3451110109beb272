// Values on their way into and out of a network.
#ifndef KAVREL_HOST_RUNTIME_CONVERSION_H
#define KAVREL_HOST_RUNTIME_CONVERSION_H

#include <cstdint>

#include "npu/rknn_api.h"

namespace host_runtime {

// Fills the image tensor `image` (a type that require_image takes, NCHW or NHWC) with 8-bit pixels,
// row by row, three interleaved channels each. Values keep their range 0 to 255: scaling them is
// the network's own first step, as it is in a network compiled for the NPU. A tensor with a
// quantisation gets the element that stands for the value, or the nearest to it.
void pixels_to_tensor(const std::uint8_t* pixels, const rknn_tensor_attr& image, void* tensor);

// Writes the attr.n_elems values of `tensor`, of any type, as floats: what the elements stand for
// where they have a quantisation.
void tensor_to_floats(const void* tensor, const rknn_tensor_attr& attr, float* floats);

}  // namespace host_runtime

#endif
