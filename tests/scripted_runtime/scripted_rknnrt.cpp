// A librknnrt.so that plays a script and logs every call: see README.md.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "npu/rknn_api.h"
#include "tests/scripted_runtime/script.h"

namespace scripted {
namespace {

struct Context {
  Script script;
  std::uint64_t run = 0;
  std::uint64_t answered_as = 0;  // the run whose answer it gives
  enum { kIdle, kFed, kRan } state = kIdle;
  std::vector<Answer> given_out;
};

// Never destroyed: a static of the program may still release its model after this file's statics.
std::map<rknn_context, Context>& contexts() {
  static auto* const all = new std::map<rknn_context, Context>();
  return *all;
}

Context* find_context(rknn_context handle) {
  const auto found = contexts().find(handle);
  return found == contexts().end() ? nullptr : &found->second;
}

std::string label(const Context* context) { return context ? context->script.name : "-"; }

// Appends and closes at once, so that nothing is lost when the process is killed. Returns `ret`.
int log_call(const std::string& call, const std::string& label, const std::string& details,
             int ret) {
  if (const char* path = std::getenv("SCRIPTED_RKNNRT_LOG")) {
    std::ofstream log(path, std::ios::app);
    log << call + " " + label + " " + details + "ret=" + std::to_string(ret) + "\n";
  }
  return ret;
}

std::string extension(const void* extend) { return extend ? "extend=given " : "extend=null "; }

// Whether all bytes of the record but those of the listed fields are zero. It looks at the bytes
// in place, because a copy of the record need not keep its padding.
struct Field {
  std::size_t offset, size;
};
template <typename Record>
std::string clear_but(const Record& record, const std::vector<Field>& listed) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
  const auto is_listed = [&](std::size_t at) {
    return std::any_of(listed.begin(), listed.end(), [at](const Field& field) {
      return at >= field.offset && at < field.offset + field.size;
    });
  };
  for (std::size_t at = 0; at < sizeof record; ++at) {
    if (bytes[at] != 0 && !is_listed(at)) return "dirty";
  }
  return "clear";
}

std::string describe(const rknn_input& input) {
  const std::vector<Field> listed = {
      {offsetof(rknn_input, index), sizeof input.index},
      {offsetof(rknn_input, buf), sizeof input.buf},
      {offsetof(rknn_input, size), sizeof input.size},
      {offsetof(rknn_input, pass_through), sizeof input.pass_through},
      {offsetof(rknn_input, type), sizeof input.type},
      {offsetof(rknn_input, fmt), sizeof input.fmt}};
  std::ostringstream text;
  text << "[index=" << input.index << " size=" << input.size
       << " pass_through=" << int{input.pass_through} << " type=" << input.type
       << " fmt=" << input.fmt << " rest=" << clear_but(input, listed) << "] ";
  return text.str();
}

std::string describe(const rknn_output& output) {
  const std::vector<Field> listed = {
      {offsetof(rknn_output, want_float), sizeof output.want_float},
      {offsetof(rknn_output, is_prealloc), sizeof output.is_prealloc},
      {offsetof(rknn_output, index), sizeof output.index}};
  std::ostringstream text;
  text << "[index=" << output.index << " want_float=" << int{output.want_float}
       << " is_prealloc=" << int{output.is_prealloc} << " rest=" << clear_but(output, listed);
  return text.str() + "] ";
}

template <typename Record>
std::string describe_all(std::uint32_t count, const Record* records) {
  std::string text = "n=" + std::to_string(count) + " ";
  for (std::uint32_t i = 0; records && i < count; ++i) text += describe(records[i]);
  return text;
}

void keep_inputs(const Context& context, std::uint32_t count, const rknn_input* inputs) {
  const char* const directory = std::getenv("SCRIPTED_RKNNRT_INPUTS");
  if (directory == nullptr) return;
  const std::string path =
      directory + ("/" + context.script.name) + "." + std::to_string(context.run);
  std::ofstream file(path, std::ios::binary);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (inputs[i].buf == nullptr) continue;
    file.write(static_cast<const char*>(inputs[i].buf), inputs[i].size);
  }
}

