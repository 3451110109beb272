#ifndef KAVREL_REPORT_PICTURE_H
#define KAVREL_REPORT_PICTURE_H

#include <string>

namespace kavrel::report {

// The picture as a "data:" address of a JPEG file of at most `width` x `height` pixels: the file's
// own bytes if it is small enough, else a smaller copy. "" if it is missing or no picture.
std::string picture_address(const std::string& path, int width, int height);

}  // namespace kavrel::report

#endif
