"""Files, the detection chain and archives from Python: the same reports and
tables as the zetdip-cad program writes."""

import csv
import json
import os
import subprocess

import numpy as np
import pytest

import zetdip
import zetdip.dask

pytestmark = pytest.mark.skipif(not hasattr(zetdip._zetdip, "_read"),
                                reason="built without the host layer")

SMALL = dict(width_mm=60.0, height_mm=80.0, cluster_sizes=[6])
ARCHIVE = dict(SMALL, pixel_size=0.15)  # coarser: the archive stays quick


def program():
    path = os.environ.get("ZETDIP_CAD")
    if not path:
        pytest.skip("ZETDIP_CAD (the zetdip-cad program) is not set")
    return path


def test_read_returns_the_saved_samples_and_the_facts_with_their_sources(tmp_path):
    image, facts = zetdip.phantom(seed=2, **SMALL)
    assert image.dtype == np.uint16 and image.shape == (800, 600)
    assert facts["pixel_spacing"] == {"row_mm": 0.1, "column_mm": 0.1, "source": "synthetic"}
    x, y, members = facts["planted_clusters"][0]
    assert members == 6 and 0 <= x < 600 and 0 <= y < 800

    zetdip.save(tmp_path / "m.png", image, facts)
    again, read_facts = zetdip.read(tmp_path / "m.png", pixel_size=0.07)
    np.testing.assert_array_equal(again, image)
    assert again.flags.c_contiguous and again.flags.writeable
    assert read_facts["pixel_spacing"]["row_mm"] == 0.07
    assert read_facts["format"] == "PNG" and read_facts["bits_stored"] == 12
    with pytest.raises(zetdip.Error, match="m.png: no pixel size"):
        zetdip.read(tmp_path / "m.png")


def test_detect_finds_the_planted_cluster_in_the_files_frame():
    image, facts = zetdip.phantom(seed=3, **SMALL)
    report = zetdip.detect((image, facts))
    assert report["status"] == "ok" and report["schema"] == "zetdip-cad/1"
    (x, y, _), = facts["planted_clusters"]
    assert len(report["clusters"]) == 1
    c = report["clusters"][0]
    assert abs(c["x"] - x) < 10 and abs(c["y"] - y) < 10
    assert c["x_mm"] == pytest.approx(c["x"] * 0.1)
    # The array alone needs its pixel size; the same facts give the same clusters.
    bare = zetdip.detect(image, pixel_size=0.1, laterality="L", view="MLO")
    assert bare["clusters"] == report["clusters"]
    with pytest.raises(zetdip.Error, match="pixel size"):
        zetdip.detect(image)
    with pytest.raises(ValueError, match="uint8 or uint16"):
        zetdip.detect(image.astype(np.float32), pixel_size=0.1)
    with pytest.raises(ValueError, match="2-D"):
        zetdip.detect(image[None], pixel_size=0.1)


def test_detect_equals_the_programs_detect_on_the_phantom(tmp_path):
    image, facts = zetdip.phantom(seed=4, breast_on_right=True, **SMALL)
    path = str(tmp_path / "right.png")
    zetdip.save(path, image, facts)
    subprocess.run([program(), "detect", path, "--pixel-size", "0.1", "--out",
                    str(tmp_path / "cli"), "--quiet"], check=True, capture_output=True)
    with open(tmp_path / "cli" / "right.json", encoding="utf-8") as f:
        expected = json.load(f)
    got = zetdip.detect(path, pixel_size=0.1)
    assert zetdip.dask.without_timing(got) == zetdip.dask.without_timing(expected)
    assert got["clusters"]
    # Written by the module, the files are the program's files.
    zetdip.detect(path, pixel_size=0.1, out_dir=tmp_path / "py")
    assert sorted(os.listdir(tmp_path / "py")) == ["right.json", "right.png"]


# ---- archives on Dask ----------------------------------------------------------


@pytest.fixture(scope="module")
def archive(tmp_path_factory):
    """Eight small phantoms, left and right, half DICOM and half PNG, with a
    corrupt file and a text file among them."""
    root = tmp_path_factory.mktemp("archive")
    (root / "left").mkdir()
    (root / "right").mkdir()
    for i in range(8):
        image, facts = zetdip.phantom(seed=100 + i, breast_on_right=i % 2 == 1, **ARCHIVE)
        folder = root / ("right" if i % 2 else "left")
        zetdip.save(folder / f"m{i:02d}.{'dcm' if i < 4 else 'png'}", image, facts)
    (root / "left" / "corrupt.png").write_bytes(b"\x89PNG\r\n\x1a\nnot really")
    (root / "notes.txt").write_text("not a mammogram\n")
    return root


def files_of(root):
    return sorted(str(p) for p in root.rglob("*") if p.is_file())


def table(path, drop=("seconds",)):
    with open(path, encoding="utf-8", newline="") as f:
        rows = list(csv.DictReader(f))
    return sorted(({k: v for k, v in r.items() if k not in drop} for r in rows),
                  key=lambda r: (r["path"], r.get("cluster", "")))


def test_dask_on_two_local_worker_processes_gives_the_serial_results(archive, tmp_path):
    import dask
    from distributed import Client, LocalCluster

    paths = files_of(archive)
    with dask.config.set(scheduler="synchronous"):
        serial = zetdip.dask.detect_files(paths, pixel_size=0.15)
    statuses = {os.path.basename(r["path"]): r["status"] for r in serial}
    assert statuses.pop("corrupt.png") == "error"
    assert statuses.pop("notes.txt") == "skipped"
    assert set(statuses.values()) == {"ok"} and len(statuses) == 8

    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, host="127.0.0.1",
                      dashboard_address=None) as cluster, Client(cluster) as client:
        records = zetdip.dask.detect_files(paths, client=client, partition_size=3,
                                           out_dir=tmp_path / "dask", pixel_size=0.15)
    assert [r["path"] for r in records] == paths
    assert zetdip.dask.without_timing([dict(r, json="") for r in records]) == \
        zetdip.dask.without_timing([dict(r, json="") for r in serial])

    # The files are those of the batch command.
    subprocess.run([program(), "batch", str(archive), "--pixel-size", "0.15", "--out",
                    str(tmp_path / "batch"), "-j", "2", "--progress=none"],
                   capture_output=True)
    for name in ("images.csv", "clusters.csv"):
        assert table(tmp_path / "dask" / name) == table(tmp_path / "batch" / name)
    reports = sorted(str(p.relative_to(tmp_path / "batch"))
                     for p in (tmp_path / "batch").rglob("*.json"))
    assert reports == sorted(str(p.relative_to(tmp_path / "dask"))
                             for p in (tmp_path / "dask").rglob("*.json"))
    assert "left/m00.json" in reports and "left/corrupt.json" in reports
