#ifndef KAVREL_REPORT_RUN_PICTURE_H
#define KAVREL_REPORT_RUN_PICTURE_H

#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "report/run/run.h"

namespace kavrel::report {

// In colour; empty if it is missing or no picture.
cv::Mat read_picture(const std::string& path);

// The size of a JPEG file, from its head alone; nothing if it is missing or no such file.
std::optional<cv::Size> picture_size(const std::string& path);

// The picture as a "data:" address of a JPEG file of at most `width` x `height` pixels: the file's
// own bytes if it is small enough, else a smaller copy. "" if it is missing or no picture.
std::string picture_address(const std::string& path, int width, int height);

// A picture of the frame's case directory, likewise; "" if a later case of the same name took its
// place.
std::string case_picture(const RecordedRun& run, std::size_t frame, const char* name, int width,
                         int height);

}  // namespace kavrel::report

#endif
