#include "report/commands/list_file.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "app/base/log.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"

namespace kavrel::report {
namespace {

constexpr std::size_t kNamesShown = 20;

}  // namespace

void refuse_to_overwrite(const std::string& path) {
  std::error_code error;
  if (path != "-" && std::filesystem::exists(path, error)) {
    throw std::runtime_error("there is a list already, so name another or remove it: " + path);
  }
}

void log_remark(const ListRemark& remark) {
  log_line("[WARN] " + count_of(remark.names.size(), "name") + ": " + remark.text);
  const std::size_t shown = std::min(remark.names.size(), kNamesShown);
  for (std::size_t i = 0; i < shown; ++i) log_line("[WARN]   " + printable(remark.names[i]));
  if (remark.names.size() > shown) {
    log_line("[WARN]   and " + std::to_string(remark.names.size() - shown) + " more");
  }
}

}  // namespace kavrel::report
