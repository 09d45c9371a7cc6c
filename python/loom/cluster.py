"""One worksheet over many recorded files on a Dask cluster: one task per file.

    from dask.distributed import Client, LocalCluster
    import loom.cluster

    with LocalCluster(n_workers=4, threads_per_worker=1, processes=True) as cluster, \\
            Client(cluster) as client:
        rows = loom.cluster.map_worksheet(client, "machine.ini", files, "results")
    print(loom.cluster.format_table(rows))

Each file's outputs go to OUT_DIR/NAME (NAME: the file's name without suffix) and are exactly
what `loom run WORKSHEET --source SOURCE=FILE --output-dir OUT_DIR/NAME` writes, as with
`loom batch`. Tasks receive file names and return plain dicts: no engine object crosses between
processes. Names are made absolute before they are sent, so every worker must see the files,
the worksheet and the output folder at the same paths (shared storage), and must import the
same Loom build. A worker process runs one worksheet at a time (a panel's files are
process-wide), so give workers one thread each (`dask-worker --nthreads 1`); on an existing
cluster, pass Client("tcp://scheduler:8786").
"""

import os
import time

import loom


def output_folder(out_dir, path):
    """The folder of one file's outputs: OUT_DIR/NAME, NAME being the file's name sans suffix."""
    return os.path.join(out_dir, os.path.splitext(os.path.basename(path))[0])


def choose_source(worksheet, source=None):
    """The worksheet's file source that each file replaces: source, else its only one."""
    names = loom.file_sources(worksheet)
    if source is not None:
        for name in names:
            if name.lower() == source.lower():
                return name
        raise ValueError("%s has no file source %r (its file sources: %s)"
                         % (worksheet, source, ", ".join(names) or "none"))
    if len(names) != 1:
        raise ValueError("%s reads %s: name the source each file replaces"
                         % (worksheet, "no file" if not names else "several files (%s)"
                            % ", ".join(names)))
    return names[0]


def run_file(worksheet, source, path, folder):
    """The task: runs the worksheet on one file; a row of the table, failed or done."""
    started = time.monotonic()
    try:
        summary = loom.run_worksheet(worksheet, inputs={source: path}, output_dir=folder)
    except loom.Error as error:
        return dict(file=path, status="failed", error=str(error).split("\n")[0], samples=0,
                    seconds=time.monotonic() - started)
    status = "failed" if summary["stopped"] else "done"
    return dict(file=path, status=status, error=summary["stop_reason"],
                samples=summary["samples"], seconds=time.monotonic() - started)


def map_worksheet(client, worksheet, files, out_dir, source=None):
    """Runs worksheet on every file on the client's cluster; one row per file, in their order.

    A file that fails (bad data, a lost worker) gives a failed row with its first error; the
    others go on."""
    source = choose_source(worksheet, source)
    worksheet = os.path.abspath(worksheet)
    folders = {}
    for path in files:
        folder = output_folder(os.path.abspath(out_dir), path)
        if folder in folders:
            raise ValueError("%s and %s would both write to %s; rename one of them"
                             % (folders[folder], path, folder))
        folders[folder] = path
    futures = [client.submit(run_file, worksheet, source, os.path.abspath(path), folder,
                             pure=False)
               for folder, path in folders.items()]
    rows = []
    for path, future in zip(files, futures):
        try:
            row = future.result()
            row["file"] = path
        except Exception as error:  # the worker died or the task could not run there
            row = dict(file=path, status="failed", error="%s: %s" % (type(error).__name__, error),
                       samples=0, seconds=0.0)
        rows.append(row)
    return rows


def format_table(rows, seconds=None):
    """The rows as `loom batch` shows its summary: files done and failed, samples per second."""
    done = [row for row in rows if row["status"] == "done"]
    samples = sum(row["samples"] for row in done)
    head = "%d files, %d done, %d failed" % (len(rows), len(done), len(rows) - len(done))
    if seconds:
        head += " in %.3g s; %.3g samples/s" % (seconds, samples / seconds)
    width = max([4] + [len(row["file"]) for row in rows])
    lines = [head, "  %-*s  status  samples     seconds  samples/s" % (width, "file")]
    for row in rows:
        if row["status"] == "done":
            rate = row["samples"] / row["seconds"] if row["seconds"] > 0 else 0
            lines.append("  %-*s  done    %-11d %-8.3g %.3g"
                         % (width, row["file"], row["samples"], row["seconds"], rate))
        else:
            lines.append("  %-*s  failed  %s" % (width, row["file"], row["error"]))
    return "\n".join(lines) + "\n"
