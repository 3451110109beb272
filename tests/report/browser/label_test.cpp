// The page for labelling in a real browser, worked by keys as a person would.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "app/base/case_list.h"
#include "app/base/text.h"
#include "reading/plate_text.h"
#include "report/base/fields.h"
#include "report/run/run.h"
#include "tests/report/browser/browser.h"
#include "tests/report/output_dir.h"
#include "tests/report/report_program.h"

namespace kavrel_test {
namespace {

namespace fs = std::filesystem;

using kavrel::CaseItem;
using kavrel::PlateFields;
using testing::HasSubstr;

const std::string kStreetList = KAVREL_SOURCE_DIR "/samples/street/street_expected.csv";
const std::string kPageFolder = KAVREL_SOURCE_DIR "/report/html/page/";

const std::string kFieldOrder = "region class_no kana serial";

// How region names are typed in these tests, and the kana of plates.
const std::map<std::string, std::string> kRomaji = {
    {"名古屋", "nagoya"}, {"大阪", "osaka"},  {"八王子", "hachio"},     {"日光", "nikkou"},
    {"一宮", "ichinomi"}, {"札幌", "sapp"},   {"伊勢志摩", "iseshima"}, {"福岡", "fukuo"},
    {"つくば", "tsuku"},  {"上越", "jouetu"}, {"沖縄", "oki"},          {"尾張小牧", "owari"}};
const std::string kKanaRows =
    "a あ i い u う e え o お ka か ki き ku く ke け ko こ sa さ su す se せ so そ ta た chi ち "
    "tsu つ "
    "te て to と na な ni に nu ぬ ne ね no の ha は hi ひ fu ふ ho ほ ma ま mi み mu む me め mo "
    "も "
    "ya や yu ゆ yo よ ra ら ri り ru る re れ ro ろ wa わ";

std::string romaji_of_kana(const std::string& kana) {
  std::istringstream words(kKanaRows);
  for (std::string romaji, word; words >> romaji >> word;) {
    if (word == kana) return romaji;
  }
  throw std::runtime_error("no kana of plates: " + kana);
}

FrameResult frame_with(const CaseItem& item, const PlateFields& fields) {
  FrameResult frame;
  frame.image_path = item.image_path;
  frame.group_id = item.group_id;
  frame.fields = fields;
  frame.fields.final_plate_number = assemble_plate_number(fields);
  frame.ocr_texts = {{"gray_upper_row", fields.region + fields.class_no},
                     {"gray_lower_row", fields.kana + fields.serial}};
  return frame;
}

// What a run may have made of the street's vehicles: most are right, others have one field wrong.
std::vector<FrameResult> street_run() {
  std::vector<FrameResult> frames;
  std::map<std::string, std::size_t> numbers;
  for (const CaseItem& item : kavrel::read_input_list(kStreetList)) {
    const std::size_t number = numbers.emplace(item.group_id, numbers.size()).first->second;
    PlateFields fields = *kavrel::report::split_plate_number(item.expected);
    if (number % 6 == 1) fields.kana = fields.kana == "あ" ? "お" : "あ";
    if (number % 6 == 3) fields.serial = "12-34";
    if (number % 7 == 5) fields.class_no = "301";
    if (kRomaji.count(fields.region) > 0) fields.region = number % 2 == 0 ? "" : "横浜";
    frames.push_back(frame_with(item, fields));
  }
  return frames;
}

class LabelPage : public BrowserTest {
 protected:
  void write_page(const std::vector<FrameResult>& frames, const std::string& list = "") {
    dir_.write_finished(frames);
    std::vector<std::string> words = {"label", dir_.path()};
    if (!list.empty()) words.insert(words.end(), {"--list", dir_.path(list)});
    const ProgramOutcome outcome = run_report(words);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    page_ = dir_.path("label.html");
  }

  void open_page(const std::vector<FrameResult>& frames, const std::string& list = "") {
    write_page(frames, list);
    browser_->open(page_);
    if (text("#language") == "English") browser_->click("#language");
  }

  std::string text(const std::string& selector) {
    return browser_->evaluate("document.querySelector('" + selector + "').textContent");
  }

