#include "report/base/csv_file.h"

#include <csv.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace kavrel::report {
namespace {

constexpr int kEndOfFile = -1;

struct Reading {
  const std::function<void(const CsvRow& row)>& take;
  CsvRow row;
  CsvEnd end = CsvEnd::kWhole;
};

void take_cell(void* bytes, std::size_t size, void* reading) {
  static_cast<Reading*>(reading)->row.emplace_back(static_cast<char*>(bytes), size);
}

void take_row(int end, void* data) {
  Reading& reading = *static_cast<Reading*>(data);
  if (end == kEndOfFile) {
    reading.end = CsvEnd::kCut;
  } else {
    reading.take(reading.row);
  }
  reading.row.clear();
}

// Blanks around a cell belong to it.
int is_never_blank(unsigned char) { return 0; }

struct ParserDeleter {
  void operator()(csv_parser* parser) const {
    csv_free(parser);
    delete parser;
  }
};

std::unique_ptr<csv_parser, ParserDeleter> make_parser() {
  auto parser = std::make_unique<csv_parser>();
  csv_init(parser.get(), 0);
  csv_set_space_func(parser.get(), is_never_blank);
  return std::unique_ptr<csv_parser, ParserDeleter>(parser.release());
}

}  // namespace

CsvEnd read_csv(const std::string& path, const std::function<void(const CsvRow& row)>& take) {
  if (!std::filesystem::exists(path)) return CsvEnd::kNoFile;
  std::ifstream file(path, std::ios::binary);
  const auto parser = make_parser();
  Reading reading{take, {}};
  std::array<char, 1 << 16> chunk;
  while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
    const auto size = static_cast<std::size_t>(file.gcount());
    if (csv_parse(parser.get(), chunk.data(), size, take_cell, take_row, &reading) != size) break;
  }
  const bool whole = file.is_open() && file.eof() && !file.bad();
  if (!whole) throw std::runtime_error("failed to read: " + path);
  csv_fini(parser.get(), take_cell, take_row, &reading);
  return reading.end;
}

}  // namespace kavrel::report
