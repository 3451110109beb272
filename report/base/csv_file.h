#ifndef KAVREL_REPORT_BASE_CSV_FILE_H
#define KAVREL_REPORT_BASE_CSV_FILE_H

#include <optional>
#include <string>
#include <vector>

namespace kavrel::report {

using CsvRow = std::vector<std::string>;

struct CsvFile {
  std::vector<CsvRow> rows;  // with the header, without a cut row
  bool cut = false;          // the file ended within a row
};

// Reads RFC 4180 rows; a single newline ends one too. Returns nothing if there is no such file.
// Throws std::runtime_error "failed to read: " + path.
std::optional<CsvFile> read_csv(const std::string& path);

}  // namespace kavrel::report

#endif
