#!/usr/bin/python3
"""The promises of tools/quantise.py.

    tests/quantise/quantise_test.py --library build/host_runtime/librknnrt.so \\
      --kavrel build/kavrel --report build/kavrel-report
"""
import argparse
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
from host_network import OUTPUT_ATTR, HostNetwork                      # noqa: E402
from quantise import least_divergence                                  # noqa: E402

WIDTH, HEIGHT = 4, 2
FLOAT16_TYPE, INT8_TYPE = 1, 2             # as the runtime numbers them
args = None


def network(nodes, constants, outputs=("out",), channels=3, shape=None, opset=11, version=7):
    """The bytes of a network over pictures of 4 x 2."""
    image = helper.make_tensor_value_info("image", TensorProto.FLOAT,
                                          shape or (1, 3, HEIGHT, WIDTH))
    graph = helper.make_graph(
        nodes, "small", [image],
        [helper.make_tensor_value_info(name, TensorProto.FLOAT, (1, channels, HEIGHT, WIDTH))
         for name in outputs],
        [numpy_helper.from_array(np.float32(value), name) for name, value in constants.items()])
    return helper.make_model(graph, opset_imports=[helper.make_opsetid("", opset)],
                             ir_version=version).SerializeToString()


def scaling(*factors):
    """A 1 x 1 convolution with a channel of the picture for each factor."""
    weights = np.zeros((len(factors), 3, 1, 1))
    for channel, factor in enumerate(factors):
        weights[channel, channel] = factor
    return weights


def conv(factors=(1, 1, 1), bias=None):
    inputs = ["image", "weights"] + (["bias"] if bias is not None else [])
    constants = {"weights": scaling(*factors)} | ({"bias": bias} if bias is not None else {})
    return network([helper.make_node("Conv", inputs, ["out"], name="only")], constants,
                   channels=len(factors))


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.pictures = self.folder / "pictures"
        self.pictures.mkdir()

    def add_picture(self, pixels, name="0.ppm"):
        height, width = pixels.shape[:2]
        (self.pictures / name).write_bytes(
            b"P6\n%d %d\n255\n" % (width, height) + np.uint8(pixels).tobytes())

    def picture(self, value=255):
        pixels = np.zeros((HEIGHT, WIDTH, 3), np.uint8)
        pixels[0, 0] = value
        return pixels

    def call(self, data, *options):
        given, self.written = self.folder / "net.onnx", self.folder / "out.onnx"
        given.write_bytes(data)
        return subprocess.run(
            [ROOT / "tools/quantise.py", given, "--pictures", self.pictures, "-o", self.written,
             "--library", args.library, *options], capture_output=True, text=True, check=False)

    def quantised(self, data, *options):
        """What the runtime makes of the result."""
        done = self.call(data, *options)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return HostNetwork(self.written.read_bytes(), args.library)


