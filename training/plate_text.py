"""What stands on Japanese licence plates, and the kinds of plates there are."""
from dataclasses import dataclass
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parents[1]

PLATE_KANA = "あいうえおかきくけこさすせそたちつてとなにぬねのはひふほまみむめもやゆよらりるれろわ"
CLASS_LETTERS = "ACFHKLMPXY"
MIDDLE_DOT = "・"


@dataclass(frozen=True)
class Kind:
    ground: tuple             # RGB
    text: tuple               # RGB
    seal: bool                # on the left bolt; kei plates have none
    kana: str
    class_first: str          # first digits that vehicles of the kind have
    class_second: str         # kei numbers keep to the eighties
    frame: tuple = None       # coloured rim of pictorial plates
    pictures: bool = False


WHITE, GREEN = (222, 224, 219), (20, 86, 50)
YELLOW, BLACK = (240, 196, 24), (22, 22, 22)
ANY_DIGIT = "0123456789"
PRIVATE_KANA = "さすせそたちつてとなにぬねのはひふほまみむめもやゆよらりるれろわ"
BUSINESS_KANA = "あいうえおかきくけこ"
KINDS = {
    "private": Kind(WHITE, GREEN, True, PRIVATE_KANA, "1345789", ANY_DIGIT),
    "business": Kind(GREEN, WHITE, True, BUSINESS_KANA, "123589", ANY_DIGIT),
    "kei": Kind(YELLOW, BLACK, False, BUSINESS_KANA + PRIVATE_KANA, "4578", "89"),
    "kei_business": Kind((26, 26, 26), YELLOW, False, "りれ", "45", "89"),
    "pictorial": Kind(WHITE, GREEN, True, PRIVATE_KANA, "1345789", ANY_DIGIT,
                      None, True),
    "pictorial_business": Kind(WHITE, GREEN, True, BUSINESS_KANA, "123589", ANY_DIGIT,
                               GREEN, True),
    "pictorial_kei": Kind(WHITE, GREEN, False, BUSINESS_KANA + PRIVATE_KANA, "4578",
                          "89", YELLOW, True),
}
KIND_SHARES = {"private": 0.38, "business": 0.18, "kei": 0.20, "kei_business": 0.06,
               "pictorial": 0.08, "pictorial_business": 0.03, "pictorial_kei": 0.07}


@dataclass(frozen=True)
class PlateText:
    kind: str        # of KINDS
    region: str
    class_no: str    # "330", rarely with letters: "30A"
    kana: str
    serial: str      # "12-34", below 1000 the digits alone: "503"

    def expected(self):
        """As kavrel reports the number: the dots of a short serial are no part of it."""
        return f"{self.region} {self.class_no} {self.kana} {self.serial}"

    def upper_row_text(self):
        return self.region + self.class_no

    def lower_row_text(self):
        return self.kana + self.serial.rjust(4, MIDDLE_DOT)


def load_regions():
    words = (ROOT / "dict/region_words.txt").read_text(encoding="utf-8").split()
    return tuple(words)


def format_serial(number):
    """1234 is printed with a hyphen, shorter numbers without."""
    digits = str(number)
    return f"{digits[:2]}-{digits[2:]}" if len(digits) == 4 else digits


def pick(rng, options):
    return options[int(rng.integers(len(options)))]


def random_class(rng, kind, letters, uniform):
    if uniform:
        digits = [pick(rng, ANY_DIGIT) for _ in range(3)]
    else:
        digits = [pick(rng, kind.class_first), pick(rng, kind.class_second),
                  pick(rng, ANY_DIGIT)]
    if rng.random() < letters:
        digits[2] = pick(rng, CLASS_LETTERS)
        if rng.random() < 0.3:
            digits[1] = pick(rng, CLASS_LETTERS)
    return "".join(digits)


def random_serial(rng, short):
    """`short`: chances of one, two and three digits."""
    one, two, three = np.cumsum(short)
    chance = rng.random()
    digits = 1 if chance < one else 2 if chance < two else 3 if chance < three else 4
    return format_serial(int(rng.integers(10 ** (digits - 1), 10 ** digits)))


def random_plate_text(rng, regions, kinds=None, letters=0.03, uniform=0.5,
                      short=(0.02, 0.03, 0.15)):
    """A plate that might drive about.

    With chance `uniform` kana and class number come from all there are, not
    from those of the kind: readers need every one of them often enough.
    """
    names = tuple(kinds or KIND_SHARES)
    shares = np.array([KIND_SHARES[name] for name in names])
    name = names[int(rng.choice(len(names), p=shares / shares.sum()))]
    kana = PLATE_KANA if rng.random() < uniform else KINDS[name].kana
    class_no = random_class(rng, KINDS[name], letters, rng.random() < uniform)
    return PlateText(name, pick(rng, regions), class_no, pick(rng, kana),
                     random_serial(rng, short))
