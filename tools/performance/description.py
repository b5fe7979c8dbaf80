"""Reads the description of the jobs that are measured (benchmarks/jobs.table)."""
import dataclasses
import re


@dataclasses.dataclass
class Side:
    """One that does a job: its benchmark, what it is, and an aim for the layer beside it."""
    benchmark: str
    what: str = ""
    aim: float = None
    notes: str = ""


@dataclasses.dataclass
class Job:
    title: str
    ours: Side
    raw: Side
    by_hand: Side
    peers: dict  # who: Side


@dataclasses.dataclass
class Description:
    peers: dict  # who: (name, Debian package)
    jobs: list
    notes: dict  # letter: text


def sections(text):
    """The lines of each section, as lists of fields."""
    found = {}
    for line in text.splitlines():
        if line.startswith("["):
            fields = found.setdefault(line.strip("[] "), [])
        elif line.strip() and not line.startswith("#"):
            fields.append([field.strip() for field in line.split("|")])
    return found


def side(text, benchmark):
    """One that a cell names: "who: what <= aim"; None if the cell is empty."""
    if not text:
        return None
    who, what, aim = re.fullmatch(r"(\w+)(?:: (.*?))?(?: <= ([\d.]+)(?: ns)?)?", text).groups()
    return Side(benchmark.replace("*", who), what or "", float(aim) if aim else None)


def peers_of(text, benchmark):
    """Those of the last cell: words like "apr", "apr[note]", "apr<=1"."""
    peers = {}
    for word in text.split():
        who, notes, aim = re.fullmatch(r"(\w+)(?:\[(\w+)\])?(?:<=([\d.]+))?", word).groups()
        peers[who] = Side(benchmark.replace("*", who), "", float(aim) if aim else None, notes or "")
    return peers


def read(path):
    parts = sections(path.read_text())
    jobs = [
        Job(title, side(ours, benchmark), side(raw, benchmark), side(by_hand, benchmark),
            peers_of(peers, benchmark))
        for title, benchmark, ours, raw, by_hand, peers in parts["jobs"]
    ]
    return Description({who: (name, package) for who, name, package in parts["peers"]}, jobs,
                       dict(parts["notes"]))
