// Chromium without a window, driven through its remote debugging pipe.
#ifndef KAVREL_TESTS_REPORT_BROWSER_BROWSER_H
#define KAVREL_TESTS_REPORT_BROWSER_BROWSER_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/test_support.h"

namespace kavrel_test {

class Browser {
 public:
  static bool is_installed();

  // Starts a browser with one empty page.
  Browser();
  ~Browser();
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;

  // Opens a file and waits until it is loaded.
  void open(const std::string& path);
  // The value of a JavaScript expression.
  nlohmann::json evaluate(const std::string& expression);
  // Waits until a JavaScript expression is true. Throws when it is not within a minute.
  void wait_until(const std::string& expression);
  // Clicks in the middle of what the selector finds first.
  void click(const std::string& selector);
  // Taps there with a finger, on a screen that knows touch.
  void tap(const std::string& selector);
  // Types into what has the focus.
  void type(const std::string& text);
  // A key as a browser names it: "a", "Enter", "PageDown". A letter in upper case is one with
  // Shift.
  void press(const std::string& key);
  // Where files go that a page saves.
  void save_to(const std::string& dir);
  // Opens one more page of the same browser; from now on it is the one that is driven. Returns the
  // page that was.
  std::string open_another(const std::string& path);
  void drive(const std::string& page) { session_ = page; }
  void set_width(int pixels, int height);
  void forbid_scripts();
  // Of each page that is opened from now on, before its own.
  void run_before_pages(const std::string& script);
  // A PNG file.
  std::string screenshot();

  // What went wrong so far: messages of the console, exceptions and dialogs.
  const std::vector<std::string>& complaints() const { return complaints_; }
  // Addresses that the page asked for, but for embedded ones.
  const std::vector<std::string>& requests() const { return requests_; }

 private:
  // The middle of what the selector finds first, scrolled into view.
  nlohmann::json place_of(const std::string& selector);
  void attach_to_new_page();
  nlohmann::json call(const std::string& method, const nlohmann::json& parameters = {});
  nlohmann::json next_message();
  void note(const nlohmann::json& event);

  TempDir profile_;
  pid_t child_ = -1;
  int to_browser_ = -1;
  int from_browser_ = -1;
  int last_id_ = 0;
  std::string session_;
  std::string received_;
  std::vector<std::string> complaints_;
  std::vector<std::string> requests_;
};

// Tests of one page, page_, which loads nothing else, asks for nothing and complains of nothing.
class BrowserTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string page_;
  std::unique_ptr<Browser> browser_;
};

}  // namespace kavrel_test

#endif
