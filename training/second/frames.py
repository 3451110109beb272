"""The frames of one vehicle: what differs between them, their truth."""
from functools import lru_cache

import cv2
import numpy as np

import packages
import photo
import plate as plates
import roadside
import scene
import vehicle as vehicles

LARGEST = 2.2e6                        # pixels drawn before the lens; more is drawn less finely


@lru_cache(maxsize=3)
def photograph(path):
    """A background in linear light, no wider than 2400 pixels."""
    picture = cv2.imread(str(path))[..., ::-1]
    ratio = min(1, 2400 / picture.shape[1])
    picture = cv2.resize(picture, None, fx=ratio, fy=ratio, interpolation=cv2.INTER_AREA)
    return (picture.astype(np.float32) / 255) ** 2.2


def random_kind(rng):
    """Vehicle, front or rear, and kind of plate that such vehicles have."""
    names, weights = zip(*scene.KINDS)
    name = str(rng.choice(names, p=np.array(weights) / sum(weights)))
    rear = bool(rng.random() < 0.35)
    chance = rng.random()
    if name in ("truck", "bus"):
        kind = "commercial" if chance < 0.65 else "private"
    elif name == "kei":
        kind = "kei" if chance < 0.85 else "kei commercial"
    else:
        kind = "private" if chance < 0.85 else "commercial"
    return name, rear, kind


def mirrored(picture, light):
    """What paint and glass mirror: the sky above a blurred scene, the road below."""
    small = cv2.GaussianBlur(cv2.resize(picture, (160, 90)), (0, 0), 2.5)
    small = cv2.flip(small, 1) * np.float32(light.diffuse + 0.4 * light.lamp)
    rows = np.linspace(0, 1, 90, dtype=np.float32)[:, None, None]
    sky = np.float32(light.sky) * (0.4 + 0.8 * np.mean(light.diffuse + light.lamp))
    whole = small + (sky - small) * np.clip(1 - 2.2 * rows, 0, 1)
    return (whole * np.clip(1.9 - 1.6 * rows, 0.2, 1)).astype(np.float32)


def shade_on_plate(light, rng):
    """The edge of a shadow across the plate, as a bumper or a tree throws it, or none."""
    columns, rows = plates.picture_size()
    if light.name != "sun" or rng.random() > 0.3:
        return None
    x, y = np.meshgrid(np.linspace(-1, 1, columns), np.linspace(-0.5, 0.5, rows))
    turn = rng.uniform(0, 2 * np.pi)
    side = x * np.cos(turn) + y * np.sin(turn) - rng.uniform(-0.6, 0.6)
    return np.clip(0.5 + side / rng.uniform(0.02, 0.2), 0, 1).astype(np.float32)


def vehicle_frames(folder, number, count, regions, wide, rng):
    """Draw and save a vehicle's frames; their truths. `wide`: large ones with small plates."""
    name, rear, kind = random_kind(rng)
    light = scene.random_light(rng)
    car = vehicles.make(name, rear, vehicles.random_colour(rng), light.lit, rng)
    text = plates.random_text(kind, regions, rng)
    drawn = plates.draw(text, kind, plates.random_lettering(rng), rng)
    around = surroundings(light, rng)
    sizes, parts = (scene.WIDE_SIZES, (0.033, 0.06)) if wide else (scene.SIZES, (0.055, 0.17))
    size = sizes[rng.integers(len(sizes))]
    style = photo.random_style(light.name in ("night", "dusk", "garage"), rng)
    tilted = mount(rng)
    shade = shade_on_plate(light, rng)
    yaw, pace = np.radians(rng.uniform(-38, 38)), rng.uniform(1.05, 1.3)
    first = np.exp(rng.uniform(*np.log(parts)))
    truths = []
    for take in range(count):
        width = float(np.clip(first * pace ** take * size[0], 64, 300))
        view = yaw * (1 - 0.12 * take) + np.radians(rng.normal(0, 1.5))
        frame, corners = shot(car, drawn, light, around, size, width, view, tilted, shade, style,
                              rng)
        path = folder / f"car{number:02d}_f{take + 1:02d}.jpg"
        photo.save(path, frame, style["quality"])
        truths.append(truth_of(path, number, kind, text, corners, light, name, rear, width))
    return truths


def mount(rng):
    """Turn of the plate against the panel that it is screwed on."""
    pitch, roll = np.radians(rng.uniform(-9, 5)), np.radians(rng.normal(0, 0.7))
    up = np.array(((1, 0, 0), (0, np.cos(pitch), -np.sin(pitch)),
                   (0, np.sin(pitch), np.cos(pitch))))
    lean = np.array(((np.cos(roll), -np.sin(roll), 0), (np.sin(roll), np.cos(roll), 0), (0, 0, 1)))
    return lean @ up


