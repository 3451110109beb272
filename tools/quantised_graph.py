"""ONNX networks written out as an NPU computes them, layer by layer in 8 or 16 bits.

A value that leaves a layer in 16 bits is cast to float16 and back, one that leaves it in 8 bits goes
through QuantizeLinear and DequantizeLinear; between two such places ONNX Runtime computes in 32
bits, as an NPU's accumulators do. A graph of plain float16 operators would say the same, but on a
processor ONNX Runtime computes it in 32-bit floats from end to end and rounds nothing in between.
"""
import collections
import warnings

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper, version_converter

FLOAT16, INT8 = "float16", "int8"
LEAST_OPSET = 13                   # DequantizeLinear per channel
LEAST, MOST = -128, 127

# Operators by the inputs that carry values; the others are sizes, axes, limits and their like.
WEIGHTED = {"Conv", "ConvTranspose", "Gemm", "MatMul"}
OF_ALL_INPUTS = WEIGHTED | {"Add", "Concat", "Div", "Max", "Min", "Mul", "Pow", "Sub", "Sum"}
OF_FIRST_INPUT = {"AveragePool", "BatchNormalization", "Clip", "Elu", "Erf", "Exp",
                  "GlobalAveragePool", "GlobalMaxPool", "HardSigmoid", "HardSwish", "LeakyRelu",
                  "Log", "Neg", "Reciprocal", "ReduceMax", "ReduceMean", "ReduceSum", "Relu",
                  "Sigmoid", "Softmax", "Sqrt", "Tanh"}
# These hand values on: what they give is stored as what they took.
MOVERS = {"DepthToSpace", "Expand", "Flatten", "Gather", "Identity", "MaxPool", "Reshape", "Resize",
          "Slice", "SpaceToDepth", "Split", "Squeeze", "Tile", "Transpose", "Unsqueeze"}
SUPPORTED = OF_ALL_INPUTS | OF_FIRST_INPUT | MOVERS
# NPUs apply these to the sums before they are stored.
ACTIVATIONS = {"Relu", "Clip"}


class Unfit(Exception):
    """Why a network cannot be taken, in one line."""


Layer = collections.namedtuple("Layer", "name nodes")


# Preparation

def shape_of(value):
    return [dim.dim_value for dim in value.type.tensor_type.shape.dim]


def check_shapes(graph):
    for value in [*graph.input, *graph.output]:
        if not all(size > 0 for size in shape_of(value)) or not shape_of(value):
            raise Unfit(f"'{value.name}' has a dynamic shape; export the network with fixed sizes")
    image = shape_of(graph.input[0]) if len(graph.input) == 1 else []
    if len(image) != 4 or image[0] != 1 or 3 not in (image[1], image[3]):
        raise Unfit("the network must take one image, 1 x 3 x H x W or 1 x H x W x 3")
    if graph.input[0].type.tensor_type.elem_type != TensorProto.FLOAT:
        raise Unfit("the network's input is not of 32-bit floats; give the one that was trained")


def parse(data):
    """The model of an ONNX file's bytes."""
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("error")     # of bytes that are left over
            return onnx.load_from_string(data)
    except Exception as fault:
        raise Unfit("this is no valid ONNX file") from fault


def first_line(fault):
    return str(fault).partition("\n")[0]


def check(model):
    newest = onnx.defs.onnx_opset_version()
    if model.ir_version > onnx.IR_VERSION:
        raise Unfit(f"it is newer than python3-onnx {onnx.__version__}; export it with opset {newest}")
    for node in model.graph.node:
        if node.domain:
            raise Unfit(f"the operator {node.domain}.{node.op_type} is not supported")
    try:
        onnx.checker.check_model(model)
    except Exception as fault:
        raise Unfit(f"this is no valid ONNX file: {first_line(fault)}") from fault


def load(data):
    """The model of an ONNX file's bytes, of an opset that has all that is needed."""
    model = parse(data)
    check(model)
    constant = {value.name for value in model.graph.initializer}
    inputs = [value for value in model.graph.input if value.name not in constant]
    del model.graph.input[:]
    model.graph.input.extend(inputs)
    check_shapes(model.graph)
    if next(item.version for item in model.opset_import if not item.domain) < LEAST_OPSET:
        try:
            model = version_converter.convert_version(model, LEAST_OPSET)
        except Exception as fault:
            raise Unfit(f"it cannot be brought to opset {LEAST_OPSET}, export it so: "
                        f"{first_line(fault)}") from fault
    return model


