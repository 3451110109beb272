"""What the trainings share: options, sample workers, the loop, export, tables.

A training script has a network, a generator of samples, a loss and a held-out
error, and does in its main():

    args = common.parse(parser)                   # parser = common.options(...)
    net = common.train(Net(), args, samples, loss_of, held_out_error, path)
    common.export(net, example, path, ["image"], ["corners"])
    common.print_table(header, rows)

samples(rng)         endless generator of tuples of numpy arrays, run in workers
loss_of(net, *batch) the batch's tensors to one scalar
held_out_error(net)  one figure for the progress line, lower is better
path                 the exported network, which a training without a checkpoint goes on from
"""
import argparse
import copy
import math
import multiprocessing
import os
import signal
import sys
import time
from pathlib import Path

import cv2
import numpy as np
import onnx
import torch
from onnx import numpy_helper
from torch.utils.data import DataLoader, IterableDataset, get_worker_info

ROOT = Path(__file__).resolve().parents[1]
CACHE = ROOT / "training/cache"
MODELS = ROOT / "models/reference"
REPORT_SECONDS, CHECK_SECONDS = 15, 60
DEVICE = torch.device("cuda" if torch.cuda.is_available() else "cpu")
# Processors with the instructions take half the time in bfloat16; on others it is slower.
BFLOAT16 = "avx512_bf16" in Path("/proc/cpuinfo").read_text(encoding="ascii", errors="ignore")


class ByteConv2d(torch.nn.Conv2d):
    """A convolution over 0..255 that trains as if over 0..1; export folds the factor."""

    def forward(self, x):
        return self._conv_forward(x, self.weight * (1 / 255), self.bias)


