"""Lays pictures, plates and letters into a scene.

Pictures are RGB, uint8; a warp is 3 x 3, from px of what is laid to px of the scene.
"""
import cv2
import numpy as np

from scenes import shrunk


def paste(image, picture, mask, warp, light):
    """Lays the picture where `warp` (its px to the scene's) takes it."""
    height, width = picture.shape[:2]
    edge = np.array([(0, 0, 1), (width, 0, 1), (width, height, 1), (0, height, 1)]) @ warp.T
    corners = edge[:, :2] / edge[:, 2:]
    x0, y0 = np.maximum(np.floor(corners.min(0)).astype(int) - 1, 0)
    x1, y1 = np.minimum(np.ceil(corners.max(0)).astype(int) + 2, image.shape[1::-1])
    if x1 <= x0 or y1 <= y0:
        return
    small, cover = shrunk(picture, mask, np.linalg.norm(corners[1] - corners[0]))
    to_full = np.diag((width / small.shape[1], height / small.shape[0], 1.0))
    warp = np.array([(1, 0, -float(x0)), (0, 1, -float(y0)), (0, 0, 1)]) @ warp @ to_full
    size = (int(x1 - x0), int(y1 - y0))
    seen = cv2.warpPerspective(small, warp, size, borderMode=cv2.BORDER_REPLICATE)
    share = cv2.warpPerspective(cover, warp, size).astype(np.float32) / 255
    seen = cv2.multiply(seen, (*np.float64(light), 0.0))
    area = image[y0:y1, x0:x1]
    area[:] = cv2.blendLinear(area, seen, 1 - share, share)


def from_margin(plate):
    """3 x 3 from px of the plate's picture to mm on the plate."""
    scale = plate.px_per_mm
    return np.array([(1 / scale, 0, -plate.margin), (0, 1 / scale, -plate.margin), (0, 0, 1)])


def lay_plate(image, plate, homography, light):
    paste(image, plate.picture, plate.mask, homography @ from_margin(plate), light)


def write(area, strip, ink, strength=1.0):
    """Puts a mask of letters into the area, from its top left corner."""
    strip = strip[:area.shape[0], :area.shape[1]]
    area = area[:strip.shape[0], :strip.shape[1]]
    share = strip.astype(np.float32) * np.float32(strength / 255)
    area[:] = cv2.blendLinear(area, np.full_like(area, ink), 1 - share, share)


def random_start(rng, image, strip):
    room = np.maximum(np.subtract(image.shape[1::-1], strip.shape[1::-1]), 0)
    return rng.integers(room + 1)
