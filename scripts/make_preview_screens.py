#!/usr/bin/env python3
"""Draws the preview mock-ups (SVG) and writes the screen definitions that match them.

Each screen is laid out once here: the same numbers place the placeholder icons in the picture
and the icon slots in the property list, so the user's icon always lands on a placeholder.
Slots are given as the window expects them: x from the left of the background, y from its
bottom edge upward to the slot's bottom edge, in points.

Run from the repository root: python3 scripts/make_preview_screens.py
"""
import plistlib
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
IMAGES = ROOT / "resources" / "images" / "previews"

BODY = "#17181B"

# Placeholder apps: two gradient stops and a glyph, cycled in this order.
APPS = [
    ("#FF8A65", "#F4511E", "ring"), ("#81C784", "#2E9E5B", "bars"), ("#64B5F6", "#1E6FD9", "lines"),
    ("#FFD54F", "#F5A300", "dot"), ("#BA68C8", "#7B3FA0", "play"), ("#4DD0E1", "#0097A7", "grid"),
    ("#F06292", "#C2185B", "plus"), ("#A1887F", "#6D4C41", "half"), ("#90A4AE", "#455A64", "square"),
    ("#AED581", "#689F38", "wave"), ("#7986CB", "#3949AB", "drop"), ("#FFB74D", "#EF6C00", "ring"),
]

THEMES = {
    "light": dict(top="#FBD6C4", bottom="#C7D2F6", glow1="#FFE9A6", glow2="#B5E8D5", label="#2B2D38",
                  label_opacity=0.45, dock="#FFFFFF", dock_opacity=0.42, ink="#15161A", dot="#2B2D38",
                  bubble_in="#E7E8EC", bubble_out="#2F9E8F", drawer="#F4F5F7", field="#FFFFFF",
                  line="#D4D6DC", header="#F8F8FA"),
    "dark": dict(top="#121633", bottom="#3A1D4C", glow1="#4F43B5", glow2="#0C7479", label="#FFFFFF",
                 label_opacity=0.6, dock="#FFFFFF", dock_opacity=0.13, ink="#FFFFFF", dot="#FFFFFF",
                 bubble_in="#2A2C33", bubble_out="#23877A", drawer="#1C1D22", field="#2A2C33",
                 line="#3A3C44", header="#16171B"),
}


