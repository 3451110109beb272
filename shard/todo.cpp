#include "shard/todo.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <vector>

#include "app/base/case_list.h"
#include "app/base/log.h"
#include "app/base/output_format.h"
#include "shard/job.h"
#include "shard/result.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;

// Where a path leads from `start` by names alone, and the folders that it passes.
fs::path walk(const std::string& path, const fs::path& start, std::vector<fs::path>& passed) {
  fs::path place = start;
  const fs::path walked(path);
  for (auto part = walked.begin(); part != walked.end(); ++part) {
    if (*part == "." || part->empty()) continue;
    if (*part == "..") {
      place = place.parent_path();
    } else {
      place /= *part;
    }
    if (std::next(part) != walked.end()) passed.push_back(place);
  }
  return place;
}

std::size_t steps_above(const std::string& path) {
  std::size_t above = 0;
  std::size_t depth = 0;
  for (const fs::path& part : fs::path(path)) {
    if (part == "..") {
      depth > 0 ? --depth : ++above;
    } else if (part != "." && !part.empty()) {
      ++depth;
    }
  }
  return above;
}

// The last `count` folders of a path.
fs::path tail_of(const fs::path& path, std::size_t count) {
  fs::path rest = path;
  for (; count > 0 && rest.has_relative_path(); --count) rest = rest.parent_path();
  return rest == path ? fs::path() : path.lexically_relative(rest);
}

// Links under the pictures' own relative paths, so that these mean on the worker what they mean
// here. An absolute path must be there. Paths with ".." start as deep in the links as they climb.
void make_links(const std::string& job, const Plan& plan, std::size_t number) {
  const std::vector<CaseItem> cases = read_input_list(list_of(job, number));
  std::size_t above = 0;
  for (const CaseItem& item : cases) above = std::max(above, steps_above(item.image_path));
  const fs::path start = tail_of(plan.directory, above);
  const fs::path root = pictures_of(job, number);
  fs::remove_all(root);
  fs::create_directories(root / start);
  std::vector<fs::path> passed;
  fs::path last_parent;
  for (const CaseItem& item : cases) {
    if (fs::path(item.image_path).is_absolute()) continue;
    passed.clear();
    const fs::path place = walk(item.image_path, start, passed);
    if (passed.empty() || passed.back() != last_parent) {
      for (const fs::path& folder : passed) fs::create_directories(root / folder);
      last_parent = passed.empty() ? fs::path() : passed.back();
    }
    link_to(plan.directory + "/" + item.image_path, root / place);
  }
  write_whole(start_of(job, number), start.string());
}

void remove_links(const std::string& job, std::size_t number) {
  fs::remove_all(pictures_of(job, number));
}

// 3, 4, 5, 9 as "3-5,9".
std::string ranges(const std::vector<std::size_t>& numbers) {
  std::string text;
  for (std::size_t i = 0; i < numbers.size();) {
    std::size_t last = i;
    while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
    if (!text.empty()) text += ",";
    text += std::to_string(numbers[i]);
    if (last > i) text += "-" + std::to_string(numbers[last]);
    i = last + 1;
  }
  return text;
}

// How fast results came, by this machine's clock: workers may have none that is right.
class Pace {
 public:
  void add(const std::string& dir, const Result& result, std::size_t rows) {
    struct stat file {};
    if (stat((dir + "/" + output::kShardFile).c_str(), &file) != 0) return;
    const std::time_t lasted = time_of(result.ended) - time_of(result.started);
    arrivals_.push_back({file.st_ctime, file.st_ctime - std::max<std::time_t>(0, lasted), rows});
  }

