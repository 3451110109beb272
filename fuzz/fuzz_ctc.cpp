// Both CTC decoders on any tensor record and any scores.
#include <algorithm>
#include <cmath>

#include "fuzz/fuzz_support.h"
#include "kana/kana_alphabet.h"
#include "kana/kana_ctc.h"
#include "ocr/ctc.h"

using kavrel_fuzz::require;

namespace {

// Of one letter each, so that a text tells its entries, or plate kana.
std::vector<std::string> take_dict(FuzzedDataProvider& data) {
  std::vector<std::string> dict;
  for (int i = data.ConsumeIntegralInRange(0, 50); i > 0; --i) {
    const auto entry = data.ConsumeIntegralInRange<std::size_t>(0, kavrel::kana_list.size());
    dict.emplace_back(entry == 0 ? "x" : kavrel::kana_list[entry - 1]);
  }
  return dict;
}

struct Shape {
  std::int64_t steps, classes;
};

// As the record's last two dimensions, read as 32-bit integers.
Shape shape_of(const rknn_tensor_attr& attr) {
  const std::uint32_t n_dims = std::min<std::uint32_t>(attr.n_dims, RKNN_MAX_DIMS);
  if (n_dims < 2) return {0, 0};
  return {static_cast<std::int32_t>(attr.dims[n_dims - 2]),
          static_cast<std::int32_t>(attr.dims[n_dims - 1])};
}

// Each step twice, and then values beyond the shape.
std::string decode_slowly(const std::vector<float>& logits, rknn_tensor_attr attr,
                          const std::vector<std::string>& dict) {
  const auto [steps, classes] = shape_of(attr);
  std::vector<float> slow;
  for (std::int64_t step = 0; step < steps; ++step) {
    const auto row = logits.begin() + step * classes;
    for (int i = 0; i < 2; ++i) slow.insert(slow.end(), row, row + classes);
  }
  slow.push_back(1e30F);
  attr.dims[attr.n_dims - 2] *= 2;
  return kavrel::ctc_decode(slow, attr, dict);
}

void check_free(const std::string& text, const std::vector<float>& logits,
                const rknn_tensor_attr& attr, const std::vector<std::string>& dict) {
  const auto [steps, classes] = shape_of(attr);
  const auto count = static_cast<std::int64_t>(logits.size());
  const bool fits = steps > 0 && classes > 0 && steps * classes <= count;
  require(attr.n_dims < 2 || fits || text.empty(), "a shape that does not fit gives no text");
  require(!fits || attr.n_dims > RKNN_MAX_DIMS || decode_slowly(logits, attr, dict) == text,
          "repetitions of a character and values beyond the shape are dropped");
}

void check_kana(const std::string& kana, const std::vector<float>& logits,
                const rknn_tensor_attr& attr, const std::vector<std::string>& dict) {
  const auto [steps, classes] = shape_of(attr);
  const auto count = static_cast<std::int64_t>(logits.size());
  const bool fits = steps > 0 && classes > 0 && steps * classes <= count;
  const auto usable = std::min<std::int64_t>(static_cast<std::int64_t>(dict.size()),
                                             std::max<std::int64_t>(classes - 1, 0));
  const auto end = dict.begin() + usable;
  require(kana.empty() || (fits && kana != "x" && std::find(dict.begin(), end, kana) != end),
          "a kana has a class");
  const bool moderate = std::all_of(logits.begin(), logits.end(),
                                    [](float value) { return std::fabs(value) < 1e29F; });
  const bool has_kana = std::any_of(dict.begin(), end, kavrel::is_valid_plate_kana_string);
  require(!fits || !moderate || !has_kana || !kana.empty(), "moderate scores give a kana");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const std::vector<std::string> dict = take_dict(data);
  const rknn_tensor_attr attr = kavrel_fuzz::take_attr(data);
  const std::vector<float> logits = kavrel_fuzz::take_floats(data);
  check_free(kavrel::ctc_decode(logits, attr, dict), logits, attr, dict);
  check_kana(kavrel::ctc_decode_kana_constrained(logits, attr, dict), logits, attr, dict);
  return 0;
}
