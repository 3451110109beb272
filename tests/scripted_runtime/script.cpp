#include "tests/scripted_runtime/script.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <tuple>

namespace scripted {
namespace {

// Enough for any real tensor; beyond it a count is a test of what is printed, never of a run.
constexpr std::uint64_t kMaxFilledElements = 1U << 26;

std::uint64_t to_unsigned(const std::string& word) {
  std::size_t used = 0;
  if (word.empty() || word[0] == '-') throw std::runtime_error("not a count: " + word);
  const std::uint64_t number = std::stoull(word, &used);
  if (used != word.size()) throw std::runtime_error("not a count: " + word);
  return number;
}

std::uint32_t to_u32(const std::string& word) {
  const std::uint64_t number = to_unsigned(word);
  if (number > std::numeric_limits<std::uint32_t>::max())
    throw std::runtime_error("too big: " + word);
  return static_cast<std::uint32_t>(number);
}

int to_code(const std::string& word) {
  std::size_t used = 0;
  const int code = std::stoi(word, &used);
  if (used != word.size()) throw std::runtime_error("not a code: " + word);
  return code;
}

// strtof, because stof refuses what underflows and the scripts may say inf and nan.
float to_value(const std::string& word) {
  char* end = nullptr;
  const float value = std::strtof(word.c_str(), &end);
  if (word.empty() || *end != '\0') throw std::runtime_error("not a value: " + word);
  return value;
}

Selector to_selector(const std::string& word) {
  if (word == "*") return {};
  const std::size_t slash = word.find('/');
  const std::string range = word.substr(0, slash);
  const std::size_t dash = range.find('-');
  Selector selector;
  selector.first = to_unsigned(range.substr(0, dash));
  selector.last = dash == std::string::npos ? selector.first : to_unsigned(range.substr(dash + 1));
  if (slash != std::string::npos) selector.step = to_unsigned(word.substr(slash + 1));
  if (selector.step == 0) throw std::runtime_error("step 0: " + word);
  return selector;
}

bool same(const Selector& a, const Selector& b) {
  return std::tie(a.first, a.last, a.step) == std::tie(b.first, b.last, b.step);
}

// One statement, read word by word.
class Words {
 public:
  explicit Words(const std::string& line) : stream_(line) {}

  bool more() {
    stream_ >> std::ws;
    return stream_.good();
  }
  std::string next() {
    std::string word;
    if (!(stream_ >> word)) throw std::runtime_error("a word is missing");
    return word;
  }

