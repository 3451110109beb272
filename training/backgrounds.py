"""Free photographs and textures without plates, from Debian packages.

The packages are downloaded and unpacked into training/cache, not installed;
apt-get and its lists are all that is needed.  Nothing of them is part of this
repository.  Pictures are RGB, uint8, rows first.

    training/backgrounds.py     # fetches and counts them

Debian packages: python3-opencv python3-numpy, and those below by themselves
"""
import fnmatch
import functools
import subprocess
import sys
import zipfile
from pathlib import Path

import cv2
import numpy as np

CACHE = Path(__file__).resolve().parent / "cache"
LARGEST = 1600           # px of the longer side of what is kept
LEAST_SIDE = 256
LEAST_COLOURS = 600      # of 4,096 pixels; drawings and icons have fewer

# package: (licences of its pictures, folders or files to take, of these not to take)
PACKAGES = {
    "plasma-workspace-wallpapers": ("GPL-2+",
        ("*/contents/images*/*",), ()),
    "python3-sklearn": ("CC-BY-2.0",
        ("*/datasets/images/*",), ()),
    "libjxl-testdata": ("CC0, BSD-3",
        ("*/wesaturate/*", "*/flower.png", "*/hdr_room.png"), ()),
    "torcs-data": ("GPL-2+, LGPL-2+",
        ("*/tracks/*",), ("*clkdtm*", "*64PASS*", "*treeRNS*", "*ISL1*")),
    "supertuxkart-data": ("CC-BY-SA, CC-BY, CC0, public domain, GPL",
        ("*/data/textures/*", "*/data/tracks/*"), ("*screenshot*", "*minimap*")),
    "ufoai-textures": ("GPL-2+, CC-BY-SA-3.0, CC-BY-3.0, public domain",
        ("*/textures/*",), ()),
    "nexuiz-textures": ("GPL-2+",
        ("*/textures/*",), ()),
    "openarena-081-textures": ("GPL-2+",
        ("*/textures/*", "*/env/*"), ()),
    "redeclipse-data": ("CC-BY-SA-3.0, CC-BY-3.0, CC0",
        ("*/data/*",), ("*/actors/*", "*/weapons/*")),
    "flightgear-data-base": ("GPL-2+",
        ("*/Textures*/*",), ()),
    "extremetuxracer-data": ("GPL-2+, CC0",
        ("*/terrains/*", "*/env/*"), ()),
}
NATURAL = ("plasma-workspace-wallpapers", "python3-sklearn", "libjxl-testdata")
# Maps of relief and light look like no photograph.
NO_PHOTOGRAPH = ("*_n.*", "*_norm*", "*normal*", "*_gloss*", "*_spec*", "*_bump*", "*_mask*",
                 "*_local*", "*_glow*", "*icon*", "*font*", "*_h.*", "*_lum*", "*logo*",
                 "*map0*", "*screens*")
PICTURES = (".jpg", ".jpeg", ".png", ".webp", ".tga")


def unpack(package):
    """The package's files below training/cache, fetched when they are not there yet."""
    folder = CACHE / f"x_{package}"
    if folder.exists():
        return folder
    CACHE.mkdir(parents=True, exist_ok=True)
    (CACHE / ".gitignore").write_text("*\n")
    subprocess.run(["apt-get", "download", package], cwd=CACHE, check=True)
    part = CACHE / f"part_{package}"
    for archive in CACHE.glob(f"{package}_*.deb"):
        subprocess.run(["dpkg-deb", "-x", archive, part], check=True)
        archive.unlink()
    for archive in part.rglob("*.pk3"):
        with zipfile.ZipFile(archive) as pictures:
            pictures.extractall(archive.parent / "unz")
    # Renamed when whole: an interrupted download begins anew.
    part.rename(folder)
    return folder


def wanted(path, take, leave):
    name = str(path.relative_to(CACHE))
    return (path.suffix.lower() in PICTURES and any(fnmatch.fnmatch(name, p) for p in take)
            and not any(fnmatch.fnmatch(name, p) for p in leave + NO_PHOTOGRAPH))


