#ifndef KAVREL_APP_BASE_BOUNDED_SORT_H
#define KAVREL_APP_BASE_BOUNDED_SORT_H

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kavrel {

// std::sort for comparators that need not be a strict weak ordering (a tolerance makes one
// intransitive, and so does a NaN): the order is std::sort's own, and no comparator can make it
// read outside of the records.
//
// std::sort scans without a bounds check, trusting that the ordering stops it. Here it sorts
// pointers between two null fences that no scan crosses, as neither comes before anything.
template <typename Record, typename Before>
void bounded_sort(std::vector<Record>& records, Before before) {
  std::vector<const Record*> fenced(records.size() + 2, nullptr);
  std::transform(records.begin(), records.end(), fenced.begin() + 1,
                 [](const Record& record) { return &record; });
  std::sort(fenced.begin() + 1, fenced.end() - 1, [before](const Record* a, const Record* b) {
    return a != nullptr && b != nullptr && before(*a, *b);
  });
  std::vector<Record> sorted;
  sorted.reserve(records.size());
  for (std::size_t i = 1; i <= records.size(); ++i) sorted.push_back(*fenced[i]);
  records.swap(sorted);
}

}  // namespace kavrel

#endif
