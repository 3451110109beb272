// What the pictures of a case make suspect of its box and its corners where nobody knows the place
// of the plate.
#ifndef KAVREL_REPORT_RUN_SUSPICION_H
#define KAVREL_REPORT_RUN_SUSPICION_H

#include "report/run/place.h"

namespace kavrel::report {

// A plate that stands in the middle of its crop, with sides of which opposite ones are alike.
bool is_plausible(const Corners& corners, const cv::Size& crop);

// A box is suspect whose rim cuts writing that stands at the plate's corners, or that holds no
// text: `nothing_read` says that no reading had a part of a plate. Corners are suspect that make no
// plate, do not lie around the crop's middle, or leave writing out that goes on beyond them; those
// that the rim hides are not so where nobody cut the picture out: it may end where the plate does.
PlaceFinding suspect_place(const SeenPlace& place, bool nothing_read);

}  // namespace kavrel::report

#endif