def photograph(path):
    """The picture in RGB, or None if it is too small or plain."""
    picture = cv2.imread(str(path))
    if picture is None or min(picture.shape[:2]) < LEAST_SIDE:
        return None
    small = cv2.resize(picture, (64, 64), interpolation=cv2.INTER_AREA).reshape(-1, 3)
    if len(np.unique(small // 4, axis=0)) < LEAST_COLOURS:
        return None
    scale = LARGEST / max(picture.shape[:2])
    if scale < 1:
        picture = cv2.resize(picture, None, fx=scale, fy=scale, interpolation=cv2.INTER_AREA)
    return picture


def is_map(small):
    """Whether the picture (64 x 64, BGR) holds directions or marks in place of colours."""
    blue, green, red = (small[..., i].astype(float) for i in range(3))
    relief = blue.mean() > 165 and abs(green.mean() - 128) < 45 and abs(red.mean() - 128) < 45
    garish = np.mean((small.max(-1) > 225) & (small.min(-1) < 30)) > 0.35
    return relief or garish


def pictures_of(package):
    """The package's photographs as BGR, each look once."""
    _, take, leave = PACKAGES[package]
    looks = set()
    for path in sorted(unpack(package).rglob("*")):
        picture = photograph(path) if wanted(path, take, leave) else None
        if picture is None or is_map(cv2.resize(picture, (64, 64), interpolation=cv2.INTER_AREA)):
            continue
        look = (cv2.resize(picture, (12, 12), interpolation=cv2.INTER_AREA) // 16).tobytes()
        if look not in looks:
            looks.add(look)
            yield picture


@functools.lru_cache(maxsize=1)
def gathered():
    """Files of all photographs, in training/cache; gathered at the first call."""
    folder = CACHE / "backgrounds"
    if not (folder / "all").exists():
        folder.mkdir(parents=True, exist_ok=True)
        for package in PACKAGES:
            for index, picture in enumerate(pictures_of(package)):
                cv2.imwrite(str(folder / f"{package}_{index:04d}.jpg"), picture,
                            (cv2.IMWRITE_JPEG_QUALITY, 92))
        (folder / "all").touch()
    return sorted(folder.glob("*.jpg"))


@functools.lru_cache(maxsize=200)
def opened(path):
    return cv2.cvtColor(cv2.imread(str(path)), cv2.COLOR_BGR2RGB)


def random_picture(rng, natural=False):
    """One of them, from every package about as often as the root of its number; `natural`:
    one of plants, animals, rooms and land, where the most others are textures."""
    files, shares = shares_of()
    if natural:
        chosen = [path for path in files if path.name.rsplit("_", 1)[0] in NATURAL]
        return opened(chosen[int(rng.integers(len(chosen)))])
    return opened(files[int(rng.choice(len(files), p=shares))])


@functools.lru_cache(maxsize=1)
def shares_of():
    files = gathered()
    packages = [path.name.rsplit("_", 1)[0] for path in files]
    weight = np.array([packages.count(package) ** -0.5 for package in packages])
    return files, weight / weight.sum()


def cover(rng, size, zoom=(1.0, 2.5), natural=False):
    """A piece of a photograph that fills `size` (width, height), perhaps mirrored."""
    picture = random_picture(rng, natural)
    height, width = picture.shape[:2]
    scale = max(size[0] / width, size[1] / height) * np.exp(rng.uniform(*np.log(zoom)))
    part = np.minimum(np.array(size) / scale, (width, height))
    x, y = (rng.uniform(0, 1, 2) * ((width, height) - part)).astype(int)
    w, h = np.maximum(part.astype(int), 1)
    piece = picture[y:y + h, x:x + w]
    piece = piece[:, ::-1] if rng.random() < 0.5 else piece
    way = cv2.INTER_AREA if scale < 1 else cv2.INTER_LINEAR
    return cv2.resize(np.ascontiguousarray(piece), tuple(size), interpolation=way)


if __name__ == "__main__":
    names = [path.name.rsplit("_", 1)[0] for path in gathered()]
    for name in sorted(set(names)):
        print(f"{names.count(name):5d}  {name}: {PACKAGES[name][0]}")
    sys.exit(not names)
