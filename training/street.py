"""Draws streets, clutter and boards with lettering that is no plate.

They need not fool people; networks shall find edges, colours and foreign text
where plates are.  Pictures are RGB, uint8, rows first; polygons are N x 2 px.

Debian packages: python3-pil python3-numpy python3-opencv, those of kanji.py and BOARD_FONTS
"""
import functools

import cv2
import numpy as np
from PIL import Image, ImageDraw, ImageFont

from kanji import FONTS, OPENTYPE, TRUETYPE, require_fonts
from plates import pick

FAR = 20000      # px; what a near camera throws further out is not seen anyway
SMOOTH_AREA = 20000     # px


# Filling

def to_pixels(points):
    return np.clip(np.asarray(points, np.float64), -FAR, FAR)


def fill(image, points, top, bottom=None, alpha=1.0):
    """Fills a polygon (N x 2, px) with colours that run from its top to its bottom."""
    points = to_pixels(points)
    bottom = top if bottom is None else bottom
    height, width = image.shape[:2]
    x0, y0 = np.maximum(np.floor(points.min(0)).astype(int) - 1, 0)
    x1, y1 = np.minimum(np.ceil(points.max(0)).astype(int) + 2, (width, height))
    if x1 <= x0 or y1 <= y0:
        return
    mask = np.zeros((y1 - y0, x1 - x0), np.uint8)
    fixed = np.round((points - (x0, y0)) * 16).astype(np.int32)
    # Large shapes may have stairs for edges: the camera blurs them, and they are many.
    smooth = mask.size < SMOOTH_AREA or alpha < 1
    cv2.fillPoly(mask, [fixed], round(255 * alpha), cv2.LINE_AA if smooth else cv2.LINE_8, 4)
    span = max(points[:, 1].max() - points[:, 1].min(), 1.0)
    run = np.clip((np.arange(y0, y1) - points[:, 1].min()) / span, 0, 1)[:, None]
    column = np.clip(np.float32(top) * (1 - run) + np.float32(bottom) * run, 0, 255)
    paint = cv2.resize(column.astype(np.uint8)[:, None], (int(x1 - x0), int(y1 - y0)),
                       interpolation=cv2.INTER_NEAREST)
    area = image[y0:y1, x0:x1]
    if smooth:
        share = mask.astype(np.float32) / 255
        area[:] = cv2.blendLinear(area, paint, 1 - share, share)
    else:
        cv2.copyTo(paint, mask, area)


def texture(image, rng, amount):
    """Grain of several sizes over the whole picture."""
    height, width = image.shape[:2]
    grain = np.zeros((height, width), np.float32)
    for cells in (4, 16, 64, 200):
        small = rng.normal(0, 1, (cells, cells)).astype(np.float32)
        grain += cv2.resize(small, (width, height), interpolation=cv2.INTER_LINEAR)
    gain = 1 + amount * grain
    image[:] = cv2.multiply(image, cv2.merge([gain] * 3), dtype=cv2.CV_8U)


# Boards: lettering that is no plate

