/* Prints the runtime's records as this compiler lays them out: each record's size, then offset and
 * size of each field. layout.txt has what the 64-bit ABI of librknnrt.so prescribes. */
#include <stdio.h>

#include "npu/rknn_api.h"

#define RECORD(type) printf("%s %zu\n", #type, sizeof(type))
#define FIELD(type, field) \
  printf("  %s %zu %zu\n", #field, offsetof(type, field), sizeof(((type*)0)->field))

int main(void) {
  RECORD(rknn_context);
  RECORD(rknn_query_cmd);
  RECORD(rknn_tensor_type);
  RECORD(rknn_tensor_format);
  RECORD(rknn_tensor_qnt_type);

  RECORD(rknn_input_output_num);
  FIELD(rknn_input_output_num, n_input);
  FIELD(rknn_input_output_num, n_output);

  RECORD(rknn_tensor_attr);
  FIELD(rknn_tensor_attr, index);
  FIELD(rknn_tensor_attr, n_dims);
  FIELD(rknn_tensor_attr, dims);
  FIELD(rknn_tensor_attr, name);
  FIELD(rknn_tensor_attr, n_elems);
  FIELD(rknn_tensor_attr, size);
  FIELD(rknn_tensor_attr, fmt);
  FIELD(rknn_tensor_attr, type);
  FIELD(rknn_tensor_attr, qnt_type);
  FIELD(rknn_tensor_attr, fl);
  FIELD(rknn_tensor_attr, zp);
  FIELD(rknn_tensor_attr, scale);
  FIELD(rknn_tensor_attr, w_stride);
  FIELD(rknn_tensor_attr, size_with_stride);
  FIELD(rknn_tensor_attr, pass_through);
  FIELD(rknn_tensor_attr, h_stride);

  RECORD(rknn_input);
  FIELD(rknn_input, index);
  FIELD(rknn_input, buf);
  FIELD(rknn_input, size);
  FIELD(rknn_input, pass_through);
  FIELD(rknn_input, type);
  FIELD(rknn_input, fmt);

  RECORD(rknn_output);
  FIELD(rknn_output, want_float);
  FIELD(rknn_output, is_prealloc);
  FIELD(rknn_output, index);
  FIELD(rknn_output, buf);
  FIELD(rknn_output, size);
  return 0;
}
