"""ONNX networks in Python on the library that kavrel runs them on: build/host_runtime/librknnrt.so."""
import ctypes
from pathlib import Path

import numpy as np

LIBRARY = Path(__file__).resolve().parents[1] / "build/host_runtime/librknnrt.so"
COUNTS, INPUT_ATTR, OUTPUT_ATTR = 0, 1, 2         # queries
UINT8, NHWC = 3, 1


class TensorAttr(ctypes.Structure):
    _fields_ = [("index", ctypes.c_uint32), ("n_dims", ctypes.c_uint32),
                ("dims", ctypes.c_uint32 * 16), ("name", ctypes.c_char * 256),
                ("n_elems", ctypes.c_uint32), ("size", ctypes.c_uint32), ("fmt", ctypes.c_int32),
                ("type", ctypes.c_int32), ("rest", ctypes.c_uint8 * 32)]

    def shape(self):
        return tuple(self.dims[:self.n_dims])


class Input(ctypes.Structure):
    _fields_ = [("index", ctypes.c_uint32), ("buf", ctypes.c_void_p), ("size", ctypes.c_uint32),
                ("pass_through", ctypes.c_uint8), ("type", ctypes.c_int32), ("fmt", ctypes.c_int32)]


class Output(ctypes.Structure):
    _fields_ = [("want_float", ctypes.c_uint8), ("is_prealloc", ctypes.c_uint8),
                ("index", ctypes.c_uint32), ("buf", ctypes.c_void_p), ("size", ctypes.c_uint32)]


class HostNetwork:
    """One network; the outputs are float arrays in their shapes, whatever it computes in.

    Raises RuntimeError; the library has said why on standard error.
    """

    def __init__(self, model, library=LIBRARY):
        self.context = ctypes.c_uint64()
        self.library = ctypes.CDLL(str(library))
        self.check(self.library.rknn_init(ctypes.byref(self.context), model, len(model), 0, None))
        counts = (ctypes.c_uint32 * 2)()
        self.query(COUNTS, counts)
        dims = self.attr(INPUT_ATTR, 0).shape()
        self.size = (dims[2], dims[1]) if dims[3] == 3 else (dims[3], dims[2])
        self.shapes = [self.attr(OUTPUT_ATTR, index).shape() for index in range(counts[1])]

    def __del__(self):
        if self.context:
            self.library.rknn_destroy(self.context)

    @staticmethod
    def check(code):
        if code:
            raise RuntimeError(f"the runtime answers {code}")

    def query(self, command, record):
        self.check(self.library.rknn_query(self.context, command, ctypes.byref(record),
                                           ctypes.sizeof(record)))

    def attr(self, command, index):
        attr = TensorAttr(index=index)
        self.query(command, attr)
        return attr

    def run(self, pixels):
        """All outputs for an RGB picture, height x width x 3 bytes, of the network's size."""
        pixels = np.ascontiguousarray(pixels)
        given = Input(buf=pixels.ctypes.data, size=pixels.nbytes, type=UINT8, fmt=NHWC)
        count = len(self.shapes)
        answers = (Output * count)(*(Output(want_float=1, index=index) for index in range(count)))
        self.check(self.library.rknn_inputs_set(self.context, 1, ctypes.byref(given)))
        self.check(self.library.rknn_run(self.context, None))
        self.check(self.library.rknn_outputs_get(self.context, count, answers, None))
        values = [floats(answer, shape) for answer, shape in zip(answers, self.shapes)]
        self.library.rknn_outputs_release(self.context, count, answers)
        return values


def floats(answer, shape):
    values = ctypes.cast(answer.buf, ctypes.POINTER(ctypes.c_float))
    return np.ctypeslib.as_array(values, (int(np.prod(shape)),)).reshape(shape).copy()