BOARD_FONTS = {      # name: (path, index in a collection, Debian package)
    "noto bold": (OPENTYPE + "noto/NotoSansCJK-Bold.ttc", 0, "fonts-noto-cjk"),
    "noto": FONTS["notosans"],
    "mplus bold": (OPENTYPE + "mplus/Mplus1-Bold.otf", 0, "fonts-mplus"),
    "maruberi": FONTS["maruberi"],
    "dejavu": (TRUETYPE + "dejavu/DejaVuSans-Bold.ttf", 0, "fonts-dejavu-core"),
    "dejavu serif": (TRUETYPE + "dejavu/DejaVuSerif-Bold.ttf", 0, "fonts-dejavu-core"),
}
JAPANESE_FONTS = 4       # the first ones
BOARD_WORDS = (
    "駐車場", "月極", "空車", "満車", "止まれ", "徐行", "一方通行", "営業中", "出口", "入口",
    "工事中", "注意", "自動車", "タイヤ", "コーヒー", "ラーメン", "セール", "薬", "酒", "質",
    "本日", "時間", "回送", "臨時", "貸切", "配送", "引越", "定員", "ふじ", "さくら",
)
LATIN_WORDS = (
    "STOP", "TAXI", "OPEN", "BUS", "HYBRID", "TURBO", "4WD", "SALE", "PARKING", "EXIT",
    "CAFE", "No.", "TEL", "GT", "LX", "km/h", "24h", "EV", "P", "AUTO",
)
BOARD_COLOURS = (      # ground, text
    ((235, 235, 230), (30, 30, 30)), ((235, 235, 230), (190, 30, 30)),
    ((235, 235, 230), (20, 90, 55)), ((235, 235, 230), (20, 50, 140)),
    ((30, 70, 160), (240, 240, 240)), ((20, 95, 60), (240, 240, 240)),
    ((240, 200, 30), (25, 25, 25)), ((200, 35, 35), (245, 245, 245)),
    ((25, 25, 25), (240, 240, 240)), ((25, 25, 25), (240, 200, 30)),
    ((230, 120, 30), (255, 255, 255)), ((120, 125, 130), (240, 240, 240)),
)


@functools.lru_cache(maxsize=None)
def board_font(index, size):
    require_fonts(tuple(BOARD_FONTS), BOARD_FONTS)
    path, face, _ = tuple(BOARD_FONTS.values())[index]
    return ImageFont.truetype(path, size, face)


def digits_text(rng):
    """Numbers as they stand on boards: phones, prices, times, bays, fleet numbers."""
    form = pick(rng, ("##", "###", "####", "##-##", "#-##-#", "##:##", "###-####", "No.###",
                      "¥###", "#,###", "###-##", "# ###", "##-###", "0120-###-###"))
    return "".join(pick(rng, "0123456789") if c == "#" else c for c in form)


def board_lines(rng):
    kind = rng.random()
    if kind < 0.4:
        return [digits_text(rng)]
    word = pick(rng, BOARD_WORDS) if rng.random() < 0.6 else pick(rng, LATIN_WORDS)
    return [word] if kind < 0.65 else [word, digits_text(rng)]


def text_strip(text, height, rng):
    """One line of text as a mask, cut to its ink."""
    japanese = not text.isascii()
    index = int(rng.integers(JAPANESE_FONTS if japanese else len(BOARD_FONTS)))
    font = board_font(index, 64)
    left, top, right, bottom = font.getbbox(text)
    strip = Image.new("L", (right - left + 8, bottom - top + 8))
    ImageDraw.Draw(strip).text((4 - left, 4 - top), text, font=font, fill=255)
    scale = height / strip.height
    return cv2.resize(np.asarray(strip), None, fx=scale * rng.uniform(0.8, 1.2), fy=scale,
                      interpolation=cv2.INTER_AREA)


def render_board(rng):
    """A sign, sticker or number board as a flat RGB picture 96 px high."""
    ground, ink = pick(rng, BOARD_COLOURS)
    lines = board_lines(rng)
    height, gap = 96, int(rng.integers(6, 18))
    line_height = (height - 2 * gap) // len(lines) - (4 if len(lines) > 1 else 0)
    strips = [text_strip(line, line_height, rng) for line in lines]
    width = max(strip.shape[1] for strip in strips) + 2 * gap
    width = max(width, int(height * pick(rng, (0.6, 1.0, 1.6, 2.0, 2.0))))
    board = np.full((height, width, 3), ground, np.uint8)
    for i, strip in enumerate(strips):
        row, column = gap + i * (line_height + 8), (width - strip.shape[1]) // 2
        area = board[row:row + strip.shape[0], column:column + strip.shape[1]]
        share = strip[:area.shape[0]].astype(np.float32) / 255
        area[:] = cv2.blendLinear(area, np.full_like(area, ink), 1 - share, share)
    if rng.random() < 0.5:
        cv2.rectangle(board, (2, 2), (width - 3, height - 3), ink, int(rng.integers(1, 5)))
    return board


