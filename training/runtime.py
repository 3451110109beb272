"""Networks in Python on the library that kavrel runs them on: build/host_runtime/librknnrt.so.

A network answers what it answers in kavrel, for pictures prepared as kavrel does it.
"""
import sys

import cv2
import numpy as np

import common

sys.path.insert(0, str(common.ROOT / "tools"))
from host_network import HostNetwork, LIBRARY                          # noqa: E402


class Network(HostNetwork):
    """One ONNX file; its first output for a picture."""

    def __init__(self, path, library=LIBRARY):
        super().__init__(path.read_bytes(), library)

    def __call__(self, picture):
        """First output, flat, for a BGR picture, which is stretched to the network's size."""
        picture = cv2.resize(picture, self.size)
        return self.run(cv2.cvtColor(picture, cv2.COLOR_BGR2RGB))[0].ravel()


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
