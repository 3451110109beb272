#include "app/base/csv_records.h"

#include <gtest/gtest.h>

#include "app/base/text.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::failure_of;
using kavrel_test::TempDir;
using Rows = std::vector<std::vector<std::string>>;

struct ReadFile {
  Rows rows;
  bool is_cut = false;
};

ReadFile parse(const std::string& text) {
  const TempDir dir;
  CsvRecords records(dir.write("file.csv", text));
  ReadFile file;
  try {
    for (std::string record; records.next(record);) file.rows.push_back(csv_cells(record));
  } catch (const CutRow&) {
    file.is_cut = true;
  }
  return file;
}

TEST(CsvRecords, ReadRowsAndEmptyCells) {
  EXPECT_EQ(parse("a,b\n,\n").rows, (Rows{{"a", "b"}, {"", ""}}));
  EXPECT_EQ(parse("\n").rows, (Rows{{""}}));
  EXPECT_EQ(parse("").rows, Rows());
}

TEST(CsvRecords, KeepBlanksAroundACell) {
  EXPECT_EQ(parse(" a\t, b \r\n").rows, (Rows{{" a\t", " b \r"}}));
}

TEST(CsvRecords, ReadBackWhateverKavrelEscapes) {
  for (const std::string& cell :
       {std::string("a,b"), std::string("say \"no\""), std::string("\""), std::string("two\nlines"),
        std::string("\r\n"), std::string("\xFF\x01\0z", 4), std::string("\"\",\"")}) {
    EXPECT_EQ(parse(csv_escape(cell) + "," + csv_escape(cell) + "\n").rows, (Rows{{cell, cell}}));
  }
}

TEST(CsvRecords, ReadRowsThatAreLongerThanAChunk) {
  const std::string cell(200'000, 'x');
  EXPECT_EQ(parse(cell + ",b\nc,d\n").rows, (Rows{{cell, "b"}, {"c", "d"}}));
}

TEST(CsvRecords, TellOfARowThatIsCut) {
  for (const char* text : {"a,b\nc,d", "a,b\nc,\"d\ne,f\n"}) {
    const ReadFile file = parse(text);
    EXPECT_TRUE(file.is_cut) << text;
    EXPECT_EQ(file.rows, (Rows{{"a", "b"}})) << text;
  }
  EXPECT_FALSE(parse("a,b\n").is_cut);
}

TEST(CsvRecords, CannotReadWhatIsNoFile) {
  const TempDir dir;
  for (const std::string& path : {dir.path(), dir.path("none.csv")}) {
    std::string record;
    EXPECT_EQ(failure_of([&] { CsvRecords(path).next(record); }), "failed to read: " + path);
  }
}

}  // namespace
}  // namespace kavrel
