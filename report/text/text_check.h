#ifndef KAVREL_REPORT_TEXT_TEXT_CHECK_H
#define KAVREL_REPORT_TEXT_TEXT_CHECK_H

#include <ostream>

#include "report/list/list_check.h"
#include "report/list/list_mend.h"

namespace kavrel::report {

// The verdict as text: a paragraph for each check that found something, and a last line that
// counts them.
void print_verdict(const ListSheet& sheet, const ListVerdict& verdict, std::ostream& out);

// Every change, each on a line, and how many there are.
void print_changes(const MendedList& mended, std::ostream& out);

}  // namespace kavrel::report

#endif
