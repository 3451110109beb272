// The hash under which the scripted runtime logs what a network was given.
#ifndef KAVREL_TESTS_SCRIPTED_RUNTIME_FNV_H
#define KAVREL_TESTS_SCRIPTED_RUNTIME_FNV_H

#include <cstddef>
#include <cstdint>

namespace scripted {

// 64-bit FNV-1a of `size` bytes at `data`.
inline uint64_t fnv1a(const void* data, size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  uint64_t hash = 0xcbf29ce484222325U;
  for (size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 0x100000001b3U;
  return hash;
}

}  // namespace scripted

#endif
