#include "fuzz/fuzzed_runtime.h"

using kavrel_fuzz::runtime_outputs;

namespace kavrel_fuzz {

std::vector<RuntimeOutput> runtime_outputs;

std::vector<RuntimeOutput> take_outputs(FuzzedDataProvider& data) {
  std::vector<RuntimeOutput> outputs(data.ConsumeIntegralInRange<std::size_t>(0, 3));
  for (RuntimeOutput& output : outputs) {
    output.attr = take_attr(data);
    output.attr.n_elems = data.ConsumeIntegralInRange<std::uint32_t>(0, 20);
    data.ConsumeData(output.attr.name, RKNN_MAX_NAME_LEN * data.ConsumeBool());
    output.values.resize(data.ConsumeIntegralInRange<std::size_t>(0, 20));
    for (float& value : output.values) {
      const auto bits = data.ConsumeIntegral<std::uint32_t>();
      std::memcpy(&value, &bits, sizeof value);
    }
  }
  return outputs;
}

}  // namespace kavrel_fuzz

int rknn_init(rknn_context* context, void*, std::uint32_t, std::uint32_t, rknn_init_extend*) {
  *context = 1;
  return RKNN_SUCC;
}

int rknn_query(rknn_context, rknn_query_cmd cmd, void* info, std::uint32_t) {
  if (cmd == RKNN_QUERY_IN_OUT_NUM) {
    const rknn_input_output_num counts{0, static_cast<std::uint32_t>(runtime_outputs.size())};
    std::memcpy(info, &counts, sizeof counts);
  } else {
    auto* const attr = static_cast<rknn_tensor_attr*>(info);
    *attr = runtime_outputs.at(attr->index).attr;
  }
  return RKNN_SUCC;
}

int rknn_inputs_set(rknn_context, std::uint32_t, rknn_input[]) { return RKNN_SUCC; }

int rknn_run(rknn_context, rknn_run_extend*) { return RKNN_SUCC; }

int rknn_outputs_get(rknn_context, std::uint32_t count, rknn_output outputs[],
                     rknn_output_extend*) {
  for (std::uint32_t i = 0; i < count; ++i) {
    std::vector<float>& values = runtime_outputs[i].values;
    outputs[i].buf = values.empty() ? nullptr : values.data();
    outputs[i].size = static_cast<std::uint32_t>(values.size() * sizeof(float));
  }
  return RKNN_SUCC;
}

int rknn_outputs_release(rknn_context, std::uint32_t, rknn_output[]) { return RKNN_SUCC; }

int rknn_destroy(rknn_context) { return RKNN_SUCC; }
