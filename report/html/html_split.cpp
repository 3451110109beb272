#include "report/html/html_split.h"

#include <map>
#include <string_view>

#include "report/base/resources.h"

namespace kavrel::report {
namespace {

constexpr std::string_view kPicture = "src=\"data:image/jpeg;base64,";

// Files that lie beside a page on disk have no origin: they are named by their scheme.
constexpr const char* kPolicy =
    "default-src 'none'; img-src 'self' file:; style-src 'self' file:; script-src 'self' file:; "
    "base-uri 'none'; form-action 'none'";

void replace_between(const std::string& from, const std::string& to, const std::string& instead,
                     std::string& text) {
  const std::size_t begin = text.find(from);
  if (begin == std::string::npos) return;
  const std::size_t end = text.find(to, begin + from.size());
  if (end == std::string::npos) return;
  text.replace(begin, end + to.size() - begin, instead);
}

unsigned value_of(char digit) {
  if (digit >= 'A' && digit <= 'Z') return static_cast<unsigned>(digit - 'A');
  if (digit >= 'a' && digit <= 'z') return static_cast<unsigned>(digit - 'a') + 26;
  if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0') + 52;
  return digit == '+' ? 62 : 63;
}

std::string from_base64(std::string_view digits) {
  std::string bytes;
  unsigned bits = 0;
  unsigned count = 0;
  for (const char digit : digits) {
    if (digit == '=') break;
    bits = bits << 6U | value_of(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFFU);
  }
  return bytes;
}

// A picture that a page shows twice is one file.
std::string take_pictures(const std::string& page, const std::string& folder,
                          std::vector<PageFile>& files) {
  std::map<std::string_view, std::string> names;
  std::string html;
  std::size_t at = 0;
  for (;;) {
    const std::size_t picture = page.find(kPicture, at);
    if (picture == std::string::npos) break;
    const std::size_t begin = picture + kPicture.size();
    const std::size_t end = page.find('"', begin);
    const std::string_view digits = std::string_view(page).substr(begin, end - begin);
    const auto [name, is_new] =
        names.emplace(digits, "picture" + std::to_string(names.size() + 1) + ".jpg");
    if (is_new) files.push_back({name->second, from_base64(digits)});
    html += page.substr(at, picture - at) + "src=\"" + folder + "/" + name->second;
    at = end;
  }
  return html + page.substr(at);
}

}  // namespace

SplitPage split_page(const std::string& page, const std::string& folder) {
  SplitPage split;
  split.files = {{"style.css", resources::kStyle}, {"script.js", resources::kScript}};
  split.html = take_pictures(page, folder, split.files);
  replace_between("<style>", "</style>",
                  "<link rel=\"stylesheet\" href=\"" + folder + "/style.css\">", split.html);
  replace_between("<script>", "</script>", "<script src=\"" + folder + "/script.js\"></script>",
                  split.html);
  replace_between("Content-Security-Policy\" content=\"", "\"",
                  std::string("Content-Security-Policy\" content=\"") + kPolicy + "\"", split.html);
  return split;
}

}  // namespace kavrel::report
