// Which rows of a case list must be read by one process: those of a group, as it is voted on, and
// those of one image name, as they share a folder in which the later one overwrites.
#ifndef KAVREL_SHARD_GROUPING_H
#define KAVREL_SHARD_GROUPING_H

#include <cstdint>
#include <string>
#include <vector>

namespace kavrel::shard {

// The cases of a list, each as the line that it stands in.
struct ListRows {
  std::string header;              // the list's own, or one that says the same
  std::string lines;               // one after the other, each with its newline
  std::vector<std::size_t> begin;  // of each line in `lines`, and behind them its size
  std::vector<std::uint32_t> set;  // rows of equal numbers belong together; from 0 without gaps
  std::vector<std::uint32_t> group;
  std::vector<std::string> tie;     // of each set, what most of its rows share, in words
  std::vector<std::uint32_t> size;  // rows of each set

  std::size_t rows() const { return set.size(); }
};

// Throws as read_input_list does.
ListRows read_list_rows(const std::string& path);

// The shard of every row, from 0: sets are dealt out by size, the largest first, each to the
// shard that has the fewest rows. Shards without a row are left out, the largest comes first.
// `shards` is at least 1, and so is the number of shards returned in `shards`.
std::vector<std::uint32_t> deal_out(const ListRows& list, std::size_t& shards);

}  // namespace kavrel::shard

#endif
