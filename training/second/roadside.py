"""What stands around a vehicle: the road, walls, boards, a photograph behind everything."""
from functools import lru_cache

import cv2
import numpy as np

import plate as plates
import scene
import vehicle as vehicles
from canvas import Canvas

GROUND = 2200                          # pixels of the ground's side


@lru_cache(maxsize=1)
def roughness():
    """Grain of asphalt, drawn once: sets differ by tone, marks and place."""
    rng = np.random.default_rng(7)
    shape = (GROUND, GROUND)
    return (0.25 * rng.standard_normal(shape, dtype=np.float32)
            + 0.12 * plates.clouds(shape, 270, rng) + 0.10 * plates.clouds(shape, 4, rng))


def asphalt(rng):
    """Ground of 12 x 12 m."""
    side = GROUND
    tone = rng.uniform(0.05, 0.22)
    ground = tone * np.exp(0.7 * roughness())[..., None] * np.float32((1, 0.99, 0.96))
    board = Canvas(12000, 12000, side / 12000, (1, 1, 1))
    for _ in range(rng.integers(0, 4)):
        x = rng.uniform(-5000, 5000)
        board.line([(x, 0), (x + rng.uniform(-2500, 2500), 12000)], 120, (3.2, 3.2, 3.1), 0.9)
    for _ in range(rng.integers(0, 5)):
        x, y = rng.uniform(-6000, 6000), rng.uniform(0, 12000)
        steps = rng.normal(0, 700, (5, 2)).cumsum(0) + (x, y)
        board.line(steps, rng.uniform(10, 40), (0.3, 0.3, 0.3), 0.8)
    for _ in range(rng.integers(0, 3)):
        board.disc(rng.uniform(-5000, 5000), rng.uniform(2000, 10000), rng.uniform(150, 400),
                   (0.45, 0.44, 0.42), blur=40)
    return np.clip(ground * board.paint, 0.01, 0.7)


