#!/usr/bin/python3
"""Writes an ONNX network as an NPU would compute it, in 16-bit floats, 8-bit integers or both.

    KAVREL_HOST_INPUTS=output/inputs build/kavrel ... --ppocr-rec-model REC.onnx
    tools/quantise.py REC.onnx --precision int8 --pictures output/inputs -o REC_int8.onnx

The first line keeps what kavrel feeds each network, the second takes the network's own pictures
from there. The workstation's runtime runs the result in the place of the network.

float16: every value and weight is a 16-bit float.
int8:    weights have 8 bits, symmetric and with a scale for each channel, values 8 bits, asymmetric
         and with a scale for each tensor, from the range that it has over the pictures; sums have
         32 bits.
mixed:   as int8, but for the layers that harm the output most, which are as in float16: as many as
         it takes to bring the output's error down to a third of int8's or to 0.5 %, or those of
         --keep. A layer goes with all that follows it up to the next one that has weights.

Debian packages: python3-onnx python3-numpy
"""
import argparse
import functools
import os
import sys
from pathlib import Path

try:
    import numpy as np
    from host_network import LIBRARY, HostNetwork
    from quantised_graph import FLOAT16, INT8, Network, Unfit, Writer, weighted
except ImportError as error:
    sys.exit(f"quantise.py: {error}; install python3-onnx and run with /usr/bin/python3")

PIXELS = 0.0, 255.0
PERCENTILE = 99.99
SAMPLED = 5000                # values of each tensor and picture, for percentiles and KL
BINS, STEPS = 2048, 128       # of the sampled sizes, and of 8 bits on one side of 0 if both are used
COMPARED = 8                  # pictures on which the output's error is measured
RANKED = 2                    # pictures by which layers are ranked
WANTED_SHARE = 1 / 3          # of int8's error, for mixed
WANTED_ERROR = 0.005          # is good enough, too


# Pictures

def hash_of(data):
    """64-bit FNV-1a in hexadecimal digits: the network's folder among those of a recording."""
    value = 0xcbf29ce484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001b3 & 0xffffffffffffffff
    return f"{value:016x}"


def read_ppm(path):
    """The RGB picture, or None for a file of another kind."""
    parts = path.read_bytes().split(b"\n", 3)
    try:
        width, height = map(int, parts[1].split())
        pixels = np.frombuffer(parts[3], np.uint8)
        return pixels.reshape(height, width, 3) if parts[0] == b"P6" else None
    except (IndexError, ValueError):
        return None


