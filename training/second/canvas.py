"""A drawing surface in millimetres: paint, gloss and own light of one panel of a thing."""
import cv2
import numpy as np

FRACTION = 4                           # bits below the pixel in OpenCV's drawing calls


def smooth(points, steps=8):
    """A closed curve through the points (Catmull-Rom)."""
    points = np.array(points, float)
    before, after, beyond = (np.roll(points, shift, 0) for shift in (1, -1, -2))
    t = np.linspace(0, 1, steps, endpoint=False)[:, None, None]
    curve = 0.5 * (2 * points + (after - before) * t
                   + (2 * before - 5 * points + 4 * after - beyond) * t ** 2
                   + (3 * points - before - 3 * after + beyond) * t ** 3)
    return curve.transpose(1, 0, 2).reshape(-1, 2)


class Canvas:
    """`width` x `height` mm, origin at the bottom middle, y up; linear light."""

    def __init__(self, width, height, scale, colour, gloss=0.3):
        self.width, self.height, self.scale = width, height, scale
        size = (max(2, round(height * scale)), max(2, round(width * scale)))
        self.paint = np.empty(size + (3,), np.float32)
        self.paint[:] = colour
        self.gloss = np.full(size, gloss, np.float32)
        self.glow = np.zeros(size + (3,), np.float32)
        self.cover = np.ones(size, np.float32)

    def pixels(self, points):
        points = np.array(points, float)
        return np.stack([(points[:, 0] + self.width / 2) * self.scale,
                         (self.height - points[:, 1]) * self.scale], 1)

    def mask(self, points, blur=0.0, line=0.0):
        """Coverage of a polygon (or of a line `line` mm wide) and where it lies."""
        pixels = self.pixels(points)
        spare = 3 + 3 * blur * self.scale + line * self.scale
        rows, columns = self.gloss.shape
        low = np.clip(np.floor(pixels.min(0) - spare), 0, (columns, rows)).astype(int)
        high = np.clip(np.ceil(pixels.max(0) + spare), 0, (columns, rows)).astype(int)
        if (high <= low).any():
            return None, None
        area = np.zeros((high[1] - low[1], high[0] - low[0]), np.uint8)
        fixed = np.rint((pixels - low) * (1 << FRACTION)).astype(np.int32)
        if line:
            cv2.polylines(area, [fixed], False, 255, max(1, round(line * self.scale)),
                          cv2.LINE_AA, FRACTION)
        else:
            cv2.fillPoly(area, [fixed], 255, cv2.LINE_AA, FRACTION)
        area = area.astype(np.float32) / 255
        if blur * self.scale > 0.3:
            area = cv2.GaussianBlur(area, (0, 0), blur * self.scale)
        return area, np.s_[low[1]:high[1], low[0]:high[0]]

    def fill(self, points, colour, strength=1.0, blur=0.0, gloss=None, glow=None, line=0.0):
        area, place = self.mask(points, blur, line)
        if area is None:
            return
        area = area * strength
        paint = self.paint[place]
        paint += (np.float32(colour) - paint) * area[..., None]
        if gloss is not None:
            self.gloss[place] += (gloss - self.gloss[place]) * area
        if glow is not None:
            self.glow[place] += np.float32(glow) * area[..., None]

    def line(self, points, width, colour, strength=1.0, blur=0.0, **more):
        self.fill(points, colour, strength, blur, line=width, **more)

    def shade(self, points, factor, blur=0.0, line=0.0):
        """Darken (below 1) or brighten what is there."""
        area, place = self.mask(points, blur, line)
        if area is not None:
            self.paint[place] *= 1 + (factor - 1) * area[..., None]

    def both(self, points, colour, **more):
        """The shape and its mirror image on the other side."""
        points = np.array(points, float)
        self.fill(points, colour, **more)
        self.fill(points * (-1, 1), colour, **more)

    def disc(self, x, y, radius, colour, **more):
        turn = np.linspace(0, 2 * np.pi, 48, endpoint=False)
        rx, ry = radius if np.ndim(radius) else (radius, radius)
        self.fill(np.stack([x + rx * np.cos(turn), y + ry * np.sin(turn)], 1), colour, **more)

    def cut(self, points):
        """Only what lies in the shape stays."""
        area, place = self.mask(points)
        whole = np.zeros_like(self.cover)
        whole[place] = area
        self.cover *= whole

    def paste(self, glyph, left, top, height, colour, strength=1.0):
        """A coverage picture, `height` mm high, its top left at (left, top)."""
        ratio = height * self.scale / glyph.shape[0]
        glyph = cv2.resize(glyph, None, fx=ratio, fy=ratio, interpolation=cv2.INTER_AREA)
        x, y = np.rint(self.pixels([(left, top)])[0]).astype(int)
        rows, columns = self.gloss.shape
        if x < 0 or y < 0 or x + glyph.shape[1] > columns or y + glyph.shape[0] > rows:
            return
        place = np.s_[y:y + glyph.shape[0], x:x + glyph.shape[1]]
        area = glyph.astype(np.float32)[..., None] / 255 * strength
        self.paint[place] += (np.float32(colour) - self.paint[place]) * area