@functools.lru_cache(maxsize=1)
def board_pool():
    return [render_board(np.random.default_rng([41, i])) for i in range(300)]


def paste_flat(image, flat, quad):
    """Warps a flat picture onto the quadrilateral `quad` (TL, TR, BR, BL in px)."""
    quad = to_pixels(quad).astype(np.float32)
    height, width = image.shape[:2]
    x0, y0 = np.maximum(np.floor(quad.min(0)).astype(int), 0)
    x1, y1 = np.minimum(np.ceil(quad.max(0)).astype(int) + 1, (width, height))
    if x1 <= x0 or y1 <= y0:
        return
    side = max(np.linalg.norm(quad[0] - quad[1]), 1.0)
    shrink = min(1.0, max(side / flat.shape[1], 4 / min(flat.shape[:2])))
    flat = cv2.resize(flat, None, fx=shrink, fy=shrink, interpolation=cv2.INTER_AREA)
    h, w = flat.shape[:2]
    warp = cv2.getPerspectiveTransform(np.float32([(0, 0), (w, 0), (w, h), (0, h)]),
                                       quad - np.float32((x0, y0)))
    size = (int(x1 - x0), int(y1 - y0))
    share = cv2.warpPerspective(np.ones((h, w), np.float32), warp, size)
    picture = cv2.warpPerspective(flat, warp, size, borderMode=cv2.BORDER_REPLICATE)
    area = image[y0:y1, x0:x1]
    area[:] = cv2.blendLinear(area, picture, 1 - share, share)


def scatter_boards(image, rng, count):
    """Boards hung anywhere, some aslant."""
    height, width = image.shape[:2]
    for _ in range(count):
        board = pick(rng, board_pool())
        h = height * rng.uniform(0.02, 0.16)
        w = h * board.shape[1] / board.shape[0]
        x, y = rng.uniform(-0.1, 1) * width, rng.uniform(-0.05, 0.95) * height
        quad = np.array([(0, 0), (w, 0), (w, h), (0, h)]) + (x, y)
        quad[1:3, 1] += w * rng.normal(0, 0.1)
        paste_flat(image, board, quad + rng.normal(0, 0.02, (4, 2)) * h)


# The street

def street_colours(rng):
    grey = rng.uniform(70, 150)
    return {
        "sky": np.float32((120, 160, 205)) * rng.uniform(0.75, 1.15) + rng.uniform(0, 45),
        "haze": np.float32((205, 212, 218)) * rng.uniform(0.9, 1.1),
        "road": np.float32((grey, grey, grey + rng.uniform(-4, 8))),
    }


def draw_building(image, rng, horizon):
    width = image.shape[1]
    x0, w = rng.uniform(-0.1, 1) * width, rng.uniform(0.08, 0.4) * width
    top = horizon - rng.uniform(0.05, 1.0) * horizon
    wall = rng.uniform(60, 220) + rng.uniform(-25, 25, 3)
    box = np.array([(x0, top), (x0 + w, top), (x0 + w, horizon + 8), (x0, horizon + 8)])
    fill(image, box, wall, wall * rng.uniform(0.7, 1))
    columns, rows = rng.integers(2, 9, 2)
    pane = wall * rng.uniform(0.3, 0.75)
    cell = np.array([w / columns, max(horizon - top, 1) / rows])
    size = cell * rng.uniform(0.35, 0.75, 2)
    for column in range(columns):
        for row in range(rows):
            at = np.array([x0, top]) + (column, row) * cell + (cell - size) / 2
            cv2.rectangle(image, tuple(np.int32(at).tolist()),
                          tuple(np.int32(at + size).tolist()), pane.tolist(), -1)


def draw_tree(image, rng, horizon):
    height, width = image.shape[:2]
    x, size = rng.uniform(0, width), rng.uniform(0.04, 0.2) * height
    for _ in range(14):
        centre = (x, horizon - size) + rng.normal(0, 0.5, 2) * size
        green = np.float32((55, 85, 45)) * rng.uniform(0.5, 1.4)
        cv2.circle(image, tuple(np.int32(centre).tolist()), int(size * rng.uniform(0.2, 0.5)),
                   green.tolist(), -1)