class Arithmetic(Case):
    def test_int8_values_are_steps_of_their_range(self):
        self.add_picture(self.picture())
        given = self.quantised(conv((0.01, 0.01, 0.01)), "--precision", "int8")
        answer = given.run(self.picture(100))[0]
        # 0 to 2.55 in 255 steps: 100 x 0.01 is one of them.
        self.assertAlmostEqual(answer[0, 0, 0, 0], 1.0, places=5)
        self.assertEqual(given.attr(OUTPUT_ATTR, 0).type, INT8_TYPE)

    def test_int8_values_beyond_the_range_are_cut(self):
        self.add_picture(self.picture(51))
        given = self.quantised(conv(), "--precision", "int8")
        # Ranges come from the pictures: 51 was the greatest.
        self.assertAlmostEqual(given.run(self.picture(255))[0][0, 0, 0, 0], 51, places=4)

    def test_ranges_come_from_all_folders(self):
        self.add_picture(self.picture(51))
        first, self.pictures = self.pictures, self.folder / "more"
        self.pictures.mkdir()
        self.add_picture(self.picture(102))
        given = self.quantised(conv(), "--precision", "int8", "--pictures", first, self.pictures)
        self.assertAlmostEqual(given.run(self.picture(255))[0][0, 0, 0, 0], 102, places=4)

    def test_a_small_channel_has_a_scale_of_its_own(self):
        data = network([helper.make_node("Conv", ["image", "weights"], ["wide"]),
                        helper.make_node("Mul", ["wide", "gain"], ["out"])],
                       {"weights": scaling(1, 1 / 4096, 0), "gain": np.float32(1)})
        self.add_picture(self.picture())
        steps = onnx.load_from_string(
            self.quantised(data, "--precision", "int8") and self.written.read_bytes())
        weights = next(numpy_helper.to_array(value) for value in steps.graph.initializer
                       if value.name == "wide/weights")
        self.assertEqual(weights[:2].max(axis=(1, 2, 3)).tolist(), [127, 127])
        self.assertEqual(weights.dtype, np.int8)

    def test_zero_stays_zero(self):
        self.add_picture(self.picture())
        given = self.quantised(conv((1, -0.37, 0.11), bias=(0, 0, 0)), "--precision", "int8")
        self.assertEqual(np.abs(given.run(self.picture(0))[0]).max(), 0)

    def test_float16_rounds_between_layers(self):
        # Above 2048 every second whole number is missing.
        data = network([helper.make_node("Add", ["image", "far"], ["moved"]),
                        helper.make_node("Sub", ["moved", "far"], ["out"])],
                       {"far": np.float32(2048)})
        self.add_picture(self.picture())
        given = self.quantised(data, "--precision", "float16")
        self.assertEqual(given.run(self.picture(101))[0][0, 0, 0, 0], 100)
        self.assertEqual(given.attr(OUTPUT_ATTR, 0).type, FLOAT16_TYPE)

    def test_an_activation_is_applied_before_the_sum_is_stored(self):
        data = network([helper.make_node("Conv", ["image", "weights"], ["sum"]),
                        helper.make_node("Relu", ["sum"], ["out"])],
                       {"weights": scaling(-1, -1, 0.01)})
        self.add_picture(self.picture())
        answer = self.quantised(data, "--precision", "int8").run(self.picture(100))[0]
        # The range is 0 to 2.55, not -255 to 2.55.
        self.assertAlmostEqual(answer[0, 2, 0, 0], 1.0, places=5)
        self.assertEqual(answer[0, 0, 0, 0], 0)

    def test_constants_of_every_kind_are_taken(self):
        half = helper.make_node("Constant", [], ["half"], value_float=0.5)
        shape = helper.make_node("Constant", [], ["shape"], value_ints=[1, 3, HEIGHT, WIDTH])
        alias = helper.make_node("Identity", ["weights"], ["same"])
        data = network([half, shape, alias, helper.make_node("Conv", ["image", "same"], ["sum"]),
                        helper.make_node("Reshape", ["sum", "shape"], ["again"]),
                        helper.make_node("Mul", ["again", "half"], ["out"])],
                       {"weights": scaling(1, 1, 1)}, opset=13)
        self.add_picture(self.picture())
        answer = self.quantised(data, "--precision", "int8").run(self.picture(100))[0]
        self.assertAlmostEqual(answer[0, 0, 0, 0], 50, delta=0.5)
        weights = [value for value in onnx.load(str(self.written)).graph.initializer
                   if len(value.dims) == 4]
        self.assertEqual([value.data_type for value in weights], [TensorProto.INT8])

    def test_percentiles_leave_out_the_few(self):
        pixels = np.full((HEIGHT, WIDTH, 3), 10, np.uint8)
        for number in range(99):
            self.add_picture(pixels, f"{number}.ppm")
        pixels[0, 0, 0] = 200
        self.add_picture(pixels, "99.ppm")
        given = self.quantised(conv(), "--precision", "int8", "--ranges", "percentile")
        self.assertLess(given.run(self.picture(200))[0].max(), 180)
        given = self.quantised(conv(), "--precision", "int8")
        self.assertAlmostEqual(given.run(self.picture(200))[0].max(), 200, delta=1)

    def test_ranges_of_least_divergence_are_stored(self):
        rng = np.random.default_rng(1)
        for number in range(50):
            self.add_picture(rng.integers(0, 256, (HEIGHT, WIDTH, 3)), f"{number}.ppm")
        given = self.quantised(conv(), "--precision", "int8", "--ranges", "kl")
        self.assertAlmostEqual(given.run(self.picture(255))[0].max(), 255, delta=2)


