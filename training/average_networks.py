#!/usr/bin/env python3
"""Writes the mean of two exported networks of one training: average_networks.py A.onnx B.onnx OUT.onnx

The mean of a network and of what it became by training on lies between their errors.
"""
import sys

import onnx
from onnx import numpy_helper


def mean_of(first, second):
    """`first` with the weights of both halfway; their graphs must be the same."""
    others = {value.name: numpy_helper.to_array(value) for value in second.graph.initializer}
    for value in first.graph.initializer:
        mine, other = numpy_helper.to_array(value), others.get(value.name)
        if other is None or other.shape != mine.shape:
            sys.exit(f"{value.name} is not the same in both networks")
        if mine.dtype.kind == "f":
            value.CopyFrom(numpy_helper.from_array((mine + other) / 2, value.name))
    return first


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__.splitlines()[0])
    first, second, out = sys.argv[1:]
    onnx.save(mean_of(onnx.load(first), onnx.load(second)), out)


if __name__ == "__main__":
    main()
