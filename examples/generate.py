#!/usr/bin/env python3
"""Writes the example models beside this file: graph files of the host platform.

The four candidate builds of a network compute the same; their matrix products are blocked
differently, which is what a tuner would search over.
"""

import json
import pathlib

DIRECTORY = pathlib.Path(__file__).resolve().parent
TILES = [0, 64, 16, 8]


class Graph:
    """Collects nodes; every operation returns the name of the node that it adds."""

    def __init__(self, name, tile=0, dynamic=None):
        self.name = name
        self.tile = tile
        self.dynamic = dynamic
        self.nodes = []
        self.shapes = {}

    def add(self, name, kind, inputs, shape, **attrs):
        node = {"name": name, "type": kind}
        if inputs:
            node["inputs"] = inputs
        node["outputs"] = [{"shape": shape, "dtype": "float32"}]
        if attrs:
            node["attrs"] = attrs
        self.nodes.append(node)
        self.shapes[name] = shape
        return name

    def data(self, name, shape):
        return self.add(name, "Data", [], shape)

    def weights(self, name, shape):
        return self.add(name, "Const", [], shape, seed=len(self.nodes) + 1)

    def fill(self, name, shape, value):
        return self.add(name, "Const", [], shape, fill=value)

    def like_first(self, name, kind, inputs, **attrs):
        return self.add(name, kind, inputs, self.shapes[inputs[0]], **attrs)

    def mat_mul(self, name, left, right, transpose_b=False):
        columns = self.shapes[right][0 if transpose_b else 1]
        attrs = {"tile": self.tile}
        if transpose_b:
            attrs["transpose_b"] = True
        return self.add(name, "MatMul", [left, right], [self.shapes[left][0], columns], **attrs)

    def dense(self, name, inputs, size):
        """A product with weights, and a bias."""
        weights = self.weights(f"{name}/weights", [self.shapes[inputs][-1], size])
        product = self.mat_mul(f"{name}/matmul", inputs, weights)
        return self.like_first(f"{name}/add", "Add", [product, self.weights(f"{name}/bias", [size])])

    def scale(self, name, inputs, factor):
        factors = self.fill(f"{name}/factors", [self.shapes[inputs][-1]], factor)
        return self.like_first(name, "Mul", [inputs, factors])

    def layer_norm(self, name, inputs):
        size = self.shapes[inputs][-1]
        gamma = self.fill(f"{name}/gamma", [size], 1)
        beta = self.weights(f"{name}/beta", [size])
        return self.like_first(name, "LayerNorm", [inputs, gamma, beta], epsilon=1e-5)

    def write(self, path):
        head = {"format": "ox-graph", "version": 1, "name": self.name}
        if self.dynamic:
            head["dynamic"] = self.dynamic
        nodes = ",\n".join("  " + json.dumps(node) for node in self.nodes)
        file = DIRECTORY / path
        file.parent.mkdir(exist_ok=True)
        file.write_text(json.dumps(head)[:-1] + ', "nodes": [\n' + nodes + "\n]}\n")


def perceptron(graph, batch):
    x = graph.data("image", [batch, 784])
    x = graph.like_first("hidden1/relu", "Relu", [graph.dense("hidden1", x, 512)])
    x = graph.like_first("hidden2/relu", "Relu", [graph.dense("hidden2", x, 256)])
    x = graph.dense("logits", x, 10)
    # Weights are uniform in [-1, 1): without this, one class would take all.
    x = graph.scale("logits/scale", x, 2.0**-11)
    graph.like_first("probabilities", "Softmax", [x])


