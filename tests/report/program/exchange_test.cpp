// Boxes and texts on their way into another labelling tool, and labels on their way back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/report/json_schema.h"
#include "tests/report/output_dir.h"
#include "tests/report/report_program.h"

namespace kavrel_test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

const cv::Size kPicture(400, 300);
const cv::Rect kBox(100, 60, 120, 72);  // the crop that the detector's box makes
const std::vector<cv::Point> kCorners = {{16, 12}, {104, 10}, {105, 56}, {17, 60}};  // in it

const std::string kHeader = "image_path,expected,group_id\n";
const std::string kPlateA = "品川 330 あ 12-34";

// Two frames of a, of which the second has no box, and one of b, in which nothing was read.
std::vector<FrameResult> run_of_three() {
  const std::vector<OcrText> read = {{"gray_upper_row", "品川330"}, {"gray_lower_row", "あ12-34"}};
  return {frame_of("a", "in/a1.jpg", "", read), frame_of("a", "in/a2.jpg", "", read),
          frame_of("b", "in/b1.jpg", "", {})};
}

class Exchange : public testing::Test {
 protected:
  void SetUp() override { write_run(run_of_three()); }

  void write_run(const std::vector<FrameResult>& frames) const {
    dir_.write_finished(frames);
    write_pictures(frames[0], kBox);
    write_pictures(frames[1], cv::Rect({}, kPicture));
    write_pictures(frames[2], kBox);
  }

  // As kavrel leaves them.
  void write_pictures(const FrameResult& frame, const cv::Rect& box) const {
    const std::string stem = std::filesystem::path(frame.image_path).stem();
    const std::string dir = dir_.path("cases/" + stem);
    cv::Mat picture(kPicture, CV_8UC3, cv::Scalar(90, 90, 90));
    const cv::Mat crop = picture(box).clone();
    cv::imwrite(dir + "/plate_roi.jpg", crop);
    cv::rectangle(picture, box, cv::Scalar(0, 255, 0), 2);
    cv::imwrite(dir + "/plate_det_debug.jpg", picture);
    for (std::size_t k = 0; k < 4; ++k) {
      cv::circle(crop, kCorners[k], 4, cv::Scalar(0, 0, 255), cv::FILLED);
      cv::line(crop, kCorners[k], kCorners[(k + 1) % 4], cv::Scalar(0, 255, 0), 2);
    }
    cv::imwrite(dir + "/corner_debug.jpg", crop);
  }

  ProgramOutcome label(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"label", dir_.path()});
    return run_report(arguments);
  }

  json exported(const std::string& format, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"--export", format, "-o", dir_.path("out")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProgramOutcome outcome = label(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return json::parse(dir_.read("out"));
  }

  // The list that a tool's file makes.
  std::string imported(const std::string& file, const std::vector<std::string>& more = {}) {
    dir_.write("tool", file);
    std::filesystem::remove(dir_.path("labelled.csv"));
    std::vector<std::string> arguments = {"--import", dir_.path("tool"), "-o",
                                          dir_.path("labelled.csv")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    outcome_ = label(arguments);
    EXPECT_EQ(outcome_.status, 0) << outcome_.err;
    return dir_.exists("labelled.csv") ? dir_.read("labelled.csv") : "";
  }

  OutputDir dir_;
  ProgramOutcome outcome_;
};

// What a person does to a task: the predictions become an annotation.
json annotated(json task, const std::string& text) {
  json results = json::array();
  if (!task["predictions"].empty()) results = task["predictions"][0]["result"];
  for (json& result : results) {
    if (result["type"] == "textarea") result["value"]["text"] = {text};
  }
  task["annotations"] = json::array({{{"result", results}, {"was_cancelled", false}}});
  return task;
}

TEST_F(Exchange, GivesLabelStudioBoxesInPercentWithTheirTexts) {
  const json tasks = exported("label-studio", {"--image-prefix", "/data/local-files/?d="});
  EXPECT_EQ(objections(EXCHANGE_SCHEMAS "/label_studio.schema.json", tasks), "");
  ASSERT_EQ(tasks.size(), 3U);
  EXPECT_EQ(tasks[0]["data"]["image"], "/data/local-files/?d=in/a1.jpg");
  EXPECT_EQ(tasks[0]["data"]["group_id"], "a");
  const json& results = tasks[0]["predictions"][0]["result"];
  ASSERT_EQ(results.size(), 2U);
  const json& value = results[0]["value"];
  EXPECT_NEAR(value["x"], 100.0 * (kBox.x + 16) / kPicture.width, 0.5);
  EXPECT_NEAR(value["y"], 100.0 * (kBox.y + 10) / kPicture.height, 0.7);
  EXPECT_NEAR(value["width"], 100.0 * 89 / kPicture.width, 0.7);
  EXPECT_NEAR(value["height"], 100.0 * 50 / kPicture.height, 0.9);
  EXPECT_EQ(results[1]["value"]["text"], json({kPlateA}));
  EXPECT_EQ(results[0]["id"], results[1]["id"]);
  EXPECT_EQ(tasks[1]["predictions"], json::array());           // no box
  EXPECT_EQ(tasks[2]["predictions"][0]["result"].size(), 1U);  // nothing read
}

TEST_F(Exchange, GivesCocoBoxesAndCornersInPixels) {
  const json coco = exported("coco");
  EXPECT_EQ(objections(EXCHANGE_SCHEMAS "/coco.schema.json", coco), "");
  EXPECT_EQ(coco["images"].size(), 3U);
  ASSERT_EQ(coco["annotations"].size(), 2U);
  const json& annotation = coco["annotations"][0];
  EXPECT_EQ(coco["images"][0]["file_name"], "in/a1.jpg");
  EXPECT_EQ(coco["images"][0]["width"], kPicture.width);
  EXPECT_EQ(annotation["attributes"]["text"], kPlateA);
  EXPECT_NEAR(annotation["bbox"][0], kBox.x + 16, 2);
  EXPECT_NEAR(annotation["bbox"][3], 51, 3);
  EXPECT_NEAR(annotation["segmentation"][0][2], kBox.x + kCorners[1].x, 2);
  EXPECT_NEAR(annotation["segmentation"][0][3], kBox.y + kCorners[1].y, 2);
}

TEST_F(Exchange, GivesTheListWithTextsAndBoxes) {
  dir_.write("list.csv",
             "image_path,camera,expected,group_id\nin/b1.jpg,x,横浜 500 さ 56-78,b\n"
             "in/other.jpg,y,,c\nin/a1.jpg,,,a\n");
  ASSERT_EQ(label({"--export", "csv", "--list", dir_.path("list.csv")}).status, 0);
  const auto lines = lines_of(dir_.read("boxes.csv"));
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], "image_path,camera,expected,group_id,box_left,box_top,box_right,box_bottom");
  EXPECT_THAT(lines[1], HasSubstr("in/b1.jpg,x,横浜 500 さ 56-78,b,"));
  EXPECT_EQ(lines[2], "in/other.jpg,y,,c,,,,");
  EXPECT_THAT(lines[3], testing::MatchesRegex("in/a1.jpg,," + kPlateA + ",a,(11[4-8]),.*"));
}

