// Preloaded into a program it measures the program from inside: the time spent in the NPU runtime
// and in writing pictures, CPU time of all and of one case, memory. When the program ends it writes
// lines "key value" to the file that KAVREL_METER names.

#include <dlfcn.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <opencv2/imgcodecs.hpp>
#include <string>
#include <utility>
#include <vector>

#include "npu/rknn_api.h"

namespace {

// Seconds since some point in time, on the wall and of all threads' CPU time.
struct Moment {
  double wall, cpu;
};

double read_clock(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

Moment now() { return {read_clock(CLOCK_MONOTONIC), read_clock(CLOCK_PROCESS_CPUTIME_ID)}; }

Moment since(const Moment& start) {
  const Moment end = now();
  return {end.wall - start.wall, end.cpu - start.cpu};
}

struct Times {
  Moment loaded = now();  // when the last network was ready
  Moment cases{};         // from then until the first network is destroyed
  Moment runtime{};       // of it inside the NPU runtime
  Moment pictures{};      // of it inside cv::imwrite
  long images = 0;        // read so far: each begins a case
  double case_start = 0;
  double least_case_cpu = std::numeric_limits<double>::max();
};

Times& times() {
  static Times all;
  return all;
}

// Adds its own lifetime to `total`.
class Lap {
 public:
  explicit Lap(Moment& total) : total_(total) {}
  ~Lap() {
    const Moment passed = since(start_);
    total_.wall += passed.wall;
    total_.cpu += passed.cpu;
  }
  Lap(const Lap&) = delete;
  Lap& operator=(const Lap&) = delete;

 private:
  Moment& total_;
  Moment start_ = now();
};

// The function that this library stands in front of, found by the name of its own one.
template <typename Function>
Function* next(Function* own) {
  Dl_info info{};
  dladdr(reinterpret_cast<void*>(own), &info);
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, info.dli_sname));
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

struct Report {
  // Programs that the measured one starts are not measured.
  Report() { unsetenv("LD_PRELOAD"); }

  ~Report() {
    const char* path = std::getenv("KAVREL_METER");
    if (path == nullptr) return;
    rusage self{};
    rusage children{};
    getrusage(RUSAGE_SELF, &self);
    getrusage(RUSAGE_CHILDREN, &children);
    const std::vector<std::pair<const char*, double>> figures = {
        {"cpu_s", seconds(self.ru_utime) + seconds(self.ru_stime)},
        {"shell_s", seconds(children.ru_utime) + seconds(children.ru_stime)},
        {"peak_kib", self.ru_maxrss},
        {"page_faults", self.ru_minflt},
        {"case_cpu_s", times().least_case_cpu},
        {"runtime_s", times().runtime.wall},
        {"runtime_cpu_s", times().runtime.cpu},
        {"pictures_s", times().pictures.wall},
        {"pictures_cpu_s", times().pictures.cpu},
        {"cases_s", times().cases.wall},
        {"cases_cpu_s", times().cases.cpu}};
    std::ofstream file(path);
    for (const auto& [key, value] : figures) file << key << ' ' << value << '\n';
  }
} report;

}  // namespace

namespace cv {

// The first case is left out: it makes OpenCV's tables.
Mat imread(const String& filename, int flags) {
  static auto* const original = next(&cv::imread);
  Times& all = times();
  const double start = now().cpu;
  if (++all.images > 2) all.least_case_cpu = std::min(all.least_case_cpu, start - all.case_start);
  all.case_start = start;
  return original(filename, flags);
}

bool imwrite(const String& filename, InputArray img, const std::vector<int>& params) {
  static auto* const original = next(&cv::imwrite);
  const Lap lap(times().pictures);
  return original(filename, img, params);
}

}  // namespace cv

int rknn_query(rknn_context context, rknn_query_cmd cmd, void* info, uint32_t size) {
  static auto* const original = next(&rknn_query);
  const int code = original(context, cmd, info, size);
  times().loaded = now();
  return code;
}

int rknn_inputs_set(rknn_context context, uint32_t n_inputs, rknn_input inputs[]) {
  static auto* const original = next(&rknn_inputs_set);
  const Lap lap(times().runtime);
  return original(context, n_inputs, inputs);
}

int rknn_run(rknn_context context, rknn_run_extend* extend) {
  static auto* const original = next(&rknn_run);
  const Lap lap(times().runtime);
  return original(context, extend);
}

int rknn_outputs_get(rknn_context context, uint32_t n_outputs, rknn_output outputs[],
                     rknn_output_extend* extend) {
  static auto* const original = next(&rknn_outputs_get);
  const Lap lap(times().runtime);
  return original(context, n_outputs, outputs, extend);
}

int rknn_outputs_release(rknn_context context, uint32_t n_outputs, rknn_output outputs[]) {
  static auto* const original = next(&rknn_outputs_release);
  const Lap lap(times().runtime);
  return original(context, n_outputs, outputs);
}

int rknn_destroy(rknn_context context) {
  static auto* const original = next(&rknn_destroy);
  if (times().cases.wall == 0) times().cases = since(times().loaded);
  return original(context);
}