  // Tells the rows of the hour before the last result, and how long as many take as are left.
  void tell(std::size_t left, std::ostream& out) const {
    std::time_t begin = std::numeric_limits<std::time_t>::max(), last = 0;
    for (const Arrival& arrival : arrivals_) {
      begin = std::min(begin, arrival.began);
      last = std::max(last, arrival.came);
    }
    begin = std::max(begin, last - kWindow);
    std::size_t rows = 0;
    for (const Arrival& arrival : arrivals_) rows += arrival.came > begin ? arrival.rows : 0;
    if (rows == 0 || left == 0) return;
    const auto seconds = static_cast<std::size_t>(last - begin);
    out << "the last result came " << minutes(static_cast<std::size_t>(std::time(nullptr) - last))
        << " ago; at the pace of the " << minutes(seconds) << " before it (" << rows
        << " rows) the rest takes " << minutes(left * seconds / rows) << '\n';
  }

 private:
  static constexpr std::time_t kWindow = 3600;
  struct Arrival {
    std::time_t came, began;
    std::size_t rows;
  };

  static std::time_t time_of(const std::string& text) {
    std::tm time{};
    return strptime(text.c_str(), kTimeFormat, &time) == nullptr ? 0 : timegm(&time);
  }

  static std::string minutes(std::size_t seconds) {
    const std::size_t minutes = (seconds + 59) / 60;
    if (minutes < 60) return std::to_string(minutes) + " min";
    return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
  }

  std::vector<Arrival> arrivals_;
};

}  // namespace

void print_todo(const std::string& job, bool array, std::ostream& out) {
  const Plan plan = read_plan(job);
  const FolderLock lock(job);
  std::vector<std::size_t> wanted;
  for (std::size_t number = 1; number <= plan.shards.size(); ++number) {
    const std::string result = result_of(job, number);
    const Verdict verdict = verify_result(plan, number, result, Look::kAtBytes);
    if (verdict.state == State::kSpoiled) {
      move_aside(result, job + "/" + kSpoiledFolder);
      log_line("[WARN] " + shard_name(number) + " moved to " + kSpoiledFolder + ": " +
               verdict.reason);
    }
    if (verdict.state == State::kDone) {
      remove_links(job, number);
      continue;
    }
    if (verdict.state == State::kFailed) {
      log_line("[WARN] " + shard_name(number) +
               " failed and is to be run again: " + verdict.reason);
    }
    wanted.push_back(number);
    if (array) continue;
    make_links(job, plan, number);
    out << number << '\n';
  }
  if (wanted.empty()) log_line("[INFO] nothing is left to do");
  if (array && !wanted.empty()) out << ranges(wanted) << '\n';
  if (!out.flush()) throw std::runtime_error("failed to write to standard output");
}

void print_status(const std::string& job, std::ostream& out) {
  const Plan plan = read_plan(job);
  struct Count {
    const char* name;
    std::size_t shards = 0;
    std::size_t rows = 0;
  };
  std::vector<Count> counts = {{"not done"}, {"spoiled"}, {"failed"}, {"done"}};
  Pace pace;
  for (std::size_t number = 1; number <= plan.shards.size(); ++number) {
    const std::string result = result_of(job, number);
    const Verdict verdict = verify_result(plan, number, result, Look::kAtSizes);
    Count& count = counts.at(static_cast<std::size_t>(verdict.state));
    const std::size_t rows = plan.shards[number - 1].rows;
    ++count.shards;
    count.rows += rows;
    if (verdict.state == State::kDone) pace.add(result, verdict.result, rows);
    if (verdict.state == State::kFailed || verdict.state == State::kSpoiled) {
      const bool may_arrive = verdict.state == State::kSpoiled;
      out << shard_name(number) << " " << count.name << (may_arrive ? ", or still arriving" : "")
          << ": " << verdict.reason << '\n';
    }
  }
  for (auto count = counts.rbegin(); count != counts.rend(); ++count) {
    out << count->name << ": " << count->shards << " of " << plan.shards.size() << " shards, "
        << count->rows << " rows\n";
  }
  pace.tell(counts.front().rows, out);
  if (!out.flush()) throw std::runtime_error("failed to write to standard output");
}

}  // namespace kavrel::shard
