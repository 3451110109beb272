// The case list: any bytes give rows that can be written down and read again.
#include "app/base/case_list.h"
#include "app/base/text.h"
#include "fuzz/fuzz_support.h"

using kavrel::CaseItem;
using kavrel_fuzz::MemoryFile;
using kavrel_fuzz::require;

namespace {

bool is_clean(const std::string& cell) {
  return kavrel::trim(cell) == cell && cell.find_first_of("\"\n") == std::string::npos;
}

void check_item(const CaseItem& item) {
  require(!item.image_path.empty(), "a row without an image is dropped");
  require(is_clean(item.image_path) && is_clean(item.expected),
          "cells are trimmed and have neither quotes nor line ends");
  require(!item.group_id.empty() || kavrel::basename_no_ext(item.image_path).empty(),
          "a row has a group or takes its image's name");
}

std::string as_text(const std::vector<CaseItem>& items) {
  std::string text = "image_path,expected,group_id\n";
  for (const CaseItem& item : items) {
    text += kavrel::csv_escape(item.image_path) + "," + kavrel::csv_escape(item.expected) + "," +
            kavrel::csv_escape(item.group_id) + "\n";
  }
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  const auto items = kavrel::read_input_list(MemoryFile(text).path());
  for (const CaseItem& item : items) check_item(item);

  const auto again = kavrel::read_input_list(MemoryFile(as_text(items)).path());
  require(again.size() == items.size(), "a list that is written down keeps its rows");
  for (std::size_t i = 0; i < items.size(); ++i) {
    require(again[i].image_path == items[i].image_path && again[i].expected == items[i].expected,
            "a list that is written down keeps its cells");
    require(again[i].group_id == kavrel::trim(items[i].group_id) ||
                kavrel::trim(items[i].group_id).empty(),
            "a list that is written down keeps its groups");
  }
  return 0;
}
