"""What light, weather and a camera do to a picture.

Pictures are RGB, uint8, rows first, of any size: a plate, a crop or a frame.

Debian packages: python3-numpy python3-opencv
"""
import functools

import cv2
import numpy as np

NOISE_SIDE = 1024


NOISE_SIGMA = 40     # of the bank


@functools.lru_cache(maxsize=None)
def noise_bank():
    """Normal noise around 128, cut up for every picture: drawing it anew costs more than
    all other steps."""
    noise = np.random.default_rng(7).standard_normal((NOISE_SIDE, NOISE_SIDE, 3))
    return np.clip(np.round(128 + NOISE_SIGMA * noise), 0, 255).astype(np.uint8)


def add_sensor_noise(image, rng, sigma):
    """Adds a piece of the bank; pictures larger than the bank have it repeated."""
    bank, (rows, columns) = noise_bank(), image.shape[:2]
    row = int(rng.integers(max(NOISE_SIDE - rows, 0) + 1))
    column = int(rng.integers(max(NOISE_SIDE - columns, 0) + 1))
    if max(rows, columns) > NOISE_SIDE:
        bank = np.tile(bank, (-(-rows // NOISE_SIDE), -(-columns // NOISE_SIDE), 1))
    part = sigma / NOISE_SIGMA
    return cv2.addWeighted(image, 1, bank[row:row + rows, column:column + columns], part,
                           -128 * part)


GAIN_ONE = 120      # bytes are multiplied several times faster than floats
LIGHT_SIDE = 48     # light changes slowly: it is worked out on a small grid


def light_map(rng, strength):
    """Factor per place: a gradient, and the edge of a shadow across the picture."""
    y, x = np.mgrid[-1:1:LIGHT_SIDE * 1j, -1:1:LIGHT_SIDE * 1j].astype(np.float32)
    slope = rng.uniform(-0.35, 0.35, 2) * strength
    light = 1 + slope[0] * x + slope[1] * y
    if rng.random() < 0.35 * strength + 0.05:
        angle, offset = rng.uniform(0, 6.28), rng.uniform(-0.8, 0.8)
        edge = (np.cos(angle) * x + np.sin(angle) * y - offset) / rng.uniform(0.02, 0.4)
        light *= 1 - rng.uniform(0.2, 0.65) / (1 + np.exp(-np.clip(edge, -30, 30)))
    return light.astype(np.float32)


def glare_map(rng):
    """Light added around a bright spot, 0..255."""
    y, x = np.mgrid[-1:1:LIGHT_SIDE * 1j, -1:1:LIGHT_SIDE * 1j].astype(np.float32)
    (x0, y0), angle = rng.uniform(-1.1, 1.1, 2), rng.uniform(0, 3.14)
    along = np.cos(angle) * (x - x0) + np.sin(angle) * (y - y0)
    across = np.cos(angle) * (y - y0) - np.sin(angle) * (x - x0)
    size = rng.uniform(0.08, 0.6, 2)
    spot = np.exp(-((along / size[0]) ** 2 + (across / size[1]) ** 2))
    return np.float32(rng.uniform(60, 230) * spot)


def stretch(small, image):
    return cv2.resize(small, (image.shape[1], image.shape[0]),
                      interpolation=cv2.INTER_LINEAR)


def relight(image, rng, strength, night):
    """Light, shadow, glare, exposure and the colour of the light."""
    dimmest, brightest = (0.22, 0.55) if night else (1 - 0.45 * strength, 1 + 0.2 * strength)
    exposure = rng.uniform(dimmest, brightest)
    cast = 1 + rng.uniform(-0.12, 0.12, 3) * strength
    gain = light_map(rng, strength)[..., None] * np.float32(cast * exposure * GAIN_ONE)
    gain = np.clip(np.round(gain), 0, 255).astype(np.uint8)
    lit = cv2.multiply(image, stretch(gain, image), scale=1 / GAIN_ONE)
    if rng.random() < 0.12 * strength:
        glare = stretch(glare_map(rng), image)
        lit = cv2.add(lit, cv2.merge([glare.astype(np.uint8)] * 3))
    return lit


def rain(image, rng):
    """Streaks in the air, and drops on the lens that blur what lies behind."""
    height, width = image.shape[:2]
    streaks = np.zeros((height, width), np.uint8)
    lean = rng.uniform(-0.3, 0.3)
    for _ in range(int(rng.integers(8, 45))):
        x, y, length = rng.uniform((0, 0, 0.05), (width, height, 0.25))
        length *= height
        cv2.line(streaks, (int(x), int(y)), (int(x + lean * length), int(y + length)),
                 int(rng.integers(30, 110)), 1, cv2.LINE_AA)
    wet = cv2.add(image, cv2.merge([cv2.GaussianBlur(streaks, (3, 3), 0)] * 3))
    soft = cv2.blur(wet, (max(3, width // 30),) * 2)
    drops = np.zeros((height, width), np.uint8)
    for _ in range(int(rng.integers(0, 9))):
        centre = (int(rng.integers(width)), int(rng.integers(height)))
        axes = (rng.uniform(0.006, 0.024, 2) * width + 1).astype(int).tolist()
        cv2.ellipse(drops, centre, axes, rng.uniform(0, 180), 0, 360, 255, -1)
    cv2.copyTo(soft, drops, wet)
    return wet


def spatter(image, rng):
    """Specks of dirt on what is photographed."""
    height, width = image.shape[:2]
    for _ in range(int(rng.integers(3, 25))):
        centre = (int(rng.integers(width)), int(rng.integers(height)))
        mud = (np.float32((105, 90, 70)) * rng.uniform(0.3, 1.3)).tolist()
        radius = int(rng.uniform(0.5, 1 + 0.02 * min(width, 300)))
        cv2.circle(image, centre, radius, mud, -1, cv2.LINE_AA)


def motion_kernel(length, angle):
    side = int(np.ceil(length)) | 1
    kernel = np.zeros((side, side), np.float32)
    middle, half = (side - 1) / 2, (length - 1) / 2
    step = np.array([np.cos(angle), np.sin(angle)]) * half
    start, end = (middle - step) * 16, (middle + step) * 16
    cv2.line(kernel, tuple(np.int32(start).tolist()), tuple(np.int32(end).tolist()),
             1.0, 1, cv2.LINE_AA, 4)
    total = kernel.sum()
    return kernel / total if total > 0 else None


def defocus_and_motion(image, rng, strength):
    if rng.random() < 0.6:
        image = cv2.GaussianBlur(image, (0, 0), rng.uniform(0.3, 0.4 + 1.4 * strength))
    if rng.random() < 0.4 * strength:
        # Cars mostly move along the road: across or down the picture, less aslant.
        angle = (0, 0, 1.57)[int(rng.integers(3))] + rng.normal(0, 0.25)
        kernel = motion_kernel(rng.uniform(2, 2 + 7 * strength), angle)
        image = image if kernel is None else cv2.filter2D(image, -1, kernel)
    return image


def shrink_and_grow(image, rng, strength):
    """The loss of a plate that was further away than the crop's size says."""
    factor = rng.uniform(1 - 0.6 * strength, 1)
    size = tuple(max(8, round(side * factor)) for side in image.shape[1::-1])
    small = cv2.resize(image, size, interpolation=cv2.INTER_AREA)
    return small, image.shape[1::-1]


def jpeg_loss(image, rng, strength):
    quality = int(rng.uniform(95 - 65 * strength, 96))
    _, data = cv2.imencode(".jpg", image, [cv2.IMWRITE_JPEG_QUALITY, quality])
    return cv2.imdecode(data, cv2.IMREAD_UNCHANGED)


def degrade(image, rng, strength=0.6, night=None, wet=None):
    """What weather, light and camera do to an RGB picture (uint8, any size).

    `strength` 0 is a good camera in daylight, 1 its worst hour.  `night`
    and `wet` None: by chance.  Where things are does not change.  Returns a new
    picture.
    """
    night = rng.random() < 0.25 * strength if night is None else night
    if rng.random() < 0.15 * strength:
        image = image.copy()
        spatter(image, rng)
    image = relight(image, rng, strength, night)
    if rng.random() < 0.15 * strength if wet is None else wet:
        image = rain(image, rng)
    image = defocus_and_motion(image, rng, strength)
    size = image.shape[1::-1]
    if rng.random() < 0.5:
        image, size = shrink_and_grow(image, rng, strength)
    sigma = rng.uniform(0.5, 2 + 7 * strength) + (rng.uniform(2, 8) if night else 0)
    image = add_sensor_noise(image, rng, sigma)
    if night and rng.random() < 0.75:
        image = cv2.convertScaleAbs(image, alpha=rng.uniform(1.3, 2.4))
    if rng.random() < 0.8:
        image = jpeg_loss(image, rng, strength)
    if size != image.shape[1::-1]:
        image = cv2.resize(image, size, interpolation=cv2.INTER_LINEAR)
    return image
