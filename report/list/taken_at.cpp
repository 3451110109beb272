#include "report/list/taken_at.h"

#include <libexif/exif-data.h>
#include <libexif/exif-loader.h>

#include <array>
#include <ctime>
#include <memory>

namespace kavrel::report {
namespace {

struct Unref {
  void operator()(ExifLoader* loader) const { exif_loader_unref(loader); }
  void operator()(ExifData* data) const { exif_data_unref(data); }
};

std::optional<std::int64_t> seconds_of(const std::string& text) {
  std::tm time{};
  const char* const end = strptime(text.c_str(), "%Y:%m:%d %H:%M:%S", &time);
  if (end == nullptr) return std::nullopt;
  return static_cast<std::int64_t>(timegm(&time));
}

std::optional<std::int64_t> time_in(ExifData* data, ExifTag tag) {
  ExifEntry* const entry = exif_data_get_entry(data, tag);
  if (entry == nullptr) return std::nullopt;
  std::array<char, 32> text{};
  exif_entry_get_value(entry, text.data(), text.size());
  return seconds_of(text.data());
}

}  // namespace

std::optional<std::int64_t> taken_at(const std::string& path) {
  const std::unique_ptr<ExifLoader, Unref> loader(exif_loader_new());
  exif_loader_write_file(loader.get(), path.c_str());
  const unsigned char* bytes = nullptr;
  unsigned int size = 0;
  exif_loader_get_buf(loader.get(), &bytes, &size);
  if (size == 0) return std::nullopt;
  const std::unique_ptr<ExifData, Unref> data(exif_data_new());
  // What the file does not have need not be added.
  exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
  exif_data_load_data(data.get(), bytes, size);
  const auto original = time_in(data.get(), EXIF_TAG_DATE_TIME_ORIGINAL);
  return original ? original : time_in(data.get(), EXIF_TAG_DATE_TIME);
}

}  // namespace kavrel::report
