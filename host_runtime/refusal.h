// Why the runtime refuses a call: one of the RKNN_ERR codes and the text for the person at the
// terminal. It is thrown inside this library and never leaves it: each C function turns it into
// its return value and one line on standard error.
#ifndef KAVREL_HOST_RUNTIME_REFUSAL_H
#define KAVREL_HOST_RUNTIME_REFUSAL_H

#include <stdexcept>
#include <string>

namespace host_runtime {

class Refusal : public std::runtime_error {
 public:
  Refusal(int code, const std::string& text) : std::runtime_error(text), code_(code) {}

  int code() const noexcept { return code_; }

 private:
  int code_;
};

}  // namespace host_runtime

#endif
