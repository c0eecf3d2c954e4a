"""Archives of mammograms on a Dask cluster.

:func:`detect_files` spreads the files over a Dask bag, one record per file,
and writes what ``zetdip-cad batch`` writes: a JSON report and an overlay
per file, ``images.csv`` and ``clusters.csv``.
"""

import json
import os

from . import _zetdip

__all__ = ["detect_files"]

_TIMING_KEYS = ("ms", "timing_ms", "seconds")


def _record(path, root, out_dir, pixel_size):
    """Process one file where it lands; failures become records."""
    try:
        status, error, json_path, seconds, text = _zetdip._process_one_file(
            path, root, out_dir, pixel_size)
        report = json.loads(text) if text else None
    except Exception as e:  # one bad file is a record, not the end of the run
        status, error, json_path, seconds, report = "error", str(e), "", 0.0, None
    return {
        "path": path,
        "status": status,
        "error": error,
        "seconds": seconds,
        "json": json_path,
        "clusters": report["clusters"] if report and "clusters" in report else [],
        "report": report,
    }


def _write_tables(records, out_dir):
    rows, cluster_rows = [_zetdip._images_csv_header()], [_zetdip._clusters_csv_header()]
    for r in records:
        text = json.dumps(r["report"]) if r["report"] is not None else ""
        image_row, clusters = _zetdip._csv_rows(r["path"], r["status"], r["error"],
                                                 r["seconds"], text)
        rows.append(image_row)
        cluster_rows.append(clusters)
    for name, lines in (("images.csv", rows), ("clusters.csv", cluster_rows)):
        path = os.path.join(out_dir, name)
        with open(path + ".tmp", "w", encoding="utf-8", newline="") as f:
            f.write("".join(lines))
        os.replace(path + ".tmp", path)


def detect_files(paths, client=None, partition_size=200, out_dir=None, pixel_size=None,
                 compute=True):
    """Run the detection chain on many files with Dask.

    Parameters
    ----------
    paths : iterable of str or os.PathLike
        The files. Those that are not mammograms (see ``zetdip-cad batch``)
        give records with status ``"skipped"``.
    client : distributed.Client, optional
        Where to run; by default Dask's current scheduler.
    partition_size : int, optional
        Files per partition of the bag.
    out_dir : str or os.PathLike, optional
        When given, each file's JSON report and overlay are written under it
        (mirroring the files' folders below their common folder), and so are
        ``images.csv`` and ``clusters.csv``, as ``zetdip-cad batch`` writes
        them.
    pixel_size : float, optional
        Millimetres per pixel for files that do not carry it.
    compute : bool, optional
        False returns the lazy bag of records instead of the list (tables
        are then not written).

    Returns
    -------
    list of dict or dask.bag.Bag
        One record per file, in the order of ``paths``: ``path``, ``status``
        (``"ok"``, ``"error"``, ``"skipped"``), ``error``, ``seconds``,
        ``json`` (the report's path, with ``out_dir``), ``clusters`` (as in
        the report) and ``report`` (the whole JSON report, or None).

    Notes
    -----
    Errors are records, never exceptions, so one corrupt file does not stop
    the run.
    """
    import dask.bag as db

    paths = [os.path.abspath(os.fspath(p)) for p in paths]
    out = None if out_dir is None else os.path.abspath(os.fspath(out_dir))
    root = os.path.commonpath([os.path.dirname(p) for p in paths]) if paths else "."
    if out is not None:
        os.makedirs(out, exist_ok=True)
    bag = db.from_sequence(paths, partition_size=max(1, int(partition_size)))
    bag = bag.map(_record, root, out, pixel_size)
    if not compute:
        return bag
    records = client.compute(bag).result() if client is not None else bag.compute()
    records = list(records)
    if out is not None:
        _write_tables(records, out)
    return records


def without_timing(value):
    """A record or report with every timing field removed, for comparisons."""
    if isinstance(value, dict):
        return {k: without_timing(v) for k, v in value.items() if k not in _TIMING_KEYS}
    if isinstance(value, list):
        return [without_timing(v) for v in value]
    return value
