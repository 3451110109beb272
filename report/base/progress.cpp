#include "report/base/progress.h"

#include <unistd.h>

#include <iostream>
#include <utility>

namespace kavrel::report {

Progress::Progress(std::string what, std::size_t total)
    : what_(std::move(what)), total_(total), shown_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
}

void Progress::step() {
  ++done_;
  constexpr std::size_t kFramesBetween = 50;
  if (!shown_ || done_ % kFramesBetween != 0) return;
  std::cerr << '\r' << what_ << ": " << done_ << " of " << total_ << std::flush;
}

}  // namespace kavrel::report