class Further(torch.nn.Module):
    """Adds what two more convolutions see, at first nothing; `spread` makes the second one
    see further."""

    def __init__(self, channels, kernel=(3, 3), spread=1):
        super().__init__()
        reach = [side // 2 for side in kernel]
        self.first = torch.nn.Sequential(
            torch.nn.Conv2d(channels, channels, kernel, 1, reach, bias=False),
            torch.nn.BatchNorm2d(channels), torch.nn.ReLU(inplace=True))
        self.second = torch.nn.Sequential(
            torch.nn.Conv2d(channels, channels, kernel, 1, [spread * side for side in reach],
                            spread, bias=False),
            torch.nn.BatchNorm2d(channels))
        torch.nn.init.zeros_(self.second[1].weight)

    def forward(self, x):
        return torch.relu(x + self.second(self.first(x)))


def shortened():
    """Convolutions in here are done in bfloat16 where that is faster; weights stay as they are."""
    return torch.autocast(DEVICE.type, torch.bfloat16, enabled=BFLOAT16)


def options(name, description, minutes, batch, rate, decay=1e-3):
    """The options every training has; a script may add its own before parse()."""
    parser = argparse.ArgumentParser(description=description)
    add = parser.add_argument
    add("--seed", type=int, default=1)
    add("--minutes", type=float, default=minutes,
        help="time budget; 0 only measures and exports the last checkpoint")
    add("--steps", type=int, help="a fixed number of steps in place of --minutes")
    add("--resume", type=Path, default=CACHE / f"{name}.pt",
        help="checkpoint, written every minute and gone on with when it exists")
    add("--fresh", action="store_true",
        help="begin from nothing, whatever checkpoint or network there is")
    add("--threads", type=int, default=max(1, (os.cpu_count() or 2) // 2))
    add("--workers", type=int, default=max(1, (os.cpu_count() or 2) // 2))
    add("--batch", type=int, default=batch)
    add("--rate", type=float, default=rate)
    add("--decay", type=float, default=decay)
    add("--warm-up", type=int, default=200, help="steps")
    add("--ema", type=float, default=0.998)
    add("--clip", type=float, default=5.0, help="largest norm of the gradient")
    return parser


def parse(parser):
    args = parser.parse_args()
    torch.set_num_threads(args.threads)
    cv2.setNumThreads(1)
    torch.manual_seed(args.seed)
    return args


class Stream(IterableDataset):
    """The generator's samples, with random numbers of its own in every worker."""

    def __init__(self, samples, seed):
        self.samples, self.seed = samples, seed

    def __iter__(self):
        worker = get_worker_info()
        # An interrupt reaches the whole group; the training ends its workers itself.
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        cv2.setNumThreads(1)
        return self.samples(np.random.default_rng([*self.seed, worker.id]))


def batches(samples, args, step):
    # The step is part of the seed: a resumed training sees new samples.
    loader = DataLoader(Stream(samples, (args.seed, step)), batch_size=args.batch,
                        num_workers=args.workers, prefetch_factor=4)
    for batch in loader:
        yield [part.to(DEVICE, non_blocking=True) for part in batch]


class Progress:
    """How far the training is, by steps or by the clock, over interruptions."""

    def __init__(self, args):
        self.args, self.step, self.before, self.start = args, 0, 0.0, time.monotonic()

    def seconds(self):
        return self.before + time.monotonic() - self.start

    def done(self):
        if self.args.steps:
            return self.step / self.args.steps
        # Without a budget the checkpoint is taken as it stands.
        return self.seconds() / (60 * self.args.minutes) if self.args.minutes else 1.0

    def seconds_left(self):
        return self.seconds() * (1 / max(self.done(), 1e-6) - 1)

    def rate(self):
        """Warm-up, then a cosine down to a hundredth."""
        cosine = 0.5 + 0.5 * math.cos(math.pi * min(1.0, self.done()))
        return self.args.rate * min(1.0, (self.step + 1) / self.args.warm_up) * (
            0.01 + 0.99 * cosine)


def average(ema, net, decay, step):
    """Moves the averaged weights on; early on they follow faster."""
    decay = min(decay, (1 + step) / (10 + step))
    with torch.no_grad():
        for mean, new in zip(ema.state_dict().values(), net.state_dict().values()):
            if mean.is_floating_point():
                mean.lerp_(new, 1 - decay)
            else:
                mean.copy_(new)


def optimizer(net, args):
    """AdamW; biases and norms are not decayed."""
    wide = [p for p in net.parameters() if p.ndim > 1]
    thin = [p for p in net.parameters() if p.ndim <= 1]
    return torch.optim.AdamW([{"params": wide, "weight_decay": args.decay},
                              {"params": thin, "weight_decay": 0.0}], lr=args.rate)


def save(path, progress, net, ema, adam):
    path.parent.mkdir(parents=True, exist_ok=True)
    (path.parent / ".gitignore").write_text("*\n")
    part = path.with_suffix(".part")
    torch.save({"step": progress.step, "seconds": progress.seconds(), "net": net.state_dict(),
                "ema": ema.state_dict(), "adam": adam.state_dict()}, part)
    # Renamed when whole: killed in the middle, the one before is still there.
    part.replace(path)


def load(path, progress, net, ema, adam):
    state = torch.load(path, map_location=DEVICE)
    progress.step, progress.before = state["step"], state["seconds"]
    for part, name in ((net, "net"), (ema, "ema"), (adam, "adam")):
        part.load_state_dict(state[name])
    print(f"goes on from {path.name}: step {progress.step}, "
          f"{progress.before / 60:.1f} minutes trained", flush=True)


# Going on from an exported network

def stored_layers(path):
    """Weights and biases of an ONNX file's convolutions and full layers, as they are run."""
    graph = onnx.load(str(path)).graph
    values = {value.name: numpy_helper.to_array(value) for value in graph.initializer}
    return [[torch.tensor(values[name]) for name in node.input[1:3]] for node in graph.node
            if node.op_type in ("Conv", "Gemm")]


def set_layer(layer, weight, bias):
    """Takes the weights over; returns the bias that a norm behind the layer has to add."""
    if layer.weight.shape != weight.shape:
        sys.exit(f"the network has {tuple(weight.shape)} where {tuple(layer.weight.shape)} "
                 "is trained: --fresh begins from nothing")
    # Its factor is folded in the file.
    layer.weight.copy_(weight * 255 if isinstance(layer, ByteConv2d) else weight)
    if layer.bias is None:
        return bias
    layer.bias.copy_(bias)
    return torch.zeros_like(bias)


def set_norm(norm, values, bias):
    """A norm that changes nothing but the bias, in training as later.

    The file has none: they are folded.  A training norm divides by what it sees, so it
    has to know the spread of `values` and give it back.
    """
    variance, mean = torch.var_mean(values.float(), (0, 2, 3), unbiased=False)
    norm.running_mean.copy_(mean)
    norm.running_var.copy_(variance)
    norm.weight.copy_((variance + norm.eps).sqrt())
    norm.bias.copy_(mean + bias.to(mean))


def read_network(net, path, run):
    """Gives `net` the weights of its exported ONNX file; `run` passes samples through it."""
    stored, biases = stored_layers(path), []

    def at_layer(layer, _inputs):
        biases.append(set_layer(layer, *stored.pop(0)))

    def at_norm(norm, inputs):
        set_norm(norm, inputs[0], biases[-1])

    hooks = [module.register_forward_pre_hook(
                 at_norm if isinstance(module, torch.nn.BatchNorm2d) else at_layer)
             for module in net.modules()
             if isinstance(module, (torch.nn.Conv2d, torch.nn.Linear, torch.nn.BatchNorm2d))]
    with torch.no_grad():
        run(net.eval())
    for hook in hooks:
        hook.remove()
    if stored:
        sys.exit(f"{path.name} has {len(stored)} more layers than are trained: "
                 "--fresh begins from nothing")
    print(f"goes on from {path.name}", flush=True)


def train_step(net, adam, loss_of, batch, progress):
    for group in adam.param_groups:
        group["lr"] = progress.rate()
    loss = loss_of(net, *batch)
    adam.zero_grad(set_to_none=True)
    loss.backward()
    torch.nn.utils.clip_grad_norm_(net.parameters(), progress.args.clip)
    adam.step()
    return loss.item()


def stop_on_signals():
    """A list that is no longer empty once somebody wants the training to end."""
    asked = []
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda got, _frame: asked.append(got))
    return asked


def report(progress, loss, error):
    left = int(progress.seconds_left())
    print(f"step {progress.step:6d}  loss {loss:.5f}  held-out {error:.4f}  "
          f"rate {progress.rate():.1e}  left {left // 60}:{left % 60:02d}", flush=True)


def error_of(held_out_error, ema):
    with torch.no_grad():
        return held_out_error(ema.eval())


def train(net, args, samples, loss_of, held_out_error, network=None):
    """Trains within the budget; returns the averaged network in eval mode.

    It goes on from its checkpoint or, on a machine that has none, from `network`, its
    exported file.
    """
    net = net.to(DEVICE)
    if network and network.exists() and not (args.fresh or args.resume.exists()):
        batch = next(batches(samples, args, 0))
        read_network(net, network, lambda net: loss_of(net, *batch))
    ema, adam, progress = copy.deepcopy(net), optimizer(net, args), Progress(args)
    if args.resume.exists() and not args.fresh:
        load(args.resume, progress, net, ema, adam)
    if progress.done() < 1:
        try:
            loop(net, ema, adam, progress, batches(samples, args, progress.step), loss_of,
                 held_out_error)
        except Exception:
            # The workers ignore polite signals, and Python waits for them before it ends.
            for worker in multiprocessing.active_children():
                worker.kill()
            raise
    return ema.eval()


def loop(net, ema, adam, progress, stream, loss_of, held_out_error):
    asked, args = stop_on_signals(), progress.args
    shown, mean, error = time.monotonic(), None, math.nan
    checked = shown
    net.train()
    while progress.done() < 1 and not asked:
        loss = train_step(net, adam, loss_of, next(stream), progress)
        mean = loss if mean is None else 0.98 * mean + 0.02 * loss
        progress.step += 1
        average(ema, net, args.ema, progress.step)
        if time.monotonic() - checked > CHECK_SECONDS:
            error = error_of(held_out_error, ema)
            save(args.resume, progress, net, ema, adam)
            checked = time.monotonic()
        if time.monotonic() - shown > REPORT_SECONDS:
            report(progress, mean, error)
            shown = time.monotonic()
    save(args.resume, progress, net, ema, adam)
    if asked:
        sys.exit(f"stopped at step {progress.step}; the same command goes on from there")


def export(net, example, path, inputs, outputs, opset=11):
    """Writes the network as ONNX, batch norms folded into the convolutions."""
    path.parent.mkdir(parents=True, exist_ok=True)
    torch.onnx.export(copy.deepcopy(net).cpu().eval(), example, str(path), opset_version=opset,
                      do_constant_folding=True, input_names=inputs, output_names=outputs)
    model = onnx.load(str(path))
    for node in model.graph.node:
        node.doc_string = ""
    onnx.checker.check_model(model, full_check=True)
    onnx.save(model, str(path))
    kinds = sorted({node.op_type for node in model.graph.node})
    print(f"{path.name}: {path.stat().st_size / 1e6:.2f} MB, {', '.join(kinds)}", flush=True)


def print_table(header, rows):
    """Markdown, so that the table can go into a model card as it is."""
    for row in (header, ["---"] * len(header), *rows):
        print("| " + " | ".join(str(cell) for cell in row) + " |", flush=True)
