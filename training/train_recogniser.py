#!/usr/bin/env python3
"""Trains the plate-line recogniser: a 48 x 320 picture of a line to its text.

Debian packages: python3-torch python3-opencv python3-pil python3-onnx, and
those of kanji.py.
"""
import functools
import sys
from collections import defaultdict
from pathlib import Path

import numpy as np
import torch
from torch import nn
from torch.nn import functional

import common
import plate_lines
import plate_shots
import plates

ROOT = Path(__file__).resolve().parents[1]
NAME = "plate_rec"
MODEL = common.MODELS / f"{NAME}.onnx"
DICTIONARY = ROOT / f"dict/{NAME}_dict.txt"

BLANK = 0
LONGEST = 8             # characters of a line: a row has at most seven
STEP = 8                # columns of the picture for each of the network's steps
EASY_LINES = 15_000     # large clear rows first: the street alone teaches silence
PLACED = 0.5            # weight of the characters' places beside CTC
KANA_WEIGHT = 4.0       # of a kana's place: one among six characters, and one of 42
HELD_OUT_SEED = 20_000_003
CHECKED_LINES = 320     # for the progress line
STEPS = plate_lines.INPUT_WIDTH // STEP


# The dictionary

def characters():
    """What plates are lettered with; class k of the network is character k - 1."""
    every = ("0123456789-" + plates.MIDDLE_DOT + plates.PLATE_KANA + plates.CLASS_LETTERS
             + "".join(plates.load_regions()))
    return list(dict.fromkeys(every))


