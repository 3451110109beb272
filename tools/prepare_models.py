#!/usr/bin/python3
"""Makes the networks of the host runtime out of the fetched PP-OCR models.

A network compiled for the NPU has one fixed input shape, takes plain 0..255
pixels and has its mean and scale built in. The public models are dynamic and
expect normalised pixels, so they are brought to the same terms here; the
programs then feed both kinds alike. The interpreter is Debian's because the
onnx module comes from there (python3-onnx).
"""

import argparse
import os
import string
import sys
from pathlib import Path

try:
    import numpy as np
    import onnx
    from google.protobuf.message import DecodeError
    from onnx import helper, numpy_helper
except ImportError as error:
    sys.exit(f"prepare_models.py: {error}; install python3-onnx and run with /usr/bin/python3")

ROOT = Path(__file__).resolve().parent.parent

DETECTOR_SOURCE = "ch_PP-OCRv4_det_infer.onnx"
RECOGNISER_SOURCE = "japan_PP-OCRv3_rec_infer.onnx"
DICTIONARY_SOURCE = "japan_dict.txt"

DETECTOR = "ppocr_det.onnx"
RECOGNISER = "ppocr_rec.onnx"
DICTIONARY = "ppocr_rec_dict.txt"

DETECTOR_INPUT = [1, 3, 640, 640]
DETECTOR_MEAN = [123.675, 116.28, 103.53]
DETECTOR_STD = [58.395, 57.12, 57.375]
RECOGNISER_INPUT = [1, 3, 48, 320]
RECOGNISER_MEAN = [127.5] * 3
RECOGNISER_STD = [127.5] * 3
# The recogniser gives one column of class scores per eight pixels of width.
RECOGNISER_STEPS = RECOGNISER_INPUT[3] // 8

PLATE_KANA = "あいうえおかきくけこさすせそたちつてとなにぬねのはひふほまみむめもやゆよらりるれろわ"
REQUIRED = PLATE_KANA + string.digits + "-"

ASCII_BLANKS = " \t\n\v\f\r"
# Stands for a class that is a blank; no plate shows it.
PLACEHOLDER = "␣"
# A plate has one kind of digits and one hyphen, while the recogniser picks among
# look-alikes by context that a plate does not have.
HYPHENS = "\u2010\u2011\u2012\u2013\u2014\u2015\u2212\u30fc\ufe58\ufe63\uff0d\uff70"
FULL_WIDTH_OFFSET = 0xFEE0
TO_ASCII = {ord(c): "-" for c in HYPHENS}
TO_ASCII.update({ord(c) + FULL_WIDTH_OFFSET: c for c in string.digits})


class PreparationError(Exception):
    """What keeps the networks from being made, in one line."""


def is_up_to_date(inputs, outputs):
    if not all(path.is_file() for path in outputs):
        return False
    newest_input = max(path.stat().st_mtime for path in inputs)
    return newest_input < min(path.stat().st_mtime for path in outputs)


def write_file(path, content):
    """Writes by renaming, so that an interrupted run leaves no half file."""
    temporary = path.with_name(f".{path.name}.{os.getpid()}")
    try:
        temporary.write_bytes(content)
        temporary.replace(path)
    finally:
        temporary.unlink(missing_ok=True)


def set_shape(value_info, shape):
    dimensions = value_info.type.tensor_type.shape.dim
    del dimensions[:]
    for size in shape:
        dimensions.add().dim_value = size


def shape_of(value_info):
    """The shape, with None for a dimension that has no fixed size."""
    dimensions = value_info.type.tensor_type.shape.dim
    return [d.dim_value if d.HasField("dim_value") else None for d in dimensions]


def add_normalisation(graph, mean, std):
    """Puts (pixel - mean) / std between the input and its first users."""
    pixels = graph.input[0].name
    normalised = f"{pixels}_normalised"
    for node in graph.node:
        for index, name in enumerate(node.input):
            if name == pixels:
                node.input[index] = normalised
    for suffix, values in (("mean", mean), ("scale", [1 / s for s in std])):
        array = np.array(values, np.float32).reshape(1, 3, 1, 1)
        graph.initializer.append(numpy_helper.from_array(array, f"{pixels}_{suffix}"))
    steps = [
        helper.make_node("Sub", [pixels, f"{pixels}_mean"], [f"{pixels}_centred"]),
        helper.make_node("Mul", [f"{pixels}_centred", f"{pixels}_scale"], [normalised]),
    ]
    for node in reversed(steps):
        graph.node.insert(0, node)


