#include "report/base/csv_file.h"

#include <gtest/gtest.h>

#include "app/base/text.h"
#include "tests/support/test_support.h"

namespace kavrel::report {
namespace {

using kavrel_test::TempDir;
using Rows = std::vector<CsvRow>;

struct CsvFile {
  CsvEnd end;
  Rows rows;
};

CsvFile read(const std::string& path) {
  Rows rows;
  const CsvEnd end = read_csv(path, [&](const CsvRow& row) { rows.push_back(row); });
  return {end, rows};
}

CsvFile parse(const std::string& text) {
  const TempDir dir;
  return read(dir.write("file.csv", text));
}

TEST(CsvFile, IsNothingWithoutAFile) {
  const CsvFile none = read(TempDir().path("none.csv"));
  EXPECT_EQ(none.end, CsvEnd::kNoFile);
  EXPECT_EQ(none.rows, Rows());
}

TEST(CsvFile, ReadsRowsAndEmptyCells) {
  EXPECT_EQ(parse("a,b\n,\n").rows, (Rows{{"a", "b"}, {"", ""}}));
  EXPECT_EQ(parse("a,b\r\nc,d\r\n").rows, (Rows{{"a", "b"}, {"c", "d"}}));
  EXPECT_EQ(parse("").rows, Rows());
}

TEST(CsvFile, KeepsBlanksAroundACell) {
  EXPECT_EQ(parse(" a\t, b \n").rows, (Rows{{" a\t", " b "}}));
}

TEST(CsvFile, ReadsBackWhateverKavrelEscapes) {
  for (const std::string& cell :
       {std::string("a,b"), std::string("say \"no\""), std::string("\""), std::string("two\nlines"),
        std::string("\r\n"), std::string("\xFF\x01\0z", 4), std::string("\"\",\"")}) {
    EXPECT_EQ(parse(csv_escape(cell) + "," + csv_escape(cell) + "\n").rows, (Rows{{cell, cell}}));
  }
}

TEST(CsvFile, LeavesOutARowThatIsCut) {
  const CsvFile in_cell = parse("a,b\nc,d");
  EXPECT_EQ(in_cell.end, CsvEnd::kCut);
  EXPECT_EQ(in_cell.rows, (Rows{{"a", "b"}}));
  const CsvFile in_quotes = parse("a,b\nc,\"d\ne,f\n");
  EXPECT_EQ(in_quotes.end, CsvEnd::kCut);
  EXPECT_EQ(in_quotes.rows, (Rows{{"a", "b"}}));
  EXPECT_EQ(parse("a,b\n").end, CsvEnd::kWhole);
}

TEST(CsvFile, CannotReadADirectory) {
  const TempDir dir;
  EXPECT_EQ(kavrel_test::failure_of([&] { read(dir.path()); }), "failed to read: " + dir.path());
}

}  // namespace
}  // namespace kavrel::report