def constants_of(graph):
    """By name, also those that are a constant under another name."""
    values = {value.name: numpy_helper.to_array(value) for value in graph.initializer}
    for node in graph.node:
        if node.op_type == "Constant":
            values[node.output[0]] = constant_value(node.attribute[0])
        elif node.op_type == "Identity" and node.input[0] in values:
            values[node.output[0]] = values[node.input[0]]
    return values


def constant_value(attribute):
    value = helper.get_attribute_value(attribute)
    if isinstance(value, TensorProto):
        return numpy_helper.to_array(value)
    return np.array(value, np.float32 if "float" in attribute.name else np.int64)


def attribute(node, name, default):
    return next((helper.get_attribute_value(item) for item in node.attribute if item.name == name),
                default)


def consumers(graph):
    users = collections.defaultdict(list)
    for node in graph.node:
        for name in node.input:
            users[name].append(node)
    return users


def fold_norms(graph, constants):
    """Takes every batch norm into the convolution before it, as every NPU compiler does."""
    users, made_by = consumers(graph), {name: node for node in graph.node for name in node.output}
    for norm in [node for node in graph.node if node.op_type == "BatchNormalization"]:
        conv = made_by.get(norm.input[0])
        if conv is None or conv.op_type != "Conv" or len(users[conv.output[0]]) > 1:
            continue
        if not constants.keys() >= {*norm.input[1:], *conv.input[1:]}:
            continue
        gain, shift, mean, variance = (constants[name] for name in norm.input[1:5])
        gain = gain / np.sqrt(variance + attribute(norm, "epsilon", 1e-5))
        weight = constants[conv.input[1]]
        bias = constants[conv.input[2]] if len(conv.input) > 2 else np.zeros_like(mean)
        names = [f"{norm.output[0]}/{part}" for part in ("weight", "bias")]
        constants[names[0]] = weight * gain.reshape(-1, 1, 1, 1)
        constants[names[1]] = (bias - mean) * gain + shift
        del conv.input[1:]
        conv.input.extend(names)
        conv.output[0] = norm.output[0]
        graph.node.remove(norm)


class Network:
    """A network's layers, its constants, and which of its values depend on the image."""

    def __init__(self, data):
        self.model = load(data)
        graph = self.model.graph
        self.constants = constants_of(graph)
        fold_norms(graph, self.constants)
        self.nodes = [node for node in graph.node if node.output[0] not in self.constants]
        self.image, self.outputs = graph.input[0], list(graph.output)
        self.values = self.find_values()
        self.layers = self.find_layers()

    def plain(self):
        """The network without a change of precision, as a graph."""
        return self.graph(self.nodes, self.constants, self.image, self.outputs)

    def graph(self, nodes, constants, image, outputs):
        used = {name for node in nodes for name in node.input}
        graph = helper.make_graph(
            nodes, self.model.graph.name or "network", [image], outputs,
            [numpy_helper.from_array(np.array(value, order="C"), name)
             for name, value in constants.items() if name in used])
        return helper.make_model(graph, opset_imports=self.model.opset_import,
                                 ir_version=max(7, self.model.ir_version))

    def find_values(self):
        """Floats that depend on the image, sizes of it not counted; by name, with their types."""
        inferred = onnx.shape_inference.infer_shapes(self.plain(), data_prop=True).graph
        types = {value.name: value for value in [*inferred.value_info, *self.outputs]}
        values = {self.image.name: self.image}
        for node in self.nodes:
            if node.op_type == "Shape" or not any(name in values for name in node.input):
                continue
            self.check_node(node, values)
            values.update({name: types[name] for name in node.output if name in types})
            missing = [name for name in node.output if name and name not in types]
            if missing:
                raise Unfit(f"'{missing[0]}' has a dynamic shape; export the network with fixed "
                            "sizes")
        return values

    def check_node(self, node, values):
        name = node.name or node.output[0]
        if node.op_type not in SUPPORTED:
            raise Unfit(f"the operator {node.op_type} ('{name}') is not supported; supported are "
                        f"{', '.join(sorted(SUPPORTED))}")
        known = values.keys() | self.constants.keys()
        if node.op_type in WEIGHTED and node.input[1] not in known:
            raise Unfit(f"the weights of '{name}' are computed at every run; export the network with "
                        "its constants folded")

    def find_layers(self):
        users, results = consumers(self.plain().graph), {value.name for value in self.outputs}
        layers, fused = [], set()
        for node in self.nodes:
            if node.output[0] not in self.values or node.output[0] in fused:
                continue
            nodes, last = [node], node.output[0]
            following = users[last]
            if (node.op_type in OF_ALL_INPUTS and len(following) == 1 and last not in results
                    and following[0].op_type in ACTIVATIONS):
                nodes.append(following[0])
                fused.add(following[0].output[0])
            layers.append(Layer(node.name or last, nodes))
        return layers

    def with_values(self):
        """The network with every value that leaves a layer as a further output, and their names."""
        names = [layer.nodes[-1].output[0] for layer in self.layers
                 if layer.nodes[0].op_type not in MOVERS]
        results = {value.name for value in self.outputs}
        further = [self.values[name] for name in names if name not in results]
        model = self.graph(self.nodes, self.constants, self.image, [*self.outputs, *further])
        return model, [value.name for value in [*self.outputs, *further]]


