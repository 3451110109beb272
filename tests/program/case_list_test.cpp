#include "tests/program/program_fixture.h"

namespace kavrel_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CaseList : public ProgramTest {
 protected:
  // The cases of a run over this list as "image|expected|group", from the banners and the result
  // files. Images of these names exist: a.png, b.png, "c d.png", "e,f.png" and "# g.png".
  std::vector<std::string> cases_of(const std::string& list) {
    list_cases(list, {"a.png", "b.png", "c d.png", "e,f.png", "# g.png"});
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::vector<std::string> cases;
    for (const std::string& banner : lines_with(outcome.err, "========== CASE ")) {
      const std::size_t image = banner.find(": ") + 2;
      const std::size_t group = banner.find(" group=");
      const std::string path = banner.substr(image, group - image);
      const std::string result =
          read(kCases + "/" + path.substr(0, path.rfind('.')) + "/result.txt");
      cases.push_back(path + "|" + lines_with(result, "expected: ").at(0).substr(10) + "|" +
                      lines_with(result, "group_id: ").at(0).substr(10));
    }
    return cases;
  }

  // A row whose image cannot exist shows how its first cell was read.
  std::string image_not_found(const std::string& list) {
    list_cases(list);
    return last_line(run().err);
  }
};

TEST_F(CaseList, ReadsTheThreeNamedColumns) {
  EXPECT_THAT(
      cases_of("image_path,expected,group_id\n"
               "a.png,品川 330 あ 12-34,car1\n"
               "b.png,品川 330 あ 12-34,car1\n"
               "c d.png,,\n"),
      ElementsAre("a.png|品川 330 あ 12-34|car1", "b.png|品川 330 あ 12-34|car1", "c d.png||c d"));
}

TEST_F(CaseList, NumbersItsCasesInFileOrder) {
  list_cases("b.png,,g\na.png,,f\n", {"a.png", "b.png"});
  EXPECT_THAT(lines_with(run().err, "========== CASE "),
              ElementsAre("========== CASE 1/2: b.png group=g ==========",
                          "========== CASE 2/2: a.png group=f =========="));
}

TEST_F(CaseList, TakesColumnsByPositionWithoutAHeader) {
  EXPECT_THAT(cases_of("a.png,x,g,further,cells\nb.png,y\nc d.png\n"),
              ElementsAre("a.png|x|g", "b.png|y|b", "c d.png||c d"));
}

TEST_F(CaseList, FindsColumnsInAnyOrderAfterTheFirst) {
  EXPECT_THAT(cases_of("image_path,note,group_id,expected\na.png,n,g,x\nb.png,n\n"),
              ElementsAre("a.png|x|g", "b.png||b"));
}

TEST_F(CaseList, LeavesFieldsWithoutAColumnEmpty) {
  EXPECT_THAT(cases_of("image_path,Expected,group\na.png,x,g\n"), ElementsAre("a.png||a"));
  EXPECT_THAT(cases_of("image_path\na.png,x,g\n"), ElementsAre("a.png||a"));
}

TEST_F(CaseList, TakesTheLastOfColumnsWithOneName) {
  EXPECT_THAT(cases_of("image_path,expected,expected,image_path\na.png,x,y,b.png\na.png,x\n"),
              ElementsAre("b.png|y|b"));
}

TEST_F(CaseList, KnowsAHeaderByItsFirstCellOnly) {
  EXPECT_EQ(image_not_found("IMAGE_PATH,expected,group_id\n"),
            "[ERROR] failed to read image: IMAGE_PATH");
  EXPECT_EQ(image_not_found("group_id,image_path,expected\n"),
            "[ERROR] failed to read image: group_id");
  EXPECT_EQ(image_not_found("\xEF\xBB\xBFimage_path,expected\n"),
            "[ERROR] failed to read image: \xEF\xBB\xBFimage_path");
  EXPECT_EQ(image_not_found("image_path\nimage_path\n"),
            "[ERROR] failed to read image: image_path");
  EXPECT_THAT(cases_of(" \"image_path\" ,group_id\na.png,g\n"), ElementsAre("a.png||g"));
}

TEST_F(CaseList, SkipsBlankLinesEvenBeforeTheHeader) {
  EXPECT_THAT(cases_of("\n \t\r\n\nimage_path,group_id\n\n\v\f\na.png,g\n\n"),
              ElementsAre("a.png||g"));
}

TEST_F(CaseList, TrimsLinesAndCells) {
  EXPECT_THAT(cases_of("  image_path , expected\t,group_id\r\n\ta.png , x y , g \r\nb.png,,g"),
              ElementsAre("a.png|x y|g", "b.png||g"));
}

TEST_F(CaseList, KeepsCommasInsideQuotesAndDropsTheQuotes) {
  EXPECT_THAT(cases_of("\"e,f.png\",\"1,2\",\" g,h \"\nc\" \"d.png,\"\"\"x\"\"\",\"\"\n"),
              ElementsAre("e,f.png|1,2|g,h", "c d.png|x|c d"));
}

TEST_F(CaseList, DropsRowsWithoutAnImage) {
  EXPECT_THAT(cases_of(",x,g\na.png,x,g\n\"\",y\n,,\n"), ElementsAre("a.png|x|g"));
  EXPECT_THAT(cases_of("image_path,expected\n,x\n  ,y\n"), IsEmpty());
}

TEST_F(CaseList, HasNoComments) {
  EXPECT_THAT(cases_of("# g.png,x,#\n"), ElementsAre("# g.png|x|#"));
}

TEST_F(CaseList, TakesFullWidthBlanksForText) {
  EXPECT_THAT(cases_of("a.png,\u3000x,g\u3000\n"), ElementsAre("a.png|\u3000x|g\u3000"));
}

TEST_F(CaseList, TakesAZeroByteForText) {
  const std::string zero(1, '\0');
  EXPECT_THAT(cases_of("a.png,x" + zero + "y,g" + zero + "\n"),
              ElementsAre("a.png|x" + zero + "y|g" + zero));
}

TEST_F(CaseList, NamesAGroupAfterTheImageFile) {
  list_cases("dir.x/img.01.jpg\ndir.x/plain\n");
  write_image("dir.x/img.01.jpg", cv::Mat(20, 40, CV_8UC3, cv::Scalar::all(90)));
  write_image("dir.x/plain", cv::Mat(20, 40, CV_8UC3, cv::Scalar::all(90)));
  EXPECT_THAT(lines_with(run().err, "========== CASE "),
              ElementsAre("========== CASE 1/2: dir.x/img.01.jpg group=img.01 ==========",
                          "========== CASE 2/2: dir.x/plain group=plain =========="));
  EXPECT_TRUE(exists(kCases + "/img.01/result.txt"));
  EXPECT_TRUE(exists(kCases + "/plain/result.txt"));
}

TEST_F(CaseList, TakesImagePathsRelativeToTheWorkingDirectory) {
  write("lists/cases.csv", "a.png\n");
  list_cases("", {"a.png"});
  EXPECT_EQ(run({"--input-list", "lists/cases.csv"}).status, 0);
}

TEST_F(CaseList, MayBeEmpty) {
  for (const char* list : {"", "\n \n", "image_path,expected,group_id\n", "image_path"}) {
    write(kCaseList, list);
    EXPECT_EQ(run().err, start_up_lines("roi", 0)) << list;
  }
}

}  // namespace
}  // namespace kavrel_test
