#ifndef KAVREL_REPORT_BASE_CSV_FILE_H
#define KAVREL_REPORT_BASE_CSV_FILE_H

#include <functional>
#include <string>
#include <vector>

namespace kavrel::report {

using CsvRow = std::vector<std::string>;

enum class CsvEnd { kNoFile, kWhole, kCut };

// Hands over the RFC 4180 rows of a file one by one, with its header; a single newline ends one
// too. A row within which the file ends is left out. Throws std::runtime_error
// "failed to read: " + path.
CsvEnd read_csv(const std::string& path, const std::function<void(const CsvRow& row)>& take);

}  // namespace kavrel::report

#endif