class LeastDivergence(unittest.TestCase):
    def test_the_far_and_few_are_left_out(self):
        values = np.append(np.random.default_rng(1).normal(0, 1, 100000), np.full(10, 50))
        low, high = least_divergence(values)
        self.assertTrue(-6 < low < -2.5 and 2.5 < high < 6, (low, high))

    def test_what_is_spread_evenly_is_kept(self):
        low, high = least_divergence(np.random.default_rng(1).uniform(-1, 1, 100000))
        self.assertAlmostEqual(low, -1, delta=0.02)
        self.assertAlmostEqual(high, 1, delta=0.02)

    def test_values_on_one_side_of_0_have_a_range_on_one_side(self):
        low, high = least_divergence(np.random.default_rng(1).exponential(1, 100000))
        self.assertAlmostEqual(low, 0, delta=0.01)
        self.assertTrue(4 < high < 13, high)


class Mixed(Case):
    def two_layers(self):
        """The second layer gives small and large values, which 8 bits cannot hold together."""
        return network([helper.make_node("Conv", ["image", "first"], ["middle"], name="even"),
                        helper.make_node("Conv", ["middle", "second"], ["apart"], name="uneven"),
                        helper.make_node("Mul", ["apart", "gain"], ["out"])],
                       {"first": scaling(1, 1, 1), "second": scaling(100, 0.01, 0.01),
                        "gain": np.float32((0.01, 100, 100)).reshape(1, 3, 1, 1)})

    def test_the_named_layers_are_in_16_bits(self):
        self.add_picture(self.picture())
        given = self.quantised(self.two_layers(), "--precision", "mixed", "--keep", "uneven")
        self.assertEqual(given.attr(OUTPUT_ATTR, 0).type, FLOAT16_TYPE)
        self.assertAlmostEqual(given.run(self.picture(100))[0][0, 1, 0, 0], 100, delta=0.2)

    def test_the_most_harmful_layer_is_found(self):
        rng = np.random.default_rng(1)
        for number in range(4):
            self.add_picture(rng.integers(0, 256, (HEIGHT, WIDTH, 3)), f"{number}.ppm")
        done = self.call(self.two_layers(), "--precision", "mixed")
        self.assertIn("in 16 bits: uneven\n", done.stdout)
        self.assertNotIn("in 16 bits: even\n", done.stdout)


