"""Where a plate hangs: alone, in a holder that covers its edge, in a recess."""
import cv2
import numpy as np


# Whole pictures at once; plain NumPy takes several times as long.

def flat(shape, colour):
    """A picture of one colour."""
    return cv2.merge([np.full(shape[:2], value, np.uint8) for value in np.uint8(colour).tolist()])


def blended(picture, colour, share):
    """`share` (0 to 1, float32) of `colour` over the picture."""
    return cv2.blendLinear(picture, flat(picture.shape, colour), 1 - share, share)


def add(picture, light):
    """Brightness added to every channel."""
    plus = cv2.convertScaleAbs(cv2.max(light, 0.0))
    minus = cv2.convertScaleAbs(cv2.min(light, 0.0))
    return cv2.subtract(cv2.add(picture, cv2.merge([plus] * 3)), cv2.merge([minus] * 3))


def times(picture, factor):
    return cv2.multiply(picture, cv2.merge([factor] * 3), dtype=cv2.CV_8U)


def soft(mask, sigma):
    """Blurred by about `sigma` px."""
    side = max(1, round(3.4 * sigma) | 1)
    return cv2.blur(mask, (side, side))


# The plate in its place

def bordered(plate, outline, margin):
    """The plate and its mask with `margin` px of nothing around."""
    picture = cv2.copyMakeBorder(plate, *[margin] * 4, cv2.BORDER_REPLICATE)
    return picture, cv2.copyMakeBorder(outline, *[margin] * 4, cv2.BORDER_CONSTANT, value=0)


def frame_mask(shape, sides, corner):
    """A rectangle with round corners; `sides`: left, top, right, bottom in px."""
    mask = np.zeros(shape[:2], np.uint8)
    left, top, right, bottom = np.round(sides).astype(int).tolist()
    corner = round(min(corner, (right - left) / 2 - 1, (bottom - top) / 2 - 1))
    cv2.rectangle(mask, (left + corner, top), (right - corner, bottom), 255, -1)
    cv2.rectangle(mask, (left, top + corner), (right, bottom - corner), 255, -1)
    for x in (left + corner, right - corner):
        for y in (top + corner, bottom - corner):
            cv2.circle(mask, (x, y), corner, 255, -1, cv2.LINE_AA)
    return mask


def holder_colour(rng):
    way = rng.random()
    if way < 0.55:
        return np.full(3, rng.uniform(8, 60))
    if way < 0.85:
        return rng.uniform(120, 235) + rng.uniform(-8, 8, 3)
    return rng.uniform(0, 240, 3)


def draw_holder(picture, mask, margin, px_per_mm, rng):
    """A frame that hides up to 6 mm of the plate and reaches some mm beyond."""
    height, width = picture.shape[:2]
    ends = np.float64((margin, margin, width - margin, height - margin))
    inwards = np.float64((1, 1, -1, -1)) * px_per_mm
    covers = rng.uniform(0, 6, 4) if rng.random() < 0.5 else np.full(4, rng.uniform(0, 6))
    reach = rng.uniform(1, 12)
    inner = frame_mask(picture.shape, ends + inwards * covers, rng.uniform(1, 10) * px_per_mm)
    outer = frame_mask(picture.shape, ends - inwards * reach, rng.uniform(3, 14) * px_per_mm)
    ring = cv2.subtract(outer, inner)
    colour = holder_colour(rng)
    body = flat(picture.shape, np.clip(colour, 0, 255))
    slope = soft(ring, rng.uniform(0.8, 2.5) * px_per_mm)
    shine = (cv2.Sobel(slope, cv2.CV_32F, 0, 1, ksize=3)
             + 0.4 * cv2.Sobel(slope, cv2.CV_32F, 1, 0, ksize=3))
    body = add(body, shine * np.float32(rng.uniform(0.1, 1.2) * (1 if colour.max() < 90 else 2)))
    # The holder's shadow on the plate.
    drop = soft(ring, 1.2 * px_per_mm).astype(np.float32)
    picture = times(picture, 1 - drop * np.float32(rng.uniform(0, 0.5) / 255))
    cv2.copyTo(body, ring, picture)
    return picture, cv2.max(mask, ring)


def draw_recess(picture, mask, margin, px_per_mm, rng):
    """Dark around the plate: its shadow, or the gap of a recess."""
    beyond = rng.uniform(1, 0.9 * margin / px_per_mm) * px_per_mm
    height, width = picture.shape[:2]
    shift = rng.uniform(-0.4, 0.4, 2) * beyond
    sides = np.float64((margin - beyond, margin - beyond, width - margin + beyond,
                        height - margin + beyond)) + np.tile(shift, 2)
    dark = frame_mask(picture.shape, sides, rng.uniform(2, 14) * px_per_mm)
    dark = soft(dark, rng.uniform(0.3, 3) * px_per_mm)
    dark = cv2.convertScaleAbs(dark, alpha=rng.uniform(0.3, 1))
    # Where the plate is not, the picture becomes the shadow's own colour.
    colour = rng.uniform(0, 45) + rng.uniform(0, 4, 3)
    picture = blended(picture, colour, 1 - mask.astype(np.float32) * (1 / 255))
    return picture, cv2.max(mask, dark)


def mounted(plate, outline, margin, px_per_mm, rng):
    """The plate in its place, and the mask of what is to be seen of both."""
    picture, mask = bordered(plate, outline, margin)
    if rng is None:
        return picture, mask
    if rng.random() < 0.3:
        picture, mask = draw_holder(picture, mask, margin, px_per_mm, rng)
    if rng.random() < 0.35:
        picture, mask = draw_recess(picture, mask, margin, px_per_mm, rng)
    return picture, mask
