"""Runs the benchmarks, and answers what they measured.

The programs are run in rounds; in a round, all that do a job follow each other, so that a ratio is of
figures taken within seconds. Figures are processor time, of all threads of a program together and of
its children where it starts some, so that other work on the machine disturbs them little; only where
time passes without work (lateness, timers due at once) are they clock time.
"""
import datetime
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys


def names_and_values(result):
    """Name and nanoseconds of each figure of one benchmark; names as the description has them."""
    words = result["run_name"].split("/")
    threads = [word.removeprefix("threads:") for word in words if word.startswith("threads:")]
    plain = [word for word in words if ":" not in word and not word.endswith("_time")]
    name = "/".join(plain) + "".join(":" + count for count in threads)
    if "median" in result:
        return {name + "=" + figure: result[figure] for figure in ("median", "p99")}
    measured_by_itself = "manual_time" in words
    nanoseconds = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[result["time_unit"]]
    return {name: result["real_time" if measured_by_itself else "cpu_time"] * nanoseconds}


def figures_in(text):
    """Of the JSON that a program prints."""
    found = {}
    for result in json.loads(text)["benchmarks"]:
        if result.get("error_occurred"):
            sys.exit(f"{result['run_name']}: {result['error_message']}")
        found.update(names_and_values(result))
    return found


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                          check=True).stdout


def programs_by_subject(folder):
    """The programs that have benchmarks named SUBJECT/..., for each subject."""
    found = {}
    for program in sorted(folder.glob("*_benchmark")):
        for subject in {line.split("/")[0]
                        for line in output_of(program, "--benchmark_list_tests").splitlines()}:
            found.setdefault(subject, []).append(program)
    return found


def one_round(subjects, seconds):
    figures = {}
    for subject, programs in subjects.items():
        for program in programs:
            figures.update(figures_in(output_of(
                program, f"--benchmark_filter=^{subject}/", "--benchmark_format=json",
                "--benchmark_enable_random_interleaving=true", f"--benchmark_min_time={seconds}")))
    return figures


def first_match(pattern, path):
    match = re.search(pattern, pathlib.Path(path).read_text(), re.MULTILINE)
    return match.group(1) if match else "unknown"


def machine():
    virtual = " of a virtual machine" if re.search(r"^flags.* hypervisor\b", pathlib.Path(
        "/proc/cpuinfo").read_text(), re.MULTILINE) else ""
    system = first_match(r'^PRETTY_NAME="(.*)"', "/etc/os-release")
    return (f"{len(os.sched_getaffinity(0))} cores{virtual} "
            f"({first_match('^model name.*: (.*)', '/proc/cpuinfo')}), {system}, "
            f"Linux {os.uname().release.split('-')[0]}")


def compiler(build):
    """Name, version and options."""
    known = next((build / "CMakeFiles").glob("*/CMakeCXXCompiler.cmake"))
    name, version = (first_match(rf'^set\(CMAKE_CXX_COMPILER_{what} "(.*)"\)', known)
                     for what in ("ID", "VERSION"))
    options = first_match(r"^CMAKE_CXX_FLAGS_RELEASE:\w+=(.*)", build / "CMakeCache.txt")
    return f"{name} C++ {version}, {options}"


def versions(peers):
    """What is installed of the peers: their upstream versions."""
    found = {}
    for who, (_, package) in peers.items():
        shown = subprocess.run(["dpkg-query", "-W", "-f=${Version}", package], text=True, check=False,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        if shown:
            found[who] = re.search(r"(?:^|:)(\d+(?:\.\d+){0,2})", shown).group(1)
    return found


def measure(build, peers, rounds, seconds):
    """All that is to be known of the figures, ready for a file; again after each round."""
    subjects = programs_by_subject(build / "benchmarks")
    measured = {"date": datetime.date.today().isoformat(), "machine": machine(),
                "compiler": compiler(build), "cores": len(os.sched_getaffinity(0)),
                "versions": versions(peers), "load": [], "rounds": []}
    for number in range(1, rounds + 1):
        print(f"round {number} of {rounds}", file=sys.stderr)
        measured["load"].append(round(os.getloadavg()[0], 1))
        measured["rounds"].append(one_round(subjects, seconds))
        yield measured


class Figures:
    """What was measured."""

    def __init__(self, measured):
        self.about = measured
        self._rounds = measured["rounds"]

    def ratios(self, ours, beside):
        return [some[ours] / some[beside] for some in self._rounds if ours in some and beside in some]

    def ratio(self, ours, beside):
        """How many times as long ours takes; None if one was not measured."""
        ratios = self.ratios(ours, beside)
        return statistics.median(ratios) if ratios else None

    def is_unsure(self, ours, beside):
        """Whether the middle half of the rounds' ratios differs by more than a quarter of their median."""
        ratios = self.ratios(ours, beside)
        first, median, third = statistics.quantiles(ratios) if len(ratios) > 1 else (0, 1, 1)
        return third - first > median / 4

    def nanoseconds(self, ours):
        times = [some[ours] for some in self._rounds if ours in some]
        return statistics.median(times) if times else None