  std::string group() { return text("#name").substr(0, text("#name").find(' ')); }

  std::string value(const std::string& field) {
    return browser_->evaluate("document.getElementById('" + field + "').value");
  }

  std::string plate() {
    return value("region") + " " + value("class_no") + " " + value("kana") + " " + value("serial");
  }

  void press_all(const std::string& keys) {
    for (const char key : keys) browser_->press({key});
  }

  // From anywhere to a field, by Tab alone.
  void go_to(const std::string& field) {
    browser_->press("Escape");
    browser_->press("Tab");
    const auto place = [&](const std::string& id) { return kFieldOrder.find(id); };
    for (int i = 0; i < 4; ++i) {
      const std::string at = browser_->evaluate("document.activeElement.id");
      if (at == field) return;
      browser_->press(place(at) < place(field) ? "Tab" : "Shift+Tab");
    }
    FAIL() << "Tab does not lead to " << field;
  }

  // Types what is wrong, and takes the plate.
  void label_as(const PlateFields& truth) {
    if (value("region") != truth.region) {
      go_to("region");
      press_all(kRomaji.at(truth.region));
      browser_->press("Enter");
    }
    if (value("class_no") != truth.class_no) {
      go_to("class_no");
      press_all(truth.class_no);
    }
    if (value("kana") != truth.kana) {
      go_to("kana");
      press_all(romaji_of_kana(truth.kana));
    }
    if (value("serial") != truth.serial) {
      go_to("serial");
      press_all(kavrel::digits_only(truth.serial));
    }
    ASSERT_EQ(plate(), assemble_plate_number(truth));
    browser_->press("Enter");
    ASSERT_THAT(text("#warnings"), testing::Not(HasSubstr("Enter")));
  }