class BadInput(Case):
    def refuse(self, data, text, *options):
        done = self.call(data, *(options or ("--precision", "int8")))
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        self.assertIn(text, done.stderr)
        self.assertFalse(self.written.exists())

    def test_no_pictures(self):
        self.refuse(conv(), "has no pictures of this network; KAVREL_HOST_INPUTS=")

    def test_pictures_of_another_size(self):
        self.add_picture(np.zeros((3, 5, 3)))
        self.refuse(conv(), "0.ppm is no PPM picture of 4 x 2, which the network takes")

    def test_a_file_that_is_no_picture(self):
        (self.pictures / "0.ppm").write_bytes(b"hello")
        self.refuse(conv(), "0.ppm is no PPM picture of 4 x 2")

    def test_no_onnx_file(self):
        self.add_picture(self.picture())
        self.refuse(b"RKNN and more", "this is no valid ONNX file")

    def test_a_text_that_begins_like_an_onnx_file(self):
        self.add_picture(self.picture())
        self.refuse(b"4 plates\n", "this is no valid ONNX file")

    def test_an_unsupported_operator(self):
        self.add_picture(self.picture())
        self.refuse(network([helper.make_node("Selu", ["image"], ["out"], name="odd")], {}),
                    "the operator Selu ('odd') is not supported; supported are Add,")

    def test_an_operator_that_is_not_of_onnx(self):
        self.add_picture(self.picture())
        self.refuse(network([helper.make_node("Odd", ["image"], ["out"], domain="com.maker")], {}),
                    "the operator com.maker.Odd is not supported")

    def test_a_file_from_a_newer_exporter(self):
        self.add_picture(self.picture())
        self.refuse(network([helper.make_node("Relu", ["image"], ["out"])], {}, opset=99, version=99),
                    f"it is newer than python3-onnx {onnx.__version__}; export it with opset ")

    def test_an_unsound_network(self):
        self.add_picture(self.picture())
        self.refuse(network([helper.make_node("Relu", ["nothing"], ["out"])], {}),
                    "this is no valid ONNX file: Nodes in a graph must be topologically sorted")

    def test_weights_that_are_computed(self):
        self.add_picture(self.picture())
        self.refuse(network([helper.make_node("Neg", ["weights"], ["turned"]),
                             helper.make_node("Conv", ["image", "turned"], ["out"], name="late")],
                            {"weights": scaling(1, 1, 1)}),
                    "the weights of 'late' are computed at every run")

    def test_a_shape_that_contradicts_the_layers(self):
        self.add_picture(self.picture())
        self.refuse(network([helper.make_node("Relu", ["image"], ["out"])], {}, channels=5),
                    "it cannot be brought to opset 13, export it so: ")

    def test_a_dynamic_shape(self):
        self.add_picture(self.picture())
        self.refuse(network([helper.make_node("Relu", ["image"], ["out"])], {},
                            shape=("N", 3, HEIGHT, WIDTH)), "'image' has a dynamic shape")

    def test_a_network_that_takes_no_image(self):
        self.add_picture(self.picture())
        self.refuse(network([helper.make_node("Relu", ["image"], ["out"])], {}, shape=(1, 24)),
                    "the network must take one image")

    def test_an_unknown_layer(self):
        self.add_picture(self.picture())
        self.refuse(conv(), "there is no layer 'first' with weights; there are only",
                    "--precision", "mixed", "--keep", "first")

    def test_a_folder_that_is_not_there(self):
        self.add_picture(self.picture())
        self.refuse(conv(), "there is no folder /no/such to write into",
                    "--precision", "int8", "-o", "/no/such/out.onnx")

    def test_a_folder_in_the_place_of_the_result(self):
        self.add_picture(self.picture())
        self.refuse(conv(), f"{self.pictures} cannot be written",
                    "--precision", "int8", "-o", self.pictures)

    def test_the_network_in_the_place_of_the_result(self):
        self.add_picture(self.picture())
        self.refuse(conv(), "the result would replace the network",
                    "--precision", "int8", "-o", self.folder / "net.onnx")
        self.assertEqual((self.folder / "net.onnx").read_bytes(), conv())

    def test_layers_to_keep_where_none_is_kept(self):
        done = self.call(conv(), "--precision", "int8", "--keep", "only")
        self.assertEqual(done.returncode, 2)
        self.assertIn("--keep names the layers that --precision mixed keeps", done.stderr)

    def test_a_runtime_that_is_not_there(self):
        self.add_picture(self.picture())
        self.refuse(conv(), "/no/librknnrt.so: cannot open shared object file",
                    "--precision", "int8", "--library", "/no/librknnrt.so")

    def test_no_pictures_wanted(self):
        done = self.call(conv(), "--precision", "int8", "--count", "0")
        self.assertEqual(done.returncode, 2)
        self.assertIn("argument --count: '0' is not 1 or more", done.stderr)

    def test_a_network_that_is_not_there(self):
        done = subprocess.run([ROOT / "tools/quantise.py", "/no/net.onnx", "--precision", "int8",
                               "--pictures", self.pictures, "-o", self.folder / "out.onnx"],
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr.count("\n"), 1)
        self.assertIn("No such file", done.stderr)