def find_pictures(folders, data, count):
    """Paths of up to `count` pictures from all of the network's recordings, or of the folders."""
    own = hash_of(data)
    homes = [folder / own if (folder / own).is_dir() else folder for folder in folders]
    paths = [path for home in homes for path in
             sorted(home.glob("*.ppm"), key=lambda path: (len(path.name), path.name))]
    if not paths:
        raise Unfit(f"{folders[0]} has no pictures of this network; KAVREL_HOST_INPUTS={folders[0]} "
                    "in front of a run of kavrel with it keeps them there")
    return paths[::-(-len(paths) // count)]


def read_pictures(paths, size):
    for path in paths:
        picture = read_ppm(path)
        if picture is None or picture.shape[1::-1] != tuple(size):
            raise Unfit(f"{path} is no PPM picture of {size[0]} x {size[1]}, which the network takes")
        yield picture


# Ranges

class Ranges:
    """The least and the greatest of every value over the pictures."""

    def __init__(self):
        self.ends = {}

    def add(self, name, values):
        low, high = self.ends.get(name, (np.inf, -np.inf))
        self.ends[name] = min(low, float(values.min())), max(high, float(values.max()))

    def result(self):
        return self.ends


class Sampled:
    """Ranges by some of every value; `ends` tells the range from these."""

    def __init__(self, ends):
        self.ends, self.samples = ends, {}

    def add(self, name, values):
        flat = values.ravel()
        self.samples.setdefault(name, []).append(flat[::-(-flat.size // SAMPLED)])

    def result(self):
        return {name: self.ends(np.concatenate(parts)) for name, parts in self.samples.items()}


def percentiles(values):
    """The ends but for one in ten thousand on either side."""
    return tuple(np.percentile(values, (100 - PERCENTILE, PERCENTILE)))


def divergence(counts, kept, steps):
    """Kullback and Leibler's, of sizes in steps over the first `kept` bins from what they were."""
    wanted = counts[:kept].astype(float)
    wanted[-1] += counts[kept:].sum()
    step = np.arange(kept) * steps // kept
    filled = counts[:kept] > 0
    shared = np.bincount(step, counts[:kept]) / np.maximum(np.bincount(step, filled), 1)
    given = np.where(filled, shared[step], 0)
    lost = wanted[(given == 0) & (wanted > 0)].sum() / wanted.sum()
    both = (given > 0) & (wanted > 0)
    wanted, given = wanted / wanted.sum(), given / max(given.sum(), 1)
    return (wanted[both] * np.log(wanted[both] / given[both])).sum() + lost * np.log(BINS)


def least_divergence(values):
    """The range in which the values' sizes, cut off at its end, are spread most like before."""
    sizes = np.abs(values)
    if not sizes.any():
        return 0.0, 0.0
    counts, edges = np.histogram(sizes[sizes > 0], BINS, (0, sizes.max()))
    steps = STEPS if values.min() < 0 < values.max() else 2 * STEPS
    tried = range(steps, BINS + 1, STEPS // 8)
    limit = edges[min(tried, key=lambda kept: divergence(counts, kept, steps))]
    return max(float(values.min()), -limit), min(float(values.max()), limit)


RANGES = {"min-max": Ranges, "percentile": functools.partial(Sampled, percentiles),
          "kl": functools.partial(Sampled, least_divergence)}


def measure_ranges(network, paths, kind, library):
    model, names = network.with_values()
    runner, ranges = HostNetwork(model.SerializeToString(), library), RANGES[kind]()
    for picture in read_pictures(paths, runner.size):
        for name, values in zip(names, runner.run(picture)):
            ranges.add(name, values)
    for name, ends in ranges.result().items():
        if not np.isfinite(ends).all():
            raise Unfit(f"'{name}' is not finite on these pictures")
    return {**ranges.result(), network.image.name: PIXELS}


# The error at the output

class Judge:
    """How far a form of the network is off, by its outputs for some pictures."""

    def __init__(self, network, ranges, paths, library):
        self.network, self.ranges, self.library = network, ranges, library
        plain = network.plain().SerializeToString()
        size = HostNetwork(plain, library).size
        self.pictures = list(read_pictures(paths[::-(-len(paths) // COMPARED)], size))
        self.wanted = self.answers(plain, COMPARED)

    def answers(self, model, count):
        runner = HostNetwork(model, self.library)
        given = [runner.run(picture) for picture in self.pictures[:count]]
        return [np.stack(values) for values in zip(*given)]

    def error(self, precisions, count=COMPARED):
        """Root mean square of the difference over the spread of what is right; the worst output."""
        answers = self.answers(Writer(self.network, precisions, self.ranges).write(), count)
        return max(float(np.sqrt(np.mean((given - right[:count]) ** 2)) / (right.std() or 1.0))
                   for given, right in zip(answers, self.wanted))


def blocks_of(network):
    """Layers by the one that begins their block: each with weights, and what follows up to the next."""
    blocks = {}
    for layer in network.layers:
        if not blocks or weighted(layer.nodes[0], network.constants):
            name = layer.name
        blocks.setdefault(name, []).append(layer.name)
    return blocks


def form(network, kept):
    """int8 but for the blocks in `kept`."""
    return {name: FLOAT16 if block in kept else INT8
            for block, names in blocks_of(network).items() for name in names}


def choose_kept(network, judge):
    """The fewest blocks, the most harmful first, that bring the error down to what is wanted."""
    harm = {block: judge.error(dict.fromkeys(names, INT8), RANKED)
            for block, names in blocks_of(network).items()}
    order = sorted(harm, key=harm.get, reverse=True)
    wanted = max(WANTED_SHARE * judge.error(form(network, ())), WANTED_ERROR)
    low, high = -1, len(order)
    while high - low > 1:
        middle = (low + high) // 2
        if judge.error(form(network, order[:middle])) > wanted:
            low = middle
        else:
            high = middle
    return order[:high]


def check_kept(network, kept):
    unknown = [name for name in kept if name not in blocks_of(network)]
    if unknown:
        raise Unfit(f"there is no layer '{unknown[0]}' with weights; there are "
                    f"{' '.join(blocks_of(network))}")
    return kept


# The program

def check_output(path, network):
    """Before the work of minutes."""
    if not path.parent.is_dir():
        raise Unfit(f"there is no folder {path.parent} to write into")
    if path.is_dir() or not os.access(path if path.exists() else path.parent, os.W_OK):
        raise Unfit(f"{path} cannot be written")
    if path.exists() and path.samefile(network):
        raise Unfit("the result would replace the network; name another file behind -o")


def quantise(args):
    data = args.network.read_bytes()
    check_output(args.output, args.network)
    network = Network(data)
    paths = find_pictures(args.pictures, data, args.count)
    ranges = measure_ranges(network, paths, args.ranges, args.library)
    judge, kept = Judge(network, ranges, paths, args.library), []
    if args.precision == "mixed":
        kept = (check_kept(network, args.keep.split(",")) if args.keep
                else choose_kept(network, judge))
    precisions = form(network, blocks_of(network) if args.precision == FLOAT16 else kept)
    args.output.write_bytes(Writer(network, precisions, ranges).write())
    print(f"{args.output}: {args.precision}, ranges of "
          f"{len(paths)} pictures, error at the output {100 * judge.error(precisions):.2f} %")
    for name in kept:
        print(f"  in 16 bits: {name}")


def at_least_one(text):
    if not text.isdecimal() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"'{text}' is not 1 or more")
    return int(text)


def parse():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    add = parser.add_argument
    add("network", type=Path, metavar="NETWORK.onnx")
    add("--precision", required=True, choices=(FLOAT16, INT8, "mixed"))
    add("--pictures", type=Path, required=True, nargs="+", metavar="DIR",
        help="recordings of KAVREL_HOST_INPUTS, or one network's folders in them")
    add("-o", "--output", type=Path, required=True, metavar="OUT.onnx")
    add("--ranges", choices=RANGES, default="min-max",
        help="of the values in 8 bits: all that occurs (the default), all but one in ten thousand on "
             "either side, or what Kullback and Leibler's divergence keeps")
    add("--keep", metavar="LAYER,...", help="the layers that mixed keeps in 16 bits")
    add("--count", type=at_least_one, default=100, help="most pictures that are used (%(default)s)")
    add("--library", type=Path, default=LIBRARY, help="the workstation's runtime")
    args = parser.parse_args()
    if args.keep and args.precision != "mixed":
        parser.error("--keep names the layers that --precision mixed keeps")
    return args


def main():
    args = parse()
    try:
        quantise(args)
    except (Unfit, OSError) as fault:
        sys.exit(f"quantise.py: {args.network}: {fault}")
    except RuntimeError:
        sys.exit(f"quantise.py: {args.network}: the runtime refuses it, see the line above")


if __name__ == "__main__":
    main()
