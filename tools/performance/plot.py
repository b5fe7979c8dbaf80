"""What was measured, as a picture: a row for each job, a mark for each that it is compared with."""
import math
from xml.sax.saxutils import escape

from performance.tables import number

WIDTH = 720
LABELS = 232  # pixels at the left, for the jobs' titles
RIGHT = 16
LANE = 12  # marks that would cover each other are put below each other
ROW_MARGIN = 10
TOP = 112

# Shapes as points around the mark's centre, and colours that can be told apart by everybody.
SHAPES = {
    "circle": [(math.cos(step * math.pi / 8), math.sin(step * math.pi / 8)) for step in range(16)],
    "square": [(-0.85, -0.85), (0.85, -0.85), (0.85, 0.85), (-0.85, 0.85)],
    "diamond": [(0, -1.2), (1.2, 0), (0, 1.2), (-1.2, 0)],
    "up": [(0, -1.1), (1.1, 0.85), (-1.1, 0.85)],
    "down": [(0, 1.1), (1.1, -0.85), (-1.1, -0.85)],
}
MARKS = {
    "raw calls": ("circle", "#ffffff"),
    "by hand": ("diamond", "#333333"),
    "apr": ("circle", "#e69f00"),
    "poco": ("square", "#56b4e9"),
    "libuv": ("up", "#009e73"),
    "glib": ("down", "#d8c400"),
    "ace": ("square", "#0072b2"),
    "boost": ("up", "#d55e00"),
    "pcap": ("diamond", "#cc79a7"),
    "libunwind": ("down", "#8b4a9c"),
}
RADIUS = 5
GAP = 3

# Ratios on the scale; those beyond it are drawn at its edges, with their numbers.
SMALLEST = 0.1
LARGEST = 10
TICKS = (0.1, 0.2, 0.5, 1, 2, 5, 10)
EDGE = 30
NUMBER = 36


def text(x, y, words, more=""):
    return f'<text x="{x:g}" y="{y:g}" {more}>{escape(words)}</text>'.replace(" >", ">")


def mark(who, x, y, title=""):
    shape, colour = MARKS[who]
    points = " ".join(f"{x + RADIUS * dx:.1f},{y + RADIUS * dy:.1f}" for dx, dy in SHAPES[shape])
    inner = f"<title>{escape(title)}</title>" if title else ""
    return f'<polygon points="{points}" fill="{colour}" stroke="#333" stroke-width="1">{inner}</polygon>'


def place(ratio):
    """How far from the left a ratio is, on a scale of powers; those beyond it are at the edges."""
    left, right = LABELS + EDGE, WIDTH - RIGHT - EDGE
    if ratio < SMALLEST:
        return LABELS + 12
    if ratio > LARGEST:
        return WIDTH - RIGHT - 12
    return left + math.log(ratio / SMALLEST) / math.log(LARGEST / SMALLEST) * (right - left)


def extent(ratio):
    """What a mark takes from left to right, with its number if it is at an edge."""
    x = place(ratio)
    return (x - RADIUS - (NUMBER if ratio > LARGEST else 0),
            x + RADIUS + (NUMBER if ratio < SMALLEST else 0))


def comparisons(description, figures):
    """Each job's title with who it is compared with, and the ratios, smallest first."""
    for job in description.jobs:
        sides = {"raw calls": job.raw, "by hand": job.by_hand, **job.peers}
        found = []
        for who, side in sides.items():
            ratio = figures.ratio(job.ours.benchmark, side.benchmark) if side else None
            if ratio is not None:
                found.append((ratio, who))
        if found:
            yield job.title.replace("`", ""), sorted(found)


def in_lanes(found):
    """The lane of each mark: the first where it covers none."""
    ends = []
    for ratio, who in found:
        left, right = extent(ratio)
        lane = next((index for index, end in enumerate(ends) if left - end >= GAP), len(ends))
        ends[lane:lane + 1] = [right]
        yield lane, ratio, who


def drawn_mark(who, ratio, y, title):
    """With its number if it is at an edge."""
    x = place(ratio)
    lines = [mark(who, x, y, f"{title}: {number(ratio)}")]
    if ratio < SMALLEST:
        lines.append(text(x + RADIUS + 4, y + 4, number(ratio), 'font-size="11"'))
    if ratio > LARGEST:
        lines.append(text(x - RADIUS - 4, y + 4, number(ratio), 'font-size="11" text-anchor="end"'))
    return lines


def drawn_row(title, found, names, top):
    """The lines of a job, and its height."""
    marks = list(in_lanes(found))
    lanes = max(lane for lane, *_ in marks) + 1
    height = lanes * LANE + ROW_MARGIN
    first = top + (height - (lanes - 1) * LANE) / 2
    lines = [text(LABELS - 10, top + height / 2 + 4.5, title, 'text-anchor="end"')]
    for lane, ratio, who in marks:
        lines += drawn_mark(who, ratio, first + lane * LANE, f"{title}, beside {names[who]}")
    return lines, height


def legend(shown, names):
    """In two lines at the top."""
    lines = []
    for index, who in enumerate(shown):
        x = 24 + index % 5 * 138
        y = 56 + index // 5 * 20
        lines += [mark(who, x, y), text(x + 11, y + 4.5, names[who])]
    return lines


def grid(bottom):
    one = place(1)
    lines = [f'<rect x="{LABELS}" y="{TOP}" width="{one - LABELS:.1f}" height="{bottom - TOP}" fill="#e8f4ea"/>',
             f'<rect x="{one:.1f}" y="{TOP}" width="{WIDTH - RIGHT - one:.1f}" height="{bottom - TOP}" '
             'fill="#f8efe6"/>']
    for ratio in TICKS:
        x = place(ratio)
        colour = "#333" if ratio == 1 else "#ccc"
        lines.append(f'<line x1="{x:.1f}" y1="{TOP}" x2="{x:.1f}" y2="{bottom}" stroke="{colour}"/>')
        lines += [text(x, y, f"{ratio:g}", 'text-anchor="middle"') for y in (TOP - 5, bottom + 17)]
    lines += [text(one - 10, bottom + 36, "the layer is quicker", 'text-anchor="end" fill="#2a6b35"'),
              text(one + 10, bottom + 36, "the layer is slower", 'fill="#8a4b12"')]
    return lines


def draw(description, figures):
    """The picture, as SVG."""
    jobs = list(comparisons(description, figures))
    names = {"raw calls": "raw calls", "by hand": "the same by hand",
             **{who: name for who, (name, _) in description.peers.items()}}
    rows = []
    top = TOP
    for index, (title, found) in enumerate(jobs):
        lines, height = drawn_row(title, found, names, top)
        if index > 0:
            rows.append(f'<line x1="8" y1="{top}" x2="{WIDTH - RIGHT}" y2="{top}" stroke="#ddd"/>')
        rows += lines
        top += height
    shown = [who for who in MARKS if any(who == other for _, found in jobs for _, other in found)]
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {top + 48}" role="img" '
        'font-family="sans-serif" font-size="13" fill="#222">',
        "<title>How many times as long as others the layer takes for each job</title>",
        f'<rect width="{WIDTH}" height="{top + 48}" fill="#fff"/>',
        text(16, 28, "How many times as long as others the layer takes for the same job", 'font-size="17"'),
        *legend(shown, names), *grid(top), *rows, "</svg>", ""])
