"""Tests of the Python module loom: values in and out bit for bit, the engine's messages as
exceptions, Panel.run against `loom run` on the same data, and `loom batch` and the Dask recipe
against one-by-one `loom run` on 20 generated files and a broken one.

CTest runs each class with Debian's python3, PYTHONPATH on the build's python folder and LOOM
naming the loom program.
"""

import json
import math
import os
import random
import struct
import subprocess
import tempfile
import threading
import time
import tracemalloc
import unittest

import numpy as np

import loom

LOOM = os.environ.get("LOOM", "loom")


def settings(prefix=""):
    """A panel: per block the RMS and the spectrum's peak frequency (100 samples/s), the event
    Loud above an RMS of 1.2. With prefix "NAME:" its sections stand inline in a worksheet."""
    expressions = ["rms := VectorGetRMS(x)",
                   "peak := VectorGetMaximumPosition(RealFFT(x, WINDOW_HANNING, 0, ph)) * 100 / "
                   "VectorGetSize(x)",
                   "If(rms > 1.2)", 'FireEvent(USEREVENT_LOUD, "rms " + Format("0.000", rms))',
                   "EndIf", "rms"]
    sections = [("General", ["ImmediateEvaluation=1", "EvaluateImmediately=1"]),
                ("InputVariables", ["Count=1", "0=x"]),
                ("Expressions", ["Count=%d" % len(expressions)] +
                 ["%d=%s" % item for item in enumerate(expressions)]),
                ("ChannelOrigins", ["Count=1", "0=rec.x"]),
                ("OutputDataChannels", ["Count=2", "0.Origin=rms", "0.Name=rms", "1.Origin=peak",
                                        "1.Name=peak"]),
                ("UserEvents", ["Count=1", "0.ID=1000", "0.userName=Loud"])]
    return "".join("[%s%s]\n%s\n" % (prefix, name, "\n".join(lines)) for name, lines in sections)


WORKSHEET = ("[Worksheet]\nEvents=events.jsonl\n[Source:rec]\nFile=rec00.csv\nBlock=64\n"
             "[Panel:watch]\n" + settings("watch:") +
             "[Sink:out]\nFile=watch.csv\nChannels=watch.rms, watch.peak\n")


def recording(seed, rows=256):
    """A seeded recording at 100 samples/s: a tone of 5 + seed Hz that swells, and noise."""
    noise = random.Random(seed)
    times = [i / 100 for i in range(rows)]
    values = [(0.5 + seed / 10) * (1 + t) * math.sin(2 * math.pi * (5 + seed) * t) +
              noise.gauss(0, 0.1)
              for t in times]
    return np.array(times), np.array(values)


def write_csv(path, times, values):
    with open(path, "w") as out:  # repr: the shortest text that reads back as the same bits
        out.write("time,x\n" + "".join("%r,%r\n" % row for row in zip(times, values)))


def read_bytes(path):
    with open(path, "rb") as handle:
        return handle.read()


def run_loom(*args, cwd):
    return subprocess.run([LOOM] + list(args), cwd=cwd, capture_output=True, text=True,
                          timeout=120)


