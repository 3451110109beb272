// The rows of the CSV files that a run writes, read as they stand.
#ifndef KAVREL_APP_BASE_CSV_RECORDS_H
#define KAVREL_APP_BASE_CSV_RECORDS_H

#include <stdexcept>
#include <string>
#include <vector>

namespace kavrel {

// A file ends within a row.
struct CutRow : std::runtime_error {
  using runtime_error::runtime_error;
};

// Reads a file row by row. It is open only while it is read from: any number of readers may be
// alive at once.
class CsvRecords {
 public:
  explicit CsvRecords(std::string path);

  // The next row without the newline that ends it; a newline within quotes belongs to it. False at
  // the end of the file. Throws std::runtime_error "failed to read: " + path, and CutRow "cut: " +
  // path.
  bool next(std::string& record);

 private:
  bool refill();

  std::string path_;
  std::size_t offset_ = 0;  // in the file, behind what is in chunk_
  std::string chunk_;
  std::size_t at_ = 0;  // in chunk_
};

// The cells of a row: the inverse of cells that are csv_escape'd and joined by commas.
std::vector<std::string> csv_cells(const std::string& record);

}  // namespace kavrel

#endif
