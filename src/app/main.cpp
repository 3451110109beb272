#include <malloc.h>

#include <exception>
#include <opencv2/core/utility.hpp>
#include <opencv2/core/utils/logger.hpp>
#include <string>

#include "app/args.h"
#include "app/base/log.h"
#include "app/batch_driver.h"

namespace {

// The same image buffers come and go with every step of every case: their memory is kept, as
// handing it back to the kernel and fetching it anew costs more than most of the steps.
void keep_freed_memory() {
  constexpr int kMiB = 1 << 20;
  mallopt(M_MMAP_THRESHOLD, 32 * kMiB);
  mallopt(M_TRIM_THRESHOLD, 256 * kMiB);
}

}  // namespace

int main(int argc, char** argv) {
  keep_freed_memory();
  // The images are too small for OpenCV's own threads to pay off.
  cv::setNumThreads(1);
  // Standard error carries this program's own lines; what OpenCV finds wrong is reported by them.
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  try {
    return kavrel::run_batch(kavrel::parse_args(argc, argv));
  } catch (const std::exception& error) {
    kavrel::log_line(std::string("[ERROR] ") + error.what());
    return 1;
  }
}