// The number from 1 to `kinds` that stands for these bytes (FNV-1a).
std::uint64_t kind_of(std::uint32_t count, const rknn_input* inputs, std::uint64_t kinds) {
  std::uint64_t hash = 14695981039346656037ULL;
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto* const bytes = static_cast<const unsigned char*>(inputs[i].buf);
    for (std::uint32_t at = 0; bytes != nullptr && at < inputs[i].size; ++at) {
      hash = (hash ^ bytes[at]) * 1099511628211ULL;
    }
  }
  return hash / 4096 % kinds + 1;
}

int query_counts(const Script& script, void* info, std::uint32_t size) {
  const int code = scripted_code(script, "in_out_num", 0);
  if (code != RKNN_SUCC) return code;
  if (!info || size < sizeof(rknn_input_output_num)) return RKNN_ERR_PARAM_INVALID;
  auto& counts = *static_cast<rknn_input_output_num*>(info);
  counts.n_input = static_cast<std::uint32_t>(script.inputs.size());
  counts.n_output = static_cast<std::uint32_t>(script.outputs.size());
  return RKNN_SUCC;
}

int query_attr(const Script& script, bool of_input, void* info, std::uint32_t size) {
  if (!info || size < sizeof(rknn_tensor_attr)) return RKNN_ERR_PARAM_INVALID;
  auto& attr = *static_cast<rknn_tensor_attr*>(info);
  const int code = scripted_code(script, of_input ? "input_attr" : "output_attr", attr.index);
  if (code != RKNN_SUCC) return code;
  const auto& tensors = of_input ? script.inputs : script.outputs;
  if (attr.index >= tensors.size()) return RKNN_ERR_PARAM_INVALID;
  attr = tensors[attr.index];
  return RKNN_SUCC;
}

std::string describe_query(rknn_query_cmd cmd, const void* info, std::uint32_t size) {
  std::string text = "cmd=" + std::to_string(cmd) + " ";
  std::string record = "none";
  if (cmd == RKNN_QUERY_IN_OUT_NUM && info && size == sizeof(rknn_input_output_num)) {
    record = clear_but(*static_cast<const rknn_input_output_num*>(info), {});
  } else if (info && size == sizeof(rknn_tensor_attr)) {
    const auto& attr = *static_cast<const rknn_tensor_attr*>(info);
    text += "index=" + std::to_string(attr.index) + " ";
    record = clear_but(attr, {{offsetof(rknn_tensor_attr, index), sizeof attr.index}});
  }
  return text + "size=" + std::to_string(size) + " record=" + record + " ";
}

int run_scripted(Context& context) {
  const Script& script = context.script;
  for (const Selector& runs : script.kills) {
    if (runs.covers(context.run)) std::raise(SIGKILL);
  }
  for (const Pause& pause : script.pauses) {
    if (!pause.runs.covers(context.run)) continue;
    std::this_thread::sleep_for(std::chrono::milliseconds(pause.milliseconds));
  }
  if (context.state != Context::kFed) return RKNN_ERR_FAIL;
  const int code = scripted_code(script, "run", context.run);
  if (code == RKNN_SUCC) context.state = Context::kRan;
  return code;
}

int give_out(Context& context, std::uint32_t count, rknn_output* outputs) {
  if (context.state != Context::kRan) return RKNN_ERR_FAIL;
  const int code = scripted_code(context.script, "outputs_get", context.run);
  if (code != RKNN_SUCC) return code;
  std::vector<Answer> answers;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (outputs[i].index >= context.script.outputs.size()) return RKNN_ERR_PARAM_INVALID;
    answers.push_back(scripted_answer(context.script, outputs[i].index, context.answered_as));
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    Answer& answer = answers[i];
    const auto bytes = static_cast<std::uint32_t>(answer.values.size() * sizeof(float));
    outputs[i].buf = answer.null_buffer ? nullptr : answer.values.data();
    outputs[i].size = answer.reported_size.value_or(bytes);
  }
  context.given_out = std::move(answers);
  return RKNN_SUCC;
}

