#ifndef KAVREL_REPORT_HTML_HTML_LABEL_H
#define KAVREL_REPORT_HTML_HTML_LABEL_H

#include <string>
#include <vector>

#include "report/list/list_rows.h"
#include "report/run/run.h"

namespace kavrel::report {

// The page on which a person labels the vehicles of a run by keyboard. `rows`: the list that it
// saves again with labels; `list_name`: the file name under which it does.
//
// Pictures are embedded, smaller ones the more frames there are, so that the page of 5,000 vehicles
// stays under 100 MB. Throws std::runtime_error if the run's frames are not known.
std::string render_label_page(const RecordedRun& run, const ListRows& rows,
                              const std::string& list_name,
                              const std::vector<std::string>& region_words);

}  // namespace kavrel::report

#endif