  // What the button saves, once the browser has written it.
  std::string saved(const std::string& button, const std::string& name) {
    fs::create_directories(dir_.path("saved"));
    browser_->save_to(dir_.path("saved"));
    browser_->evaluate("document.querySelector('" + button + "').click()");
    const std::string path = dir_.path("saved/" + name);
    for (int i = 0; i < 600 && !(fs::exists(path) && fs::file_size(path) > 0); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const std::string bytes = dir_.read("saved/" + name);
    fs::remove(path);
    return bytes;
  }

  void load(const std::string& file) {
    browser_->evaluate(
        "(() => { const files = new DataTransfer();"
        " files.items.add(new File([" +
        nlohmann::json(file).dump() +
        "], 'labels.json'));"
        " const input = document.getElementById('workFile'); input.files = files.files;"
        " input.dispatchEvent(new Event('change')); })()");
    browser_->wait_until("document.querySelector('#notice').textContent !== ''");
  }

  std::string saved_list(const std::string& name = "labelled.csv") {
    return saved("#saveList", name);
  }

  OutputDir dir_;
};

std::vector<FrameResult> two_vehicles() {
  const PlateFields a = {"品川", "330", "あ", "12-34", ""};
  PlateFields other = a;
  other.kana = "お";
  const PlateFields b = {"横浜", "500", "さ", "56-78", ""};
  return {frame_with({"in/a1.jpg", "", "a"}, a), frame_with({"in/a2.jpg", "", "a"}, a),
          frame_with({"in/a3.jpg", "", "a"}, other), frame_with({"in/b1.jpg", "", "b"}, b)};
}

const std::string kHeader = "image_path,expected,group_id\n";

TEST_F(LabelPage, MakesTheStreetsListOfKeysAlone) {
  std::map<std::string, PlateFields> truth;
  std::string unlabelled;
  std::string expected;
  for (const std::string& line : lines_of(read_file(kStreetList))) {
    const auto cells = kavrel::split_csv_simple(line);
    const bool is_header = expected.empty();
    expected += line + "\n";
    unlabelled += is_header ? line + "\n" : cells[0] + ",," + cells[2] + "," + cells[3] + "\n";
    if (!is_header) truth[cells[2]] = *kavrel::report::split_plate_number(cells[1]);
  }
  dir_.write("street.csv", unlabelled);
  open_page(street_run(), "street.csv");
  int right_at_once = 0;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    const PlateFields& fields = truth.at(group());
    right_at_once += plate() == assemble_plate_number(fields) ? 1 : 0;
    label_as(fields);
    if (HasFatalFailure()) return;
    if (i == truth.size() / 2) browser_->open(page_);
  }
  EXPECT_EQ(truth.size(), 42U);
  EXPECT_GT(right_at_once, 10);  // one key each
  EXPECT_THAT(text("#progress"), HasSubstr("42 done, 0 left"));
  EXPECT_EQ(saved_list("street.csv"), expected);
}

TEST_F(LabelPage, ShowsDoubtfulVehiclesFirstAndMarksWhereFramesDisagree) {
  auto frames = two_vehicles();
  std::rotate(frames.begin(), frames.begin() + 3, frames.end());
  frames[0].group_id = "0";
  open_page(frames);
  EXPECT_EQ(group(), "a");
  EXPECT_EQ(text(".shown mark"), "あ");
  EXPECT_THAT(text("#fields"), HasSubstr("frames disagree"));
}

TEST_F(LabelPage, TakesAnotherReadingByItsDigitAndTakesBack) {
  open_page(two_vehicles());
  browser_->press("1");
  EXPECT_EQ(plate(), "品川 330 お 12-34");
  browser_->press("Enter");
  EXPECT_EQ(group(), "b");
  browser_->press("z");
  EXPECT_EQ(group(), "a");
  EXPECT_THAT(text("#progress"), HasSubstr("0 done, 2 left"));
  EXPECT_EQ(plate(), "品川 330 あ 12-34");
}

TEST_F(LabelPage, LeavesRowsUnlabelledThatNobodyLookedAtOrCouldRead) {
  open_page(two_vehicles());
  browser_->press("Enter");
  EXPECT_EQ(saved_list(), kHeader +
                              "in/a1.jpg,品川 330 あ 12-34,a\nin/a2.jpg,品川 330 あ 12-34,a\n"
                              "in/a3.jpg,品川 330 あ 12-34,a\nin/b1.jpg,,b\n");
  browser_->press("u");
  EXPECT_THAT(text("#progress"), HasSubstr("2 done, 0 left"));
  EXPECT_THAT(saved_list(), HasSubstr("in/b1.jpg,,b\n"));
}

TEST_F(LabelPage, LetsAFrameLeaveItsGroup) {
  open_page(two_vehicles());
  browser_->press("ArrowUp");
  browser_->press("d");
  browser_->press("Enter");
  EXPECT_THAT(saved_list(), HasSubstr("in/a2.jpg,品川 330 あ 12-34,a\nin/a3.jpg,,a_a3\n"));
}

TEST_F(LabelPage, KeepsWhatCannotBeAPlateAfterASecondEnter) {
  open_page(two_vehicles());
  go_to("serial");
  press_all("7");
  EXPECT_THAT(text("#warnings"), HasSubstr("as the serial"));
  browser_->press("Enter");
  EXPECT_EQ(group(), "a");
  browser_->press("Enter");
  EXPECT_EQ(group(), "b");
  EXPECT_THAT(saved_list(), HasSubstr("in/a1.jpg,品川 330 あ 7,a\n"));
}

TEST_F(LabelPage, KeepsTheLabelsThatTheListHas) {
  dir_.write("half.csv",
             "image_path,camera,expected,group_id\nin/b1.jpg,\"x, y\",福岡 301 わ 77-88,b\n"
             "in/other.jpg,,,c\nin/a1.jpg,,,a\n");
  open_page(two_vehicles(), "half.csv");
  EXPECT_THAT(text("#progress"), HasSubstr("1 done, 1 left"));
  browser_->press("Enter");
  EXPECT_EQ(saved_list("half.csv"),
            "image_path,camera,expected,group_id\nin/b1.jpg,\"x, y\",福岡 301 わ 77-88,b\n"
            "in/other.jpg,,,c\nin/a1.jpg,,品川 330 あ 12-34,a\n");
}

TEST_F(LabelPage, SharesItsWorkWithAnotherPage) {
  open_page(two_vehicles());
  const std::string first = browser_->open_another(page_);
  browser_->press("PageDown");
  EXPECT_EQ(group(), "b");
  browser_->press("Enter");
  browser_->drive(first);
  browser_->wait_until("document.getElementById('progress').textContent.startsWith('1 done')");
  browser_->press("Enter");
  EXPECT_THAT(text("#progress"), HasSubstr("2 done, 0 left"));
  EXPECT_THAT(saved_list(), HasSubstr("in/b1.jpg,横浜 500 さ 56-78,b\n"));
}

TEST_F(LabelPage, MergesTheFileOfAnotherPersonAndShowsDifferences) {
  open_page(two_vehicles());
  browser_->press("1");
  browser_->press("Enter");
  browser_->press("Enter");
  nlohmann::json theirs = nlohmann::json::parse(saved("#saveWork", "labels.json"));
  for (int i = 0; i < 2; ++i) browser_->press("z");
  browser_->press("Enter");
  EXPECT_EQ(text("#notice"), "") << "not all vehicles are done any more";
  theirs["works"]["<b>"] = theirs["works"]["b"];
  load(theirs.dump());
  EXPECT_EQ(text("#notice"), "1 taken from the file, 1 differ, 1 are not of this list");
  EXPECT_THAT(text("#differences"), HasSubstr("a: 品川 330 あ 12-34 / 品川 330 お 12-34"));
  browser_->press("PageUp");
  EXPECT_EQ(group(), "a");
  browser_->press("1");
  EXPECT_THAT(text("#progress"), HasSubstr("2 done, 0 left"));
  EXPECT_THAT(saved_list(), HasSubstr("in/a1.jpg,品川 330 お 12-34,a\n"));
}

TEST_F(LabelPage, TakesNothingOfAnotherListsWork) {
  open_page(two_vehicles());
  browser_->press("Enter");
  const std::string work = saved("#saveWork", "labels.json");
  auto frames = two_vehicles();
  for (FrameResult& frame : frames) frame.image_path = "another/" + frame.image_path;
  open_page(frames);
  load(work);
  EXPECT_EQ(text("#notice"), "0 taken from the file, 0 differ, 1 are not of this list");
  EXPECT_THAT(text("#progress"), HasSubstr("0 done"));
  load("{}");
  EXPECT_EQ(text("#notice"), "This is no file of saved work.");
}

TEST_F(LabelPage, TakesByTouchThatTheOtherPersonCouldNotReadIt) {
  open_page(two_vehicles());
  browser_->press("u");
  const std::string work = saved("#saveWork", "labels.json");
  browser_->press("z");
  browser_->press("Enter");
  load(work);
  browser_->press("PageUp");
  EXPECT_EQ(text("#others button"), "1unreadable");
  browser_->click("#others button");
  EXPECT_THAT(saved_list(), HasSubstr("in/a1.jpg,,a\n"));
}

TEST_F(LabelPage, ShowsWhereTwoPagesDiffer) {
  open_page(two_vehicles());
  go_to("kana");
  press_all("sa");
  const std::string typing = browser_->open_another(page_);
  browser_->evaluate("document.activeElement.blur()");
  browser_->press("z");  // what the first page's person typed
  browser_->press("Enter");
  browser_->drive(typing);
  browser_->wait_until("document.getElementById('progress').textContent.startsWith('1 done')");
  browser_->press("Enter");
  EXPECT_THAT(text("#differences"), HasSubstr("a: 品川 330 さ 12-34 / 品川 330 あ 12-34"));
}

TEST_F(LabelPage, KeepsWhatWasTypedUntilItIsTakenOrTakenBack) {
  open_page(two_vehicles());
  go_to("class_no");
  press_all("3");
  browser_->press("PageDown");
  EXPECT_EQ(group(), "b");
  browser_->open(page_);
  browser_->press("PageUp");
  browser_->click("#language");
  EXPECT_EQ(plate(), "品川 3 あ 12-34");
  browser_->click("#language");
  browser_->press("z");
  EXPECT_EQ(plate(), "品川 330 あ 12-34");
}

TEST_F(LabelPage, TakesAFrameBack) {
  open_page(two_vehicles());
  browser_->press("d");
  EXPECT_EQ(browser_->evaluate("document.querySelectorAll('figure.left').length"), 1);
  browser_->press("z");
  EXPECT_EQ(browser_->evaluate("document.querySelectorAll('figure.left').length"), 0);
  browser_->press("Enter");
  EXPECT_THAT(saved_list(), HasSubstr("in/a1.jpg,品川 330 あ 12-34,a\n"));
}

TEST_F(LabelPage, GoesOnByKeyAfterAClick) {
  open_page(two_vehicles());
  browser_->click("#others button");
  browser_->press("Enter");
  EXPECT_EQ(group(), "b");
  EXPECT_THAT(saved_list(), HasSubstr("in/a1.jpg,品川 330 お 12-34,a\n"));
}

TEST_F(LabelPage, BeginsWithAVehicleThatHasNoLabel) {
  dir_.write("half.csv", kHeader + "in/a1.jpg,品川 330 あ 12-34,a\nin/b1.jpg,,b\n");
  open_page(two_vehicles(), "half.csv");
  EXPECT_EQ(group(), "b");
}

TEST_F(LabelPage, TellsHowManyVehiclesAnHourMakes) {
  open_page(two_vehicles());
  browser_->evaluate("window.now = 1000; Date.now = () => window.now");
  browser_->press("Enter");
  EXPECT_THAT(text("#progress"), HasSubstr("1 left, – per hour"));
  browser_->evaluate("window.now += 10000");
  browser_->press("Enter");
  EXPECT_THAT(text("#progress"), HasSubstr("0 left, 360 per hour"));
}

TEST_F(LabelPage, WorksWhereTheBrowserKeepsNothing) {
  write_page(two_vehicles());
  browser_->run_before_pages(
      "for (const name of ['getItem', 'setItem', 'removeItem'])"
      " Storage.prototype[name] = () => { throw new Error('full'); };");
  browser_->open(page_);
  const auto asks_before_it_closes = [&] {
    return browser_->evaluate(
        "!window.dispatchEvent(new Event('beforeunload', {cancelable: true}))");
  };
  EXPECT_THAT(text("#notice"), HasSubstr("save it to a file"));
  EXPECT_EQ(asks_before_it_closes(), false);
  browser_->press("Enter");
  EXPECT_EQ(asks_before_it_closes(), true);
  EXPECT_THAT(saved_list(), HasSubstr("in/a1.jpg,品川 330 あ 12-34,a\n"));
  EXPECT_EQ(asks_before_it_closes(), false);
}

TEST_F(LabelPage, KeepsTheGroupsThatAreNamedAsItsOwnNotes) {
  auto frames = two_vehicles();
  frames[3].group_id = "at";
  open_page(frames);
  browser_->press("PageDown");
  EXPECT_EQ(group(), "at");
  browser_->press("Enter");
  browser_->open(page_);
  EXPECT_THAT(text("#progress"), HasSubstr("1 done, 1 left"));
}

TEST_F(LabelPage, KeepsHostileTextsHarmlessAndTheirBytes) {
  auto frames = two_vehicles();
  const std::string image = "in/</script><img src=x onerror=alert(1)>\xFF\x01&quot;'.jpg";
  frames[3].image_path = image;
  frames[3].group_id = "</script><script>alert(2)</script>__proto__\xC3";
  frames[3].ocr_texts = {{"gray_full", "<!--<script>\xE3\x81 {{data}}"}};
  open_page(frames);
  EXPECT_THAT(text("#name"), HasSubstr("</script><script>alert(2)"));
  browser_->press("Enter");
  EXPECT_THAT(saved_list(), HasSubstr(image + ",横浜 500 さ 56-78," + frames[3].group_id + "\n"));
}

TEST_F(LabelPage, SpeaksJapaneseAndRemembersIt) {
  open_page(two_vehicles());
  browser_->click("#language");
  EXPECT_EQ(text("h1"), "車両のラベル付け");
  browser_->open(page_);
  EXPECT_EQ(text("h1"), "車両のラベル付け");
  EXPECT_EQ(browser_->evaluate("document.documentElement.lang"), "ja");
  EXPECT_EQ(browser_->evaluate("localStorage.getItem('kavrel-language')"), "ja");  // all pages'
  browser_->click("#language");
}

TEST_F(LabelPage, CompletesRegionsFromKanjiKanaAndRomaji) {
  open_page(two_vehicles());
  for (const char* typed : {"尾", "尾張", "おわ", "オワリ", "owa", "OWARI", "owarik"}) {
    browser_->press("Escape");
    go_to("region");
    browser_->type(typed);
    EXPECT_THAT(text("#completions"), HasSubstr("尾張小牧")) << typed;
    browser_->press("Enter");
    EXPECT_EQ(value("region"), "尾張小牧") << typed;
  }
}

TEST_F(LabelPage, ReadsEveryWayToWriteAKanaInLatinLetters) {
  open_page(two_vehicles());
  browser_->press("Escape");
  std::istringstream words(kKanaRows + " si し ti ち tu つ hu ふ wo を SHI し");
  go_to("kana");
  for (std::string romaji, kana; words >> romaji >> kana;) {
    press_all(romaji);  // in the place of the kana before
    EXPECT_EQ(value("kana"), kana) << romaji;
  }
}

TEST_F(LabelPage, ReadsEveryWayToWriteARegionInLatinLetters) {
  open_page(two_vehicles());
  const std::vector<std::pair<std::string, std::string>> regions = {{"shina", "品川"},
                                                                    {"sinagawa", "品川"},
                                                                    {"tsuchi", "土浦"},
                                                                    {"tutiura", "土浦"},
                                                                    {"fuku", "福岡"},
                                                                    {"hukuoka", "福岡"},
                                                                    {"joetsu", "上越"},
                                                                    {"zyouetu", "上越"},
                                                                    {"jouetsu", "上越"},
                                                                    {"jōetsu", "上越"},
                                                                    {"sapporo", "札幌"},
                                                                    {"gumma", "群馬"},
                                                                    {"gunma", "群馬"},
                                                                    {"minamishinshu", "南信州"},
                                                                    {"minamisinsyuu", "南信州"},
                                                                    {"omiya", "大宮"},
                                                                    {"ohmiya", "大宮"},
                                                                    {"oomiya", "大宮"},
                                                                    {"Ōmiya", "大宮"},
                                                                    {"kyoto", "京都"},
                                                                    {"kyouto", "京都"},
                                                                    {"chikuho", "筑豊"},
                                                                    {"tikuhou", "筑豊"}};
  for (const auto& [typed, region] : regions) {
    go_to("region");
    browser_->type(typed);
    EXPECT_THAT(text("#completions"), HasSubstr(region)) << typed;
    browser_->evaluate("document.activeElement.select()");
  }
}

TEST_F(LabelPage, TakesTheSecondOfSeveralRegionsByItsDigit) {
  open_page(two_vehicles());
  go_to("region");
  press_all("fuku");
  EXPECT_EQ(text("#completions"), "1福島2福井3福山4福岡");
  browser_->press("4");
  EXPECT_EQ(value("region"), "福岡");
}

TEST_F(LabelPage, WorksByTouchAlone) {
  open_page(two_vehicles());
  browser_->set_width(768, 1024);
  const auto tap = [&](const std::string& selector, const std::string& until) {
    browser_->tap(selector);
    browser_->wait_until(until);
  };
  tap("#others button", "document.getElementById('kana').value === 'お'");
  tap("#frames figure:nth-child(3)",
      "document.querySelector('#frames figure:nth-child(3)').classList.contains('chosen')");
  tap("#leave", "document.querySelector('#frames figure.left') !== null");
  tap("#accept", "document.getElementById('name').textContent.startsWith('b ')");
  tap("#region", "document.activeElement.id === 'region'");
  browser_->evaluate("document.activeElement.select()");
  browser_->type("shina");
  tap("#completions button", "document.getElementById('region').value === '品川'");
  tap("#unreadable", "document.getElementById('progress').textContent.startsWith('2 done')");
  EXPECT_EQ(saved_list(), kHeader +
                              "in/a1.jpg,品川 330 お 12-34,a\nin/a2.jpg,品川 330 お 12-34,a\n"
                              "in/a3.jpg,,a_a3\nin/b1.jpg,,b\n");
}

// How long a step takes depends on the machine; what it changes does not, nor does its share in
// all.
TEST_F(LabelPage, ChangesAsLittleOfManyVehiclesAsOfFew) {
  const auto changes_of_a_step = [&](int vehicles) -> int {
    std::vector<FrameResult> frames;
    for (int i = 0; i < vehicles; ++i) {
      frames.push_back(two_vehicles().front());
      frames.back().image_path = "in/" + std::to_string(i) + ".jpg";
      frames.back().group_id = std::to_string(i);
    }
    open_page(frames);
    browser_->evaluate(
        "(() => { window.changes = 0;"
        " new MutationObserver((records) => { for (const record of records)"
        " window.changes += 1 + record.addedNodes.length + record.removedNodes.length; })"
        ".observe(document, {childList: true, subtree: true, attributes: true,"
        " characterData: true}); })()");
    browser_->press("Enter");
    browser_->wait_until("document.getElementById('progress').textContent.startsWith('1 done')");
    return browser_->evaluate("window.changes");
  };
  const int of_few = changes_of_a_step(5);
  EXPECT_GT(of_few, 5);
  EXPECT_EQ(changes_of_a_step(500), of_few);
}

TEST_F(LabelPage, FitsAWindowOf1280By720AndATablet) {
  dir_.write_finished(two_vehicles());
  for (const char* name : {"a1", "a2", "a3", "b1"}) dir_.write_pictures(name);
  open_page(two_vehicles());
  for (const auto& [width, height] : {std::pair(1280, 720), std::pair(768, 1024)}) {
    browser_->set_width(width, height);
    EXPECT_LE(browser_->evaluate("document.documentElement.scrollWidth"), width);
    for (const char* id : {"accept", "others"}) {
      const std::string is_above_the_keys =
          "document.getElementById('" + std::string(id) +
          "').getBoundingClientRect().bottom <="
          " document.querySelector('footer').getBoundingClientRect().top";
      EXPECT_EQ(browser_->evaluate(is_above_the_keys), true) << id << " " << width;
    }
  }
}

// Texts of both languages stand side by side; the page uses each of them and no others.
TEST(LabelTexts, AreWholeInBothLanguages) {
  const auto texts = nlohmann::json::parse(read_file(kPageFolder + "label_texts.json"));
  const std::string sources =
      read_file(kPageFolder + "label.js") + read_file(kPageFolder + "label.mustache");
  std::set<std::string> keys;
  for (const auto& [key, languages] : texts.items()) {
    keys.insert(key);
    for (const char* language : {"en", "ja"}) {
      EXPECT_NE(languages.value(language, ""), "") << key << " " << language;
    }
    EXPECT_EQ(languages.size(), 2U) << key;
    EXPECT_NE(sources.find("\"" + key + "\""), std::string::npos) << key;
  }
  const std::regex use("(?:data-text|data-title)=\"(\\w*)\"|\\bsay\\(\"?([\\w.]*)");
  for (std::sregex_iterator found(sources.begin(), sources.end(), use), end; found != end;
       ++found) {
    const std::string key = (*found)[1].str() + (*found)[2].str();
    const bool is_of_template = key == "node.dataset.text" || key == "node.dataset.title";
    EXPECT_TRUE(keys.count(key) == 1 || is_of_template) << key;
  }
  std::istringstream fields(kFieldOrder);
  for (std::string key; fields >> key;) EXPECT_EQ(keys.count(key), 1U) << key;
}

TEST(LabelTexts, TellHowEveryRegionIsRead) {
  std::set<std::string> read;
  for (const std::string& line : lines_of(read_file(kPageFolder + "region_readings.txt"))) {
    read.insert(line.substr(0, line.find(' ')));
  }
  for (const std::string& word : lines_of(read_file(KAVREL_SOURCE_DIR "/dict/region_words.txt"))) {
    EXPECT_EQ(read.count(word), 1U) << word;
  }
}

}  // namespace
}  // namespace kavrel_test
