// What the unit tests share: captured streams, scripted networks and tensor records.
#ifndef KAVREL_TESTS_SUPPORT_TEST_SUPPORT_H
#define KAVREL_TESTS_SUPPORT_TEST_SUPPORT_H

#include <cstdint>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "npu/rknn_api.h"
#include "npu/rknn_model.h"
#include "tests/support/temp_dir.h"

namespace kavrel_test {

// Takes what is written to `stream`, std::cerr unless told, for as long as it lives.
class Capture {
 public:
  Capture();
  explicit Capture(std::ostream& stream);
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  std::string text() const { return taken_.str(); }
  std::vector<std::string> lines() const { return lines_of(text()); }

 private:
  std::ostream& stream_;
  std::ostringstream taken_;
  std::streambuf* const real_;
};

// Loads a network of the scripted runtime (see its README for the language) without a word on
// standard error.
void load_script(kavrel::RknnModel& model, const std::string& script);

// Scripts of a text detector, "det", and of a line recogniser, "rec"; the statements tell their
// outputs and answers.
inline std::string det_script(const std::string& statements) {
  return "name det\ninput image 1,3,640,640\n" + statements;
}
inline std::string rec_script(const std::string& statements) {
  return "name rec\ninput image 1,48,320,3\n" + statements;
}

// A network that is loaded from a script on construction.
class ScriptedModel {
 public:
  explicit ScriptedModel(const std::string& script) { load_script(model_, script); }
  kavrel::RknnModel& get() { return model_; }

 private:
  kavrel::RknnModel model_;
};

// The runtime's calls from construction on, one line each as its README tells.
class RuntimeLog {
 public:
  RuntimeLog();
  ~RuntimeLog();
  RuntimeLog(const RuntimeLog&) = delete;
  RuntimeLog& operator=(const RuntimeLog&) = delete;

  std::vector<std::string> lines() const;
  // Names of the functions called, and the label of the model each was called for:
  // "rknn_run reader".
  std::vector<std::string> calls() const;
  long count(const std::string& function) const;
  // The bytes that each run of the model of this label was given.
  std::vector<std::string> inputs(const std::string& label) const;

 private:
  TempDir dir_;
};

// A tensor of these dimensions, its n_elems their product.
rknn_tensor_attr attr_of(const std::vector<std::uint32_t>& dims);

// The message of the std::runtime_error that `action` throws; anything else fails the test.
template <typename Action>
std::string failure_of(Action action);

// Implementation of the template.
void report_no_failure(const char* what);

template <typename Action>
std::string failure_of(Action action) {
  try {
    action();
    report_no_failure("nothing was thrown");
  } catch (const std::runtime_error& error) {
    return error.what();
  } catch (...) {
    report_no_failure("something else than a std::runtime_error was thrown");
  }
  return "";
}

}  // namespace kavrel_test

#endif
