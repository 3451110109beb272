#include "app/base/csv_records.h"

#include <fstream>
#include <utility>

namespace kavrel {
namespace {

constexpr std::size_t kChunk = 1 << 16;

}  // namespace

CsvRecords::CsvRecords(std::string path) : path_(std::move(path)) {}

bool CsvRecords::refill() {
  std::ifstream file(path_, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(offset_));
  chunk_.resize(kChunk);
  at_ = 0;
  file.read(chunk_.data(), static_cast<std::streamsize>(chunk_.size()));
  if (!file.is_open() || file.bad()) throw std::runtime_error("failed to read: " + path_);
  chunk_.resize(static_cast<std::size_t>(file.gcount()));
  offset_ += chunk_.size();
  return !chunk_.empty();
}

bool CsvRecords::next(std::string& record) {
  record.clear();
  bool in_quotes = false;
  while (at_ < chunk_.size() || refill()) {
    const std::size_t begin = at_;
    for (; at_ < chunk_.size(); ++at_) {
      if (chunk_[at_] == '"') in_quotes = !in_quotes;
      if (chunk_[at_] != '\n' || in_quotes) continue;
      record.append(chunk_, begin, at_ - begin);
      ++at_;
      return true;
    }
    record.append(chunk_, begin, std::string::npos);
  }
  if (!record.empty()) throw CutRow("cut: " + path_);
  return false;
}

std::vector<std::string> csv_cells(const std::string& record) {
  std::vector<std::string> cells(1);
  bool in_quotes = false;
  for (std::size_t i = 0; i < record.size(); ++i) {
    if (record[i] == '"') {
      // A doubled quote within quotes is one; any other opens or closes the cell.
      const bool doubled = in_quotes && i + 1 < record.size() && record[i + 1] == '"';
      if (doubled) {
        cells.back() += record[++i];
      } else {
        in_quotes = !in_quotes;
      }
    } else if (record[i] == ',' && !in_quotes) {
      cells.emplace_back();
    } else {
      cells.back() += record[i];
    }
  }
  return cells;
}

}  // namespace kavrel