def check_output_shape(model, shape, name):
    """Raises when the graph cannot give that shape; unresolved sizes may be any."""
    inferred = onnx.shape_inference.infer_shapes(model, strict_mode=True, data_prop=True)
    found = shape_of(inferred.graph.output[0])
    agrees = len(found) == len(shape) and all(
        size in (None, wanted) for size, wanted in zip(found, shape))
    if not agrees:
        raise PreparationError(f"{name}: the output is {found}, not {shape}")


def load_model(path):
    try:
        model = onnx.load(str(path))
    except DecodeError as error:
        raise PreparationError(f"{path} is not an ONNX model: {error}") from error
    if not model.graph.input or not model.graph.output:
        raise PreparationError(f"{path} is not an ONNX model: it has no input or output")
    return model


def fix_model(path, input_shape, output_shape, mean, std):
    """Loads a dynamic model and returns it with fixed shapes and raw pixels."""
    model = load_model(path)
    graph = model.graph
    del graph.value_info[:]  # sizes of the dynamic model
    set_shape(graph.input[0], input_shape)
    add_normalisation(graph, mean, std)
    check_output_shape(model, output_shape, path.name)
    set_shape(graph.output[0], output_shape)
    onnx.checker.check_model(model)
    return model


def class_count(path):
    count = shape_of(load_model(path).graph.output[0])[-1]
    if count is None:
        raise PreparationError(f"{path.name}: the number of classes is not fixed")
    return count


def read_entries(path):
    """The dictionary's lines; a line ends only where a text editor ends it."""
    entries = path.read_bytes().decode("utf-8").split("\n")
    if entries[-1] == "":
        entries.pop()
    return [entry.removesuffix("\r") for entry in entries]


def plate_entry(entry):
    """The entry as the dictionary of a plate reader has it.

    Readers drop blank lines, which would move every later class by one.
    """
    return entry.translate(TO_ASCII).strip(ASCII_BLANKS) or PLACEHOLDER


def check_dictionary(entries, classes):
    """The classes are the CTC blank, the entries and the space readers add."""
    if classes != len(entries) + 2:
        raise PreparationError(
            f"{RECOGNISER} has {classes} classes, {DICTIONARY} needs {len(entries) + 2}")
    missing = "".join(c for c in REQUIRED if c not in set(entries))
    if missing:
        raise PreparationError(f"{DICTIONARY} lacks characters of a plate: {missing}")


def prepare(source, output):
    classes = class_count(source / RECOGNISER_SOURCE)
    entries = [plate_entry(e) for e in read_entries(source / DICTIONARY_SOURCE)]
    check_dictionary(entries, classes)
    detector = fix_model(source / DETECTOR_SOURCE, DETECTOR_INPUT,
                         [1, 1] + DETECTOR_INPUT[2:], DETECTOR_MEAN, DETECTOR_STD)
    recogniser = fix_model(source / RECOGNISER_SOURCE, RECOGNISER_INPUT,
                           [1, RECOGNISER_STEPS, classes], RECOGNISER_MEAN, RECOGNISER_STD)
    output.mkdir(parents=True, exist_ok=True)
    write_file(output / DETECTOR, detector.SerializeToString())
    write_file(output / RECOGNISER, recogniser.SerializeToString())
    write_file(output / DICTIONARY, "".join(f"{e}\n" for e in entries).encode("utf-8"))


def parse_arguments():
    parser = argparse.ArgumentParser(description="Prepare the host runtime's networks.")
    parser.add_argument("--source", type=Path, default=ROOT / "third_party/ppocr",
                        help="folder of the fetched models (default: third_party/ppocr)")
    parser.add_argument("--output", type=Path, default=ROOT / "models/host",
                        help="folder of the networks (default: models/host)")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    inputs = [arguments.source / name
              for name in (DETECTOR_SOURCE, RECOGNISER_SOURCE, DICTIONARY_SOURCE)]
    outputs = [arguments.output / name
               for name in (DETECTOR, RECOGNISER, DICTIONARY)]
    for path in inputs:
        if not path.is_file():
            raise PreparationError(f"{path} is missing; run tools/public_networks.sh")
    if is_up_to_date(inputs + [Path(__file__)], outputs):
        return
    print(f"prepare_models.py: writing {arguments.output}")
    prepare(arguments.source, arguments.output)


if __name__ == "__main__":
    try:
        main()
    except (PreparationError, OSError, UnicodeDecodeError) as error:
        sys.exit(f"prepare_models.py: {error}")
