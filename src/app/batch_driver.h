// The whole run: configuration in, output directory and exit status out.
#ifndef KAVREL_APP_BATCH_DRIVER_H
#define KAVREL_APP_BATCH_DRIVER_H

#include "app/args.h"

namespace kavrel {

// Reads every case of the list, in its order, and reports the run. Returns the exit status 0, or
// 2 as report_run does. Any error ends the run as a std::exception; the files and the
// frame_summary.csv rows of the cases before it are kept.
int run_batch(const Args& args);

}  // namespace kavrel

#endif
