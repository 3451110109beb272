#include "app/base/top_vote.h"

namespace kavrel {

std::string pick_top_vote(const Tally& tally) {
  std::string choice;
  int best = 0;
  for (const auto& [candidate, total] : tally) {
    if (total > best) {
      best = total;
      choice = candidate;
    }
  }
  return choice;
}

}  // namespace kavrel