bool were_given_out(const Context& context, std::uint32_t count, const rknn_output* outputs) {
  if (count != context.given_out.size()) return false;
  for (std::uint32_t i = 0; i < count; ++i) {
    const Answer& answer = context.given_out[i];
    if (outputs[i].buf != (answer.null_buffer ? nullptr : answer.values.data())) return false;
  }
  return true;
}

}  // namespace
}  // namespace scripted

using namespace scripted;

int rknn_init(rknn_context* context, void* model, std::uint32_t size, std::uint32_t flag,
              rknn_init_extend* extend) {
  static rknn_context last_handle = 0;
  const std::string details =
      "size=" + std::to_string(size) + " flag=" + std::to_string(flag) + " " + extension(extend);
  Context loaded;
  try {
    loaded.script = parse_script(std::string(static_cast<const char*>(model), size));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "scripted runtime: %s\n", error.what());
    return log_call("rknn_init", "-", details, RKNN_ERR_MODEL_INVALID);
  }
  const std::string name = loaded.script.name;
  const int code = scripted_code(loaded.script, "init", 0);
  if (code == RKNN_SUCC) {
    *context = ++last_handle;
    contexts().emplace(last_handle, std::move(loaded));
  }
  return log_call("rknn_init", name, details, code);
}

int rknn_query(rknn_context context, rknn_query_cmd cmd, void* info, std::uint32_t size) {
  const Context* known = find_context(context);
  const std::string details = describe_query(cmd, info, size);
  int code = RKNN_ERR_PARAM_INVALID;
  if (!known) {
    code = RKNN_ERR_CTX_INVALID;
  } else if (cmd == RKNN_QUERY_IN_OUT_NUM) {
    code = query_counts(known->script, info, size);
  } else if (cmd == RKNN_QUERY_INPUT_ATTR || cmd == RKNN_QUERY_OUTPUT_ATTR) {
    code = query_attr(known->script, cmd == RKNN_QUERY_INPUT_ATTR, info, size);
  }
  return log_call("rknn_query", label(known), details, code);
}

int rknn_inputs_set(rknn_context context, std::uint32_t n_inputs, rknn_input inputs[]) {
  Context* known = find_context(context);
  int code = RKNN_ERR_CTX_INVALID;
  if (known) {
    ++known->run;
    code = scripted_code(known->script, "inputs_set", known->run);
    known->state = code == RKNN_SUCC ? Context::kFed : Context::kIdle;
    const std::uint64_t kinds = known->script.kinds;
    known->answered_as = kinds > 0 ? kind_of(n_inputs, inputs, kinds) : known->run;
    keep_inputs(*known, n_inputs, inputs);
  }
  return log_call("rknn_inputs_set", label(known), describe_all(n_inputs, inputs), code);
}

int rknn_run(rknn_context context, rknn_run_extend* extend) {
  Context* known = find_context(context);
  const int code = known ? run_scripted(*known) : RKNN_ERR_CTX_INVALID;
  return log_call("rknn_run", label(known), extension(extend), code);
}

int rknn_outputs_get(rknn_context context, std::uint32_t n_outputs, rknn_output outputs[],
                     rknn_output_extend* extend) {
  Context* known = find_context(context);
  const std::string details = describe_all(n_outputs, outputs);
  const int code = known ? give_out(*known, n_outputs, outputs) : RKNN_ERR_CTX_INVALID;
  return log_call("rknn_outputs_get", label(known), extension(extend) + details, code);
}

int rknn_outputs_release(rknn_context context, std::uint32_t n_outputs, rknn_output outputs[]) {
  Context* known = find_context(context);
  int code = RKNN_ERR_CTX_INVALID;
  std::string details = "n=" + std::to_string(n_outputs) + " ";
  if (known) {
    const bool own = were_given_out(*known, n_outputs, outputs);
    details += own ? "buffers=own " : "buffers=foreign ";
    code = scripted_code(known->script, "outputs_release", known->run);
    known->given_out.clear();
  }
  return log_call("rknn_outputs_release", label(known), details, code);
}

int rknn_destroy(rknn_context context) {
  const Context* known = find_context(context);
  const std::string name = label(known);
  const int code = known ? scripted_code(known->script, "destroy", 0) : int{RKNN_ERR_CTX_INVALID};
  contexts().erase(context);
  return log_call("rknn_destroy", name, "", code);
}
