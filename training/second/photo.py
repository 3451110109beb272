"""From light in the scene to a picture file: lens, sensor, development, compression."""
import cv2
import numpy as np


def lens(frame, strength, points):
    """Barrel (negative) or pincushion distortion of a frame; where `points` go."""
    rows, columns = frame.shape[:2]
    middle, reach = np.array((columns, rows)) / 2, np.hypot(columns, rows) / 2
    x, y = np.meshgrid(np.arange(columns, dtype=np.float32), np.arange(rows, dtype=np.float32))
    x, y = (x + 0.5 - middle[0]) / reach, (y + 0.5 - middle[1]) / reach
    stretch = 1 - strength * (x * x + y * y - 0.5)      # from the picture back to the scene
    frame = cv2.remap(frame, (x * stretch * reach + middle[0] - 0.5).astype(np.float32),
                      (y * stretch * reach + middle[1] - 0.5).astype(np.float32), cv2.INTER_LINEAR,
                      borderMode=cv2.BORDER_REFLECT)
    goal = (np.asarray(points) - middle) / reach
    place = goal.copy()
    for _ in range(20):
        place = goal / (1 - strength * ((place ** 2).sum(1, keepdims=True) - 0.5))
    return frame, place * reach + middle


def bloom(frame, amount):
    """Light that scatters in the lens around what is too bright."""
    spill = np.maximum(frame - 0.9, 0)
    if amount <= 0 or spill.max() <= 0:
        return frame
    small = cv2.resize(np.minimum(spill, 6), None, fx=0.25, fy=0.25, interpolation=cv2.INTER_AREA)
    width = frame.shape[1] / 4
    around = sum(weight * cv2.GaussianBlur(small, (0, 0), part * width)
                 for part, weight in ((0.004, 0.6), (0.02, 0.3), (0.06, 0.12)))
    return frame + amount * cv2.resize(around, frame.shape[1::-1])


def smear(frame, length, angle):
    """Movement during the exposure, `length` in pixels."""
    if length < 0.7:
        return frame
    side = int(np.ceil(length)) | 1
    side += 2
    kernel = np.zeros((side, side), np.uint8)
    reach = length / 2 * np.array((np.cos(angle), np.sin(angle)))
    middle = side // 2
    cv2.line(kernel, *[tuple(np.rint((middle + sign * reach) * 16).astype(int).tolist())
                       for sign in (-1, 1)], 255, 1, cv2.LINE_AA, 4)
    kernel = kernel.astype(np.float32)
    return cv2.filter2D(frame, -1, kernel / kernel.sum())


def grain(frame, noise, rng):
    """A picture scaled down after it was taken: noise is finer, no mosaic is left."""
    noise = 0.6 * noise * np.sqrt(0.02 * np.clip(frame, 0, 1) + 0.0003)
    return np.clip(frame + noise * rng.standard_normal(frame.shape, dtype=np.float32), 0, 1)


def sensor(frame, noise, rng):
    """A mosaic of red, green and blue cells that count light, and its reconstruction."""
    rows, columns = (side // 2 * 2 for side in frame.shape[:2])
    frame = np.clip(frame[:rows, :columns], 0, 1)
    mosaic = frame[..., 1].copy()
    mosaic[0::2, 0::2] = frame[0::2, 0::2, 2]
    mosaic[1::2, 1::2] = frame[1::2, 1::2, 0]
    deviation = noise * np.sqrt(0.02 * mosaic + 0.0003)
    mosaic = mosaic + deviation * rng.standard_normal(mosaic.shape, dtype=np.float32)
    mosaic = np.clip(mosaic * 60000 + 2000, 0, 65535).astype(np.uint16)
    full = cv2.cvtColor(mosaic, cv2.COLOR_BayerRG2RGB).astype(np.float32)
    return np.clip((full - 2000) / 60000, 0, 1)


def develop(frame, style, rng):
    """Noise reduction, tone curve, colour and sharpening, as phones and cameras do."""
    frame = np.clip(frame, 0, 1) ** np.float32(1 / 2.2)
    frame = frame + style["contrast"] * (frame - 0.5) * frame * (1 - frame) * 2
    grey = frame.mean(2, keepdims=True)
    frame = grey + style["saturation"] * (frame - grey)
    picture = np.clip(frame * 255, 0, 255).astype(np.uint8)
    if style["denoise"] > 0:
        picture = cv2.bilateralFilter(picture, 5, style["denoise"], 1.5)
    if style["sharpen"] > 0:
        soft = cv2.GaussianBlur(picture, (0, 0), style["radius"])
        picture = cv2.addWeighted(picture, 1 + style["sharpen"], soft, -style["sharpen"], 0)
    return picture


def random_style(night, rng):
    return {"contrast": rng.uniform(0, 0.8), "saturation": rng.uniform(0.85, 1.25),
            "denoise": rng.uniform(8, 25) if night else rng.uniform(-6, 10),
            "sharpen": max(0, rng.uniform(-0.3, 1.1)), "radius": rng.uniform(0.8, 1.8),
            "white": 1 + rng.normal(0, 0.035, 3), "vignette": rng.uniform(0, 0.3),
            "scaled": bool(rng.random() < 0.6),
            "barrel": rng.uniform(-0.05, 0.025), "quality": int(rng.integers(62, 96)),
            "noise": rng.uniform(0.2, 0.5) if night else rng.uniform(0.05, 0.3)}


def exposed(frame, brightness, plate_tone):
    """Gain of an automatic exposure that leaves the plate neither black nor burnt out."""
    seen = np.minimum(frame, np.percentile(frame, 97))
    gain = brightness / max(float(seen.mean()), 1e-4)
    return float(np.clip(gain, 0.13 / plate_tone, 1.02 / plate_tone))


def save(path, picture, quality):
    cv2.imwrite(str(path), picture[..., ::-1], (cv2.IMWRITE_JPEG_QUALITY, quality))