# Numbers

def scale_of(low, high):
    """Scale and zero point of asymmetric 8 bits that hold `low` to `high`, and 0 exactly."""
    low, high = min(float(low), 0.0), max(float(high), 0.0)
    scale = np.float32((high - low) / (MOST - LEAST) or 1.0)
    return scale, np.int8(np.clip(round(LEAST - low / float(scale)), LEAST, MOST))


def weighted(node, constants):
    """Whether the node multiplies with weights, as convolutions do."""
    return node.op_type in WEIGHTED and node.input[1] in constants


def channel_axis(node, rank):
    """Which axis of a layer's weights has its output channels."""
    if node.op_type == "ConvTranspose" or node.op_type == "Gemm" and not attribute(node, "transB", 0):
        return 1
    return rank - 1 if node.op_type == "MatMul" else 0


def symmetric(weights, axis):
    """8-bit weights and a scale for each channel of `axis`."""
    rest = tuple(other for other in range(weights.ndim) if other != axis)
    scale = np.float32(np.abs(weights).max(axis=rest) / MOST)
    scale[scale == 0] = 1
    shape = [1] * weights.ndim
    shape[axis] = -1
    return np.clip(np.rint(weights / scale.reshape(shape)), -MOST, MOST).astype(np.int8), scale


# The written-out graph

