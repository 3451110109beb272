"""Networks in Python on the library that kavrel runs them on: build/host_runtime/librknnrt.so.

A network answers what it answers in kavrel, for pictures prepared as kavrel does it.
"""
import ctypes

import cv2
import numpy as np

import common

LIBRARY = common.ROOT / "build/host_runtime/librknnrt.so"
INPUT_ATTR, OUTPUT_ATTR = 1, 2         # queries
UINT8, NHWC = 3, 1


class TensorAttr(ctypes.Structure):
    _fields_ = [("index", ctypes.c_uint32), ("n_dims", ctypes.c_uint32),
                ("dims", ctypes.c_uint32 * 16), ("name", ctypes.c_char * 256),
                ("n_elems", ctypes.c_uint32), ("rest", ctypes.c_uint8 * 44)]


class Input(ctypes.Structure):
    _fields_ = [("index", ctypes.c_uint32), ("buf", ctypes.c_void_p), ("size", ctypes.c_uint32),
                ("pass_through", ctypes.c_uint8), ("type", ctypes.c_int32), ("fmt", ctypes.c_int32)]


class Output(ctypes.Structure):
    _fields_ = [("want_float", ctypes.c_uint8), ("is_prealloc", ctypes.c_uint8),
                ("index", ctypes.c_uint32), ("buf", ctypes.c_void_p), ("size", ctypes.c_uint32)]


class Network:
    """One ONNX file; its first output for a picture."""

    def __init__(self, path, library=LIBRARY):
        self.library = ctypes.CDLL(str(library))
        model = path.read_bytes()
        self.context = ctypes.c_uint64()
        self.check(self.library.rknn_init(ctypes.byref(self.context), model, len(model), 0, None))
        dims = self.attr(INPUT_ATTR).dims
        self.size = (dims[2], dims[1]) if dims[3] == 3 else (dims[3], dims[2])
        self.count = self.attr(OUTPUT_ATTR).n_elems

    @staticmethod
    def check(code):
        if code:
            raise RuntimeError(f"the runtime answers {code}")

    def attr(self, query):
        attr = TensorAttr()
        self.check(self.library.rknn_query(self.context, query, ctypes.byref(attr),
                                           ctypes.sizeof(attr)))
        return attr

    def __call__(self, picture):
        """First output for a BGR picture, which is stretched to the network's size."""
        picture = cv2.cvtColor(cv2.resize(picture, self.size), cv2.COLOR_BGR2RGB)
        given = Input(buf=picture.ctypes.data, size=picture.nbytes, type=UINT8, fmt=NHWC)
        answer = Output(want_float=1)
        self.check(self.library.rknn_inputs_set(self.context, 1, ctypes.byref(given)))
        self.check(self.library.rknn_run(self.context, None))
        self.check(self.library.rknn_outputs_get(self.context, 1, ctypes.byref(answer), None))
        floats = ctypes.cast(answer.buf, ctypes.POINTER(ctypes.c_float))
        values = np.ctypeslib.as_array(floats, (self.count,)).copy()
        self.library.rknn_outputs_release(self.context, 1, ctypes.byref(answer))
        return values


def boxes(detector, picture):
    """Score and box (left, top, right, bottom) in pixels of every row, best first."""
    rows = detector(picture).reshape(-1, 6)
    size = np.array(picture.shape[1::-1] * 2)
    low, high = np.floor(rows[:, 2:4] * size[:2]), np.ceil(rows[:, 4:] * size[:2])
    places = np.clip(np.concatenate((low, high), 1), 0, size - 1)
    keep = ((places[:, 2:] - places[:, :2]) >= 9).all(1)
    order = np.argsort(-rows[:, 1])
    return [(float(rows[row, 1]), places[row]) for row in order if keep[row]]


def corners(network, picture):
    """The four corners in the picture's pixels."""
    points = network(picture)[:8].reshape(4, 2)
    size = np.array(picture.shape[1::-1])
    return np.clip(points * size, 0, size - 1)