def surroundings(light, rng):
    """Backdrop, ground, walls and other vehicles, the same in all frames of a vehicle."""
    files = packages.backgrounds()
    picture = photograph(files[rng.integers(len(files))])
    others = []
    for side in rng.permutation((-1, 1))[:rng.integers(0, 3)]:
        kind = str(rng.choice(vehicles.KINDS[:4]))
        other = vehicles.make(kind, bool(rng.random() < 0.5), vehicles.random_colour(rng),
                              light.lit * float(rng.random() < 0.6), rng, 0.5)
        place = (side * rng.uniform(2400, 3400), rng.uniform(200, 5000))
        others.append((other, place, rng.normal(0, 0.05)))
    walls = [roadside.wall(rng) for _ in range(rng.integers(0, 3))]
    return {"picture": picture, "ground": roadside.asphalt(rng), "others": others,
            "walls": [(wall, rng.uniform(-6000, 6000), rng.uniform(-0.5, 0.5)) for wall in walls],
            "distance": rng.uniform(11000, 26000), "shift": rng.uniform(-1, 1, 2),
            "offset": rng.uniform(0, 12000, 2), "mirrored": mirrored(picture, light)}


def shot(car, drawn, light, around, size, width, yaw, tilted, shade, style, rng):
    """One finished frame and the plate's corners in it."""
    pixels = size[0] * size[1]
    fine = 2.0 if 4 * pixels < LARGEST else 1.5 if pixels < LARGEST else 1.25
    whole = tuple(round(side * fine) for side in size)
    focal = whole[0] * rng.uniform(0.9, 1.6) * (1.3 if size[1] > size[0] else 1)
    x, y, scale = car.plate
    distance = focal * plates.WIDTH * scale * max(np.cos(yaw), 0.7) / (width * fine)
    spot = np.array((rng.uniform(0.3, 0.7), rng.uniform(0.42, 0.78))) * whole
    camera, origin = scene.aim(whole, focal, spot, y, distance, rng.uniform(950, 1900),
                               np.radians(rng.normal(0, 1.5)))
    heading = scene.turned(yaw + np.arctan2(*(origin - camera.place)[[0, 2]]))
    far = origin[2] + around["distance"]
    frame = np.empty(whole[::-1] + (3,), np.float32)
    roadside.backdrop(frame, camera, around["picture"], far, light, around["shift"])
    roadside.lay_ground(frame, camera, around["ground"], far, light, around["offset"])
    for wall, aside, turn in around["walls"]:
        stand(frame, camera, wall, light, around, (aside, origin[2] + 7000), turn)
    anchor = np.array((x, y, 0))
    for other, place, turn in sorted(around["others"], key=lambda item: -item[1][1]):
        at = scene.placed([(place[0], 0, place[1])], heading, np.zeros(3),
                          origin * (1, 0, 1))[0]
        scene.put_vehicle(frame, camera, other, light, heading @ scene.turned(turn), np.zeros(3),
                          at, around["mirrored"])
    scene.put_vehicle(frame, camera, car, light, heading, anchor, origin, around["mirrored"])
    corners = scene.put_plate(frame, camera, drawn, car, light, heading, anchor, origin, tilted,
                              shade)
    return taken(frame, corners, fine, size, width, light, style, rng)


def stand(frame, camera, panel, light, around, place, turn):
    heading = scene.turned(turn)
    if panel.shining is None:
        panel.shining = scene.radiance(panel, light, heading, around["mirrored"])
    points = scene.placed(panel.grid, heading, np.zeros(3), np.array((place[0], 0, place[1])))
    scene.put_sheet(frame, camera, panel.shining, points)


def taken(frame, corners, fine, size, width, light, style, rng):
    """What the camera makes of the scene's light."""
    # OpenCV draws with 0 in the middle of the first pixel, the lens counts from its edge.
    frame, corners = photo.lens(frame, style["barrel"], corners + 0.5)
    tone = np.percentile(cut_out(frame, corners), 92)
    gain = photo.exposed(frame[::4, ::4], light.brightness * rng.uniform(0.8, 1.25), tone)
    frame = photo.bloom(frame * (gain * np.float32(style["white"])), 0.5)
    soft = fine * rng.uniform(0.35, 0.35 + 0.003 * width)
    frame = cv2.GaussianBlur(frame, (0, 0), soft)
    frame = photo.smear(frame, fine * max(0, rng.normal(0, 0.008) * width),
                        rng.uniform(-0.4, 0.4))
    frame = cv2.resize(frame, size, interpolation=cv2.INTER_AREA)
    x, y = np.meshgrid(np.linspace(-1, 1, size[0]), np.linspace(-1, 1, size[1]))
    frame *= (1 - style["vignette"] * (x * x + y * y) / 2).astype(np.float32)[..., None]
    frame = (photo.grain if style["scaled"] else photo.sensor)(frame, style["noise"], rng)
    return photo.develop(frame, style, rng), corners / fine


def cut_out(frame, corners):
    low = np.clip(np.floor(corners.min(0)), 0, None).astype(int)
    high = np.ceil(corners.max(0)).astype(int)
    part = frame[low[1]:high[1], low[0]:high[0]]
    return part if part.size else frame


def truth_of(path, number, kind, text, corners, light, name, rear, width):
    corners = np.round(corners - 0.5, 2)               # 0 is the first pixel's middle
    low, high = corners.min(0), corners.max(0)
    region, class_no, kana, serial = text
    return {"image_path": str(path), "expected": " ".join(text), "group_id": f"car{number:02d}",
            "kind": kind, "region": region, "class_no": class_no, "kana": kana, "serial": serial,
            "vehicle": name, "rear": rear, "light": light.name, "width": round(width, 1),
            "box": [float(value) for value in (*low, *high)], "corners": corners.tolist()}
