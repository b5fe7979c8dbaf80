#!/usr/bin/env python3
"""The report on the layer's speed, made from figures that were measured before."""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

TOOL = pathlib.Path(__file__).resolve().parents[2] / "tools" / "performance-report"
BEGIN = "<!-- written by tools/performance-report: begin -->"
END = "<!-- written by tools/performance-report: end -->"
SVG = "{http://www.w3.org/2000/svg}"

JOBS = """
[peers]
# who | name | package
glib | One | libone-dev
pcap | Two | libtwo-dev
[jobs]
take | take/* | layer | raw: `wait` <= 2 | hand <= 1.05 | glib[a]
idle | idle/* | layer <= 100 ns | | hand: asleep |
copy, 1 KiB | copy/*/1 | manager | | | glib pcap<=1
never measured | never/* | layer | raw | | glib
[notes]
a | a mutex
"""

MEASURED = {
    "date": "2026-01-02", "machine": "2 cores", "compiler": "C++ 12", "cores": 2,
    "versions": {"glib": "1.7"}, "load": [1.0, 1.1, 0.9],
    "rounds": [
        {"take/layer": 40, "take/raw": 20, "take/hand": 20, "take/glib": 10,
         "idle/layer": 50, "idle/hand": 20000,
         "copy/manager/1": 10, "copy/glib/1": 5, "copy/pcap/1": 10},
        {"take/layer": 60, "take/raw": 40, "take/hand": 50, "take/glib": 20,
         "idle/layer": 60, "idle/hand": 20000,
         "copy/manager/1": 11, "copy/glib/1": 5, "copy/pcap/1": 10},
        # Something disturbed this one.
        {"take/layer": 900, "take/raw": 40, "take/hand": 800, "take/glib": 40,
         "idle/layer": 900, "idle/hand": 20000,
         "copy/manager/1": 11, "copy/glib/1": 5, "copy/pcap/1": 10},
    ],
}

PLAIN_TABLE = """
| job | raw calls | ratio | aim | by hand | aim |
|---|---|---|---|---|---|
| take | `wait` | ~2.00 | 2 | **~1.20** | 1.05 |
| idle |  |  |  | ~0.003 (asleep) |  |

| job | takes | aim |
|---|---|---|
| idle | 60 ns | 100 ns |
"""

PEER_TABLE = """
| job | One 1.7 | Two |
|---|---|---|
| take | ~4.00<sup>a</sup> |  |
| copy, 1 KiB | 2.20 | **1.10** (aim 1) |

<sup>a</sup> a mutex.
"""


class Report(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.page = self.folder / "speed.md"
        self.page.write_text(f"# Speed\n\n{BEGIN}\nof last year\n{END}\n\nWhat follows.\n")
        (self.folder / "jobs").write_text(JOBS)
        self.measured = json.loads(json.dumps(MEASURED))

    def run_tool(self):
        (self.folder / "figures").write_text(json.dumps(self.measured))
        return subprocess.run(
            [sys.executable, TOOL, "--from", self.folder / "figures", "--jobs", self.folder / "jobs",
             "--page", self.page], stderr=subprocess.PIPE, text=True, check=False)

    def report(self):
        """The page as the tool leaves it."""
        finished = self.run_tool()
        self.assertEqual(finished.returncode, 0, finished.stderr)
        return self.page.read_text()

    def picture(self):
        self.report()
        return xml.etree.ElementTree.parse(self.folder / "speed.svg").getroot()

    def test_compares_by_medians_of_ratios_and_marks_what_is_over_an_aim_or_unsure(self):
        page = self.report()
        self.assertIn(PLAIN_TABLE, page)
        self.assertIn(PEER_TABLE, page)

    def test_says_when_and_where_it_was_measured(self):
        page = self.report()
        self.assertIn("Measured on 2026-01-02, on 2 cores; built by C++ 12. Ratios are medians of 3 rounds.", page)
        self.assertNotIn("Other work", page)

    def test_says_that_other_work_ran_beside_it(self):
        self.measured["load"] = [5.5, 7.0, 9.0]
        self.assertIn("Other work ran beside it: between 5.5 and 9 threads wanted the 2 cores", self.report())

    def test_replaces_nothing_but_what_it_wrote_before(self):
        page = self.report()
        self.assertTrue(page.startswith(f"# Speed\n\n{BEGIN}\nMeasured"), page)
        self.assertTrue(page.endswith(f"\n{END}\n\nWhat follows.\n"), page)
        self.assertNotIn("of last year", page)
        self.assertEqual(self.report(), page)

    def test_refuses_a_page_without_its_place(self):
        self.page.write_text("# Speed\n")
        finished = self.run_tool()
        self.assertNotEqual(finished.returncode, 0)
        self.assertIn(f"lacks the line {BEGIN}", finished.stderr)
        self.assertEqual(self.page.read_text(), "# Speed\n")

    def test_names_what_was_not_measured(self):
        self.assertEqual(self.run_tool().stderr, "left out, as it was not measured: never measured\n")

    def test_draws_a_mark_for_each_ratio(self):
        titles = [title.text for title in self.picture().iterfind(f".//{SVG}polygon/{SVG}title")]
        self.assertCountEqual(titles, [
            "take, beside raw calls: 2.00", "take, beside the same by hand: 1.20", "take, beside One: 4.00",
            "idle, beside the same by hand: 0.003", "copy, 1 KiB, beside One: 2.20",
            "copy, 1 KiB, beside Two: 1.10"])

    def test_draws_smaller_ratios_further_left_and_puts_the_number_to_one_off_the_scale(self):
        def left_of(title):
            mark = next(mark for mark in picture.iter(SVG + "polygon") if mark.findtext(SVG + "title") == title)
            return min(float(point.split(",")[0]) for point in mark.get("points").split())

        picture = self.picture()
        places = [left_of(title) for title in (
            "idle, beside the same by hand: 0.003", "copy, 1 KiB, beside Two: 1.10", "take, beside raw calls: 2.00",
            "take, beside One: 4.00")]
        self.assertEqual(places, sorted(set(places)))
        self.assertIn("0.003", [text.text for text in picture.iter(SVG + "text")])

    def test_names_each_job_and_each_other_in_the_picture(self):
        texts = {text.text for text in self.picture().iter(SVG + "text")}
        self.assertLessEqual({"take", "idle", "copy, 1 KiB", "raw calls", "the same by hand", "One", "Two"}, texts)
        self.assertNotIn("never measured", texts)


class Description(unittest.TestCase):
    """Of the jobs that are measured in earnest."""

    def test_explains_each_note_and_names_each_peer(self):
        sys.path.insert(0, str(TOOL.parent))
        sys.dont_write_bytecode = True
        from performance import description, plot

        jobs = description.read(TOOL.parent.parent / "benchmarks" / "jobs.table")
        sides = [(who, side) for job in jobs.jobs for who, side in job.peers.items()]
        self.assertEqual({side.notes for _, side in sides} - {""}, set(jobs.notes))
        self.assertEqual({who for who, _ in sides}, set(jobs.peers))
        self.assertLessEqual(set(jobs.peers), set(plot.MARKS))


if __name__ == "__main__":
    unittest.main()
