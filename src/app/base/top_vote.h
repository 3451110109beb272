// The one rule by which a winner is picked from votes.
#ifndef KAVREL_APP_BASE_TOP_VOTE_H
#define KAVREL_APP_BASE_TOP_VOTE_H

#include <map>
#include <string>

namespace kavrel {

// Total of votes per candidate, in ascending byte order of the candidates.
using Tally = std::map<std::string, int>;

// The candidate with the greatest positive total; of equal ones the first in byte order.
// Empty if no total is positive.
std::string pick_top_vote(const Tally& tally);

}  // namespace kavrel

#endif
