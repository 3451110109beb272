"""What stands behind everything in a scene: free photographs, drawn streets, both in one.

Pictures are RGB, uint8; sizes are (width, height).
"""
import cv2
import numpy as np

import backgrounds
from street import draw_clutter, draw_street


def photo_ground(rng, size):
    return backgrounds.cover(rng, size)


def collage(rng, size):
    """Photographs above and below, as walls and road."""
    image = backgrounds.cover(rng, size)
    horizon = int(size[1] * rng.uniform(0.3, 0.7))
    road = backgrounds.cover(rng, (size[0], size[1] - horizon), (1.0, 1.5))
    if rng.random() < 0.7:
        # A road is seen from a low point: far ends are narrow.
        h, w = road.shape[:2]
        spread = rng.uniform(0.2, 1.5) * w
        warp = cv2.getPerspectiveTransform(
            np.float32([(0, 0), (w, 0), (w, h), (0, h)]),
            np.float32([(0, 0), (w, 0), (w + spread, h), (-spread, h)]))
        road = cv2.warpPerspective(road, warp, (w, h), borderMode=cv2.BORDER_REFLECT)
    if rng.random() < 0.5:
        grey = cv2.cvtColor(cv2.cvtColor(road, cv2.COLOR_RGB2GRAY), cv2.COLOR_GRAY2RGB)
        road = cv2.addWeighted(road, 0.25, grey, 0.75, 0)
    image[horizon:] = road
    for _ in range(int(rng.integers(0, 6))):
        w, h = (np.array(size) * rng.uniform(0.05, 0.5, 2)).astype(int) + 8
        x, y = (rng.uniform(-0.1, 0.9, 2) * size).astype(int).clip(0)
        area = image[y:y + h, x:x + w]
        area[:] = backgrounds.cover(rng, (area.shape[1], area.shape[0]))
    return image


def street_ground(rng, size):
    """The drawn street with photographs worked into it."""
    image = draw_clutter(size, rng) if rng.random() < 0.2 else draw_street(size, rng)
    if rng.random() < 0.7:
        share = rng.uniform(0.1, 0.6)
        image = cv2.addWeighted(image, 1 - share, backgrounds.cover(rng, size), share, 0)
    return image


def random_ground(rng, size):
    way = rng.random()
    ground = (photo_ground if way < 0.45 else collage if way < 0.75 else street_ground)(rng, size)
    if rng.random() < 0.2:
        length = int(rng.uniform(5, 45))
        ground = cv2.blur(ground, (length, 1 + int(rng.integers(2))))
    elif rng.random() < 0.25:
        ground = cv2.GaussianBlur(ground, (0, 0), rng.uniform(0.8, 5))
    return ground
