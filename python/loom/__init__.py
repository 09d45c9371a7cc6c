"""Loom's formula engine, panels and worksheets in Python.

    loom.evaluate("VectorGetRMS(x)", x=samples)        # formulas on NumPy arrays
    loom.Panel("rms.ini").run({"accel": samples}, block=1000)
    loom.run_worksheet("machine.ini", inputs={"vibration": "day1.wav"}, output_dir="out/day1")

Arrays of float64 are read in place; vectors come back as arrays that own the engine's storage.
Errors are loom.FormulaError (the formula engine's message) and loom.InputError (a bad
worksheet, settings file or data, with the message `loom run` prints); both are loom.Error.

Threads: the GIL is released while formulas and panels run. Calls of evaluate run side by side
in several threads. Panel.run and run_worksheet take turns within one process, because loading
a panel closes every file that formulas opened, process-wide; run many files in many processes
(`loom batch`, or loom.cluster on Dask).
"""

from loom._loom import (Error, FormulaError, InputError, Panel, PanelRun, evaluate, file_sources,
                        run_worksheet)

__all__ = ["Error", "FormulaError", "InputError", "Panel", "PanelRun", "evaluate", "file_sources",
           "run_worksheet"]