def wall(rng):
    """A stretch of wall, fence or shutter, 9 x 3 m."""
    kind = rng.integers(4)
    tone = rng.uniform(0.1, 0.6, 1) * (1 + rng.normal(0, 0.08, 3))
    canvas = Canvas(9000, 3000, 0.2, np.clip(tone, 0.02, 0.8), 0.1)
    if kind == 0:
        for y in np.arange(0, 3000, 190):
            canvas.line([(-4500, y), (4500, y)], 12, tone * 0.5)
            for x in np.arange(-4500 + (y // 190 % 2) * 195, 4500, 390):
                canvas.line([(x, y), (x, y + 190)], 12, tone * 0.5)
    elif kind == 1:
        for x in np.arange(-4500, 4500, 70):
            canvas.line([(x, 0), (x, 3000)], 22, tone * rng.uniform(0.6, 1.2))
    elif kind == 2:
        for x in np.arange(-4200, 4000, rng.uniform(1500, 2600)):
            canvas.fill(vehicles.box(x + 500, 1600, 1000, 1200), vehicles.GLASS, gloss=1)
            canvas.line(vehicles.box(x + 500, 1600, 1000, 1200), 60, (0.5, 0.5, 0.5))
    else:
        canvas.cover[:canvas.cover.shape[0] // 2] = 0
        for x in np.arange(-4500, 4500, 160):
            canvas.line([(x, 0), (x, 1500)], 40, tone * 0.3)
    for _ in range(rng.integers(0, 3)):
        board(canvas, rng)
    stain = np.exp(0.12 * plates.clouds(canvas.gloss.shape, 60, rng))
    canvas.paint *= stain[..., None]
    return vehicles.Panel(canvas, vehicles.sheet(9000, (0, 0), (3000, 0), 0, 5, 12))


def board(canvas, rng):
    """A board with a number or a few words; telephone numbers look most like plates."""
    x, y = rng.uniform(-3500, 3500), rng.uniform(900, 2000)
    size = np.array((rng.uniform(500, 1400), rng.uniform(250, 600)))
    colour = rng.uniform(0.02, 0.85, 3)
    canvas.fill(vehicles.box(x, y, *size), colour, gloss=0.3)
    text = str(rng.choice((f"{rng.integers(10, 999)}-{rng.integers(1000, 9999)}",
                           f"P {rng.integers(1, 60)}", "月極駐車場", "OPEN", "出口", "空あり",
                           "入口 24h", f"{rng.integers(1, 99)}")))
    height = 0.5 * size[1]
    glyph = vehicles.words(text)
    height = min(height, 0.9 * size[0] * glyph.shape[0] / glyph.shape[1])
    canvas.paste(glyph, x - 0.45 * size[0], y + height / 2, height,
                 (0.02, 0.02, 0.02) if colour.mean() > 0.35 else (0.8, 0.8, 0.8))


def backdrop(frame, camera, photograph, distance, light, shift):
    """A photograph standing upright behind everything, dimmed to the scene's light."""
    rows, columns = photograph.shape[:2]
    width = 2.3 * distance * max(camera.size) / camera.focal / 1.6
    height = width * rows / columns
    left, low = -width / 2 + shift[0] * width * 0.1, -0.12 * height
    world = np.array(((left, low + height, distance), (left + width, low + height, distance),
                      (left + width, low, distance), (left, low, distance)))
    shining = photograph * np.float32(0.9 * light.diffuse + 0.45 * light.lamp
                                      * (0.15 if light.name == "night" else 1))
    ratio = camera.focal * width / distance / columns
    texture = scene.shrink(shining, ratio)
    source = np.float32(np.array(((0, 0), (1, 0), (1, 1), (0, 1)))
                        * (np.array(texture.shape[1::-1]) - 1))
    warp = cv2.getPerspectiveTransform(source, np.float32(camera.project(world)))
    frame[:] = cv2.warpPerspective(texture, warp, camera.size, flags=cv2.INTER_LINEAR,
                                   borderMode=cv2.BORDER_REFLECT)


def lay_ground(frame, camera, ground, distance, light, offset):
    """The road, up to where the backdrop stands."""
    reach = np.array([(-40000, 0, distance), (40000, 0, distance)])
    horizon = camera.project(reach)
    near = [(-3000, 0, 1500 + abs(camera.place[1])), (3000, 0, 1500 + abs(camera.place[1])),
            (6000, 0, distance), (-6000, 0, distance)]
    side = ground.shape[0]
    source = (np.array(near)[:, [0, 2]] + offset) * (side / 12000)
    warp = cv2.getPerspectiveTransform(np.float32(source), np.float32(camera.project(near)))
    rows, columns = frame.shape[:2]
    # Repeat the ground by mirroring, at the scale at which its middle is seen.
    floor = cv2.warpPerspective(ground, warp, (columns, rows), flags=cv2.INTER_LINEAR,
                                borderMode=cv2.BORDER_REFLECT)
    edge = np.array([horizon[0], horizon[1], (columns + 10, 4 * rows), (-10, 4 * rows)])
    edge[0, 0], edge[1, 0] = -10, columns + 10
    slope = (horizon[1, 1] - horizon[0, 1]) / (horizon[1, 0] - horizon[0, 0])
    edge[:2, 1] = horizon[0, 1] + slope * (edge[:2, 0] - horizon[0, 0])
    mask = np.zeros((rows, columns), np.uint8)
    cv2.fillConvexPoly(mask, np.rint(edge * 4).astype(np.int32), 255, cv2.LINE_AA, 2)
    mask = mask.astype(np.float32)[..., None] / 255
    up = max(light.towards[1], 0)
    fade = 1.0
    if light.name == "night":
        fade = 0.6
    floor = floor * np.float32(light.diffuse + up * light.lamp) * fade
    frame += (floor - frame) * mask
