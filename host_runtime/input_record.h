// Keeps the pictures that a network is fed, to calibrate its 8-bit form on.
#ifndef KAVREL_HOST_RUNTIME_INPUT_RECORD_H
#define KAVREL_HOST_RUNTIME_INPUT_RECORD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "npu/rknn_api.h"

namespace host_runtime {

// Does nothing unless the environment's KAVREL_HOST_INPUTS names a folder. That gets a folder for
// each network, named by the 16 hexadecimal digits of the 64-bit FNV-1a hash of its file, with
// 8-bit RGB pictures of the network's input size as 0.ppm, 1.ppm ...; the numbers count what the
// network was fed. When `most_bytes` are full, every second picture goes, and from then on every
// second one of those that would have been taken is left out.
class InputRecord {
 public:
  // Of the network in the `size` bytes of a file.
  InputRecord(const void* bytes, std::size_t size, std::size_t most_bytes = std::size_t{256} << 20);

  // Throws Refusal with RKNN_ERR_FAIL if the picture cannot be written.
  void add(const std::uint8_t* pixels, const rknn_tensor_attr& image);

 private:
  std::string path_of(std::size_t number) const;
  void thin_out();

  std::string folder_;
  std::size_t most_bytes_;
  std::size_t fed_ = 0;
  std::size_t stride_ = 1;
  std::vector<std::size_t> kept_;
};

}  // namespace host_runtime

#endif
