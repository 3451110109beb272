#include "tests/support/test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <numeric>

namespace kavrel_test {
namespace {

constexpr char kLogVariable[] = "SCRIPTED_RKNNRT_LOG";
constexpr char kInputsVariable[] = "SCRIPTED_RKNNRT_INPUTS";
constexpr char kLogName[] = "calls.log";

}  // namespace

Capture::Capture() : Capture(std::cerr) {}

Capture::Capture(std::ostream& stream) : stream_(stream), real_(stream.rdbuf(taken_.rdbuf())) {}

Capture::~Capture() { stream_.rdbuf(real_); }

void load_script(kavrel::RknnModel& model, const std::string& script) {
  const TempDir dir;
  const Capture description;
  model.load(dir.write("net.rknn", script));
}

RuntimeLog::RuntimeLog() {
  setenv(kLogVariable, dir_.write(kLogName, "").c_str(), 1);
  setenv(kInputsVariable, dir_.path().c_str(), 1);
}

RuntimeLog::~RuntimeLog() {
  unsetenv(kLogVariable);
  unsetenv(kInputsVariable);
}

std::vector<std::string> RuntimeLog::lines() const { return lines_of(dir_.read(kLogName)); }

std::vector<std::string> RuntimeLog::calls() const {
  std::vector<std::string> calls;
  for (const std::string& line : lines()) {
    const std::size_t function_end = line.find(' ');
    calls.push_back(line.substr(0, line.find(' ', function_end + 1)));
  }
  return calls;
}

std::vector<std::string> RuntimeLog::inputs(const std::string& label) const {
  std::vector<std::string> inputs;
  for (int run = 1; dir_.exists(label + "." + std::to_string(run)); ++run) {
    inputs.push_back(dir_.read(label + "." + std::to_string(run)));
  }
  return inputs;
}

long RuntimeLog::count(const std::string& function) const {
  const std::vector<std::string> all = lines();
  return std::count_if(all.begin(), all.end(), [&](const std::string& line) {
    return line.compare(0, function.size() + 1, function + " ") == 0;
  });
}

rknn_tensor_attr attr_of(const std::vector<std::uint32_t>& dims) {
  rknn_tensor_attr attr{};
  attr.n_dims = static_cast<std::uint32_t>(dims.size());
  std::copy(dims.begin(), dims.end(), attr.dims);
  attr.n_elems = std::accumulate(dims.begin(), dims.end(), 1U, std::multiplies<>());
  return attr;
}

void report_no_failure(const char* what) { ADD_FAILURE() << what; }

}  // namespace kavrel_test