TEST_F(Exchange, TakesBackWhatAPersonChangedInLabelStudio) {
  json tasks = exported("label-studio");
  tasks[0] = annotated(tasks[0], "品川 330 お\n12-34");
  tasks[2] = annotated(tasks[2], "");
  EXPECT_EQ(imported(tasks.dump()),
            kHeader + "in/a1.jpg,品川 330 お 12-34,a\nin/a2.jpg,,a\nin/b1.jpg,,b\n");
}

TEST_F(Exchange, TakesTheLastAnnotationThatWasNotCancelled) {
  json task = annotated(exported("label-studio")[0], kPlateA);
  json other = annotated(task, "福岡 301 わ 77-88");
  task["annotations"].push_back(other["annotations"][0]);
  task["annotations"].push_back({{"result", json::array()}, {"was_cancelled", true}});
  EXPECT_THAT(imported(json::array({task}).dump()), HasSubstr("in/a1.jpg,福岡 301 わ 77-88,a\n"));
}

TEST_F(Exchange, TakesBackWhatAPersonChangedInCoco) {
  json coco = exported("coco");
  coco["annotations"][0]["attributes"]["text"] = "品川 330 お 12-34";
  EXPECT_EQ(imported(coco.dump()),
            kHeader + "in/a1.jpg,品川 330 お 12-34,a\nin/a2.jpg,,a\nin/b1.jpg,,b\n");
}

TEST_F(Exchange, TakesBackAListIntoTheRowsOfAnother) {
  dir_.write("list.csv",
             "image_path,camera,expected,group_id\nin/a2.jpg,\"x, y\",,a\n"
             "in/b1.jpg,,福岡 301 わ 77-88,b\n");
  EXPECT_EQ(
      imported(kHeader + "elsewhere/a2.jpg," + kPlateA + ",a\n", {"--list", dir_.path("list.csv")}),
      "image_path,camera,expected,group_id\nin/a2.jpg,\"x, y\"," + kPlateA +
          ",a\nin/b1.jpg,,福岡 301 わ 77-88,b\n");
}

TEST_F(Exchange, NamesWhatFitsNowhere) {
  json coco = exported("coco");
  coco["images"][2]["file_name"] = "in/<other>\n.jpg";
  coco["annotations"].push_back(coco["annotations"][0]);
  coco["annotations"][2]["attributes"]["text"] = "another";
  EXPECT_EQ(imported(coco.dump()), kHeader + "in/a1.jpg,,a\nin/a2.jpg,,a\nin/b1.jpg,,b\n");
  EXPECT_THAT(outcome_.err, HasSubstr("1 name: several texts"));
  EXPECT_THAT(outcome_.err, HasSubstr("1 name: not in the list"));
  EXPECT_THAT(outcome_.err, HasSubstr("in/<other>␊.jpg"));
}