class Writer:
    """Writes a network's layers down, each in its precision, or in 32 bits where it has none."""

    def __init__(self, network, precisions, ranges):
        self.network, self.ranges = network, dict(ranges)
        self.nodes, self.constants, self.properties = [], dict(network.constants), {}
        self.done = set()
        self.results = {value.name for value in network.outputs}
        self.precisions = self.settle(precisions)

    def settle(self, precisions):
        """How every value is stored; one that is only handed on, as it was before."""
        stored = {self.network.image.name: precisions.get(self.network.layers[0].name)}
        for layer in self.network.layers:
            first = layer.nodes[0]
            for name in layer.nodes[-1].output:
                stored[name] = precisions.get(layer.name)
                if first.op_type in MOVERS:
                    stored[name] = stored[first.input[0]]
                    self.ranges[name] = self.ranges.get(first.input[0])
        return stored

    def add(self, kind, inputs, output, **attributes):
        """A node, once; returns its output's name."""
        if output not in self.done:
            self.done.add(output)
            self.nodes.append(helper.make_node(kind, inputs, [output], **attributes))
        return output

    def constant(self, name, value):
        self.constants[name] = value
        return name

    def scales(self, name):
        scale, zero = scale_of(*self.ranges[name])
        return [self.constant(name + "/scale", scale), self.constant(name + "/zero", zero)]

    def store(self, value, name, precision, stored):
        """Stores `value`, by the range of the value `name`, in a tensor called `stored`."""
        if precision == INT8:
            return self.add("QuantizeLinear", [value, *self.scales(name)], stored)
        return self.add("Cast", [value], stored, to=TensorProto.FLOAT16)

    def load(self, stored, name, precision):
        if precision == INT8:
            return self.add("DequantizeLinear", [stored, *self.scales(name)], stored + "/float")
        return self.add("Cast", [stored], stored + "/float", to=TensorProto.FLOAT)

    def stored_name(self, name):
        at_edge = name in self.results or name == self.network.image.name
        return name if at_edge else f"{name}/{self.precisions[name]}"

    def computed_name(self, name):
        at_edge = name in self.results and self.precisions[name] is not None
        return name + "/value" if at_edge else name

    def taken(self, name, precision):
        """The value called `name` as a layer of this precision takes it."""
        stored, value = self.precisions[name], name
        if stored is not None:
            value = self.load(self.stored_name(name), name, stored)
        if precision in (None, stored):
            return value
        return self.load(self.store(value, name, precision, f"{value}/{precision}"), name, precision)

    def constant_taken(self, user, name, precision):
        """A constant as the layer of `user` takes it: its own, as ONNX Runtime wants no sharing."""
        value = self.network.constants[name]
        if precision is None or value.dtype != np.float32:
            return name
        name = f"{user}/{name}"
        if precision == FLOAT16:
            stored = self.constant(name, value.astype(np.float16))
        else:
            self.ranges[name] = value.min(), value.max()
            scale, zero = scale_of(*self.ranges[name])
            steps = np.clip(np.rint(value / scale) + zero, LEAST, MOST)
            stored = self.constant(name, steps.astype(np.int8))
        return self.load(stored, name, precision)

    def weights_taken(self, node):
        """8-bit weights, and the bias as the 32-bit sums are."""
        weights = self.network.constants[node.input[1]]
        axis = channel_axis(node, weights.ndim)
        steps, scale = symmetric(weights, axis)
        taken = [self.per_channel(f"{node.output[0]}/weights", steps, scale, axis)]
        if len(node.input) > 2 and node.input[2] in self.network.constants:
            step = scale * scale_of(*self.ranges[node.input[0]])[0]
            sums = np.rint(self.network.constants[node.input[2]].ravel() / step.astype(np.float64))
            limit = 2**31 - 1
            taken.append(self.per_channel(f"{node.output[0]}/bias",
                                          np.clip(sums, -limit, limit).astype(np.int32), step, 0))
        return taken

    def per_channel(self, name, steps, scale, axis):
        parts = [self.constant(name, steps), self.constant(name + "/scale", scale),
                 self.constant(name + "/zero", np.zeros(len(scale), steps.dtype))]
        return self.add("DequantizeLinear", parts, name + "/float", axis=axis)

    def inputs_taken(self, node, inner, precision):
        """The names that a layer's node takes in the place of its inputs."""
        if precision == INT8 and weighted(node, self.network.constants):
            return [self.taken(node.input[0], precision), *self.weights_taken(node)]
        return [self.input_taken(node, place, inner, precision)
                for place in range(len(node.input))]

    def input_taken(self, node, place, inner, precision):
        name = node.input[place]
        if name in inner or not name:
            return name
        if name in self.network.values:
            return self.taken(name, precision)
        carries = place == 0 or node.op_type in OF_ALL_INPUTS
        if carries and name in self.constants:
            return self.constant_taken(node.output[0], name, precision)
        return name

    def write_node(self, node, inner, precision):
        copy = onnx.NodeProto()
        copy.CopyFrom(node)
        inputs = self.inputs_taken(node, inner, precision)
        del copy.input[:], copy.output[:]
        copy.input.extend(inputs)
        copy.output.extend(name if name not in self.precisions else self.computed_name(name)
                           for name in node.output)
        self.nodes.append(copy)

    def write_layer(self, layer):
        results = [name for name in layer.nodes[-1].output if name]
        precision, inner = self.precisions[results[0]], set()
        for node in layer.nodes:
            self.write_node(node, inner, precision)
            inner.update(node.output)
        for name in results:
            if precision is not None:
                self.store(self.computed_name(name), name, precision, self.stored_name(name))

    def edge(self, value):
        """An input or output of the network in the type that it has now."""
        precision = self.precisions[value.name]
        if precision is None:
            return value
        if precision == INT8:
            scale, zero = scale_of(*self.ranges[value.name])
            self.properties[value.name + ".scale"] = repr(float(scale))
            self.properties[value.name + ".zero_point"] = str(zero)
        return helper.make_tensor_value_info(
            value.name, TensorProto.INT8 if precision == INT8 else TensorProto.FLOAT16,
            shape_of(value))

    def write(self):
        """The file's bytes."""
        layers = {layer.nodes[0].output[0]: layer for layer in self.network.layers}
        fused = {node.output[0] for layer in self.network.layers for node in layer.nodes[1:]}
        for node in self.network.nodes:
            if node.output[0] in layers:
                self.write_layer(layers[node.output[0]])
            elif node.output[0] not in fused:
                self.write_node(node, set(), None)
        model = self.network.graph(self.nodes, self.constants, self.edge(self.network.image),
                                   [self.edge(value) for value in self.network.outputs])
        helper.set_model_props(model, self.properties)
        return model.SerializeToString()
