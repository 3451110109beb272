#ifndef KAVREL_REPORT_BASE_PROGRESS_H
#define KAVREL_REPORT_BASE_PROGRESS_H

#include <string>

namespace kavrel::report {

// A line "what: done of total" on standard error while it lives, if that is a terminal.
class Progress {
 public:
  Progress(std::string what, std::size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void step();

 private:
  const std::string what_;
  const std::size_t total_;
  const bool shown_;
  std::size_t done_ = 0;
};

}  // namespace kavrel::report

#endif