def draw_road_marks(image, rng, horizon):
    height, width = image.shape[:2]
    vanish = rng.uniform(0.2, 0.8) * width
    for _ in range(int(rng.integers(1, 5))):
        foot, half = rng.uniform(-0.5, 1.5) * width, rng.uniform(0.005, 0.02) * width
        start = rng.uniform(0.0, 0.6)
        near = np.array([(foot - half, height), (foot + half, height)])
        far = np.array([vanish, horizon]) * (1 - start) + near * start
        fill(image, np.concatenate([far, near[::-1]]), rng.uniform(170, 235, 3).mean() *
             np.ones(3), alpha=0.8)


def draw_street(size, rng, horizon=None):
    """Sky, buildings, trees and road; size is (width, height)."""
    width, height = size
    horizon = height * rng.uniform(0.15, 0.6) if horizon is None else horizon
    horizon = float(np.clip(horizon, 0.02 * height, 0.9 * height))
    colours = street_colours(rng)
    image = np.zeros((height, width, 3), np.uint8)
    box = np.array([(0, 0), (width, 0), (width, horizon), (0, horizon)])
    fill(image, box, colours["sky"], colours["haze"])
    ground = box * (1, 0) + [(0, horizon), (0, horizon), (0, height), (0, height)]
    fill(image, ground, colours["road"] * 1.15, colours["road"] * rng.uniform(0.7, 1))
    for _ in range(int(rng.integers(2, 9))):
        draw_building(image, rng, horizon)
    for _ in range(int(rng.integers(0, 5))):
        draw_tree(image, rng, horizon)
    draw_road_marks(image, rng, horizon)
    scatter_boards(image, rng, int(rng.integers(0, 4)))
    texture(image, rng, rng.uniform(0.004, 0.025))
    return image


def draw_clutter(size, rng):
    """No street at all: shapes, bars and boards in any order and colour."""
    width, height = size
    image = np.zeros((height, width, 3), np.uint8)
    fill(image, [(0, 0), (width, 0), (width, height), (0, height)],
         rng.uniform(20, 230, 3), rng.uniform(20, 230, 3))
    for _ in range(int(rng.integers(5, 25))):
        centre = rng.uniform(0, 1, 2) * size
        spread = rng.uniform(0.02, 0.35, 2) * size
        corners = int(rng.integers(3, 7))
        turns = np.sort(rng.uniform(0, 6.28, corners))
        shape = centre + np.stack([np.cos(turns), np.sin(turns)], 1) * spread
        fill(image, shape, rng.uniform(10, 245, 3), rng.uniform(10, 245, 3))
    for _ in range(int(rng.integers(0, 4))):
        draw_bars(image, rng)
    scatter_boards(image, rng, int(rng.integers(0, 7)))
    texture(image, rng, rng.uniform(0.005, 0.05))
    return image


def draw_bars(image, rng):
    """Grilles, shutters and fences: even bars over a part of the picture."""
    height, width = image.shape[:2]
    x0, y0 = rng.uniform(-0.1, 0.8, 2) * (width, height)
    w, h = rng.uniform(0.1, 0.5, 2) * (width, height)
    count, upright = int(rng.integers(4, 16)), rng.random() < 0.5
    dark, bright = rng.uniform(10, 90, 3), rng.uniform(60, 230, 3)
    fill(image, [(x0, y0), (x0 + w, y0), (x0 + w, y0 + h), (x0, y0 + h)], dark)
    for i in range(count):
        at, thick = (i + 0.3) / count, 0.4 / count
        bar = (np.array([(at, 0), (at + thick, 0), (at + thick, 1), (at, 1)]) if upright
               else np.array([(0, at), (1, at), (1, at + thick), (0, at + thick)]))
        fill(image, bar * (w, h) + (x0, y0), bright, bright * 0.6)