def attention_head(graph, name, x, size):
    width = graph.shapes[x][-1]
    query, key, value = (
        graph.mat_mul(f"{name}/{part}", x, graph.weights(f"{name}/{part}/weights", [width, size]))
        for part in ("query", "key", "value"))
    scores = graph.mat_mul(f"{name}/scores", query, key, transpose_b=True)
    # Contains 1 / sqrt(size), and makes up for weights that are uniform in [-1, 1).
    scaled = graph.scale(f"{name}/scale", scores, 2.0**-6)
    softmax = graph.like_first(f"{name}/softmax", "Softmax", [scaled])
    context = graph.mat_mul(f"{name}/context", softmax, value)
    return graph.mat_mul(f"{name}/project", context,
                         graph.weights(f"{name}/project/weights", [size, width]))


def transformer_block(graph, length=64, width=128, heads=2, hidden=512):
    x = graph.data("tokens", [length, width])
    attended = x
    for head in range(heads):
        projected = attention_head(graph, f"head{head}", x, width // heads)
        attended = graph.like_first(f"head{head}/add", "Add", [attended, projected])
    attended = graph.layer_norm("attention/norm", attended)
    x = graph.like_first("feed1/relu", "Relu", [graph.dense("feed1", attended, hidden)])
    x = graph.dense("feed2", x, width)
    graph.layer_norm("feed/norm", graph.like_first("feed/residual", "Add", [attended, x]))


def spin(text, nanoseconds):
    graph = Graph(f"spin-{text}")
    graph.add("spin", "Spin", [], [1], ns=nanoseconds)
    graph.write(f"spin/{text}.json")


class Kernels:
    """Names a kernel for nodes of a graph, and writes it where the name says: blocks are squares of
    16 by 16 elements, a tile has `tile` blocks at each side."""

    VECTORS = 4  # of 64 elements in a block

    def __init__(self, graph, directory, tile):
        self.graph = graph
        self.directory = directory
        self.tile = tile

    def add(self, name, lines):
        path = f"{self.directory}/{name}"
        self.graph.nodes[-1].setdefault("attrs", {})["json_file_path"] = f"examples/{path}.json"
        file = DIRECTORY / f"{path}.dux"
        file.parent.mkdir(parents=True, exist_ok=True)
        lines = ["dux 1", f"kernel {name}__kernel0", *lines, "end"]
        file.write_text("\n".join(lines) + "\n")

    def mat_mul(self, name, rows, columns, depth, spills):
        tile, area = self.tile, self.tile**2
        lines = [f"  loop {rows * columns // area}  # tiles of the result",
                 f"    loop {depth}  # through the common dimension",
                 f"      load {2 * tile}"]
        if spills:
            lines += [f"      load {area}  # sums so far do not fit beside the operands",
                      f"      scalar {area // 2}  # their addresses",
                      f"      cube {area}",
                      f"      store {area}",
                      "    end"]
        else:
            lines += [f"      cube {area}", "    end", f"    store {area}"]
        self.add(name, lines + ["  end"])

    def elementwise(self, name, blocks, rounds=1, before=()):
        piece = 16 * self.tile
        self.add(name, [*before,
                        f"  loop {blocks // piece}",
                        f"    load {piece}",
                        f"    vector {rounds * self.VECTORS * piece}",
                        f"    store {piece}",
                        "  end"])


def simulated_layers(tile):
    """Two layers whose steps name kernels; simulator/README.md has their ticks."""
    directory = f"simulator/tile-{16 * tile}"
    graph = Graph(f"layers-tile-{16 * tile}", 16 * tile)
    kernels = Kernels(graph, directory, tile)
    spills = tile == 8
    x = graph.data("x", [256, 256])
    weights = graph.weights("hidden/weights", [256, 256])
    bias = graph.weights("hidden/bias", [256])
    x = graph.mat_mul("hidden/matmul", x, weights)
    kernels.mat_mul("hidden-matmul", 16, 16, 16, spills)
    x = graph.like_first("hidden/add", "Add", [x, bias])
    kernels.elementwise("hidden-add", 256, before=["  load 1  # the bias"])
    x = graph.like_first("hidden/relu", "Relu", [x])
    kernels.elementwise("hidden-relu", 256)
    x = graph.mat_mul("logits/matmul", x, graph.weights("logits/weights", [256, 128]))
    kernels.mat_mul("logits-matmul", 16, 8, 16, spills)
    graph.like_first("softmax", "Softmax", [x])
    kernels.elementwise("softmax", 128, rounds=4)
    graph.write(f"{directory}.json")


def session_graphs():
    """One step of a text generator in four builds, and the two graphs that come before it."""
    graph = Graph("embed")
    graph.dense("embedding", graph.data("tokens", [32, 256]), 64)
    graph.write("online/embed.json")
    graph = Graph("prefill")
    transformer_block(graph, length=32, width=64, heads=1, hidden=128)
    graph.write("online/prefill.json")
    for tile in TILES:
        graph = Graph(f"step-tile-{tile}", tile)
        transformer_block(graph, length=16, width=128, heads=2, hidden=256)
        graph.write(f"online/step-tile-{tile}.json")


def attention_requests(text, batch, heads, length, width):
    """Attention and its gradients: one operator each, `width` elements a head, in half precision."""
    def tensor(shape, dtype="float16"):
        return {"dtype": dtype, "origin_shape": shape, "shape": shape, "origin_format": "ND"}

    def attribute(name, dtype, value):
        return {"name": name, "dtype": dtype, "value": value}

    tokens = tensor([batch, length, heads * width])
    sums = tensor([batch, heads, length], "float32")
    absent = {}
    attributes = [attribute("reserved", "list_int", []),
                  attribute("scale", "float", round(width**-0.5, 6)),
                  attribute("keep_probability", "float", 1.0),
                  attribute("keys_before", "int", 2**31 - 1),
                  attribute("keys_after", "int", 2**31 - 1),
                  attribute("head_count", "int", heads),
                  attribute("layout", "string", "BSH"),
                  attribute("precision_mode", "int", 0),
                  attribute("mask_mode", "int", 0)]
    requests = {
        "attention": ("FlashAttentionScore", [tokens] * 3 + [absent] * 4,
                      [sums, sums, absent, tokens]),
        "attention-grad": ("FlashAttentionScoreGrad",
                           [tokens] * 4 + [absent] * 4 + [sums, sums, absent, tokens],
                           [tokens] * 3 + [absent]),
    }
    for name, (op_type, inputs, outputs) in requests.items():
        file = DIRECTORY / f"operators/{name}-{text}.json"
        file.parent.mkdir(parents=True, exist_ok=True)
        rows = [f'  "op_type": {json.dumps(op_type)}']
        for key, elements in (("inputs", inputs), ("attrs", attributes), ("outputs", outputs)):
            lines = ",\n    ".join(json.dumps(element) for element in elements)
            rows.append(f'  "{key}": [\n    {lines}\n  ]')
        file.write_text("{\n" + ",\n".join(rows) + "\n}\n")


def main():
    session_graphs()
    for text, batch, heads, length in (("small", 1, 2, 64), ("medium", 1, 4, 128),
                                       ("large", 2, 8, 256)):
        attention_requests(text, batch, heads, length, 64)
    for tile in (1, 2, 4, 8):
        simulated_layers(tile)
    for tile in TILES:
        graph = Graph(f"perceptron-tile-{tile}", tile)
        perceptron(graph, 64)
        graph.write(f"perceptron/tile-{tile}.json")
        graph = Graph(f"transformer-tile-{tile}", tile)
        transformer_block(graph)
        graph.write(f"transformer/tile-{tile}.json")
    graph = Graph("perceptron-dynamic-batch", dynamic={"batch": [1, 8, 32]})
    perceptron(graph, -1)
    graph.write("dynamic/perceptron-batch.json")
    for text, nanoseconds in (("10us", 10_000), ("100us", 100_000), ("1ms", 1_000_000)):
        spin(text, nanoseconds)


if __name__ == "__main__":
    main()