class ValuesTest(unittest.TestCase):
    def test_values_in_and_out(self):
        table = [  # formula, variables, expected value
            ("x * 2", {"x": 7}, 14.0),
            ('s + "!"', {"s": "héllo"}, "héllo!"),
            ("b", {"b": b"\xff\x00z"}, "\udcff\x00z"),  # bytes travel unchanged
            ("VectorGetSum(v)", {"v": [1, 2, 3.5]}, 6.5),
            ("v * 2", {"v": np.arange(3, dtype=np.int32)}, np.array([0.0, 2.0, 4.0])),
            ("m", {"m": np.arange(6.0).reshape(2, 3)}, np.arange(6.0).reshape(2, 3)),
            ("[]", {}, np.array([])),
            (["y := x + 1", "y * y"], {"x": 2.0}, [3.0, 9.0]),
            ("y", {}, 0.0),  # y of the call before is gone: a new variable starts at 0
        ]
        for formula, variables, expected in table:
            with self.subTest(formula=formula):
                value = loom.evaluate(formula, **variables)
                if isinstance(expected, np.ndarray):
                    np.testing.assert_array_equal(value, expected)
                    self.assertEqual(value.dtype, np.float64)
                else:
                    self.assertEqual(value, expected)
                    self.assertIs(type(value), type(expected))

    def test_arrays_round_trip_bit_for_bit(self):
        payload = struct.unpack("<d", struct.pack("<Q", 0x7FF8000000000123))[0]
        special = np.array([math.nan, payload, math.inf, -math.inf, -0.0, 5e-324,
                            1.7976931348623157e308, 0.1])
        big = np.random.default_rng(7).standard_normal(1_000_000)
        for samples in (special, big):
            back = loom.evaluate("x", x=samples)
            self.assertEqual(back.tobytes(), samples.tobytes())
            # the array owns the engine's storage: no copy on the way out
            self.assertFalse(back.flags.owndata)
            self.assertNotIsInstance(back.base, np.ndarray)

    def test_float64_arrays_are_read_in_place(self):
        big = np.random.default_rng(3).random(1_000_000)
        single = big.astype(np.float32)
        peaks = {}
        for name, samples in (("float64", big), ("float32", single)):
            tracemalloc.start()
            total = loom.evaluate("VectorGetSum(x)", x=samples)
            peaks[name] = tracemalloc.get_traced_memory()[1]
            tracemalloc.stop()
            self.assertAlmostEqual(total, float(big.sum()), delta=0.5)
        self.assertLess(peaks["float64"], 100_000)  # no 8 MB copy of the array
        self.assertGreater(peaks["float32"], 8_000_000)  # a conversion is a copy, and seen

    def test_messages_arrive_as_exceptions(self):
        table = [
            ("1+", {}, loom.FormulaError, '1+: Can not find operand/function "+"'),
            ("x+[1,2,3]", {"x": np.ones(2)}, loom.FormulaError, "vector sizes are not matched"),
            ("sin", {"sin": 1.0}, loom.InputError,
             "sin: the name of a word of the language; name the variable otherwise"),
            ("x", {"x": np.zeros((2, 2, 2))}, ValueError,
             "x: an array of 3 dimensions; vectors have 1, matrices 2"),
            ("x", {"x": np.array(["a"])}, TypeError,
             "x: an array of numbers is needed, not of dtype <U1"),
            ("x", {"x": object()}, TypeError,
             "x: a number, a string or an array of numbers, not object"),
        ]
        for formula, variables, kind, message in table:
            with self.subTest(formula=formula, message=message):
                with self.assertRaises(kind) as caught:
                    loom.evaluate(formula, **variables)
                self.assertEqual(str(caught.exception), message)
        self.assertTrue(issubclass(loom.FormulaError, loom.Error))
        self.assertTrue(issubclass(loom.InputError, loom.Error))

    def test_other_threads_run_while_a_formula_waits(self):
        stamps, finished = [], threading.Event()
        worker = threading.Thread(target=lambda: (loom.evaluate("Wait(1000)"), finished.set()))
        worker.start()
        while not finished.is_set():
            stamps.append(time.monotonic())
        worker.join()
        gaps = np.diff(stamps)
        self.assertGreater(stamps[-1] - stamps[0], 0.9)
        self.assertLess(gaps.max(), 0.5)  # the GIL held for the whole Wait would leave 1 s


