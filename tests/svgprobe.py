#!/usr/bin/env python3
# svgprobe: checks a browser's screenshot of a roster picture against the SVG that
# `cuadrante render` wrote. Every box big enough to sample must show its fill near
# its edges, every legend swatch its fill at its centre, and every pixel well away
# from anything the SVG draws must be white, so a picture that is shifted, clipped,
# scaled or not drawn at all fails.
#
#   svgprobe.py ROSTER.svg SHOT.png   exit 0 pass, 1 fail, 2 bad input
#   svgprobe.py --plan PLAN.svg SHOT.png   the same, and the people and holidays of a
#                                          `plan render` picture (see check_plan)
#   svgprobe.py --pixel SHOT.png X Y [X Y ...]  prints each pixel's colour as #rrggbb
#
# Only 8-bit RGB and RGBA non-interlaced PNGs are read: that is what browsers write
# for a screenshot, and anything else is refused rather than guessed at. The SVG is
# read with Python's own XML parser, the PNG's data inflated by its zlib.
import math
import re
import struct
import sys
import xml.etree.ElementTree as ET
import zlib

SVG_NS = "{http://www.w3.org/2000/svg}"
TOLERANCE = 8  # antialiasing and colour management may move a channel by a step or two
SLACK = 3  # strokes and antialiasing reach this far past what the SVG marks


class BadInput(Exception):
    pass


def hex_of(c):
    return "#%02x%02x%02x" % c


def near(a, b):
    return all(abs(x - y) <= TOLERANCE for x, y in zip(a, b))


def paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    return a if pa <= pb and pa <= pc else b if pb <= pc else c


