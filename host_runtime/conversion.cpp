#include "host_runtime/conversion.h"

#include <onnxruntime_cxx_api.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "host_runtime/tensor_attr.h"

namespace host_runtime {
namespace {

// Bits of an IEEE half float.
struct Half {
  std::uint16_t bits;
};

template <typename Element>
Element from_pixel(std::uint8_t pixel) {
  return static_cast<Element>(pixel);
}

// A half has 5 exponent bits around 15 and 10 mantissa bits where a float has 8 around 127 and
// 23. Pixel values need 8 significant bits, so cutting the mantissa loses nothing.
template <>
Half from_pixel<Half>(std::uint8_t pixel) {
  const float value = pixel;
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  const std::uint32_t half = (bits >> 13) - ((127U - 15U) << 10);
  return {static_cast<std::uint16_t>(pixel == 0 ? 0 : half)};
}

// Restricted pointers let the compiler turn the loops into vector code.
template <typename Element>
void keep_interleaved(const std::uint8_t* __restrict pixels, std::size_t count,
                      Element* __restrict elements) {
  for (std::size_t i = 0; i < 3 * count; ++i) elements[i] = from_pixel<Element>(pixels[i]);
}

constexpr std::size_t kBlock = 64;

// At most kBlock pixels. They are widened before they are split because plain x86-64 can pick
// every third float in vector code, but not every third byte.
template <typename Element>
void split_block(const std::uint8_t* pixels, std::size_t count, Element* __restrict planes,
                 std::size_t plane_size) {
  std::array<Element, 3 * kBlock> elements;
  keep_interleaved(pixels, count, elements.data());
  for (std::size_t i = 0; i < count; ++i) {
    planes[i] = elements[3 * i];
    planes[plane_size + i] = elements[3 * i + 1];
    planes[2 * plane_size + i] = elements[3 * i + 2];
  }
}

template <typename Element>
void split_into_planes(const std::uint8_t* pixels, std::size_t count, Element* planes) {
  for (std::size_t start = 0; start < count; start += kBlock) {
    split_block(pixels + 3 * start, std::min(kBlock, count - start), planes + start, count);
  }
}

template <typename Element>
void convert_pixels(const std::uint8_t* pixels, const rknn_tensor_attr& image, void* tensor) {
  auto* elements = static_cast<Element*>(tensor);
  if (image.fmt == RKNN_TENSOR_NCHW) return split_into_planes(pixels, pixel_count(image), elements);
  keep_interleaved(pixels, pixel_count(image), elements);
}

template <typename Element>
void convert_to_floats(const void* tensor, std::size_t count, float* floats) {
  const auto* elements = static_cast<const Element*>(tensor);
  std::transform(elements, elements + count, floats,
                 [](Element element) { return static_cast<float>(element); });
}

}  // namespace

void pixels_to_tensor(const std::uint8_t* pixels, const rknn_tensor_attr& image, void* tensor) {
  switch (image.type) {
    case RKNN_TENSOR_UINT8:
      return convert_pixels<std::uint8_t>(pixels, image, tensor);
    case RKNN_TENSOR_FLOAT16:
      return convert_pixels<Half>(pixels, image, tensor);
    default:
      return convert_pixels<float>(pixels, image, tensor);
  }
}

void tensor_to_floats(const void* tensor, const rknn_tensor_attr& attr, float* floats) {
  switch (attr.type) {
    case RKNN_TENSOR_FLOAT16:
      return convert_to_floats<Ort::Float16_t>(tensor, attr.n_elems, floats);
    case RKNN_TENSOR_INT8:
      return convert_to_floats<std::int8_t>(tensor, attr.n_elems, floats);
    case RKNN_TENSOR_UINT8:
      return convert_to_floats<std::uint8_t>(tensor, attr.n_elems, floats);
    case RKNN_TENSOR_INT16:
      return convert_to_floats<std::int16_t>(tensor, attr.n_elems, floats);
    case RKNN_TENSOR_UINT16:
      return convert_to_floats<std::uint16_t>(tensor, attr.n_elems, floats);
    case RKNN_TENSOR_INT32:
      return convert_to_floats<std::int32_t>(tensor, attr.n_elems, floats);
    default:
      return convert_to_floats<float>(tensor, attr.n_elems, floats);
  }
}

}  // namespace host_runtime