def encode(line, classes):
    """The classes of a line's characters and the steps where they stand."""
    codes, steps = np.zeros((2, LONGEST), np.int64)
    codes[:len(line.text)] = [classes[char] for char in line.text]
    steps[:len(line.text)] = np.clip(line.columns // STEP, 0, STEPS - 1)
    return codes, steps


def decode(scores, dictionary):
    """Texts of a batch of scores: the best class of each step, repeats and blanks out."""
    texts = []
    for row in scores.argmax(2).tolist():
        kept = [best for best, before in zip(row, [BLANK] + row) if best not in (BLANK, before)]
        texts.append("".join(dictionary[best - 1] for best in kept))
    return texts


# The network

def block(channels_in, channels, kernel, stride=1, padding=0, conv=nn.Conv2d):
    return nn.Sequential(conv(channels_in, channels, kernel, stride, padding, bias=False),
                         nn.BatchNorm2d(channels), nn.ReLU(inplace=True))


class WithContext(nn.Module):
    """Adds what the whole line looks like to every place of it.

    Whether a digit at the end is to be read depends on one that is cut at the
    start, farther than the convolutions reach.
    """

    def __init__(self, channels):
        super().__init__()
        self.mean = nn.AdaptiveAvgPool2d(1)
        self.mix = nn.Conv2d(channels, channels, 1)

    def forward(self, x):
        return torch.relu(x + self.mix(self.mean(x)))


class Recogniser(nn.Module):
    """Pictures 3 x 48 x 320 of 0..255 to scores of 40 steps; a step is 8 columns."""

    def __init__(self, classes):
        super().__init__()
        self.layers = nn.Sequential(
            block(3, 24, 5, 2, 2, common.ByteConv2d),       # 24 x 160
            block(24, 48, 3, 2, 1),                         # 12 x 80
            block(48, 48, 3, 1, 1),
            block(48, 80, 3, 2, 1),                         # 6 x 40
            block(80, 96, 3, 1, 1),
            block(96, 96, 3, 1, 1),
            common.Further(96),
            block(96, 112, 3, (2, 1), 1),                   # 3 x 40
            block(112, 128, 3, 1, 1),
            block(128, 144, (3, 1)),                        # 1 x 40
            WithContext(144),
            block(144, 144, (1, 5), 1, (0, 2)),
            block(144, 144, (1, 5), 1, (0, 2)),
            # A region's name is known by its neighbours where one of its characters is blurred.
            common.Further(144, (1, 5)),
            common.Further(144, (1, 5)),
            nn.Conv2d(144, classes, 1))

    def forward(self, image):
        return self.layers(image).squeeze(2).transpose(1, 2)


def for_export(net):
    """With plain weights in the first layer, else its batch norm is not folded."""
    net = net.to(memory_format=torch.contiguous_format)
    first = net.layers[0]
    plain = nn.Conv2d(3, first[0].out_channels, 5, 2, 2, bias=False)
    plain.weight.data = first[0].weight.data / 255
    first[0] = plain
    return net.eval()


def picture(batch):
    """Pictures as the samples have them, rows of pixels, as the network takes them;
    0..255 is the same in either type."""
    kind = torch.bfloat16 if common.BFLOAT16 and torch.is_grad_enabled() else torch.float32
    return batch.permute(0, 3, 1, 2).to(kind)


@functools.lru_cache(maxsize=None)
def place_weights():
    """For each class what its place counts; nothing for the blank, which fills lines up."""
    weights = torch.ones(len(characters()) + 1, device=common.DEVICE)
    weights[BLANK] = 0
    for number, char in enumerate(characters(), 1):
        if char in plates.PLATE_KANA:
            weights[number] = KANA_WEIGHT
    return weights


def loss_of(net, images, codes, places, lengths):
    """CTC, and at the middle of each character what it is.

    CTC alone finds out only after a thousand steps or more where in the line the
    characters stand; the renderer knows it.
    """
    with common.shortened():
        scores = net(picture(images))
    chances = scores.float().log_softmax(2)
    taken = torch.full((len(images),), STEPS, dtype=torch.long)
    ctc = functional.ctc_loss(chances.transpose(0, 1), codes, taken, lengths, blank=BLANK,
                              reduction="none", zero_infinity=True)
    at_middles = chances.gather(1, places.unsqueeze(2).expand(-1, -1, chances.shape[2]))
    of_codes = at_middles.gather(2, codes.unsqueeze(2)).squeeze(2)
    return ctc.mean() - PLACED * (of_codes * place_weights()[codes]).sum(1).mean()


# Samples

def samples_of(classes, resumed):
    """The generator of a training; `resumed` leaves out the easy beginning."""
    regions = plates.load_regions()

    def samples(rng):
        made = EASY_LINES if resumed else 0

        def hardness():
            return min(1.0, made / EASY_LINES) ** 1.5

        for line in plate_lines.lines(rng, plate_shots.STYLES_TRAIN, hardness, regions):
            made += 1
            yield line.picture, *encode(line, classes), len(line.text)
    return samples


def read(net, pictures, dictionary):
    device = next(net.parameters()).device
    texts = []
    for start in range(0, len(pictures), 60):
        batch = torch.from_numpy(np.stack(pictures[start:start + 60])).to(device)
        with torch.no_grad():
            texts += decode(net(picture(batch)).cpu(), dictionary)
    return texts


def wrong_share(dictionary):
    held_out = plate_lines.held_out_lines(CHECKED_LINES, HELD_OUT_SEED, plate_shots.STYLES_TRAIN)
    pictures = [line.picture for line in held_out]

    def error(net):
        texts = read(net, pictures, dictionary)
        return np.mean([text != line.text for text, line in zip(texts, held_out)])
    return error


# Figures

def edit_distance(a, b):
    row = list(range(len(b) + 1))
    for i, x in enumerate(a, 1):
        before, row[0] = row[0], i
        for j, y in enumerate(b, 1):
            before, row[j] = row[j], min(row[j] + 1, row[j - 1] + 1, before + (x != y))
    return row[-1]


class Figures:
    """Lines read, counted by what they are."""

    def __init__(self):
        self.lines = self.exact = self.characters = self.wrong = self.empty = self.silent = 0

    def add(self, text, target):
        if target:
            self.lines += 1
            self.exact += text == target
            self.characters += len(target)
            self.wrong += edit_distance(text, target)
        else:
            self.empty += 1
            self.silent += not text

    def cells(self):
        def percent(part, whole):
            return f"{100 * part / whole:.1f} %" if whole else "-"
        return [self.lines, percent(self.exact, self.lines),
                percent(self.wrong, self.characters), self.empty,
                percent(self.silent, self.empty)]


def figures_of(net, dictionary, count, seed, styles):
    """Figures by crop and by plate kind."""
    held_out = plate_lines.held_out_lines(count, seed, styles)
    tables = defaultdict(Figures)
    texts = read(net, [line.picture for line in held_out], dictionary)
    for text, line in zip(texts, held_out):
        for key in ("all", f"crop: {line.crop_kind}", f"plate: {line.plate_kind}"):
            tables[key].add(text, line.text)
    return tables


def print_figures(net, dictionary, count):
    header = ["held out", "lines", "exact", "characters wrong", "no line", "silent"]
    for title, styles in (("fonts of the training", plate_shots.STYLES_TRAIN),
                          ("fonts never seen", plates.STYLES_HELD_OUT)):
        tables = figures_of(net, dictionary, count, HELD_OUT_SEED + 1, styles)
        print(f"\n{title}\n")
        common.print_table(header, [[key, *tables[key].cells()] for key in sorted(tables)])


def main():
    parser = common.options(NAME, __doc__.splitlines()[0], minutes=75, batch=32, rate=2.5e-3)
    parser.add_argument("--measured", type=int, default=3000, help="lines of the final tables")
    args = common.parse(parser)
    dictionary = characters()
    classes = {char: number for number, char in enumerate(dictionary, 1)}
    net = Recogniser(len(dictionary) + 1).to(memory_format=torch.channels_last)
    print(f"{sum(p.numel() for p in net.parameters())} parameters, {len(classes) + 1} classes")
    resumed = (args.resume.exists() or MODEL.exists()) and not args.fresh
    net = common.train(net, args, samples_of(classes, resumed), loss_of, wrong_share(dictionary),
                       MODEL)
    DICTIONARY.write_text("".join(char + "\n" for char in dictionary), encoding="utf-8")
    net = for_export(net.cpu())
    common.export(net, torch.zeros(1, 3, plate_lines.INPUT_HEIGHT, plate_lines.INPUT_WIDTH),
                  MODEL, ["image"], ["scores"])
    print_figures(net, dictionary, args.measured)


if __name__ == "__main__":
    sys.exit(main())
