#include "tests/report/browser/browser.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <chrono>
#include <csignal>
#include <map>
#include <stdexcept>
#include <thread>

#include "tests/report/report_program.h"

namespace kavrel_test {
namespace {

using nlohmann::json;

constexpr int kMillisecondsToAnswer = 60000;

// The ends of the pipe that the browser reads from and writes to.
constexpr int kBrowserReads = 3;
constexpr int kBrowserWrites = 4;

[[noreturn]] void become_browser(int read_end, int write_end, const std::string& profile) {
  // Out of the way first: either end may have the number that the other is to get.
  const int reads = fcntl(read_end, F_DUPFD, 10);
  const int writes = fcntl(write_end, F_DUPFD, 10);
  const int null = open("/dev/null", O_WRONLY);
  dup2(reads, kBrowserReads);
  dup2(writes, kBrowserWrites);
  dup2(null, STDERR_FILENO);
  setpgid(0, 0);
  const std::string profile_option = "--user-data-dir=" + profile;
  // Root, as in containers, has no sandbox.
  execlp("chromium", "chromium", "--headless=new", "--no-sandbox", "--disable-gpu",
         "--disable-dev-shm-usage", "--no-first-run", "--disable-background-networking",
         "--remote-debugging-pipe", profile_option.c_str(), "about:blank", nullptr);
  _exit(127);
}

}  // namespace

bool Browser::is_installed() { return run_program({"chromium", "--version"}).status == 0; }

Browser::Browser() {
  std::array<int, 2> commands{};
  std::array<int, 2> answers{};
  if (pipe(commands.data()) != 0 || pipe(answers.data()) != 0) throw std::runtime_error("no pipe");
  child_ = fork();
  if (child_ == 0) become_browser(commands[0], answers[1], profile_.path());
  close(commands[0]);
  close(answers[1]);
  to_browser_ = commands[1];
  from_browser_ = answers[0];
  attach_to_new_page();
}

void Browser::attach_to_new_page() {
  const json target = call("Target.createTarget", {{"url", "about:blank"}});
  session_ = call("Target.attachToTarget", {{"targetId", target.at("targetId")}, {"flatten", true}})
                 .at("sessionId");
  for (const char* domain : {"Page", "Runtime", "Log", "Network"}) {
    call(std::string(domain) + ".enable");
  }
}

Browser::~Browser() {
  close(to_browser_);
  close(from_browser_);
  kill(-child_, SIGKILL);  // the group that become_browser() made
  waitpid(child_, nullptr, 0);
}

json Browser::next_message() {
  std::size_t end = received_.find('\0');
  while (end == std::string::npos) {
    pollfd waiting{from_browser_, POLLIN, 0};
    std::array<char, 1 << 16> bytes{};
    if (poll(&waiting, 1, kMillisecondsToAnswer) <= 0) throw std::runtime_error("no answer");
    const ssize_t count = read(from_browser_, bytes.data(), bytes.size());
    if (count <= 0) throw std::runtime_error("the browser ended");
    received_.append(bytes.data(), static_cast<std::size_t>(count));
    end = received_.find('\0');
  }
  json message = json::parse(received_.substr(0, end));
  received_.erase(0, end + 1);
  return message;
}

void Browser::note(const json& event) {
  const std::string method = event.value("method", "");
  if (method == "Network.requestWillBeSent") {
    const std::string url = event.at("params").at("request").at("url");
    if (url.rfind("data:", 0) != 0) requests_.push_back(url);
  }
  if (method == "Log.entryAdded" || method == "Runtime.consoleAPICalled" ||
      method == "Runtime.exceptionThrown" || method == "Page.javascriptDialogOpening") {
    complaints_.push_back(event.dump());
  }
}

json Browser::call(const std::string& method, const json& parameters) {
  json command = {{"id", ++last_id_}, {"method", method}};
  if (!parameters.is_null()) command["params"] = parameters;
  if (!session_.empty()) command["sessionId"] = session_;
  const std::string text = command.dump() + '\0';
  if (write(to_browser_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("the browser does not listen");
  }
  while (true) {
    json message = next_message();
    if (message.value("id", 0) != last_id_) {
      note(message);
      continue;
    }
    if (message.contains("error")) throw std::runtime_error(method + ": " + message.dump());
    return message.at("result");
  }
}

// A page that is left may still answer, and so it is marked; the empty one comes between.
void Browser::open(const std::string& path) {
  evaluate("window.isLeft = true");
  call("Page.navigate", {{"url", "file://" + path}});
  const auto is_open = [this] {
    try {
      return evaluate(
                 "!window.isLeft && location.protocol === 'file:' &&"
                 " document.readyState === 'complete'") == true;
    } catch (const std::runtime_error&) {
      return false;  // between two pages
    }
  };
  while (!is_open()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

void Browser::wait_until(const std::string& expression) {
  using std::chrono::milliseconds;
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + milliseconds(kMillisecondsToAnswer);
  while (evaluate(expression) != true) {
    if (Clock::now() > end) throw std::runtime_error("not true within a minute: " + expression);
    std::this_thread::sleep_for(milliseconds(10));
  }
}

json Browser::evaluate(const std::string& expression) {
  const json answer =
      call("Runtime.evaluate", {{"expression", expression}, {"returnByValue", true}});
  if (answer.contains("exceptionDetails")) throw std::runtime_error(answer.dump());
  return answer.at("result").value("value", json());
}

json Browser::place_of(const std::string& selector) {
  return evaluate("(() => { const item = document.querySelector(" + json(selector).dump() +
                  "); item.scrollIntoView({block: 'center'});"
                  " const box = item.getBoundingClientRect();"
                  " return {x: box.x + box.width / 2, y: box.y + box.height / 2}; })()");
}

void Browser::click(const std::string& selector) {
  const json place = place_of(selector);
  for (const char* type : {"mousePressed", "mouseReleased"}) {
    call("Input.dispatchMouseEvent", {{"type", type},
                                      {"x", place.at("x")},
                                      {"y", place.at("y")},
                                      {"button", "left"},
                                      {"clickCount", 1}});
  }
}

void Browser::tap(const std::string& selector) {
  call("Emulation.setTouchEmulationEnabled", {{"enabled", true}});
  const json place = place_of(selector);
  call("Input.dispatchTouchEvent", {{"type", "touchStart"}, {"touchPoints", json::array({place})}});
  call("Input.dispatchTouchEvent", {{"type", "touchEnd"}, {"touchPoints", json::array()}});
}

void Browser::type(const std::string& text) { call("Input.insertText", {{"text", text}}); }

void Browser::press(const std::string& key) {
  const std::map<std::string, int> codes = {{"Enter", 13},   {"Shift+Tab", 9}, {"Tab", 9},
                                            {"Escape", 27},  {"PageUp", 33},   {"PageDown", 34},
                                            {"ArrowUp", 38}, {"ArrowDown", 40}};
  const auto named = codes.find(key);
  const bool is_character = named == codes.end();
  const bool is_upper = is_character && std::isupper(static_cast<unsigned char>(key[0])) != 0;
  const bool is_shifted = is_upper || key == "Shift+Tab";
  const int code = is_character ? std::toupper(static_cast<unsigned char>(key[0])) : named->second;
  const std::string text = key == "Enter" ? "\r" : is_character ? key : "";
  json parameters = {{"key", key == "Shift+Tab" ? "Tab" : key},
                     {"windowsVirtualKeyCode", code},
                     {"modifiers", is_shifted ? 8 : 0}};
  parameters["type"] = text.empty() ? "rawKeyDown" : "keyDown";
  if (!text.empty()) parameters["text"] = text;
  call("Input.dispatchKeyEvent", parameters);
  parameters.erase("text");
  parameters["type"] = "keyUp";
  call("Input.dispatchKeyEvent", parameters);
}

void Browser::save_to(const std::string& dir) {
  call("Page.setDownloadBehavior", {{"behavior", "allow"}, {"downloadPath", dir}});
}

std::string Browser::open_another(const std::string& path) {
  std::string before;
  before.swap(session_);
  attach_to_new_page();
  open(path);
  return before;
}

void Browser::set_width(int pixels, int height) {
  call("Emulation.setDeviceMetricsOverride",
       {{"width", pixels}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", false}});
}

void Browser::forbid_scripts() { call("Emulation.setScriptExecutionDisabled", {{"value", true}}); }

void Browser::run_before_pages(const std::string& script) {
  call("Page.addScriptToEvaluateOnNewDocument", {{"source", script}});
}

std::string Browser::screenshot() { return from_base64(call("Page.captureScreenshot").at("data")); }

void BrowserTest::SetUp() {
  if (!Browser::is_installed()) GTEST_SKIP() << "chromium is not installed";
  browser_ = std::make_unique<Browser>();
}

void BrowserTest::TearDown() {
  if (!browser_) return;
  EXPECT_THAT(browser_->complaints(), testing::IsEmpty());
  // What a page saves is a request to itself.
  for (const std::string& request : browser_->requests()) {
    EXPECT_THAT(request, testing::AnyOf("file://" + page_, testing::StartsWith("blob:")));
  }
}

}  // namespace kavrel_test
