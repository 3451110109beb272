// Checks of the pictures that a list names.
#include <array>
#include <map>
#include <set>

#include "app/base/text.h"
#include "report/base/unicode.h"
#include "report/list/list_check.h"

namespace kavrel::report {
namespace {

using Mistakes = std::vector<Mistake>;

constexpr std::int64_t kMiB = 1 << 20;
constexpr std::int64_t kMuchMemory = 2048 * kMiB;

// Once for each picture, in the order of the lines.
template <typename Describe>
void describe_pictures(const CheckedList& list, PictureState state, Mistakes& mistakes,
                       Describe describe) {
  std::set<std::string> seen;
  for (const ListedCase& listed : list.cases) {
    if (listed.picture.state != state || !seen.insert(listed.item.image_path).second) continue;
    const std::string detail = describe(listed.picture);
    if (detail.empty()) continue;
    mistakes.push_back({listed.line, printable(listed.item.image_path) + detail});
  }
}

void find_missing(const CheckedList& list, Mistakes& mistakes) {
  describe_pictures(list, PictureState::kMissing, mistakes,
                    [](const PictureFacts&) { return std::string(" is not there"); });
}

void find_elsewhere(const CheckedList& list, Mistakes& mistakes) {
  describe_pictures(list, PictureState::kElsewhere, mistakes, [](const PictureFacts& picture) {
    return " lies at " + printable(picture.found_at);
  });
}

void find_unreadable_pictures(const CheckedList& list, Mistakes& mistakes) {
  describe_pictures(list, PictureState::kUnreadable, mistakes,
                    [](const PictureFacts&) { return std::string(" is no picture"); });
}

void find_too_large(const CheckedList& list, Mistakes& mistakes) {
  describe_pictures(list, PictureState::kTooLarge, mistakes,
                    [](const PictureFacts&) { return std::string(" has too many pixels"); });
}

void find_huge(const CheckedList& list, Mistakes& mistakes) {
  describe_pictures(list, PictureState::kReadable, mistakes,
                    [](const PictureFacts& picture) -> std::string {
                      const std::int64_t bytes = bytes_for_picture(picture.pixels);
                      if (bytes < kMuchMemory) return "";
                      return " of " + std::to_string(picture.pixels / 1000000) +
                             " megapixels: up to " + std::to_string(bytes / kMiB) + " MiB";
                    });
}

// The case folder of a picture is named as its file, without the extension.
void find_same_names(const CheckedList& list, Mistakes& mistakes) {
  std::map<std::string, std::string> owners;
  std::set<std::string> seen;
  for (const ListedCase& listed : list.cases) {
    const std::string& path = listed.item.image_path;
    if (!seen.insert(path).second) continue;
    const auto [owner, is_new] = owners.emplace(basename_no_ext(path), path);
    if (is_new) continue;
    mistakes.push_back({listed.line, printable(path) + " and " + printable(owner->second)});
  }
}

void find_twice(const CheckedList& list, Mistakes& mistakes) {
  std::map<std::string, int> lines;
  for (const ListedCase& listed : list.cases) {
    const auto [first, is_new] = lines.emplace(listed.item.image_path, listed.line);
    if (is_new) continue;
    mistakes.push_back({listed.line, printable(listed.item.image_path) + ", as in line " +
                                         std::to_string(first->second)});
  }
}

constexpr std::array<ListCheck, 7> kPictureChecks = {{
    {"missing", kError,
     "the run ends at a picture that is not there; paths are relative to the folder in which "
     "kavrel is started",
     false, find_missing},
    {"elsewhere", kError,
     "the run ends at a picture that is not there, but lies where the list does", true,
     find_elsewhere},
    {"unreadable", kError, "the run ends at a picture that cannot be read", false,
     find_unreadable_pictures},
    {"too-large", kError, "the run ends at a picture that OpenCV does not read", false,
     find_too_large},
    {"huge", kWarning,
     "a case takes so much memory where no plate is found in its picture, which then stands for "
     "the plate",
     false, find_huge},
    {"same-name", kWarning,
     "files of the same name share a folder in cases/: the later one overwrites the earlier "
     "one's pictures and results",
     false, find_same_names},
    {"twice", kWarning, "a picture that stands in two rows counts twice", false, find_twice},
}};

}  // namespace

std::vector<ListCheck> picture_checks() { return {kPictureChecks.begin(), kPictureChecks.end()}; }

}  // namespace kavrel::report
