// What all pages share: their frame, and how texts and figures are written on them.
#ifndef KAVREL_REPORT_HTML_HTML_PAGE_H
#define KAVREL_REPORT_HTML_HTML_PAGE_H

#include <cstdint>
#include <kainjow/mustache.hpp>
#include <optional>
#include <string>
#include <vector>

#include "report/assessment/judgement.h"
#include "report/base/alignment.h"
#include "report/base/statistics.h"

namespace kavrel::report {

using View = kainjow::mustache::data;

// A plate beside others, in pixels.
constexpr int kPhotoWidth = 213;
constexpr int kPhotoHeight = 64;

// A template of resources.h with its tags filled in. Texts are escaped for HTML.
class Template {
 public:
  explicit Template(const char* text);
  std::string render(const View& view);

 private:
  kainjow::mustache::mustache mustache_;
};

// A whole page with style and script. Nothing in it is loaded, and only this script runs: the
// page's Content-Security-Policy names both by their hash. `images`: where pictures may come from
// beside the page itself, a blank before each.
std::string render_page(const std::string& title, const std::string& body,
                        const std::string& images = "");

std::string digits(std::int64_t number);

View make_list();

// For a section that is left out without its text.
View text_or_false(const std::string& text);

// [{text: ...}, ...]
View list_of_texts(const std::vector<std::string>& texts);

// The class of an outcome in the page's style: "correct", "misread", "notread", "unlabelled".
const char* style_class(Outcome outcome);

// What was read, in pieces {text, mark}: characters that differ from the expected are marked.
View read_line(const PlateJudgement& plate, const PlateFields& read);

// {expected plate, read plate}, drawn as plates, for the template kPlates. `label`: of the read
// one.
std::string render_plates(const PlateJudgement& plate, const PlateFields& read,
                          const std::string& label = "read");
// The read plate alone.
std::string render_read_plate(const PlateJudgement& plate, const PlateFields& read,
                              const std::string& label);

}  // namespace kavrel::report

#endif
