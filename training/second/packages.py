"""Fonts and photographs of the second renderer: Debian packages that no training uses.

Every package is fetched with apt-get download and unpacked into training/cache/second, which
git ignores; nothing is installed.
"""
import subprocess
import sys
from pathlib import Path

CACHE = Path(__file__).resolve().parents[1] / "cache/second"

FONT_FOLDER = "usr/share/fonts/truetype/"
FONTS = {                              # package: files
    "fonts-morisawa-bizud-gothic": ("bizud-gothic/BIZUDGothic-Regular.ttf",
                                    "bizud-gothic/BIZUDGothic-Bold.ttf"),
    "fonts-sawarabi-gothic": ("sawarabi-gothic/sawarabi-gothic-medium.ttf",),
    "fonts-konatu": ("konatu/Konatu.ttf",),
}


def unpacked(package):
    """Folder with the package's files, fetched on the first call."""
    folder = CACHE / package
    if folder.exists():
        return folder
    CACHE.mkdir(parents=True, exist_ok=True)
    (CACHE.parent / ".gitignore").write_text("*\n", encoding="ascii")
    done = subprocess.run(("apt-get", "download", package), cwd=CACHE, check=False,
                          capture_output=True, text=True)
    archives = list(CACHE.glob(package + "_*.deb"))
    if done.returncode or not archives:
        sys.exit(f"apt-get download {package} failed: {done.stderr[-300:]}")
    scratch = CACHE / (package + ".part")
    subprocess.run(("dpkg-deb", "-x", archives[0], scratch), check=True)
    archives[0].unlink()
    scratch.rename(folder)
    return folder


def font(name):
    """Path of a font file by its name without folder and ending."""
    for package, files in FONTS.items():
        for file in files:
            if Path(file).stem == name:
                return unpacked(package) / FONT_FOLDER / file
    raise ValueError("no font " + name)


DRAWN = {"Infinite-Sea", "Elephants", "GreenTraditional", "Painting-Colors", "Blinds"}
BACKGROUNDS = ("lomiri-wallpapers-20.04", "mate-backgrounds")


def backgrounds():
    """Photographs behind the vehicles, in a fixed order."""
    return [path for package in BACKGROUNDS
            for path in sorted(unpacked(package).rglob("*.jpg"))
            if path.stat().st_size > 100000 and not DRAWN & set(path.stem.split("_"))]


# Photographs without plates, for counting false alarms; none of them is a background above.
# package: (licence of its pictures, the files)
WITHOUT_PLATES = {
    "lomiri-wallpapers-16.04": ("CC-BY-4.0, CC-BY-SA-4.0", ("*_by_*.jpg",)),
    "lxqt-themes": ("CC-BY-SA-3.0", tuple(f"wallpapers/{name}" for name in (
        "Butterfly-Kenneth-Wimer.jpg", "after-the-rain.jpg", "appleflower.png", "butterfly.png",
        "cloud.png", "drop.png", "flowers.png", "fog.jpg", "this-is-not-windows.jpg",
        "Valendas.png"))),
    "kphotoalbum": ("GPL-2+", ("demo/*.jpg",)),
    "palapeli-data": ("GPL-2+", ("castle-maintenon.jpg", "cincinnati-bridge.jpg",
                                 "citrus-fruits.jpg", "european-honey-bee.jpg",
                                 "panther-chameleon-female.jpg")),
    "opencv-doc": ("Apache-2.0, BSD-3-Clause", tuple(f"examples/{name}" for name in (
        "data/aero1.jpg", "data/aero3.jpg", "data/aloeL.jpg", "data/apple.jpg",
        "data/baboon.jpg", "data/basketball1.png", "data/board.jpg", "data/box_in_scene.png",
        "data/building.jpg", "data/butterfly.jpg", "data/cards.png", "data/ela_original.jpg",
        "data/fruits.jpg", "data/graf1.png", "data/graf3.png", "data/home.jpg", "data/left.jpg",
        "data/left01.jpg", "data/left05.jpg", "data/leuvenA.jpg", "data/leuvenB.jpg",
        "data/messi5.jpg", "data/orange.jpg", "data/rubberwhale1.png", "data/smarties.png",
        "data/squirrel_cls.jpg", "data/stuff.jpg", "data/text_defocus.jpg",
        "text/scenetext01.jpg", "text/scenetext02.jpg", "text/scenetext03.jpg",
        "text/scenetext04.jpg", "text/scenetext05.jpg", "text/scenetext06.jpg",
        "text/scenetext_segmented_word0?.jpg", "text/scenetext_word0?.jpg", "data/vtest.avi",
        "data/tree.avi"))),
}


def without_plates():
    """Photographs and films that show no plate, in a fixed order."""
    found = []
    for package, (_, patterns) in WITHOUT_PLATES.items():
        files = [path for pattern in patterns for path in unpacked(package).rglob(pattern)]
        found += sorted({path for path in files
                         if path.is_file() and not path.is_symlink()
                         and (path.suffix == ".avi" or path.stat().st_size > 10000)})
    return found