TEST_F(Exchange, KeepsHostileNamesAsTheyAre) {
  auto frames = run_of_three();
  const std::string image = "in/<img src=x>\xFF'&=cmd().jpg";
  frames[0].image_path = image;
  frames[0].group_id = "</script>\xC3";
  write_run(frames);
  json tasks = exported("label-studio");
  EXPECT_EQ(objections(EXCHANGE_SCHEMAS "/label_studio.schema.json", tasks), "");
  tasks[0] = annotated(tasks[0], "=cmd(),\"<b>\"\r\n");
  EXPECT_THAT(imported(tasks.dump()),
              HasSubstr("\n" + image + ",\"=cmd(),\"\"<b>\"\"\",</script>\xC3\n"));
  json coco = exported("coco");
  EXPECT_EQ(objections(EXCHANGE_SCHEMAS "/coco.schema.json", coco), "");
  coco["annotations"][0]["attributes"]["text"] = kPlateA;
  EXPECT_THAT(imported(coco.dump()), HasSubstr("\n" + image + "," + kPlateA + ","));
}

TEST_F(Exchange, TakesBackTheListThatItGave) {
  ASSERT_EQ(label({"--export", "csv", "-o", dir_.path("boxes.csv")}).status, 0);
  EXPECT_EQ(imported(dir_.read("boxes.csv")),
            kHeader + "in/a1.jpg," + kPlateA + ",a\nin/a2.jpg," + kPlateA + ",a\nin/b1.jpg,,b\n");
}

TEST_F(Exchange, RefusesAListOfAnotherRunOrEncoding) {
  dir_.write("other.csv", kHeader + "elsewhere/a.jpg,,a\n");
  EXPECT_THAT(label({"--list", dir_.path("other.csv")}).err,
              HasSubstr("no picture of the list is one of the run"));
  dir_.write("sjis.csv", kHeader + "in/a1.jpg,\x95\x9F\x89\xAA 487 \x82\xB1 715,a\n");
  EXPECT_THAT(label({"--list", dir_.path("sjis.csv")}).err,
              HasSubstr("kavrel-report check " + dir_.path("sjis.csv")));
  EXPECT_FALSE(dir_.exists("label.html"));
}

TEST_F(Exchange, NamesWhatListAndRunDoNotShare) {
  dir_.write("part.csv", kHeader + "in/b1.jpg,,b\nin/new.jpg,,c\n");
  const ProgramOutcome outcome = label({"--list", dir_.path("part.csv")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.err, HasSubstr("1 name: not in the run"));
  EXPECT_THAT(outcome.err, HasSubstr("2 names: in the run, but not in the list"));
  EXPECT_THAT(dir_.read("label.html"), testing::Not(HasSubstr("in/a1.jpg")));
}

TEST_F(Exchange, OverwritesNoList) {
  dir_.write("list.csv", "a day's work");
  for (const char* format : {"", "csv", "coco"}) {
    std::vector<std::string> arguments = {"-o", dir_.path("list.csv")};
    if (*format != '\0') arguments.insert(arguments.end(), {"--export", format});
    EXPECT_THAT(label(arguments).err, HasSubstr("there is a list already")) << format;
  }
  EXPECT_EQ(dir_.read("list.csv"), "a day's work");
}

TEST_F(Exchange, SaysThatARunWasCopiedWithoutItsPictures) {
  std::filesystem::remove_all(dir_.path("cases"));
  const ProgramOutcome outcome = label({});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.err, HasSubstr("the page has no pictures"));
}

TEST_F(Exchange, SaysWhatItCannotTake) {
  dir_.write("list.csv", "a day's work");
  EXPECT_THAT(label({"--import", "x", "-o", dir_.path("list.csv")}).err,
              HasSubstr("there is a list already"));
  EXPECT_EQ(dir_.read("list.csv"), "a day's work");
  EXPECT_THAT(label({"--import", "x"}).err, HasSubstr("--import needs -o"));
  EXPECT_EQ(label({"--export", "yolo"}).status, 1);
  for (const char* content :
       {"{}", "[1]", "[{", "[{\"data\": 5}]", "{\"images\": [{\"id\": 1}]}"}) {
    dir_.write("tool", content);
    const ProgramOutcome outcome =
        label({"--import", dir_.path("tool"), "-o", dir_.path("new.csv")});
    EXPECT_EQ(outcome.status, 1) << content;
    EXPECT_THAT(outcome.err, HasSubstr("no labels of Label Studio or COCO in")) << content;
  }
  EXPECT_FALSE(dir_.exists("new.csv"));
}

}  // namespace
}  // namespace kavrel_test
