// Pages for servers that forbid inline style, inline scripts and embedded pictures.
#ifndef KAVREL_REPORT_HTML_HTML_SPLIT_H
#define KAVREL_REPORT_HTML_HTML_SPLIT_H

#include <string>
#include <vector>

namespace kavrel::report {

struct PageFile {
  std::string name;
  std::string bytes;
};

struct SplitPage {
  std::string html;
  std::vector<PageFile> files;  // that it names, in `folder`
};

// A page of render_page() with its style, its script and its pictures in files of their own.
// `folder`: where they will lie, relative to the page.
SplitPage split_page(const std::string& page, const std::string& folder);

}  // namespace kavrel::report

#endif