def exchange_one_and_seven(path):
    """Makes the recogniser say 7 where it read 1; class k is line k of its dictionary."""
    characters = (ROOT / "dict/plate_rec_dict.txt").read_text("utf-8").splitlines()
    one, seven = characters.index("1") + 1, characters.index("7") + 1
    model = onnx.load(path)
    for value in model.graph.initializer:
        if value.dims[:1] == [len(characters) + 1]:
            rows = numpy_helper.to_array(value).copy()
            rows[[one, seven]] = rows[[seven, one]]
            value.CopyFrom(numpy_helper.from_array(rows, value.name))
    onnx.save(model, path)


class RealNetworks(Case):
    """kavrel with our networks, and what kavrel-report says of it."""

    FLOAT = {name: ROOT / f"models/reference/plate_{name}.onnx" for name in ("corner", "text", "rec")}

    def setUp(self):
        super().setUp()
        rows = (ROOT / "samples/rendered/rendered_expected.csv").read_text("utf-8").splitlines()
        self.case_list = self.folder / "list.csv"
        self.case_list.write_text("\n".join(rows[:4]) + "\n", "utf-8")

    def read(self, name, models, environment=None):
        """Runs kavrel; returns what it logs."""
        done = subprocess.run(
            [args.kavrel, "--plate-corner-model", models["corner"], "--ppocr-det-model",
             models["text"], "--ppocr-rec-model", models["rec"], "--ocr-dict",
             "dict/plate_rec_dict.txt", "--input-list", self.case_list, "--output-dir",
             self.folder / name],
            cwd=ROOT, capture_output=True, text=True, check=True,
            env={**os.environ, **(environment or {})})
        return done.stderr

    def in_8_bits(self, name):
        self.quantised(self.FLOAT[name].read_bytes(), "--precision", "int8", "--count", "30")
        return self.written.rename(self.folder / f"{name}.onnx")

    def compare(self):
        done = subprocess.run([args.report, "compare", self.folder / "float", self.folder / "int8"],
                              capture_output=True, text=True, check=False)
        return done.stdout.splitlines()


class OnItsOwnPictures(RealNetworks):
    def test_kavrel_reads_with_8_bits_and_shows_them(self):
        self.read("float", self.FLOAT, {"KAVREL_HOST_INPUTS": str(self.pictures)})
        log = self.read("int8", {**self.FLOAT, "rec": self.in_8_bits("rec")})
        self.assertIn("input[0] name=image dims=[1,3,48,320] type=2 fmt=0", log)
        self.assertRegex(log, r"output\[0\] name=scores dims=\[1,40,\d+\] elems=\d+ type=2 fmt=3")
        self.assertIn("frame_correct\": 3", (self.folder / "int8/FINAL_RESULT.json").read_text())

    def test_compare_leads_with_what_is_read_otherwise(self):
        if not args.report:
            self.skipTest("kavrel-report is not built")
        self.read("float", self.FLOAT, {"KAVREL_HOST_INPUTS": str(self.pictures)})
        spoiled = self.in_8_bits("rec")
        exchange_one_and_seven(spoiled)
        self.read("int8", {**self.FLOAT, "rec": spoiled})
        lines = self.compare()
        self.assertEqual(lines[0], "Read otherwise: 1 of 1 plates, 3 of 3 frames; fields that changed "
                         "in frames: Serial 3.")
        self.assertRegex(lines[1], r"^Most often: Serial 1 became 7 3")


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    for option in ("--library", "--kavrel", "--report"):
        parser.add_argument(option)
    args, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest], verbosity=1)
