// What the fuzz targets share: the check of an invariant, and inputs beyond plain bytes.
#ifndef KAVREL_FUZZ_FUZZ_SUPPORT_H
#define KAVREL_FUZZ_FUZZ_SUPPORT_H

#include <fuzzer/FuzzedDataProvider.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "npu/rknn_api.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace kavrel_fuzz {

// Ends the process, which libFuzzer and the replay report as a finding, unless `promise` holds.
inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// A file that lives in memory, for functions that want a path.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& bytes) : descriptor_(memfd_create("fuzz", 0)) {
    require(write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
            "a file in memory can be written");
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

// All remaining bytes as the bits of floats, so that every NaN, infinity and subnormal can come.
inline std::vector<float> take_floats(FuzzedDataProvider& data) {
  std::vector<std::uint8_t> bytes = data.ConsumeRemainingBytes<std::uint8_t>();
  std::vector<float> floats(bytes.size() / sizeof(float));
  if (!floats.empty()) std::memcpy(floats.data(), bytes.data(), floats.size() * sizeof(float));
  return floats;
}

// A tensor record as a runtime might fill it: mostly few and small dimensions, at times any.
inline rknn_tensor_attr take_attr(FuzzedDataProvider& data) {
  rknn_tensor_attr attr{};
  const bool any = data.ConsumeBool();
  attr.n_dims = any ? data.ConsumeIntegral<std::uint32_t>()
                    : data.ConsumeIntegralInRange<std::uint32_t>(0, RKNN_MAX_DIMS);
  for (std::uint32_t i = 0; i < attr.n_dims && i < RKNN_MAX_DIMS; ++i) {
    attr.dims[i] = any ? data.ConsumeIntegral<std::uint32_t>()
                       : data.ConsumeIntegralInRange<std::uint32_t>(0, 50);
  }
  return attr;
}

}  // namespace kavrel_fuzz

#endif
