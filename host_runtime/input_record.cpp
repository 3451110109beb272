#include "host_runtime/input_record.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host_runtime/refusal.h"
#include "host_runtime/tensor_attr.h"

namespace host_runtime {
namespace {

std::string hash_of(const void* bytes, std::size_t size) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  const auto* byte = static_cast<const std::uint8_t*>(bytes);
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ byte[i]) * 0x100000001b3U;
  std::array<char, 17> digits{};
  std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(hash));
  return digits.data();
}

// Even, so that after thinning out the next picture is one to keep.
std::size_t most_pictures(const rknn_tensor_attr& image, std::size_t most_bytes) {
  return 2 * std::max<std::size_t>(1, most_bytes / 2 / image.n_elems);
}

std::string header_of(const rknn_tensor_attr& image) {
  const std::uint32_t* height = image.dims + (image.fmt == RKNN_TENSOR_NCHW ? 2 : 1);
  return "P6\n" + std::to_string(height[1]) + " " + std::to_string(height[0]) + "\n255\n";
}

}  // namespace

InputRecord::InputRecord(const void* bytes, std::size_t size, std::size_t most_bytes)
    : most_bytes_(most_bytes) {
  const char* const folder = std::getenv("KAVREL_HOST_INPUTS");
  if (folder != nullptr && *folder != '\0') {
    folder_ = std::string(folder) + "/" + hash_of(bytes, size);
  }
}

void InputRecord::add(const std::uint8_t* pixels, const rknn_tensor_attr& image) {
  if (folder_.empty() || fed_++ % stride_ != 0) return;
  if (kept_.size() == most_pictures(image, most_bytes_)) thin_out();
  kept_.push_back(fed_ - 1);

  std::error_code fault;
  std::filesystem::create_directories(folder_, fault);
  std::ofstream file(path_of(kept_.back()), std::ios::binary);
  file << header_of(image);
  file.write(reinterpret_cast<const char*>(pixels), static_cast<std::streamsize>(image.n_elems));
  if (!file.flush()) throw Refusal(RKNN_ERR_FAIL, "cannot write " + path_of(kept_.back()));
}

std::string InputRecord::path_of(std::size_t number) const {
  return folder_ + "/" + std::to_string(number) + ".ppm";
}

void InputRecord::thin_out() {
  std::vector<std::size_t> stay;
  std::error_code ignored;
  for (std::size_t i = 0; i < kept_.size(); ++i) {
    if (i % 2 == 0) {
      stay.push_back(kept_[i]);
    } else {
      std::filesystem::remove(path_of(kept_[i]), ignored);
    }
  }
  kept_ = stay;
  stride_ *= 2;
}

}  // namespace host_runtime
