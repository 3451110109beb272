// Preloaded into a program it measures the program from inside: the time spent in the NPU runtime
// and in writing pictures, CPU time, memory. When the program ends it writes lines "key value" to
// the file that KAVREL_METER names.

#include <dlfcn.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <string>
#include <utility>
#include <vector>

#include "npu/rknn_api.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Times {
  Clock::time_point loaded = Clock::now();  // when the last network was ready
  Clock::time_point finished = loaded;      // when the first network is destroyed
  Clock::duration runtime{};                // inside the NPU runtime, after loading
  Clock::duration pictures{};               // inside cv::imwrite
  long runs = 0;
  bool is_over = false;
};

Times& times() {
  static Times all;
  return all;
}

// Adds its own lifetime to `total`.
class Lap {
 public:
  explicit Lap(Clock::duration& total) : total_(total) {}
  ~Lap() { total_ += Clock::now() - start_; }
  Lap(const Lap&) = delete;
  Lap& operator=(const Lap&) = delete;

 private:
  Clock::duration& total_;
  Clock::time_point start_ = Clock::now();
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

double seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

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
        {"runs", times().runs},
        {"runtime_s", seconds(times().runtime)},
        {"pictures_s", seconds(times().pictures)},
        {"cases_s", seconds(times().finished - times().loaded)}};
    std::ofstream file(path);
    for (const auto& [key, value] : figures) file << key << ' ' << value << '\n';
  }
} report;

}  // namespace

namespace cv {

bool imwrite(const String& filename, InputArray img, const std::vector<int>& params) {
  static auto* const original = next(&cv::imwrite);
  const Lap lap(times().pictures);
  return original(filename, img, params);
}

}  // namespace cv

int rknn_query(rknn_context context, rknn_query_cmd cmd, void* info, uint32_t size) {
  static auto* const original = next(&rknn_query);
  const int code = original(context, cmd, info, size);
  times().loaded = Clock::now();
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
  ++times().runs;
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
  if (!times().is_over) times().finished = Clock::now();
  times().is_over = true;
  return original(context);
}