class PanelTest(unittest.TestCase):
    def test_run_matches_loom_run_on_the_same_data(self):
        times, values = recording(3, rows=300)
        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, "watch.ini"), "w") as out:
                out.write(settings())
            write_csv(os.path.join(folder, "rec.csv"), times, values)
            run = run_loom("run", "watch.ini", "--input", "rec.csv", "--block", "64", "--output",
                           "out.csv", "--events", "events.jsonl", cwd=folder)
            self.assertEqual(run.returncode, 0, run.stderr)
            with open(os.path.join(folder, "out.csv")) as handle:
                rows = [line.rstrip("\n").split(",") for line in handle][1:]
            with open(os.path.join(folder, "events.jsonl")) as handle:
                logged = [json.loads(line) for line in handle]
            result = loom.Panel(os.path.join(folder, "watch.ini")).run(
                {"x": values}, block=64, time=times)
            inline = loom.Panel(settings()).run({"x": values}, block=64, time=times)
        self.assertGreaterEqual(len(logged), 2)
        self.assertEqual(result.events, logged)
        self.assertEqual([dict(e, panel="watch") for e in inline.events], logged)  # "panel.ini"
        for column, name in ((1, "rms"), (2, "peak")):
            cells = [(float(row[0]), float(row[column])) for row in rows if row[column]]
            self.assertEqual(result.times[name].tolist(), [t for t, _ in cells])
            self.assertEqual(result.outputs[name].tolist(), [v for _, v in cells])
            np.testing.assert_array_equal(inline.outputs[name], result.outputs[name])
        self.assertEqual(result.summary["panels"]["watch"]["events"]["Loud"], len(logged))
        self.assertEqual(result.summary["samples"], 300)

    def test_mistakes_are_input_errors(self):
        panel = loom.Panel(settings())
        table = [
            (lambda: loom.Panel("none.ini"), "cannot read none.ini: No such file or directory"),
            (lambda: panel.run({"x": np.ones(3), "y": np.ones(2)}),
             'the channel "y" holds 2 samples, "x" 3'),
            (lambda: panel.run({"x": np.ones(3)}, time=[0, 2, 1]),
             "time 2: 1 lies before the previous 2"),
            (lambda: panel.run({"y": np.ones(3)}),
             'panel.ini:17: [ChannelOrigins] 0: "rec.x" matches no channel of the arrays (its '
             "channels: y)"),
        ]
        for call, message in table:
            with self.subTest(message=message):
                with self.assertRaises(loom.InputError) as caught:
                    call()
                self.assertEqual(str(caught.exception), message)


class ManyFilesTest(unittest.TestCase):
    """20 generated recordings and a broken one: loom batch and the Dask recipe against the
    outputs of one `loom run` per file."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = cls.folder.name
        with open(os.path.join(cls.root, "w.ini"), "w") as out:
            out.write(WORKSHEET)
        cls.files = []
        for seed in range(20):
            name = "rec%02d.csv" % seed
            write_csv(os.path.join(cls.root, name), *recording(seed))
            cls.files.append(name)
        with open(os.path.join(cls.root, "broken.csv"), "w") as out:
            out.write("time,x\n0,1\n0.01,one\n")
        for name in cls.files:
            run = run_loom("run", "w.ini", "--source", "rec=" + name, "--output-dir",
                           os.path.join("single", name[:-4]), cwd=cls.root)
            assert run.returncode == 0, run.stderr

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def assertSameAsSingleRuns(self, out_dir):
        loud = 0
        for name in self.files:
            for output in ("watch.csv", "events.jsonl"):
                single = read_bytes(os.path.join(self.root, "single", name[:-4], output))
                self.assertEqual(read_bytes(os.path.join(out_dir, name[:-4], output)), single,
                                 "%s of %s" % (output, name))
                loud += single.count(b'"Loud"')
        self.assertGreater(loud, 10)  # the events are compared, not only empty logs
        self.assertEqual(os.listdir(os.path.join(out_dir, "broken"))
                         if os.path.isdir(os.path.join(out_dir, "broken")) else [], [])

    def test_batch(self):
        run = run_loom("batch", "w.ini", *self.files, "broken.csv", "--out", "batch", "-j", "2",
                       cwd=self.root)
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertRegex(run.stdout, r"^batch w.ini: 21 files in \S+ s, 20 done, 1 failed; ")
        self.assertIn('  broken.csv  failed  broken.csv:3: column 2 ("x"): "one" is not a number\n',
                      run.stdout)
        self.assertSameAsSingleRuns(os.path.join(self.root, "batch"))

    def test_dask_recipe(self):
        try:
            from distributed import Client, LocalCluster
        except ImportError as error:
            self.skipTest("Dask distributed is not installed (python3-distributed): %s" % error)
        import loom.cluster
        out_dir = os.path.join(self.root, "dask")
        with LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                          dashboard_address=None) as cluster, Client(cluster) as client:
            rows = loom.cluster.map_worksheet(client, os.path.join(self.root, "w.ini"),
                                              [os.path.join(self.root, f) for f in
                                               self.files + ["broken.csv"]], out_dir)
        self.assertEqual([row["status"] for row in rows], ["done"] * 20 + ["failed"])
        self.assertEqual([row["samples"] for row in rows[:20]], [256] * 20)
        self.assertEqual(rows[20]["error"], '%s:3: column 2 ("x"): "one" is not a number'
                         % os.path.join(self.root, "broken.csv"))
        self.assertIn("21 files, 20 done, 1 failed", loom.cluster.format_table(rows))
        self.assertSameAsSingleRuns(out_dir)


if __name__ == "__main__":
    unittest.main()
