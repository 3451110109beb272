// A librknnrt.so whose answers cost nothing: each model is a script as the tests' scripted runtime
// reads it, its outputs are made when it is loaded, and every run hands out the same buffers.

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "npu/rknn_api.h"
#include "script.h"

namespace {

struct Model {
  scripted::Script script;
  std::vector<scripted::Answer> answers;
};

// A context is its model's number plus one. Models live as long as the process.
std::vector<std::unique_ptr<Model>>& models() {
  static std::vector<std::unique_ptr<Model>> all;
  return all;
}

Model& model_of(rknn_context context) { return *models()[context - 1]; }

}  // namespace

int rknn_init(rknn_context* context, void* model, uint32_t size, uint32_t /*flag*/,
              rknn_init_extend* /*extend*/) {
  auto loaded = std::make_unique<Model>();
  loaded->script = scripted::parse_script(std::string(static_cast<const char*>(model), size));
  for (uint32_t i = 0; i < loaded->script.outputs.size(); ++i) {
    loaded->answers.push_back(scripted::scripted_answer(loaded->script, i, 1));
  }
  models().push_back(std::move(loaded));
  *context = models().size();
  return RKNN_SUCC;
}

int rknn_query(rknn_context context, rknn_query_cmd cmd, void* info, uint32_t /*size*/) {
  const scripted::Script& script = model_of(context).script;
  if (cmd == RKNN_QUERY_IN_OUT_NUM) {
    const rknn_input_output_num counts = {static_cast<uint32_t>(script.inputs.size()),
                                          static_cast<uint32_t>(script.outputs.size())};
    std::memcpy(info, &counts, sizeof counts);
    return RKNN_SUCC;
  }
  auto& attr = *static_cast<rknn_tensor_attr*>(info);
  attr = (cmd == RKNN_QUERY_INPUT_ATTR ? script.inputs : script.outputs)[attr.index];
  return RKNN_SUCC;
}

int rknn_inputs_set(rknn_context /*context*/, uint32_t /*n_inputs*/, rknn_input* /*inputs*/) {
  return RKNN_SUCC;
}

int rknn_run(rknn_context /*context*/, rknn_run_extend* /*extend*/) { return RKNN_SUCC; }

int rknn_outputs_get(rknn_context context, uint32_t n_outputs, rknn_output outputs[],
                     rknn_output_extend* /*extend*/) {
  std::vector<scripted::Answer>& answers = model_of(context).answers;
  for (uint32_t i = 0; i < n_outputs; ++i) {
    std::vector<float>& values = answers[outputs[i].index].values;
    outputs[i].buf = values.data();
    outputs[i].size = static_cast<uint32_t>(values.size() * sizeof(float));
  }
  return RKNN_SUCC;
}

int rknn_outputs_release(rknn_context /*context*/, uint32_t /*n_outputs*/,
                         rknn_output* /*outputs*/) {
  return RKNN_SUCC;
}

int rknn_destroy(rknn_context /*context*/) { return RKNN_SUCC; }
