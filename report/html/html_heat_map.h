#ifndef KAVREL_REPORT_HTML_HTML_HEAT_MAP_H
#define KAVREL_REPORT_HTML_HTML_HEAT_MAP_H

#include "report/assessment/confusion.h"
#include "report/html/html_page.h"

namespace kavrel::report {

// Tables of what was expected (rows) and read (columns): the digits of class number and serial, and
// those kana that were confused. A table without a confusion is left out.
View heat_maps(const ConfusionCounts& counts);

}  // namespace kavrel::report

#endif
