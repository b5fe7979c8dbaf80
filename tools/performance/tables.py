"""What was measured, as the text of a page."""
import statistics

BEGIN = "<!-- written by tools/performance-report: begin -->"
END = "<!-- written by tools/performance-report: end -->"


def number(ratio):
    """With two digits that mean something."""
    if 0.1 <= ratio < 9.995:
        return f"{ratio:.2f}"
    return f"{ratio:.0f}" if ratio >= 9.995 else f"{ratio:.2g}"


def emphasised(text, value, aim):
    """In bold type if the value is over the aim."""
    return f"**{text}**" if aim is not None and float(number(value)) > aim else text


def ratio_beside(side, ours, figures):
    """The ratio as text; empty if there is none."""
    ratio = figures.ratio(ours.benchmark, side.benchmark) if side else None
    if ratio is None:
        return ""
    unsure = "~" if figures.is_unsure(ours.benchmark, side.benchmark) else ""
    return emphasised(unsure + number(ratio), ratio, side.aim)


def row(*cells):
    return "| " + " | ".join(cells) + " |"


def heading(*cells):
    return [row(*cells), "|" + "---|" * len(cells)]


def cells_beside(side, ours, figures):
    """Ratio and aim."""
    aim = "" if side is None or side.aim is None else f"{side.aim:g}"
    return [ratio_beside(side, ours, figures), aim]


def plain_table(description, figures):
    """Beside raw calls and the same by hand."""
    lines = heading("job", "raw calls", "ratio", "aim", "by hand", "aim")
    for job in description.jobs:
        raw = cells_beside(job.raw, job.ours, figures)
        by_hand = cells_beside(job.by_hand, job.ours, figures)
        if job.by_hand is not None and job.by_hand.what:
            by_hand[0] += f" ({job.by_hand.what})"
        if raw[0] or by_hand[0]:
            lines.append(row(job.title, job.raw.what if job.raw else "", *raw, *by_hand))
    return lines


def time_table(description, figures):
    """Jobs with an aim in nanoseconds."""
    lines = heading("job", "takes", "aim")
    for job in description.jobs:
        time = figures.nanoseconds(job.ours.benchmark)
        if job.ours.aim is not None and time is not None:
            lines.append(row(job.title, emphasised(f"{number(time)} ns", time, job.ours.aim),
                             f"{job.ours.aim:g} ns"))
    return lines


def peer_cell(job, who, figures):
    side = job.peers.get(who)
    ratio = ratio_beside(side, job.ours, figures)
    if not ratio:
        return ""
    aim = "" if side.aim is None else f" (aim {side.aim:g})"
    notes = f"<sup>{side.notes}</sup>" if side.notes else ""
    return ratio + notes + aim


def peer_table(description, figures):
    """Beside other libraries."""
    names = [f"{name} {figures.about['versions'].get(who, '')}".strip()
             for who, (name, _) in description.peers.items()]
    lines = heading("job", *names)
    for job in description.jobs:
        cells = [peer_cell(job, who, figures) for who in description.peers]
        if any(cells):
            lines.append(row(job.title, *cells))
    return lines


def footnotes(description):
    return "; ".join(f"<sup>{letter}</sup> {text}" for letter, text in description.notes.items()) + "."


def conditions(figures):
    """When and where, in full sentences."""
    about = figures.about
    text = (f"Measured on {about['date']}, on {about['machine']}; built by {about['compiler']}. "
            f"Ratios are medians of {len(about['rounds'])} rounds.")
    if statistics.mean(about["load"]) - 1 > about["cores"] / 2:
        text += (f" Other work ran beside it: between {min(about['load']):g} and {max(about['load']):g} "
                 f"threads wanted the {about['cores']} cores, so that what is measured by the clock "
                 "(lateness, timers due at once) means little.")
    return text


EXPLANATION = (
    "A ratio is the layer's time by the other's: below 1 the layer is quicker. **Bold** is over the aim. "
    "Before a ratio, ~ says that the rounds don't agree: their middle half differs by more than a quarter.")


def report(description, figures, plot_name):
    """The text between the markers."""
    parts = [
        [conditions(figures)],
        [EXPLANATION],
        [f"![The ratios of all jobs on a logarithmic scale]({plot_name})"],
        ["## Beside raw calls, and beside the same algorithm by hand"],
        plain_table(description, figures),
        time_table(description, figures),
        ["## Beside other libraries"],
        peer_table(description, figures),
        [footnotes(description)],
    ]
    return "\n\n".join("\n".join(lines) for lines in parts)


def replaced(page, text):
    """The page with the text between its markers; None if it has none."""
    before, begin, rest = page.partition(BEGIN)
    _, end, after = rest.partition(END)
    return f"{before}{begin}\n{text}\n{end}{after}" if begin and end else None
