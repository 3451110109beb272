// The workstation runtime on any model file: a code and no context, or a network that describes
// itself in the interface's terms.
#include <array>

#include "fuzz/fuzz_support.h"

using kavrel_fuzz::require;

namespace {

// By the number of the type.
constexpr std::array<std::uint32_t, 7> kBytesOfType{4, 2, 1, 1, 2, 2, 4};

bool is_image(const rknn_tensor_attr& attr) {
  return (attr.fmt == RKNN_TENSOR_NCHW || attr.fmt == RKNN_TENSOR_NHWC) &&
         (attr.type == RKNN_TENSOR_UINT8 || attr.type == RKNN_TENSOR_FLOAT16 ||
          attr.type == RKNN_TENSOR_FLOAT32);
}

void check_tensor(rknn_context network, rknn_query_cmd command, std::uint32_t index) {
  rknn_tensor_attr attr{};
  attr.index = index;
  require(rknn_query(network, command, &attr, sizeof attr) == RKNN_SUCC, "a tensor has a record");
  require(attr.index == index && attr.n_dims <= RKNN_MAX_DIMS, "a record is of its tensor");
  std::uint64_t elements = 1;
  for (std::uint32_t i = 0; i < attr.n_dims; ++i) elements *= attr.dims[i];
  require(elements == attr.n_elems && elements > 0, "the dims make the number of elements");
  require(attr.size == elements * kBytesOfType.at(static_cast<std::size_t>(attr.type)),
          "the size is that of the elements");
  require(attr.name[RKNN_MAX_NAME_LEN - 1] == '\0', "a name ends");
  require(command == RKNN_QUERY_OUTPUT_ATTR || is_image(attr), "an input is an image");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::vector<std::uint8_t> model(bytes, bytes + size);
  rknn_context network = 1;
  const int code = rknn_init(&network, model.data(), static_cast<std::uint32_t>(size), 0, nullptr);
  require((code == RKNN_SUCC) == (network != 0), "a refused model gives no context");
  if (code != RKNN_SUCC) return 0;

  rknn_input_output_num counts{};
  require(rknn_query(network, RKNN_QUERY_IN_OUT_NUM, &counts, sizeof counts) == RKNN_SUCC &&
              counts.n_input > 0 && counts.n_output > 0,
          "a network has inputs and outputs");
  for (std::uint32_t i = 0; i < counts.n_input; ++i)
    check_tensor(network, RKNN_QUERY_INPUT_ATTR, i);
  for (std::uint32_t i = 0; i < counts.n_output; ++i)
    check_tensor(network, RKNN_QUERY_OUTPUT_ATTR, i);
  require(rknn_destroy(network) == RKNN_SUCC, "a context is destroyed once");
  require(rknn_destroy(network) == RKNN_ERR_CTX_INVALID, "a context is destroyed once");
  return 0;
}
