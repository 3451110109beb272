// The pages in a real browser.
#include "tests/report/browser/browser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "tests/report/output_dir.h"
#include "tests/report/report_program.h"

namespace kavrel_test {
namespace {

using testing::HasSubstr;

class ReportInBrowser : public BrowserTest {
 protected:
  void open_report(const std::vector<FrameResult>& frames) {
    dir_.write_finished(frames);
    for (const char* name : {"b1", "b2", "c1", "d1", "e1"}) dir_.write_pictures(name);
    ASSERT_EQ(run_report({"html", dir_.path()}).status, 0);
    page_ = dir_.path("report.html");
    browser_->open(page_);
  }

  int count(const std::string& selector) {
    return browser_->evaluate("document.querySelectorAll('" + selector + "').length");
  }

  // Group ids of the table's rows, as they stand.
  std::string rows() {
    return browser_->evaluate(
        "[...document.querySelectorAll('#group-table tbody tr:not([hidden]) th')]"
        ".map((cell) => cell.textContent).join(' ')");
  }

  std::string cards() {
    return browser_->evaluate(
        "[...document.querySelectorAll('.card:not([hidden]) .title b')]"
        ".map((cell) => cell.textContent).join(' ')");
  }

  OutputDir dir_;
};

TEST_F(ReportInBrowser, FiltersWhatIsTyped) {
  open_report(small_run());
  EXPECT_EQ(cards(), "b c e d");
  browser_->click("#filter");
  browser_->type("Kana OUTVOTED");
  EXPECT_EQ(cards(), "b");
  EXPECT_EQ(rows(), "");
  EXPECT_EQ(browser_->evaluate("document.getElementById('shown').textContent"), "1 of 4 shown");
  browser_->evaluate("document.getElementById('filter').select()");
  browser_->type("福岡");
  EXPECT_EQ(cards(), "e");
  EXPECT_EQ(rows(), "e");
}

TEST_F(ReportInBrowser, OpensACard) {
  open_report(small_run());
  EXPECT_EQ(count(".card[open]"), 0);
  browser_->click("#group-2 > summary");
  EXPECT_EQ(count("#group-2[open]"), 1);
  EXPECT_GT(browser_->evaluate(
                "document.querySelector('#group-2 .frame img').getBoundingClientRect().width"),
            100);
  browser_->click("#open");
  EXPECT_EQ(count(".card[open]"), 4);
}

TEST_F(ReportInBrowser, OpensACardByKeyboard) {
  open_report(small_run());
  browser_->evaluate("document.querySelector('#group-2 > summary').focus()");
  browser_->press("Enter");
  EXPECT_EQ(count("#group-2[open]"), 1);
}

TEST_F(ReportInBrowser, SortsCardsAndRows) {
  open_report(small_run());
  browser_->evaluate(
      "(() => { const sort = document.getElementById('sort'); sort.value = 'edits';"
      " sort.dispatchEvent(new Event('change')); })()");
  EXPECT_EQ(cards(), "c e b d");
  browser_->click("#group-table th:nth-child(2) button");
  EXPECT_EQ(rows(), "a b e c d");
  browser_->click("#group-table th:nth-child(1) button");
  browser_->click("#group-table th:nth-child(1) button");
  EXPECT_EQ(rows(), "e d c b a");
}

TEST_F(ReportInBrowser, ShowsItself) {
  open_report(small_run());
  browser_->set_width(1200, 900);
  const std::string png = browser_->screenshot();
  const cv::Mat picture =
      cv::imdecode(std::vector<char>(png.begin(), png.end()), cv::IMREAD_GRAYSCALE);
  EXPECT_EQ(picture.size(), cv::Size(1200, 900));
  double darkest = 255;
  double brightest = 0;
  cv::minMaxLoc(picture, &darkest, &brightest);
  EXPECT_LT(darkest, 60);
  EXPECT_GT(brightest, 230);
}

TEST_F(ReportInBrowser, ShowsAllPictures) {
  open_report(small_run());
  EXPECT_GT(count("img"), 8);
  EXPECT_EQ(browser_->evaluate(
                "[...document.images].filter((i) => i.naturalWidth === 0 || !i.alt).length"),
            0);
}

TEST_F(ReportInBrowser, FitsANarrowWindow) {
  open_report(small_run());
  browser_->set_width(360, 800);
  EXPECT_LE(browser_->evaluate("document.documentElement.scrollWidth"), 360);
}

TEST_F(ReportInBrowser, IsReadableWithoutScripts) {
  browser_->forbid_scripts();
  open_report(small_run());
  EXPECT_EQ(count(".card"), 4);
  EXPECT_EQ(
      browser_->evaluate("document.querySelector('.controls').getBoundingClientRect().height"), 0);
  browser_->click("#group-2 > summary");
  EXPECT_EQ(count("#group-2[open]"), 1);
}

TEST_F(ReportInBrowser, RunsNothingThatARunWrote) {
  const std::string script = "<script>alert(1)</script><img src=x onerror=alert(2)>";
  const std::string attribute = "\" autofocus onfocus=\"alert(3)";
  open_report({{script, script, attribute, {"", "", "", "", script}, {{"gray_full", script}}},
               {attribute, attribute, script, {"", "", "", "", attribute}, {}}});
  browser_->click("#group-1 > summary");
  EXPECT_EQ(count("script:not([type])"), 1);
  EXPECT_EQ(count("img[src=x]"), 0);
}

// What is left in English of a page that is shown in Japanese: of its own texts, those with two
// Latin words, or with one and nothing else. Paths and commands stay.
const char* const kLeftInEnglish = R"(
  (() => {
    const isForeign = (node) => node.closest('[translate=no], bdi, script, style, .run-facts td');
    const isEnglish = (text) => {
      const words = text.replace(/kavrel-report \w+|--[a-z-]+|[\w./]+\.(csv|json|log)|kavrel|UTC|95 %/g, '');
      return /[a-z]{2,} [a-z]{2,}/i.test(words) || (/[a-z]{3,}/i.test(words) && !/[\u3040-\u9fff]/.test(words));
    };
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    const texts = [];
    while (walker.nextNode()) {
      if (!isForeign(walker.currentNode.parentElement)) texts.push(walker.currentNode.data.trim());
    }
    for (const node of document.querySelectorAll('[alt], [aria-label], [placeholder]')) {
      for (const name of ['alt', 'aria-label', 'placeholder']) texts.push(node.getAttribute(name) || '');
    }
    return texts.filter(isEnglish).join('\n');
  })())";

TEST_F(ReportInBrowser, SpeaksJapaneseAndRemembersIt) {
  open_report(small_run());
  // Not innerText: that leaves out what the browser has not drawn yet.
  const std::string english = browser_->evaluate("document.querySelector('main').textContent");
  browser_->click("#language");
  EXPECT_EQ(browser_->evaluate("document.querySelector('h1').textContent"),
            "kavrel の読み取り結果");
  EXPECT_EQ(browser_->evaluate("[...document.querySelectorAll('#fields tbody th')]"
                               ".map((cell) => cell.textContent).join(' ')"),
            "地名 分類番号 かな 一連指定番号");
  EXPECT_EQ(browser_->evaluate("document.documentElement.lang"), "ja");
  EXPECT_EQ(browser_->evaluate("localStorage.getItem('kavrel-language')"), "ja");  // all pages'
  browser_->open(page_);
  EXPECT_EQ(browser_->evaluate("document.querySelector('h1').textContent"),
            "kavrel の読み取り結果");
  browser_->click("#filter");
  browser_->type("かな 票で負けた");
  EXPECT_EQ(cards(), "b");
  EXPECT_EQ(browser_->evaluate("document.getElementById('shown').textContent"),
            "4 件中 1 件を表示");
  browser_->evaluate("document.getElementById('filter').value = ''");
  browser_->click("#language");
  EXPECT_EQ(browser_->evaluate("document.querySelector('main').textContent"), english);
}

TEST(Report, HasEveryTextInJapanese) {
  if (!Browser::is_installed()) GTEST_SKIP() << "chromium is not installed";
  const OutputDir finished;
  finished.write_finished(small_run());
  auto frames = small_run();
  frames[0].image_path = "in/b1.jpg";  // overwritten
  frames[2].group_id = "Kana";         // not the field
  frames.back().expected = "福岡 301";
  const OutputDir aborted;
  aborted.write_aborted(frames);
  const std::string page = finished.path("page.html");
  Browser browser;
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"html", finished.path(), "--max-frames", "3"},
                                             {"html", aborted.path()},
                                             {"gallery", finished.path()},
                                             {"compare", finished.path(), aborted.path()},
                                             {"trend", finished.path(), aborted.path()}}) {
    std::vector<std::string> arguments = words;
    arguments.insert(arguments.end(), {"-o", page});
    run_report(arguments);
    browser.open(page);
    if (browser.evaluate("document.documentElement.lang") == "en") browser.click("#language");
    EXPECT_EQ(browser.evaluate(kLeftInEnglish).get<std::string>(), "") << words[0];
    EXPECT_NE(browser.evaluate("document.querySelector('main').textContent")
                  .get<std::string>()
                  .find("フレーム"),
              std::string::npos);
  }
}

// A script that got onto the page all the same would not run.
TEST_F(ReportInBrowser, ForbidsScriptsOfOthers) {
  open_report(small_run());
  EXPECT_EQ(browser_->evaluate("(() => { addEventListener('securitypolicyviolation',"
                               " (event) => { window.refused = event.effectiveDirective; });"
                               " const script = document.createElement('script');"
                               " script.textContent = 'window.ran = true';"
                               " document.body.append(script); return window.ran === true; })()"),
            false);
  browser_->wait_until("window.refused === 'script-src-elem'");
  browser_.reset();  // what it complains of is meant
}

}  // namespace
}  // namespace kavrel_test
