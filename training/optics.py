"""What phones and drive recorders make of a scene: pictures RGB, uint8."""
import cv2
import numpy as np

import camera


def vignette(image, rng):
    height, width = image.shape[:2]
    y, x = np.mgrid[-1:1:24j, -1:1:24j].astype(np.float32)
    fall = 1 - rng.uniform(0.1, 0.6) * ((x - rng.uniform(-0.5, 0.5)) ** 2 +
                                        (y - rng.uniform(-0.5, 0.5)) ** 2) / 2
    gain = cv2.resize(np.maximum(fall, 0.1), (width, height))
    return cv2.multiply(image, cv2.merge([gain] * 3), dtype=cv2.CV_8U)


def sharpened(image, rng):
    soft = cv2.GaussianBlur(image, (0, 0), rng.uniform(0.6, 2.5))
    amount = rng.uniform(0.3, 2.5)
    return cv2.addWeighted(image, 1 + amount, soft, -amount, 0)


def colours(image, rng):
    """Another saturation, tone curve and colour of light."""
    grey = cv2.cvtColor(cv2.cvtColor(image, cv2.COLOR_RGB2GRAY), cv2.COLOR_GRAY2RGB)
    much = rng.uniform(0, 0.4) if rng.random() < 0.15 else rng.uniform(0.6, 1.7)
    image = cv2.addWeighted(image, much, grey, 1 - much, 0)
    curve = (np.arange(256) / 255) ** np.exp(rng.uniform(-0.5, 0.6))
    table = np.outer(curve * 255 * rng.uniform(0.6, 1.45), rng.uniform(0.85, 1.15, 3))
    return cv2.LUT(image, np.clip(table + rng.uniform(-15, 25), 0, 255).astype(np.uint8)[None])


def photographed(image, rng):
    if rng.random() < 0.6:
        image = colours(image, rng)
    if rng.random() < 0.2:
        image = vignette(image, rng)
    image = camera.degrade(image, rng, rng.uniform(0, 0.75))
    if rng.random() < 0.12:
        image = cv2.medianBlur(image, 3)
    if rng.random() < 0.35:
        image = sharpened(image, rng)
        if rng.random() < 0.5:
            image = camera.jpeg_loss(image, rng, rng.uniform(0.2, 1))
    return image
