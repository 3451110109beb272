// An NPU runtime whose networks answer what a fuzz target has drawn.
#ifndef KAVREL_FUZZ_FUZZED_RUNTIME_H
#define KAVREL_FUZZ_FUZZED_RUNTIME_H

#include <vector>

#include "fuzz/fuzz_support.h"

namespace kavrel_fuzz {

// What it says of an output need not be what it hands over.
struct RuntimeOutput {
  rknn_tensor_attr attr{};
  std::vector<float> values;
};

// The outputs of every network that is loaded next.
extern std::vector<RuntimeOutput> runtime_outputs;

// None to three outputs; the last one has the remaining bytes.
std::vector<RuntimeOutput> take_outputs(FuzzedDataProvider& data);

}  // namespace kavrel_fuzz

#endif