 private:
  std::istringstream stream_;
};

void set_dims(rknn_tensor_attr& attr, const std::string& word) {
  attr.n_elems = 1;
  if (word == "-") return;
  std::istringstream dims(word);
  for (std::string dim; std::getline(dims, dim, ',');) {
    if (attr.n_dims == RKNN_MAX_DIMS) throw std::runtime_error("too many dims: " + word);
    attr.dims[attr.n_dims++] = to_u32(dim);
    attr.n_elems *= to_u32(dim);
  }
}

void set_property(rknn_tensor_attr& attr, const std::string& word) {
  const std::size_t equals = word.find('=');
  const std::string key = word.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
  if (key == "type") {
    attr.type = to_code(value);
  } else if (key == "fmt") {
    attr.fmt = to_code(value);
  } else if (key == "elems") {
    attr.n_elems = to_u32(value);
  } else {
    throw std::runtime_error("unknown property: " + word);
  }
}

void read_tensor(Words& words, rknn_tensor_type type, rknn_tensor_format fmt,
                 std::vector<rknn_tensor_attr>& tensors) {
  rknn_tensor_attr attr{};
  attr.index = static_cast<std::uint32_t>(tensors.size());
  attr.type = type;
  attr.fmt = fmt;
  const std::string name = words.next();
  std::strncpy(attr.name, name.c_str(), RKNN_MAX_NAME_LEN - 1);
  set_dims(attr, words.next());
  while (words.more()) set_property(attr, words.next());
  tensors.push_back(attr);
}

void read_failure(Words& words, Script& script) {
  static const std::array<std::string, 9> kCalls = {"init",        "in_out_num",      "input_attr",
                                                    "output_attr", "inputs_set",      "run",
                                                    "outputs_get", "outputs_release", "destroy"};
  Failure failure;
  failure.call = words.next();
  if (std::find(kCalls.begin(), kCalls.end(), failure.call) == kCalls.end()) {
    throw std::runtime_error("unknown call: " + failure.call);
  }
  failure.where = to_selector(words.next());
  failure.code = to_code(words.next());
  script.failures.push_back(failure);
}

void add_steps(Words& words, std::vector<float>& values) {
  const std::uint32_t classes = to_u32(words.next());
  while (words.more()) {
    const std::uint32_t best = to_u32(words.next());
    if (best >= classes) throw std::runtime_error("no such class: " + std::to_string(best));
    const std::size_t row = values.size();
    values.resize(row + classes, 0.0F);
    values[row + best] = 1.0F;
  }
}

void draw_rect(Words& words, std::vector<float>& values) {
  const auto side = static_cast<std::uint32_t>(std::lround(std::sqrt(double(values.size()))));
  if (std::size_t{side} * side != values.size()) throw std::runtime_error("rect on no square map");
  const std::uint32_t x = to_u32(words.next());
  const std::uint32_t y = to_u32(words.next());
  const std::uint32_t width = to_u32(words.next());
  const std::uint32_t height = to_u32(words.next());
  const float value = to_value(words.next());
  if (x + width > side || y + height > side) throw std::runtime_error("rect outside the map");
  for (std::uint32_t row = y; row < y + height; ++row) {
    std::fill_n(values.begin() + (row * side + x), width, value);
  }
}

void set_value(Words& words, std::vector<float>& values) {
  const std::uint32_t index = to_u32(words.next());
  if (index >= values.size()) throw std::runtime_error("no such value: " + std::to_string(index));
  values[index] = to_value(words.next());
}

void apply_verb(const std::string& verb, Words& words, Answer& answer) {
  if (verb == "floats") {
    while (words.more()) answer.values.push_back(to_value(words.next()));
  } else if (verb == "fill") {
    const std::uint32_t count = to_u32(words.next());
    answer.values.insert(answer.values.end(), count, to_value(words.next()));
  } else if (verb == "steps") {
    add_steps(words, answer.values);
  } else if (verb == "rect") {
    draw_rect(words, answer.values);
  } else if (verb == "set") {
    set_value(words, answer.values);
  } else if (verb == "size") {
    answer.reported_size = to_u32(words.next());
  } else if (verb == "null") {
    answer.null_buffer = true;
  } else {
    throw std::runtime_error("unknown verb: " + verb);
  }
}

void read_answer(Words& words, Script& script) {
  const Selector runs = to_selector(words.next());
  const std::uint32_t output = to_u32(words.next());
  auto& answers = script.answers;
  auto answer = std::find_if(answers.begin(), answers.end(), [&](const Answer& known) {
    return known.output == output && same(known.runs, runs);
  });
  if (answer == answers.end()) {
    answers.emplace_back();
    answer = std::prev(answers.end());
    answer->runs = runs;
    answer->output = output;
  }
  apply_verb(words.next(), words, *answer);
}

void read_statement(Words& words, Script& script) {
  const std::string statement = words.next();
  if (script.name.empty() != (statement == "name")) {
    throw std::runtime_error("the name comes first and once");
  }
  if (statement == "name") {
    script.name = words.next();
  } else if (statement == "input") {
    read_tensor(words, RKNN_TENSOR_UINT8, RKNN_TENSOR_NHWC, script.inputs);
  } else if (statement == "output") {
    read_tensor(words, RKNN_TENSOR_FLOAT32, RKNN_TENSOR_UNDEFINED, script.outputs);
  } else if (statement == "fail") {
    read_failure(words, script);
  } else if (statement == "answer") {
    read_answer(words, script);
  } else if (statement == "sleep") {
    const Selector runs = to_selector(words.next());
    script.pauses.push_back({runs, to_u32(words.next())});
  } else if (statement == "by_input") {
    script.kinds = to_unsigned(words.next());
  } else if (statement == "kill") {
    script.kills.push_back(to_selector(words.next()));
  } else {
    throw std::runtime_error("unknown statement: " + statement);
  }
  if (words.more()) throw std::runtime_error("a word too many: " + words.next());
}

}  // namespace

Script parse_script(const std::string& text) {
  Script script;
  std::istringstream lines(text);
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    const std::size_t start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos || line[start] == '#') continue;
    Words words(line);
    try {
      read_statement(words, script);
    } catch (const std::exception& error) {
      throw std::runtime_error("line " + std::to_string(number) + ": " + error.what());
    }
  }
  if (script.name.empty()) throw std::runtime_error("no name");
  return script;
}

int scripted_code(const Script& script, const std::string& call, std::uint64_t where) {
  int code = RKNN_SUCC;
  for (const Failure& failure : script.failures) {
    if (failure.call == call && failure.where.covers(where)) code = failure.code;
  }
  return code;
}

Answer scripted_answer(const Script& script, std::uint32_t output, std::uint64_t run) {
  Answer answer;
  for (const Answer& known : script.answers) {
    if (known.output == output && known.runs.covers(run)) answer = known;
  }
  const rknn_tensor_attr& attr = script.outputs.at(output);
  std::uint64_t elements = attr.n_elems;
  if (elements == 0) {
    elements = 1;
    for (std::uint32_t i = 0; i < attr.n_dims; ++i) elements *= attr.dims[i];
  }
  if (answer.values.size() < elements && elements <= kMaxFilledElements) {
    answer.values.resize(elements, 0.0F);
  }
  return answer;
}

}  // namespace scripted
