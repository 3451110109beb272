#include "app/base/case_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/test_support.h"

namespace kavrel {

bool operator==(const CaseItem& a, const CaseItem& b) {
  return std::tie(a.image_path, a.expected, a.group_id) ==
         std::tie(b.image_path, b.expected, b.group_id);
}

std::ostream& operator<<(std::ostream& stream, const CaseItem& item) {
  return stream << '{' << item.image_path << '|' << item.expected << '|' << item.group_id << '}';
}

namespace {

using kavrel_test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<CaseItem> cases_of(const std::string& bytes) {
  const TempDir dir;
  return read_input_list(dir.write("list.csv", bytes));
}

TEST(CaseList, ReadsARowPerCaseInFileOrder) {
  EXPECT_THAT(cases_of("image_path,expected,group_id\n"
                       "samples/a/car1_f02.jpg,品川 330 あ 12-34,car1\n"
                       "samples/a/car1_f01.jpg,品川 330 あ 12-34,car1\n"
                       "samples/b/x.jpg,,\n"),
              ElementsAre(CaseItem{"samples/a/car1_f02.jpg", "品川 330 あ 12-34", "car1"},
                          CaseItem{"samples/a/car1_f01.jpg", "品川 330 あ 12-34", "car1"},
                          CaseItem{"samples/b/x.jpg", "", "x"}));
}

TEST(CaseList, TakesColumnsByPositionWithoutAHeader) {
  EXPECT_THAT(cases_of("a.jpg,E,G,more,cells\nb.jpg,F,H\n"),
              ElementsAre(CaseItem{"a.jpg", "E", "G"}, CaseItem{"b.jpg", "F", "H"}));
}

TEST(CaseList, TakesColumnsByNameWithAHeader) {
  EXPECT_THAT(cases_of("image_path,camera,group_id,expected\na.jpg,front,G,E\n"),
              ElementsAre(CaseItem{"a.jpg", "E", "G"}));
}

TEST(CaseList, LeavesAFieldWithoutAColumnEmpty) {
  EXPECT_THAT(cases_of("image_path,Expected,GROUP_ID\na.jpg,E,G\n"),
              ElementsAre(CaseItem{"a.jpg", "", "a"}));
  EXPECT_THAT(cases_of("image_path\na.jpg,E,G\n"), ElementsAre(CaseItem{"a.jpg", "", "a"}));
}

TEST(CaseList, RecognisesTheHeaderByItsFirstCellAlone) {
  EXPECT_THAT(cases_of("IMAGE_PATH,expected,group_id\n"),
              ElementsAre(CaseItem{"IMAGE_PATH", "expected", "group_id"}));
  EXPECT_THAT(cases_of("group_id,image_path,expected\n"),
              ElementsAre(CaseItem{"group_id", "image_path", "expected"}));
  EXPECT_THAT(cases_of(" \"image_path\" ,x\n"), IsEmpty());
}

TEST(CaseList, TakesAByteOrderMarkForPartOfTheFirstCell) {
  EXPECT_THAT(cases_of("\xEF\xBB\xBFimage_path,expected\na.jpg,E\n"),
              ElementsAre(CaseItem{"\xEF\xBB\xBFimage_path", "expected", "\xEF\xBB\xBFimage_path"},
                          CaseItem{"a.jpg", "E", "a"}));
}

TEST(CaseList, LooksForTheHeaderInTheFirstLineThatIsNotBlank) {
  EXPECT_THAT(cases_of("\n \t\r\nimage_path,group_id\na.jpg,G\n"),
              ElementsAre(CaseItem{"a.jpg", "", "G"}));
}

TEST(CaseList, TakesAHeaderFurtherDownForACase) {
  EXPECT_THAT(
      cases_of("a.jpg,E,G\nimage_path,expected,group_id\n"),
      ElementsAre(CaseItem{"a.jpg", "E", "G"}, CaseItem{"image_path", "expected", "group_id"}));
  EXPECT_THAT(cases_of("image_path,expected\nimage_path,E\n"),
              ElementsAre(CaseItem{"image_path", "E", "image_path"}));
}

TEST(CaseList, TakesTheLastOfColumnsWithTheSameName) {
  EXPECT_THAT(cases_of("image_path,expected,expected\na.jpg,first,second\n"),
              ElementsAre(CaseItem{"a.jpg", "second", "a"}));
  EXPECT_THAT(cases_of("image_path,expected,image_path\na.jpg,E,b.jpg\n"),
              ElementsAre(CaseItem{"b.jpg", "E", "b"}));
}

TEST(CaseList, LeavesTheMissingCellsOfAShortRowEmpty) {
  EXPECT_THAT(cases_of("a.jpg\nb.jpg,E\n"),
              ElementsAre(CaseItem{"a.jpg", "", "a"}, CaseItem{"b.jpg", "E", "b"}));
  EXPECT_THAT(cases_of("image_path,x,group_id,expected\na.jpg,1,G\n"),
              ElementsAre(CaseItem{"a.jpg", "", "G"}));
  EXPECT_THAT(cases_of("image_path,expected,expected\na.jpg,first\n"),
              ElementsAre(CaseItem{"a.jpg", "", "a"}));
}

TEST(CaseList, DropsRowsWithoutAnImage) {
  EXPECT_THAT(cases_of(",E,G\na.jpg,E,G\n\"\",E,G\n"), ElementsAre(CaseItem{"a.jpg", "E", "G"}));
  EXPECT_THAT(cases_of("image_path,x,image_path\na.jpg,E\n"), IsEmpty());
}

TEST(CaseList, GroupsAnImageWithoutAGroupByItsName) {
  EXPECT_THAT(cases_of("a/car.01.jpg,E\nb/car.01.png,E,\nc.jpg,E, \n"),
              ElementsAre(CaseItem{"a/car.01.jpg", "E", "car.01"},
                          CaseItem{"b/car.01.png", "E", "car.01"}, CaseItem{"c.jpg", "E", "c"}));
}

TEST(CaseList, KeepsCommasInQuotesDropsTheQuotesAndTrims) {
  EXPECT_THAT(cases_of(" a.jpg , \"x, \"\"y\"\"\" , G \r\n"),
              ElementsAre(CaseItem{"a.jpg", "x, y", "G"}));
}

TEST(CaseList, HasNoComments) {
  EXPECT_THAT(cases_of("# image_path\n"),
              ElementsAre(CaseItem{"# image_path", "", "# image_path"}));
}

TEST(CaseList, IsEmptyForAnEmptyFileAndForAHeaderAlone) {
  EXPECT_THAT(cases_of(""), IsEmpty());
  EXPECT_THAT(cases_of("image_path,expected,group_id\n"), IsEmpty());
}

TEST(CaseList, SaysWhichListItCannotOpen) {
  const TempDir dir;
  const std::string path = dir.path("missing.csv");
  EXPECT_EQ(kavrel_test::failure_of([&] { read_input_list(path); }),
            "failed to open input list: " + path);
}

}  // namespace
}  // namespace kavrel
