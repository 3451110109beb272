/* The C interface of the NPU runtime `librknnrt.so`, 64-bit ABI, as far as kavrel calls it.
 *
 * Order of calls: rknn_init, any rknn_query, then per inference rknn_inputs_set, rknn_run,
 * rknn_outputs_get and rknn_outputs_release; rknn_destroy ends the context. Every function
 * returns 0 (RKNN_SUCC) or one of the negative codes below.
 *
 * Enumerations are fixed 32-bit integers with named constants, so that a value this header does
 * not know can be carried and printed without undefined behaviour. Valid C and C++. */
#ifndef KAVREL_NPU_RKNN_API_H
#define KAVREL_NPU_RKNN_API_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { RKNN_MAX_DIMS = 16, RKNN_MAX_NAME_LEN = 256 };

enum {
  RKNN_SUCC = 0,
  RKNN_ERR_FAIL = -1,
  RKNN_ERR_TIMEOUT = -2,
  RKNN_ERR_DEVICE_UNAVAILABLE = -3,
  RKNN_ERR_MALLOC_FAIL = -4,
  RKNN_ERR_PARAM_INVALID = -5,
  RKNN_ERR_MODEL_INVALID = -6,
  RKNN_ERR_CTX_INVALID = -7,
  RKNN_ERR_INPUT_INVALID = -8,
  RKNN_ERR_OUTPUT_INVALID = -9
};

typedef uint64_t rknn_context; /* 0 is never a live context */

typedef int32_t rknn_query_cmd;
enum { RKNN_QUERY_IN_OUT_NUM = 0, RKNN_QUERY_INPUT_ATTR = 1, RKNN_QUERY_OUTPUT_ATTR = 2 };

typedef int32_t rknn_tensor_type;
enum {
  RKNN_TENSOR_FLOAT32 = 0,
  RKNN_TENSOR_FLOAT16 = 1,
  RKNN_TENSOR_INT8 = 2,
  RKNN_TENSOR_UINT8 = 3,
  RKNN_TENSOR_INT16 = 4,
  RKNN_TENSOR_UINT16 = 5,
  RKNN_TENSOR_INT32 = 6
};

typedef int32_t rknn_tensor_format;
enum {
  RKNN_TENSOR_NCHW = 0,
  RKNN_TENSOR_NHWC = 1,
  RKNN_TENSOR_NC1HWC2 = 2,
  RKNN_TENSOR_UNDEFINED = 3
};

typedef int32_t rknn_tensor_qnt_type;
enum { RKNN_TENSOR_QNT_NONE = 0, RKNN_TENSOR_QNT_AFFINE_ASYMMETRIC = 2 };

/* Answer to RKNN_QUERY_IN_OUT_NUM. */
typedef struct rknn_input_output_num {
  uint32_t n_input;
  uint32_t n_output;
} rknn_input_output_num;

/* Answer to RKNN_QUERY_INPUT_ATTR and RKNN_QUERY_OUTPUT_ATTR; the caller sets `index`. */
typedef struct _rknn_tensor_attr {
  uint32_t index;
  uint32_t n_dims; /* valid entries of dims */
  uint32_t dims[RKNN_MAX_DIMS];
  char name[RKNN_MAX_NAME_LEN];
  uint32_t n_elems; /* may be 0: then the product of the dims counts */
  uint32_t size;    /* bytes in the tensor's own type */
  rknn_tensor_format fmt;
  rknn_tensor_type type;
  rknn_tensor_qnt_type qnt_type;
  int8_t fl;
  int32_t zp;
  float scale;
  uint32_t w_stride;
  uint32_t size_with_stride;
  uint8_t pass_through;
  uint32_t h_stride;
} rknn_tensor_attr;

/* One input of rknn_inputs_set. `buf` is read before the call returns. */
typedef struct rknn_input {
  uint32_t index;
  void* buf;
  uint32_t size; /* bytes at buf */
  uint8_t pass_through;
  rknn_tensor_type type;
  rknn_tensor_format fmt;
} rknn_input;

/* One output of rknn_outputs_get. Without is_prealloc the runtime owns buf until
 * rknn_outputs_release. */
typedef struct _rknn_output {
  uint8_t want_float;
  uint8_t is_prealloc;
  uint32_t index;
  void* buf;
  uint32_t size; /* bytes at buf */
} rknn_output;

/* Extension records: only ever passed as null. */
typedef struct rknn_init_extend rknn_init_extend;
typedef struct rknn_run_extend rknn_run_extend;
typedef struct rknn_output_extend rknn_output_extend;

int rknn_init(rknn_context* context, void* model, uint32_t size, uint32_t flag,
              rknn_init_extend* extend);
int rknn_query(rknn_context context, rknn_query_cmd cmd, void* info, uint32_t size);
int rknn_inputs_set(rknn_context context, uint32_t n_inputs, rknn_input inputs[]);
int rknn_run(rknn_context context, rknn_run_extend* extend);
int rknn_outputs_get(rknn_context context, uint32_t n_outputs, rknn_output outputs[],
                     rknn_output_extend* extend);
int rknn_outputs_release(rknn_context context, uint32_t n_outputs, rknn_output outputs[]);
int rknn_destroy(rknn_context context);

#ifdef __cplusplus
} /* extern "C" */

static_assert(sizeof(rknn_input_output_num) == 8, "ABI of librknnrt");
static_assert(sizeof(rknn_tensor_attr) == 376, "ABI of librknnrt");
static_assert(offsetof(rknn_tensor_attr, n_elems) == 328, "ABI of librknnrt");
static_assert(offsetof(rknn_tensor_attr, fmt) == 336, "ABI of librknnrt");
static_assert(sizeof(rknn_input) == 32, "ABI of librknnrt");
static_assert(sizeof(rknn_output) == 24, "ABI of librknnrt");
static_assert(offsetof(rknn_output, buf) == 8, "ABI of librknnrt");
#endif

#endif