def shuffled(index):
    """The placeholder for position index: a fixed shuffle, so rows do not repeat one another."""
    return (index * 7 + index // len(APPS)) % len(APPS)


def glyph(kind, x, y, s):
    """A white mark in the box (x, y, s, s); abstract on purpose, no real app's symbol."""
    c = x + s / 2
    m = y + s / 2
    u = s / 44
    w = 'fill="#FFFFFF" fill-opacity="0.92"'
    if kind == "ring":
        return f'<circle cx="{c}" cy="{m}" r="{11*u}" fill="none" stroke="#FFFFFF" stroke-opacity="0.92" stroke-width="{4.5*u}"/>'
    if kind == "dot":
        return f'<circle cx="{c}" cy="{m}" r="{9*u}" {w}/>'
    if kind == "square":
        return f'<rect x="{c-9*u}" y="{m-9*u}" width="{18*u}" height="{18*u}" rx="{4*u}" {w}/>'
    if kind == "bars":
        return "".join(f'<rect x="{c+(i-1)*8*u-2.5*u}" y="{m-(4+4*i)*u+4*u}" width="{5*u}" height="{(8+8*i)*u-4*u}" rx="{2*u}" {w}/>'
                       for i in range(3))
    if kind == "lines":
        return "".join(f'<rect x="{c-11*u}" y="{m+(i-1)*7*u-2*u}" width="{(22 - 6*(i == 2))*u}" height="{4*u}" rx="{2*u}" {w}/>'
                       for i in range(3))
    if kind == "play":
        return f'<path d="M{c-6*u},{m-9*u} L{c+10*u},{m} L{c-6*u},{m+9*u} Z" {w}/>'
    if kind == "grid":
        return "".join(f'<circle cx="{c+dx*7*u}" cy="{m+dy*7*u}" r="{4*u}" {w}/>' for dx in (-1, 1) for dy in (-1, 1))
    if kind == "plus":
        return (f'<rect x="{c-2.5*u}" y="{m-10*u}" width="{5*u}" height="{20*u}" rx="{2*u}" {w}/>'
                f'<rect x="{c-10*u}" y="{m-2.5*u}" width="{20*u}" height="{5*u}" rx="{2*u}" {w}/>')
    if kind == "half":
        return f'<path d="M{c-11*u},{m+3*u} A{11*u},{11*u} 0 0 1 {c+11*u},{m+3*u} Z" {w}/>'
    if kind == "wave":
        return (f'<path d="M{c-12*u},{m} q{6*u},{-10*u} {12*u},0 t{12*u},0" fill="none" stroke="#FFFFFF" '
                f'stroke-opacity="0.92" stroke-width="{4*u}" stroke-linecap="round"/>')
    if kind == "drop":
        return f'<path d="M{c},{m-11*u} C{c+9*u},{m} {c+9*u},{m+9*u} {c},{m+9*u} C{c-9*u},{m+9*u} {c-9*u},{m} {c},{m-11*u} Z" {w}/>'
    raise ValueError(kind)


class Svg:
    def __init__(self, width, height):
        self.width, self.height = width, height
        self.defs, self.body = [], []
        self.gradients = 0

    def gradient(self, a, b, vertical=True):
        self.gradients += 1
        gid = f"g{self.gradients}"
        x2, y2 = ("0", "1") if vertical else ("1", "1")
        self.defs.append(f'<linearGradient id="{gid}" x1="0" y1="0" x2="{x2}" y2="{y2}">'
                         f'<stop offset="0" stop-color="{a}"/><stop offset="1" stop-color="{b}"/></linearGradient>')
        return f"url(#{gid})"

    def glow(self, color, opacity, cx, cy, r):
        self.gradients += 1
        gid = f"g{self.gradients}"
        self.defs.append(f'<radialGradient id="{gid}" gradientUnits="userSpaceOnUse" cx="{cx}" cy="{cy}" r="{r}">'
                         f'<stop offset="0" stop-color="{color}" stop-opacity="{opacity}"/>'
                         f'<stop offset="1" stop-color="{color}" stop-opacity="0"/></radialGradient>')
        return f"url(#{gid})"

    def add(self, text):
        self.body.append(text)

    def write(self, path):
        path.write_text(
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{self.width}" height="{self.height}" '
            f'viewBox="0 0 {self.width} {self.height}">\n<defs>{"".join(self.defs)}</defs>\n'
            + "\n".join(self.body) + "\n</svg>\n")


def app_icon(svg, index, x, y, s, radius, shuffle=True):
    top, bottom, kind = APPS[shuffled(index) if shuffle else index]
    svg.add(f'<rect x="{x}" y="{y}" width="{s}" height="{s}" rx="{radius}" fill="{svg.gradient(top, bottom)}"/>')
    svg.add(glyph(kind, x, y, s))


def label(svg, theme, cx, y, width=28):
    svg.add(f'<rect x="{cx-width/2}" y="{y}" width="{width}" height="4.5" rx="2.25" fill="{theme["label"]}" '
            f'fill-opacity="{theme["label_opacity"]}"/>')


def device(svg, theme, body, screen, body_radius, screen_radius):
    """Device body and wallpaper. Around the body the picture stays clear, so the window's own
    colour shows. Nothing is clipped (not every SVG renderer clips): whatever must stay inside
    the screen's rounded corners is drawn with them."""
    bx, by, bw, bh = body
    sx, sy, sw, sh = screen
    svg.screen = screen
    svg.screen_radius = screen_radius
    svg.add(f'<rect x="{bx}" y="{by+3}" width="{bw}" height="{bh}" rx="{body_radius}" fill="#000000" fill-opacity="0.14"/>')
    svg.add(f'<rect x="{bx}" y="{by}" width="{bw}" height="{bh}" rx="{body_radius}" fill="{BODY}" '
            f'stroke="#4A4D55" stroke-width="1.5"/>')
    screen_fill(svg, svg.gradient(theme["top"], theme["bottom"]))
    r = max(sw, sh)
    screen_fill(svg, svg.glow(theme["glow1"], 0.85, sx + sw * 0.15, sy + sh * 0.22, r * 0.45))
    screen_fill(svg, svg.glow(theme["glow2"], 0.8, sx + sw * 0.9, sy + sh * 0.8, r * 0.5))


def screen_fill(svg, fill, top=0):
    """Fills the screen from `top` (screen-local) down, keeping its rounded corners."""
    sx, sy, sw, sh = svg.screen
    r = svg.screen_radius
    if top == 0:
        svg.add(f'<rect x="{sx}" y="{sy}" width="{sw}" height="{sh}" rx="{r}" fill="{fill}"/>')
        return
    y, b = sy + top, sy + sh
    svg.add(f'<path d="M{sx},{y} H{sx+sw} V{b-r} A{r},{r} 0 0 1 {sx+sw-r},{b} H{sx+r} A{r},{r} 0 0 1 {sx},{b-r} Z" '
            f'fill="{fill}"/>')


def status_bar(svg, theme, sx, sy, sw, baseline, size=13, camera=True):
    ink = theme["ink"]
    svg.add(f'<text x="{sx+26}" y="{sy+baseline}" font-family="sans-serif" font-size="{size}" font-weight="600" '
            f'fill="{ink}">10:08</text>')
    right = sx + sw - 24
    # battery
    svg.add(f'<rect x="{right-22}" y="{sy+baseline-9.5}" width="20" height="10" rx="3" fill="none" stroke="{ink}" '
            f'stroke-opacity="0.5" stroke-width="1"/>')
    svg.add(f'<rect x="{right-20.5}" y="{sy+baseline-8}" width="13" height="7" rx="1.6" fill="{ink}"/>')
    svg.add(f'<rect x="{right-1.5}" y="{sy+baseline-6.5}" width="1.6" height="4" rx="0.8" fill="{ink}" fill-opacity="0.5"/>')
    # signal bars
    for i in range(4):
        h = 3 + i * 2
        svg.add(f'<rect x="{right-62+i*4.5}" y="{sy+baseline-h}" width="3" height="{h}" rx="0.8" fill="{ink}"/>')
    # a wireless fan of three arcs
    cx, cy = right - 35, sy + baseline - 0.5
    for r, op in ((3, 1), (6, 1), (9, 1)):
        svg.add(f'<path d="M{cx-r*0.7},{cy-r*0.7} A{r},{r} 0 0 1 {cx+r*0.7},{cy-r*0.7}" fill="none" stroke="{ink}" '
                f'stroke-opacity="{op}" stroke-width="1.6" stroke-linecap="round"/>')
    if camera:
        svg.add(f'<circle cx="{sx+sw/2}" cy="{sy+13}" r="5.5" fill="#050506"/>')


def page_dots(svg, theme, cx, y, count=3):
    for i in range(count):
        svg.add(f'<circle cx="{cx+(i-(count-1)/2)*11}" cy="{y}" r="3" fill="{theme["dot"]}" '
                f'fill-opacity="{0.9 if i == 0 else 0.35}"/>')


def home_bar(svg, theme, cx, y, width):
    svg.add(f'<rect x="{cx-width/2}" y="{y}" width="{width}" height="4.5" rx="2.25" fill="{theme["ink"]}" fill-opacity="0.8"/>')


def group(size=None, width=None, height=None, radius=0.0, xs=(), ys=()):
    result = {}
    if size is not None:
        result["Size"] = size
    if width is not None:
        result["Width"] = width
        result["Height"] = height
    result["CornerRadius"] = radius
    result["Locations"] = {"X": list(xs), "Y": list(ys)}
    return result


def phone_screen(name, theme_name, with_watch):
    """A phone home screen, 300 x 620 points; returns its definition."""
    theme = THEMES[theme_name]
    W, H = 300, 620
    sx, sy, sw, sh = 22, 22, 256, 576
    icon, radius = 44, 10
    cols = [22 + i * 56 for i in range(4)]          # screen-local
    rows = [52 + j * 72 for j in range(6)]
    svg = Svg(W, H)
    device(svg, theme, (14, 14, 272, 592), (sx, sy, sw, sh), 46, 38)
    status_bar(svg, theme, sx, sy, sw, 31)
    app_rows = rows
    n = 0
    if with_watch:
        # A watch face in a wide widget over the first two rows; the watch icon sits in its middle.
        app_rows = rows[2:]
        wx, wy, ww, wh = sx + cols[0], sy + rows[0], cols[3] + icon - cols[0], rows[1] + icon - rows[0]
        svg.add(f'<rect x="{wx}" y="{wy}" width="{ww}" height="{wh}" rx="22" fill="#0B0C10" fill-opacity="0.45" '
                f'stroke="#FFFFFF" stroke-opacity="0.12"/>')
        dcx, dcy = wx + 58, wy + wh / 2
        svg.add(f'<circle cx="{dcx}" cy="{dcy}" r="46" fill="#24262D"/>')
        svg.add(f'<circle cx="{dcx}" cy="{dcy}" r="41" fill="#08090B"/>')
        import math
        for t in range(12):
            a = t * math.pi / 6
            r1, r2 = (35, 39) if t % 3 else (32, 39)
            svg.add(f'<line x1="{dcx+r1*math.sin(a):.2f}" y1="{dcy-r1*math.cos(a):.2f}" x2="{dcx+r2*math.sin(a):.2f}" '
                    f'y2="{dcy-r2*math.cos(a):.2f}" stroke="#FFFFFF" stroke-opacity="{0.9 if t % 3 == 0 else 0.45}" '
                    f'stroke-width="{2 if t % 3 == 0 else 1.2}" stroke-linecap="round"/>')
        # the crown
        svg.add(f'<rect x="{dcx+45}" y="{dcy-7}" width="5" height="14" rx="2" fill="#3A3D46"/>')
        # right half: a date and three progress bars
        tx = wx + 124
        svg.add(f'<text x="{tx}" y="{wy+34}" font-family="sans-serif" font-size="11" font-weight="600" fill="#FF8A65">MON 23</text>')
        svg.add(f'<text x="{tx}" y="{wy+60}" font-family="sans-serif" font-size="24" font-weight="300" fill="#FFFFFF">10:08</text>')
        for i, (color, part) in enumerate((("#FF8A65", 0.7), ("#81C784", 0.45), ("#4DD0E1", 0.85))):
            y = wy + 76 + i * 11
            svg.add(f'<rect x="{tx}" y="{y}" width="72" height="5" rx="2.5" fill="#FFFFFF" fill-opacity="0.15"/>')
            svg.add(f'<rect x="{tx}" y="{y}" width="{72*part}" height="5" rx="2.5" fill="{color}"/>')
        n = 5
    for row in app_rows:
        for col in cols:
            app_icon(svg, n, sx + col, sy + row, icon, radius)
            label(svg, theme, sx + col + icon / 2, sy + row + icon + 7)
            n += 1
    page_dots(svg, theme, sx + sw / 2, sy + 484)
    dock_y = 500
    svg.add(f'<rect x="{sx+10}" y="{sy+dock_y}" width="{sw-20}" height="66" rx="26" fill="{theme["dock"]}" '
            f'fill-opacity="{theme["dock_opacity"]}"/>')
    for i, col in enumerate(cols):
        app_icon(svg, 7 + i * 3, sx + col, sy + dock_y + 11, icon, radius)
    home_bar(svg, theme, sx + sw / 2, sy + sh - 9, 96)
    svg.write(IMAGES / f"{name}.svg")

    definition = {
        "Title": theme_name.capitalize(),
        "BackgroundImageName": f"previews/{name}",
        "AppIcon": group(size=icon, radius=radius, xs=[sx + c for c in cols],
                         ys=[H - (sy + r + icon) for r in app_rows]),
    }
    if with_watch:
        watch = 52
        wx = sx + cols[0] + 58 - watch / 2
        wy = sy + rows[0] + (rows[1] + icon - rows[0]) / 2 - watch / 2
        definition["WatchIcon"] = group(size=watch, radius=watch / 2, xs=[wx], ys=[H - (wy + watch)])
    return definition


def pad_screen(name, theme_name):
    """A pad home screen in landscape, 720 x 540 points."""
    theme = THEMES[theme_name]
    W, H = 720, 540
    sx, sy, sw, sh = 26, 26, 668, 488
    icon, radius = 50, 11.5
    cols = [74 + i * 94 for i in range(6)]
    rows = [52 + j * 88 for j in range(4)]
    svg = Svg(W, H)
    device(svg, theme, (14, 14, 692, 512), (sx, sy, sw, sh), 30, 18)
    status_bar(svg, theme, sx, sy, sw, 20, size=11, camera=False)
    svg.add(f'<circle cx="{sx+sw/2}" cy="{sy-6}" r="2.5" fill="#050506"/>')
    n = 0
    for row in rows:
        for col in cols:
            app_icon(svg, n, sx + col, sy + row, icon, radius)
            label(svg, theme, sx + col + icon / 2, sy + row + icon + 8, 32)
            n += 1
    page_dots(svg, theme, sx + sw / 2, sy + 398)
    dock_w = 6 * icon + 5 * 16 + 28
    dx = sx + (sw - dock_w) / 2
    svg.add(f'<rect x="{dx}" y="{sy+412}" width="{dock_w}" height="66" rx="24" fill="{theme["dock"]}" '
            f'fill-opacity="{theme["dock_opacity"]}"/>')
    for i, app in enumerate((2, 4, 1, 10, 6, 3)):
        app_icon(svg, app, dx + 14 + i * (icon + 16), sy + 420, icon, radius, shuffle=False)
    home_bar(svg, theme, sx + sw / 2, sy + sh - 7, 130)
    svg.write(IMAGES / f"{name}.svg")
    return {
        "Title": theme_name.capitalize(),
        "BackgroundImageName": f"previews/{name}",
        "AppIcon": group(size=icon, radius=radius, xs=[sx + c for c in cols],
                         ys=[H - (sy + r + icon) for r in rows]),
    }


def messages_screen(name, theme_name):
    """A phone showing a conversation with the app drawer open, 300 x 620 points."""
    theme = THEMES[theme_name]
    W, H = 300, 620
    sx, sy, sw, sh = 22, 22, 256, 576
    sw_icon, sh_icon, radius = 70, 52, 11
    cols = [14, 93, 172]
    rows = [348, 418, 488]
    svg = Svg(W, H)
    device(svg, theme, (14, 14, 272, 592), (sx, sy, sw, sh), 46, 38)
    screen_fill(svg, theme["header"])
    status_bar(svg, theme, sx, sy, sw, 31)
    ink = theme["ink"]
    # header: back chevron, a contact's avatar and name
    svg.add(f'<path d="M{sx+22},{sy+58} l-7,7 l7,7" fill="none" stroke="#2F9E8F" stroke-width="2.4" '
            f'stroke-linecap="round" stroke-linejoin="round"/>')
    svg.add(f'<circle cx="{sx+sw/2}" cy="{sy+62}" r="15" fill="{svg.gradient("#B0BEC5", "#78909C")}"/>')
    svg.add(f'<text x="{sx+sw/2}" y="{sy+67}" text-anchor="middle" font-family="sans-serif" font-size="13" '
            f'font-weight="600" fill="#FFFFFF">AL</text>')
    svg.add(f'<rect x="{sx+sw/2-22}" y="{sy+83}" width="44" height="5" rx="2.5" fill="{ink}" fill-opacity="0.55"/>')
    svg.add(f'<rect x="{sx}" y="{sy+96}" width="{sw}" height="1" fill="{theme["line"]}"/>')
    # the conversation
    bubbles = [("in", 110, 120, 30), ("in", 144, 88, 30), ("out", 182, 132, 44), ("in", 234, 104, 30)]
    for side, y, w, h in bubbles:
        if side == "in":
            svg.add(f'<rect x="{sx+12}" y="{sy+y}" width="{w}" height="{h}" rx="15" fill="{theme["bubble_in"]}"/>')
            svg.add(f'<rect x="{sx+24}" y="{sy+y+h/2-2.5}" width="{w-28}" height="5" rx="2.5" fill="{ink}" fill-opacity="0.35"/>')
        else:
            svg.add(f'<rect x="{sx+sw-12-w}" y="{sy+y}" width="{w}" height="{h}" rx="15" fill="{theme["bubble_out"]}"/>')
            for k in range(2):
                svg.add(f'<rect x="{sx+sw-w}" y="{sy+y+13+k*12}" width="{w-28-k*30}" height="5" rx="2.5" '
                        f'fill="#FFFFFF" fill-opacity="0.8"/>')
    # the input row and the strip of message apps
    svg.add(f'<circle cx="{sx+26}" cy="{sy+282}" r="13" fill="{theme["field"]}" stroke="{theme["line"]}"/>')
    svg.add(f'<path d="M{sx+26},{sy+276} v12 M{sx+20},{sy+282} h12" stroke="{ink}" stroke-opacity="0.6" '
            f'stroke-width="2" stroke-linecap="round"/>')
    svg.add(f'<rect x="{sx+46}" y="{sy+268}" width="{sw-58}" height="28" rx="14" fill="{theme["field"]}" '
            f'stroke="{theme["line"]}"/>')
    svg.add(f'<rect x="{sx+60}" y="{sy+280}" width="70" height="5" rx="2.5" fill="{ink}" fill-opacity="0.25"/>')
    screen_fill(svg, theme["drawer"], top=304)
    for i in range(7):
        top, bottom, kind = APPS[(i * 5 + 2) % len(APPS)]
        cx = sx + 24 + i * 35
        svg.add(f'<circle cx="{cx}" cy="{sy+322}" r="12" fill="{svg.gradient(top, bottom)}"/>')
        svg.add(glyph(kind, cx - 12, sy + 310, 24))
    svg.add(f'<rect x="{sx}" y="{sy+338}" width="{sw}" height="1" fill="{theme["line"]}"/>')
    n = 0
    for row in rows:
        for col in cols:
            top, bottom, kind = APPS[shuffled(n + 3)]
            x, y = sx + col, sy + row
            svg.add(f'<rect x="{x}" y="{y}" width="{sw_icon}" height="{sh_icon}" rx="{radius}" '
                    f'fill="{svg.gradient(top, bottom)}"/>')
            svg.add(glyph(kind, x + (sw_icon - 36) / 2, y + (sh_icon - 36) / 2, 36))
            label(svg, theme, x + sw_icon / 2, y + sh_icon + 6, 40)
            n += 1
    page_dots(svg, theme, sx + sw / 2, sy + 557, 2)
    home_bar(svg, theme, sx + sw / 2, sy + sh - 9, 96)
    svg.write(IMAGES / f"{name}.svg")
    return {
        "Title": theme_name.capitalize(),
        "BackgroundImageName": f"previews/{name}",
        "AppIcon": group(width=sw_icon, height=sh_icon, radius=radius, xs=[sx + c for c in cols],
                         ys=[H - (sy + r + sh_icon) for r in rows]),
    }


def write_definitions(name, screens):
    with open(ROOT / "resources" / f"{name}.plist", "wb") as out:
        plistlib.dump(screens, out)


def main():
    IMAGES.mkdir(parents=True, exist_ok=True)
    write_definitions("PhoneScreenDefinitions",
                      [phone_screen("PhoneLight", "light", False), phone_screen("PhoneDark", "dark", True)])
    write_definitions("PadScreenDefinitions", [pad_screen("PadLight", "light"), pad_screen("PadDark", "dark")])
    write_definitions("MessagesScreenDefinitions",
                      [messages_screen("MessagesLight", "light"), messages_screen("MessagesDark", "dark")])


if __name__ == "__main__":
    main()
