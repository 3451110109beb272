// The script that stands in a model file: see README.md for its language.
#ifndef KAVREL_TESTS_SCRIPTED_RUNTIME_SCRIPT_H
#define KAVREL_TESTS_SCRIPTED_RUNTIME_SCRIPT_H

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "npu/rknn_api.h"

namespace scripted {

// first, first + step, ... up to last, both ends included.
struct Selector {
  std::uint64_t first = 0;
  std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t step = 1;

  bool covers(std::uint64_t number) const {
    return number >= first && number <= last && (number - first) % step == 0;
  }
};

struct Answer {
  Selector runs;
  std::uint32_t output = 0;
  std::vector<float> values;
  std::optional<std::uint32_t> reported_size;
  bool null_buffer = false;
};

struct Failure {
  std::string call;
  Selector where;
  int code = 0;
};

struct Pause {
  Selector runs;
  unsigned milliseconds = 0;
};

struct Script {
  std::string name;
  std::vector<rknn_tensor_attr> inputs;
  std::vector<rknn_tensor_attr> outputs;
  std::vector<Answer> answers;
  std::vector<Failure> failures;
  std::vector<Pause> pauses;
  std::vector<Selector> kills;
  std::uint64_t kinds = 0;  // 0: answers go by the number of the run
};

// Throws std::runtime_error with the number of the line that cannot be read.
Script parse_script(const std::string& text);

// The code that `call` returns at run or tensor `where`; RKNN_SUCC unless the script fails it.
int scripted_code(const Script& script, const std::string& call, std::uint64_t where);

// What output `output` holds after run `run`, filled up to the tensor's element count.
Answer scripted_answer(const Script& script, std::uint32_t output, std::uint64_t run);

}  // namespace scripted

#endif
