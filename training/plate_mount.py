"""Where a plate hangs: alone, in a holder that covers its edge, in a recess."""
import cv2
import numpy as np


def bordered(plate, outline, margin):
    """The plate and its mask with `margin` px of nothing around."""
    picture = cv2.copyMakeBorder(plate, *[margin] * 4, cv2.BORDER_REPLICATE)
    return picture, cv2.copyMakeBorder(outline, *[margin] * 4, cv2.BORDER_CONSTANT, value=0)


def frame_mask(shape, sides, corner):
    """A rectangle with round corners; `sides`: left, top, right, bottom in px."""
    mask = np.zeros(shape[:2], np.uint8)
    left, top, right, bottom = sides
    radius = min(corner, (right - left) / 2 - 1, (bottom - top) / 2 - 1)
    core = np.float32([(left + radius, top + radius), (right - radius, top + radius),
                       (right - radius, bottom - radius), (left + radius, bottom - radius)])
    core = np.round(core * 16).astype(np.int32)
    cv2.fillConvexPoly(mask, core, 255, cv2.LINE_AA, 4)
    cv2.polylines(mask, [core], True, 255, max(1, round(2 * radius)), cv2.LINE_AA, 4)
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
    body = np.empty_like(picture)
    body[:] = np.clip(colour, 0, 255)
    slope = cv2.GaussianBlur(ring, (0, 0), rng.uniform(0.8, 2.5) * px_per_mm)
    shine = cv2.Sobel(slope, cv2.CV_32F, 0, 1, ksize=3) + 0.4 * cv2.Sobel(slope, cv2.CV_32F, 1, 0,
                                                                         ksize=3)
    shine *= rng.uniform(0.1, 1.2) * (1 if colour.max() < 90 else 2)
    body = cv2.subtract(cv2.add(body, cv2.merge([cv2.convertScaleAbs(np.maximum(shine, 0))] * 3)),
                        cv2.merge([cv2.convertScaleAbs(np.minimum(shine, 0))] * 3))
    # The holder's shadow on the plate.
    drop = cv2.GaussianBlur(ring, (0, 0), 1.2 * px_per_mm).astype(np.float32)
    drop = 1 - drop * (rng.uniform(0, 0.5) / 255)
    picture = cv2.multiply(picture, cv2.merge([drop] * 3), dtype=cv2.CV_8U)
    share = ring.astype(np.float32) / 255
    return cv2.blendLinear(picture, body, 1 - share, share), np.maximum(mask, ring)


def draw_recess(picture, mask, margin, px_per_mm, rng):
    """Dark around the plate: its shadow, or the gap of a recess."""
    beyond = rng.uniform(1, 0.9 * margin / px_per_mm) * px_per_mm
    height, width = picture.shape[:2]
    shift = rng.uniform(-0.4, 0.4, 2) * beyond
    sides = np.float64((margin - beyond, margin - beyond, width - margin + beyond,
                        height - margin + beyond)) + np.tile(shift, 2)
    dark = frame_mask(picture.shape, sides, rng.uniform(2, 14) * px_per_mm)
    dark = cv2.GaussianBlur(dark, (0, 0), rng.uniform(0.3, 3) * px_per_mm)
    dark = np.uint8(dark * rng.uniform(0.3, 1))
    # Where the plate is not, the picture becomes the shadow's own colour.
    alone = 1 - mask.astype(np.float32) / 255
    colour = np.empty_like(picture)
    colour[:] = rng.uniform(0, 45) + rng.uniform(-4, 4, 3).clip(0)
    return cv2.blendLinear(picture, colour, 1 - alone, alone), np.maximum(mask, dark)


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
