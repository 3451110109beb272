#include <exception>
#include <opencv2/core/utils/logger.hpp>

#include "app/args.h"
#include "app/batch_driver.h"
#include "app/log.h"

int main(int argc, char** argv) {
  // Standard error carries this program's own lines; what OpenCV finds wrong is reported by them.
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  try {
    return kavrel::run_batch(kavrel::parse_args(argc, argv));
  } catch (const std::exception& error) {
    kavrel::log_line(std::string("[ERROR] ") + error.what());
    return 1;
  }
}
