#include "shard/grouping.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <numeric>
#include <queue>
#include <unordered_map>
#include <utility>

#include "app/base/case_list.h"
#include "app/base/output_format.h"
#include "app/base/text.h"

namespace kavrel::shard {
namespace {

// Sets of things that are numbered from 0, joined pair by pair.
class UnionFind {
 public:
  std::uint32_t add() {
    parents_.push_back(static_cast<std::uint32_t>(parents_.size()));
    return parents_.back();
  }
  std::uint32_t find(std::uint32_t node) {
    while (parents_[node] != node) {
      parents_[node] = parents_[parents_[node]];
      node = parents_[node];
    }
    return node;
  }
  // The first that came stands for both.
  void join(std::uint32_t a, std::uint32_t b) {
    a = find(a);
    b = find(b);
    parents_[std::max(a, b)] = std::min(a, b);
  }

 private:
  std::vector<std::uint32_t> parents_;
};

struct Names {
  const char* kind;
  std::unordered_map<std::string, std::uint32_t> nodes;
};

// Takes the rows one by one; groups and image names are nodes, and a row joins two of them.
class Reader {
 public:
  void take(const std::string& line, const CaseItem& item) {
    list.begin.push_back(list.lines.size());
    list.lines += line + '\n';
    const std::uint32_t group = node_of(item.group_id, groups_);
    const std::string name = output::case_name(item.image_path);
    // "." and ".." are no folders of their own.
    const std::uint32_t image = node_of(name == ".." ? "." : name, images_);
    sets_.join(group, image);
    ++uses_[group];
    ++uses_[image];
    list.group.push_back(group);
  }

  // Numbers the sets in the order in which they came.
  void finish() {
    list.begin.push_back(list.lines.size());
    constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
    set_of_.assign(uses_.size(), kNone);
    for (std::uint32_t node = 0; node < uses_.size(); ++node) {
      const std::uint32_t first = sets_.find(node);
      if (set_of_[first] == kNone) {
        set_of_[first] = static_cast<std::uint32_t>(list.size.size());
        list.size.push_back(0);
      }
      set_of_[node] = set_of_[first];
    }
    for (const std::uint32_t group : list.group) {
      list.set.push_back(set_of_[group]);
      ++list.size[set_of_[group]];
    }
    name_ties();
  }

  ListRows list;

 private:
  std::uint32_t node_of(const std::string& name, Names& names) {
    const auto [known, is_new] = names.nodes.emplace(name, 0);
    if (is_new) {
      known->second = sets_.add();
      uses_.push_back(0);
    }
    return known->second;
  }

  // What most rows of each set share: cameras that all write 0001.jpg tie a whole list together.
  void name_ties() {
    std::vector<std::uint32_t> best(list.size.size(), 0);
    list.tie.resize(list.size.size());
    for (const Names* names : {&groups_, &images_}) {
      for (const auto& [name, node] : names->nodes) {
        const std::uint32_t set = set_of_[node];
        const std::string tie = names->kind + (" " + name);
        if (uses_[node] < best[set] || (uses_[node] == best[set] && tie >= list.tie[set])) continue;
        best[set] = uses_[node];
        list.tie[set] = tie;
      }
    }
  }

  UnionFind sets_;
  Names groups_{"group", {}};
  Names images_{"image name", {}};
  std::vector<std::uint32_t> uses_;    // rows of each node
  std::vector<std::uint32_t> set_of_;  // of each node
};

}  // namespace

ListRows read_list_rows(const std::string& path) {
  CaseReader cases(path);
  Reader reader;
  for (CaseItem item; cases.next(item);) reader.take(cases.line(), item);
  reader.list.header = cases.header();
  // A list without a header gets one that says the same: a row must not pass for a header because
  // it comes first in its shard.
  if (reader.list.header.empty()) reader.list.header = list_header();
  reader.finish();
  return std::move(reader.list);
}

std::vector<std::uint32_t> deal_out(const ListRows& list, std::size_t& shards) {
  std::vector<std::uint32_t> order(list.size.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return list.size[a] > list.size[b]; });
  shards = std::max<std::size_t>(1, std::min(shards, list.size.size()));
  using Load = std::pair<std::size_t, std::uint32_t>;  // rows, shard
  std::priority_queue<Load, std::vector<Load>, std::greater<>> loads;
  for (std::uint32_t shard = 0; shard < shards; ++shard) loads.push({0, shard});
  std::vector<std::uint32_t> shard_of_set(list.size.size());
  for (const std::uint32_t set : order) {
    auto [rows, shard] = loads.top();
    loads.pop();
    shard_of_set[set] = shard;
    loads.push({rows + list.size[set], shard});
  }
  std::vector<Load> by_size;
  for (; !loads.empty(); loads.pop()) by_size.push_back(loads.top());
  std::stable_sort(by_size.begin(), by_size.end(), [](const Load& a, const Load& b) {
    return a.first > b.first || (a.first == b.first && a.second < b.second);
  });
  std::vector<std::uint32_t> number(shards);
  for (std::uint32_t i = 0; i < by_size.size(); ++i) number[by_size[i].second] = i;
  std::vector<std::uint32_t> shard_of_row;
  shard_of_row.reserve(list.rows());
  for (const std::uint32_t set : list.set) shard_of_row.push_back(number[shard_of_set[set]]);
  return shard_of_row;
}

}  // namespace kavrel::shard
