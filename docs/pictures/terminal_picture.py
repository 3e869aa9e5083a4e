#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Draws what a terminal shows, so that the pictures of screens can be made anew.

usage: tmux capture-pane -e -p | terminal_picture.py FILE.png

Reads text with the colours of ECMA-48 (SGR); needs python3-pil and DejaVu Sans Mono."""

import re
import sys

from PIL import Image, ImageDraw, ImageFont

FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono{}.ttf"
SIZE, CELL, LINE, MARGIN = 15, 9, 19, 12
BACK, TEXT, DIM = (24, 27, 31), (220, 222, 224), (120, 124, 130)
COLOURS = {31: (230, 110, 110), 32: (130, 190, 120), 33: (225, 180, 90), 39: TEXT}
PART = re.compile(r"\x1b\[([0-9;]*)m|\x1b[^m]*?[@-~]|([^\x1b]+)")


class Look:
    """How the next characters look."""

    def __init__(self):
        self.reset()

    def reset(self):
        self.colour, self.bold, self.dim = TEXT, False, False

    def take(self, codes):
        for code in (int(word or 0) for word in codes.split(";")):
            if code == 0:
                self.reset()
            elif code in (1, 2):
                self.bold, self.dim = self.bold or code == 1, self.dim or code == 2
            elif code == 22:
                self.bold = self.dim = False
            elif code in COLOURS:
                self.colour = COLOURS[code]

    def ink(self):
        return DIM if self.dim and self.colour == TEXT else self.colour


def draw(text, path):
    lines = text.rstrip("\n").split("\n")
    width = max(len(re.sub(r"\x1b[^m]*m", "", line)) for line in lines)
    size = (width * CELL + 2 * MARGIN, len(lines) * LINE + 2 * MARGIN)
    picture = Image.new("RGB", size, BACK)
    canvas = ImageDraw.Draw(picture)
    fonts = {bold: ImageFont.truetype(FONT.format("-Bold" if bold else ""), SIZE)
             for bold in (False, True)}
    look = Look()
    for row, line in enumerate(lines):
        column = 0
        for codes, words in PART.findall(line):
            if not words:
                look.take(codes)
            for character in words:
                place = (MARGIN + column * CELL, MARGIN + row * LINE)
                canvas.text(place, character, font=fonts[look.bold], fill=look.ink())
                column += 1
    picture.quantize(256, dither=Image.Dither.NONE).save(path, optimize=True)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    draw(sys.stdin.read(), sys.argv[1])
