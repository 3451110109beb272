// What is to be known of a picture before kavrel reads it.
#ifndef KAVREL_REPORT_LIST_PICTURE_FACTS_H
#define KAVREL_REPORT_LIST_PICTURE_FACTS_H

#include <cstdint>
#include <string>

namespace kavrel::report {

enum class PictureState { kReadable, kMissing, kElsewhere, kUnreadable, kTooLarge };

struct PictureFacts {
  PictureState state = PictureState::kReadable;
  std::int64_t pixels = 0;  // a multiple of 64 where only an eighth of it was decoded
  std::string found_at;     // where the picture lies that is elsewhere
};

// `path` is relative to the working directory, as in a list. A missing picture is looked for beside
// the list, too, and with slashes for backslashes.
PictureFacts look_at_picture(const std::string& path, const std::string& list_path);

// The memory that kavrel takes for a picture of that size if it finds no plate in it.
std::int64_t bytes_for_picture(std::int64_t pixels);

}  // namespace kavrel::report

#endif