class Image:
    """The screenshot, alpha laid over a white page as the browser would show it."""

    def __init__(self, path):
        data = open(path, "rb").read()
        if data[:8] != b"\x89PNG\r\n\x1a\n":
            raise BadInput("not a PNG file (bad signature)")
        idat, at, header = bytearray(), 8, None
        while True:
            if len(data) - at < 12:
                raise BadInput(f"truncated chunk at offset {at}")
            length, kind = struct.unpack(">I4s", data[at:at + 8])
            kind = kind.decode("latin-1")
            if length > len(data) - at - 12:
                raise BadInput(f"chunk {kind} runs past the end of the file")
            body = data[at + 8:at + 8 + length]
            if header is None and kind != "IHDR":
                raise BadInput(f"first chunk is {kind}, not IHDR")
            if kind == "IHDR":
                if length != 13:
                    raise BadInput("IHDR is not 13 bytes")
                header = struct.unpack(">IIBBBBB", body)
            elif kind == "IDAT":
                idat += body
            elif kind == "IEND":
                break
            elif not ord(kind[0]) & 0x20 and kind != "PLTE":
                raise BadInput(f"unknown critical chunk {kind}")
            at += 12 + length
        w, h, depth, colour, compression, filtering, interlace = header
        if not (0 < w <= 16384 and 0 < h <= 16384):
            raise BadInput(f"unsupported size {w}x{h}")
        if depth != 8 or colour not in (2, 6):
            raise BadInput(f"unsupported format: bit depth {depth}, colour type {colour}"
                           " (only 8-bit RGB and RGBA are read)")
        if compression or filtering:
            raise BadInput("unknown compression or filter method")
        if interlace:
            raise BadInput("interlaced PNGs are not read")
        try:
            raw = zlib.decompress(bytes(idat))
        except zlib.error as e:
            raise BadInput(f"image data does not inflate: {e}")
        bpp = 4 if colour == 6 else 3
        stride = w * bpp
        if len(raw) != h * (stride + 1):
            raise BadInput(f"image data is {len(raw)} bytes, expected {h * (stride + 1)}")
        self.width, self.height, self.bpp, self.rows = w, h, bpp, []
        previous = bytes(stride)
        for y in range(h):
            start = y * (stride + 1)
            kind, line = raw[start], bytearray(raw[start + 1:start + 1 + stride])
            if kind > 4:
                raise BadInput(f"row {y} has filter {kind}")
            if kind == 2:  # the filter browsers use most, done a row at a time
                line = bytearray((a + b) & 0xFF for a, b in zip(line, previous))
            elif kind:
                for i in range(stride):
                    a = line[i - bpp] if i >= bpp else 0
                    b = previous[i]
                    c = previous[i - bpp] if i >= bpp else 0
                    pred = a if kind == 1 else (a + b) // 2 if kind == 3 else paeth(a, b, c)
                    line[i] = (line[i] + pred) & 0xFF
            self.rows.append(line)
            previous = line

    def contains(self, x, y):
        return 0 <= x < self.width and 0 <= y < self.height

    def at(self, x, y):
        px = self.rows[y][x * self.bpp:(x + 1) * self.bpp]
        alpha = px[3] if self.bpp == 4 else 255
        return tuple((px[k] * alpha + 255 * (255 - alpha) + 127) // 255 for k in range(3))


def number(node, name, fallback):
    text = node.get(name)
    if text is None:
        return fallback
    if not re.fullmatch(r"-?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?", text):
        raise BadInput(f'<{local(node)}> has {name}="{text}", not a number')
    return float(text)


def whole(node, name):
    value = number(node, name, 0)
    if value != math.floor(value):
        raise BadInput(f"<{local(node)}> has a fractional {name}")
    return int(value)


def colour(text):
    if not re.fullmatch(r"#[0-9a-f]{6}", text or ""):
        raise BadInput(f"colour '{text}' is not #rrggbb")
    return tuple(int(text[k:k + 2], 16) for k in (1, 3, 5))


def local(node):
    return node.tag.removeprefix(SVG_NS)


class Picture:
    def __init__(self, path):
        try:
            root = ET.parse(path).getroot()
        except ET.ParseError as e:
            line, column = e.position
            lines = open(path, "rb").read().split(b"\n")
            offset = sum(len(s) + 1 for s in lines[:line - 1]) + column
            raise BadInput(f"{e.msg.split(':')[0]} at offset {offset}")
        if root.tag != SVG_NS + "svg":
            raise BadInput("the root is not an SVG element")
        self.width, self.height = whole(root, "width"), whole(root, "height")
        if not (0 < self.width <= 16384 and 0 < self.height <= 16384):
            raise BadInput("unsupported size")
        view_box = f"0 0 {self.width} {self.height}"
        if root.get("viewBox") != view_box:
            raise BadInput(f"viewBox is not '{view_box}'")
        self.boxes, self.swatches, self.background = [], [], False
        # Marks drawn over boxes on purpose (the midnight notches of a plan), each
        # with the number of boxes drawn before it: those boxes are not sampled there.
        self.overlays = []
        # A plan's people: (employee, top, height, [(x, y, w, h) of what the block
        # draws], [text boxes of its name], [its boxes' indices]); its holiday columns
        # and header marks as (x, y, w, h, fill).
        self.people, self.holidays, self.holiday_marks = [], [], []
        self.weekends, self.frames = [], []  # (x, y, w, h); (x, y) of each frame rule
        self.drawn = [bytearray(self.width) for _ in range(self.height)]
        # What is drawn, leaving out the columns of weekends and holidays.
        self.over = [bytearray(self.width) for _ in range(self.height)]
        self.walk(root, number(root, "font-size", 16), False, None)

    def walk(self, node, font_size, in_legend, person):
        for child in node:
            name, cls = local(child), child.get("class", "")
            if child.get("transform") is not None:
                raise BadInput(f"<{name}> has a transform")
            size = number(child, "font-size", font_size)
            if name == "g":
                inner = person
                if cls == "person":
                    inner = (child.get("data-employee", ""), whole(child, "data-y"),
                             whole(child, "data-height"), [], [], [])
                    self.people.append(inner)
                self.walk(child, size, in_legend or cls == "legend", inner)
            elif name == "rect":
                self.rect(child, cls, in_legend, person)
            elif name == "line":
                x1, y1, x2, y2 = (number(child, k, 0) for k in ("x1", "y1", "x2", "y2"))
                half = number(child, "stroke-width", 1) / 2
                if cls == "frame":
                    self.frames.append((round(min(x1, x2)), y1))
                if cls == "midnight":
                    self.overlays.append((len(self.boxes), min(x1, x2) - half, min(y1, y2),
                                          max(x1, x2) + half, max(y1, y2)))
                if person and cls != "frame":
                    person[3].append((min(x1, x2) - half, min(y1, y2) - half,
                                      abs(x2 - x1) + 2 * half, abs(y2 - y1) + 2 * half))
                self.mark(min(x1, x2), min(y1, y2), max(x1, x2), max(y1, y2))
            elif name == "text":
                # No font metrics here: a generous box of 0.7 em a character, ascent to descent.
                x, y = number(child, "x", 0), number(child, "y", 0)
                advance = 0.7 * size * len(child.text or "")
                if child.get("text-anchor") == "middle":
                    x -= advance / 2
                if person:
                    # Cap height to descent, as a reader sees where the name sits.
                    person[4 if cls == "name" else 3].append((x, y - 0.75 * size, advance,
                                                              size))
                self.mark(x, y - size, x + advance, y + 0.35 * size)
            elif name != "title":
                raise BadInput(f"<{name}> is not an element this probe knows")

    def rect(self, node, cls, in_legend, person):
        x, y, w, h = (whole(node, k) for k in ("x", "y", "width", "height"))
        fill = node.get("fill", "")
        if not self.background:
            if (x, y, w, h, fill) != (0, 0, self.width, self.height, "#ffffff"):
                raise BadInput("the first rect is not a white background of the full size")
            self.background = True
            return
        if person:
            person[3].append((x, y, w, h))
        if cls == "box":
            if person:
                person[5].append(len(self.boxes))
            self.boxes.append((len(self.boxes), whole(node, "data-type"), x, y, w, h,
                               colour(fill)))
        elif cls == "holiday":
            self.holidays.append((x, y, w, h, colour(fill)))
        elif cls == "weekend":
            self.weekends.append((x, y, w, h))
        elif cls == "holiday-day":
            self.holiday_marks.append((x, y, w, h, colour(fill)))
        elif in_legend and cls != "key" and w == 14 and h == 14 and fill != "none":
            # A swatch (an outline has no fill; keys stand for marks, not boxes).
            self.swatches.append((x, y, colour(fill)))
        column = cls in ("weekend", "holiday")
        if fill == "none":  # an outline: only its edges are drawn
            for edge in ((x, y, x + w, y), (x, y + h, x + w, y + h), (x, y, x, y + h),
                         (x + w, y, x + w, y + h)):
                self.mark(*edge)
        else:
            self.mark(x, y, x + w, y + h, column)

    def mark(self, x0, y0, x1, y1, column=False):
        left, top = max(0, math.floor(x0 - SLACK)), max(0, math.floor(y0 - SLACK))
        right = min(self.width, math.ceil(x1 + SLACK))
        bottom = min(self.height, math.ceil(y1 + SLACK))
        for y in range(top, bottom):
            self.drawn[y][left:max(left, right)] = b"\x01" * max(0, right - left)
            if not column:
                self.over[y][left:max(left, right)] = b"\x01" * max(0, right - left)


def check(svg, png):
    failures = []

    def fail(line):
        print("FAIL " + line)
        failures.append(line)

    if (png.width, png.height) != (svg.width, svg.height):
        print(f"FAIL screenshot is {png.width}x{png.height}, the SVG is {svg.width}x{svg.height}")
        print("svgprobe: 1 failure(s)")
        return 1  # nothing below lines up with the wrong size

    # Left column clear of the stroke and of the label (which starts at x+3), top and
    # bottom, and the top right corner: a box drawn short, narrow or shifted misses one.
    checked = 0
    for index, kind, bx, by, bw, bh, fill in svg.boxes:
        if bw < 6 or bh < 6:
            continue
        checked += 1
        where = f"box #{index} type {kind} at ({bx},{by}) {bw}x{bh}: "
        for x, y in ((bx + 2, by + 3), (bx + 2, by + 5), (bx + 2, by + bh - 3),
                     (bx + bw - 3, by + 2)):
            over = next((o for o in svg.boxes[index + 1:]
                         if o[2] <= x < o[2] + o[4] and o[3] <= y < o[3] + o[5]), None)
            if any(after > index and x0 - SLACK <= x <= x1 + SLACK and y0 <= y <= y1
                   for after, x0, y0, x1, y1 in svg.overlays):
                continue  # under a notch drawn over the box on purpose
            if over:
                fail(f"{where}hidden under box #{over[0]} at ({x},{y})")
            elif not png.contains(x, y):
                fail(f"{where}lies outside the picture")
            elif not near(png.at(x, y), fill):
                fail(f"{where}expected {hex_of(fill)} at ({x},{y}), found {hex_of(png.at(x, y))}")
            else:
                continue
            break
    if not checked:
        fail("no box of at least 6x6 px to check")

    box_colours = {box[6] for box in svg.boxes}
    swatch_colours = {fill for _, _, fill in svg.swatches}
    for i, (sx, sy, fill) in enumerate(svg.swatches):
        x, y = sx + 7, sy + 7
        if not png.contains(x, y) or not near(png.at(x, y), fill):
            found = hex_of(png.at(x, y)) if png.contains(x, y) else "nothing"
            fail(f"legend swatch #{i} at ({sx},{sy}): expected {hex_of(fill)} at its centre,"
                 f" found {found}")
    for c in sorted(box_colours - swatch_colours):
        fail(f"legend: no swatch for the box colour {hex_of(c)}")
    for c in sorted(swatch_colours - box_colours):
        fail(f"legend: swatch {hex_of(c)} belongs to no box")

    # The negative control: what the SVG leaves empty must come out white.
    background = stray = 0
    for y in range(png.height):
        drawn = svg.drawn[y]
        for x in range(png.width):
            if drawn[x]:
                continue
            background += 1
            if not near(png.at(x, y), (255, 255, 255)):
                stray += 1
                if stray <= 5:
                    print(f"  background ({x},{y}) is {hex_of(png.at(x, y))}")
    if stray:
        fail(f"background: {stray} pixels far from anything drawn are not white")
    if background < png.width * png.height // 10:
        fail(f"background: only {background} pixels are clear enough to check")

    verdict = f"{len(failures)} failure(s)" if failures else "all pass"
    print(f"svgprobe: {png.width}x{png.height}, {len(svg.boxes)} boxes ({checked} checked),"
          f" {len(svg.swatches)} legend swatches, {background} background pixels: {verdict}")
    return len(failures)


def check_plan(svg, png):
    """A plan picture's people and holidays, in its geometry and in the screenshot.

    Each person's block holds all it draws and a name near its middle; blocks and
    the pixel rows of different people's boxes never meet; the rules that frame a
    block show; no box's fill shows in the blocks above and below its own, down its
    columns, but inside their own boxes of that fill; a holiday column shows its fill where a plain day's column at the same
    height is white, and so does its mark in the day header."""
    failures = []

    def fail(line):
        print("FAIL " + line)
        failures.append(line)

    if len(svg.people) < 2:
        fail(f"{len(svg.people)} people drawn: at least two are needed to check blocks")
    owner = {}  # pixel row of a box: whose it is
    for employee, top, height, parts, names, boxes in svg.people:
        bottom = top + height
        for x, y, w, h in parts:
            if y < top or y + h > bottom:
                fail(f"{employee}: something at ({x:g},{y:g}) {w:g}x{h:g} reaches out of"
                     f" its block, rows {top} to {bottom}")
        if len(names) != 1:
            fail(f"{employee}: {len(names)} names in the block")
        for x, y, w, h in names:
            middle, centre = y + h / 2, top + height / 2
            if y < top or y + h > bottom or abs(middle - centre) > 4:
                fail(f"{employee}: name at rows {y:g} to {y + h:g}, the block's middle is"
                     f" {centre:g}")
        for index in boxes:
            _, _, _, by, _, bh, _ = svg.boxes[index]
            for row in range(by, by + bh):
                if owner.setdefault(row, employee) != employee:
                    fail(f"{employee}: box #{index} shares pixel row {row} with"
                         f" {owner[row]}'s boxes")
                    break
    blocks = sorted(svg.people, key=lambda p: p[1])
    for a, b in zip(blocks, blocks[1:]):
        if b[1] < a[1] + a[2]:
            fail(f"blocks of {a[0]} (rows {a[1]} to {a[1] + a[2]}) and {b[0]} (from {b[1]})"
                 " overlap")

    frames = 0
    for x, y in svg.frames:
        y = round(y)
        if not any(png.contains(x + 3, r) and not near(png.at(x + 3, r), (255, 255, 255))
                   for r in (y - 1, y)):
            fail(f"the rule at row {y} does not show at x {x + 3:g}")
        frames += 1
    if frames < 2 * len(svg.people):
        fail(f"{frames} frame rules for {len(svg.people)} people")

    # Down the columns of each box, through the blocks above and below its own:
    # its fill may show there only inside a box of that block drawn in it.
    bleed = 0
    for at, (employee, top, height, _, _, boxes) in enumerate(blocks):
        neighbours = [b for b in blocks[max(0, at - 1):at + 2] if b[0] != employee]
        for index in boxes:
            _, _, bx, _, bw, bh, fill = svg.boxes[index]
            if bw < 6 or bh < 6:
                continue
            found = None
            for _, ntop, nheight, _, _, nboxes in neighbours:
                for y in range(ntop + 1, ntop + nheight):
                    for x in range(bx + 2, bx + bw - 2, 3):
                        if not png.contains(x, y):
                            continue
                        bleed += 1
                        if near(png.at(x, y), fill) and not any(
                                o[2] <= x < o[2] + o[4] and o[3] <= y < o[3] + o[5] and
                                near(o[6], fill) for o in (svg.boxes[i] for i in nboxes)):
                            found = (x, y)
                            break
                    if found:
                        break
                if found:
                    break
            if found:
                fail(f"{employee}: box #{index}'s {hex_of(fill)} shows at {found}, past its"
                     f" block, rows {top} to {top + height}")

    if not svg.holidays:
        fail("no holiday column")
    columns = svg.holidays + [(x, y, w, h, None) for x, y, w, h in svg.weekends]
    white = (255, 255, 255)

    def plain(x, y):  # no column tint and nothing drawn near (x, y)
        return (png.contains(x, y) and not svg.over[y][x] and
                not any(cx <= x < cx + cw and cy <= y < cy + ch for cx, cy, cw, ch, _ in columns))

    for hx, hy, hw, hh, fill in svg.holidays:
        x = hx + hw // 2
        pair = next(((y, x + k * hw) for y in range(hy + 2, hy + hh - 2)
                     for k in (-1, 1, -2, 2, -3, 3, -4, 4, -5, 5, -6, 6)
                     if png.contains(x, y) and not svg.over[y][x] and plain(x + k * hw, y)), None)
        if pair is None:
            fail(f"holiday column at x {hx}: no clear spot beside a plain day to compare")
            continue
        y, other = pair
        if not near(png.at(x, y), fill) or not near(png.at(other, y), white):
            fail(f"holiday column at x {hx}: {hex_of(png.at(x, y))} at ({x},{y}) and"
                 f" {hex_of(png.at(other, y))} at ({other},{y}) in a plain day's column;"
                 f" want {hex_of(fill)} and white")
    if svg.holidays and not svg.holiday_marks:
        fail("no holiday mark in the day header")
    for mx, my, mw, mh, fill in svg.holiday_marks:
        x, y = mx + mw // 2, my + mh // 2
        other = next((x + k * (mw + 2) for k in (-1, 1, -2, 2)
                      if png.contains(x + k * (mw + 2), y) and not svg.over[y][x + k * (mw + 2)]),
                     None)
        if not near(png.at(x, y), fill) or other is None or not near(png.at(other, y), white):
            fail(f"holiday mark at ({mx},{my}): {hex_of(png.at(x, y))} at its middle, want"
                 f" {hex_of(fill)}, and white beside it")

    verdict = f"{len(failures)} failure(s)" if failures else "all pass"
    print(f"svgprobe: plan: {len(svg.people)} people, {frames} frame rules, {bleed} pixels past"
          f" the blocks, {len(svg.holidays)} holiday columns, {len(svg.holiday_marks)} header"
          f" marks: {verdict}")
    return len(failures)


def main(args):
    current = ""  # the file being read, for the error message
    try:
        if len(args) >= 4 and len(args) % 2 == 0 and args[0] == "--pixel":
            current = args[1]
            png = Image(current)
            for x, y in zip(args[2::2], args[3::2]):
                if not png.contains(int(x), int(y)):
                    raise BadInput(f"no pixel at {x},{y}")
                print(hex_of(png.at(int(x), int(y))))
            return 0
        plan = len(args) == 3 and args[0] == "--plan"
        if plan:
            args = args[1:]
        if len(args) != 2 or args[0].startswith("-"):
            print("usage: svgprobe.py [--plan] ROSTER.svg SHOT.png\n"
                  "       svgprobe.py --pixel SHOT.png X Y [X Y ...]", file=sys.stderr)
            return 2
        current = args[0]
        svg = Picture(current)
        current = args[1]
        png = Image(current)
        failed = check(svg, png)
        if plan and (png.width, png.height) == (svg.width, svg.height):
            failed += check_plan(svg, png)
        return 1 if failed else 0
    except (BadInput, OSError, ValueError) as e:
        print(f"svgprobe: {current}: {e}", file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
