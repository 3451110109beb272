// What the commands share that write a case list.
#ifndef KAVREL_REPORT_COMMANDS_LIST_FILE_H
#define KAVREL_REPORT_COMMANDS_LIST_FILE_H

#include <string>

#include "report/list/new_list.h"

namespace kavrel::report {

// Labels are a person's work: throws std::runtime_error where there is a list already. "-" is
// standard output.
void refuse_to_overwrite(const std::string& path);

// A "[WARN]" line, and one for each of the first names.
void log_remark(const ListRemark& remark);

}  // namespace kavrel::report

#endif
