#ifndef KAVREL_REPORT_LIST_TAKEN_AT_H
#define KAVREL_REPORT_LIST_TAKEN_AT_H

#include <cstdint>
#include <optional>
#include <string>

namespace kavrel::report {

// When a picture was taken by its EXIF data, in seconds from a common start; the camera's clock has
// no time zone. Nothing if the file does not tell.
std::optional<std::int64_t> taken_at(const std::string& path);

}  // namespace kavrel::report

#endif
