#include "host_runtime/conversion.h"

#include <onnxruntime_cxx_api.h>

#include <algorithm>
#include <array>
#include <cmath>
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
struct PlainPixel {
  Element operator()(std::uint8_t pixel) const { return static_cast<Element>(pixel); }
};

// A half has 5 exponent bits around 15 and 10 mantissa bits where a float has 8 around 127 and
// 23. Pixel values need 8 significant bits, so cutting the mantissa loses nothing.
struct HalfPixel {
  Half operator()(std::uint8_t pixel) const {
    const float value = pixel;
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const std::uint32_t half = (bits >> 13) - ((127U - 15U) << 10);
    return {static_cast<std::uint16_t>(pixel == 0 ? 0 : half)};
  }
};

// The 8-bit element for each of the 256 pixel values; signed ones by their bits.
class QuantisedPixel {
 public:
  explicit QuantisedPixel(const rknn_tensor_attr& image) {
    const int least = image.type == RKNN_TENSOR_INT8 ? -128 : 0;
    for (std::size_t pixel = 0; pixel < elements_.size(); ++pixel) {
      const float steps = std::nearbyint(static_cast<float>(pixel) / image.scale);
      const float zero = static_cast<float>(image.zp);
      const auto lowest = static_cast<float>(least);
      const auto element = static_cast<int>(std::clamp(steps + zero, lowest, lowest + 255));
      elements_[pixel] = static_cast<std::uint8_t>(element);
    }
  }

  std::uint8_t operator()(std::uint8_t pixel) const { return elements_[pixel]; }

 private:
  std::array<std::uint8_t, 256> elements_{};
};

// Restricted pointers let the compiler turn the loops into vector code.
template <typename Element, typename FromPixel>
void keep_interleaved(const std::uint8_t* __restrict pixels, std::size_t count,
                      Element* __restrict elements, const FromPixel& from_pixel) {
  for (std::size_t i = 0; i < 3 * count; ++i) elements[i] = from_pixel(pixels[i]);
}

constexpr std::size_t kBlock = 64;

// At most kBlock pixels. They are widened before they are split because plain x86-64 can pick
// every third float in vector code, but not every third byte.
template <typename Element, typename FromPixel>
void split_block(const std::uint8_t* pixels, std::size_t count, Element* __restrict planes,
                 std::size_t plane_size, const FromPixel& from_pixel) {
  std::array<Element, 3 * kBlock> elements;
  keep_interleaved(pixels, count, elements.data(), from_pixel);
  for (std::size_t i = 0; i < count; ++i) {
    planes[i] = elements[3 * i];
    planes[plane_size + i] = elements[3 * i + 1];
    planes[2 * plane_size + i] = elements[3 * i + 2];
  }
}

template <typename Element, typename FromPixel>
void split_into_planes(const std::uint8_t* pixels, std::size_t count, Element* planes,
                       const FromPixel& from_pixel) {
  for (std::size_t start = 0; start < count; start += kBlock) {
    split_block(pixels + 3 * start, std::min(kBlock, count - start), planes + start, count,
                from_pixel);
  }
}

template <typename Element, typename FromPixel>
void convert_pixels(const std::uint8_t* pixels, const rknn_tensor_attr& image, void* tensor,
                    const FromPixel& from_pixel) {
  auto* elements = static_cast<Element*>(tensor);
  const std::size_t count = pixel_count(image);
  if (image.fmt == RKNN_TENSOR_NCHW) return split_into_planes(pixels, count, elements, from_pixel);
  keep_interleaved(pixels, count, elements, from_pixel);
}

template <typename Element>
void convert_to_floats(const void* tensor, std::size_t count, float* floats) {
  const auto* elements = static_cast<const Element*>(tensor);
  std::transform(elements, elements + count, floats,
                 [](Element element) { return static_cast<float>(element); });
}

template <typename Element>
void undo_quantisation(const void* tensor, const rknn_tensor_attr& attr, float* floats) {
  const auto* elements = static_cast<const Element*>(tensor);
  std::transform(elements, elements + attr.n_elems, floats, [&attr](Element element) {
    return static_cast<float>(element - attr.zp) * attr.scale;
  });
}

}  // namespace

void pixels_to_tensor(const std::uint8_t* pixels, const rknn_tensor_attr& image, void* tensor) {
  if (image.qnt_type != RKNN_TENSOR_QNT_NONE) {
    return convert_pixels<std::uint8_t>(pixels, image, tensor, QuantisedPixel(image));
  }
  switch (image.type) {
    case RKNN_TENSOR_UINT8:
      return convert_pixels<std::uint8_t>(pixels, image, tensor, PlainPixel<std::uint8_t>());
    case RKNN_TENSOR_FLOAT16:
      return convert_pixels<Half>(pixels, image, tensor, HalfPixel());
    default:
      return convert_pixels<float>(pixels, image, tensor, PlainPixel<float>());
  }
}

void tensor_to_floats(const void* tensor, const rknn_tensor_attr& attr, float* floats) {
  if (attr.qnt_type != RKNN_TENSOR_QNT_NONE) {
    return attr.type == RKNN_TENSOR_INT8 ? undo_quantisation<std::int8_t>(tensor, attr, floats)
                                         : undo_quantisation<std::uint8_t>(tensor, attr, floats);
  }
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
