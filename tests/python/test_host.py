"""Files, the detection chain and archives from Python: the samples and facts
of a file, and the tables the zetdip-cad program writes."""

import csv
import os
import subprocess

import numpy as np
import pytest

import zetdip
import zetdip.dask

pytestmark = pytest.mark.skipif(not hasattr(zetdip._zetdip, "_read"),
                                reason="built without the host layer")
SMALL = dict(width_mm=60.0, height_mm=80.0, cluster_sizes=[6])


def test_read_returns_the_saved_samples_and_detect_finds_the_planted_cluster(tmp_path):
    image, facts = zetdip.phantom(seed=3, **SMALL)
    zetdip.save(tmp_path / "m.png", image, facts)
    again, read_facts = zetdip.read(tmp_path / "m.png", pixel_size=0.07)
    np.testing.assert_array_equal(again, image)
    assert read_facts["pixel_spacing"]["row_mm"] == 0.07 and read_facts["bits_stored"] == 12
    with pytest.raises(zetdip.Error, match="m.png: no pixel size"):
        zetdip.read(tmp_path / "m.png")
    (x, y, _), = facts["planted_clusters"]
    clusters = zetdip.detect((image, facts))["clusters"]
    assert len(clusters) == 1 and abs(clusters[0]["x"] - x) < 10 and abs(clusters[0]["y"] - y) < 10


def test_dask_on_two_worker_processes_writes_the_batch_commands_tables(tmp_path):
    from distributed import Client, LocalCluster

    program = os.environ.get("ZETDIP_CAD") or pytest.skip("ZETDIP_CAD is not set")
    (tmp_path / "in").mkdir()
    for i in range(3):
        image, facts = zetdip.phantom(seed=100 + i, breast_on_right=i == 1, pixel_size=0.15,
                                      **SMALL)
        zetdip.save(tmp_path / "in" / f"m{i}.{'dcm' if i else 'png'}", image, facts)
    (tmp_path / "in" / "corrupt.png").write_bytes(b"\x89PNG\r\n\x1a\nnot really")
    paths = sorted(str(p) for p in (tmp_path / "in").iterdir())
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, host="127.0.0.1",
                      dashboard_address=None) as cluster, Client(cluster) as client:
        records = zetdip.dask.detect_files(paths, client=client, partition_size=2,
                                           out_dir=tmp_path / "dask", pixel_size=0.15)
    assert [r["path"] for r in records] == paths
    assert [r["status"] for r in records] == ["error", "ok", "ok", "ok"]
    subprocess.run([program, "batch", str(tmp_path / "in"), "--pixel-size", "0.15", "--out",
                    str(tmp_path / "batch"), "--progress=none"], capture_output=True)
    for name in ("images.csv", "clusters.csv"):
        tables = []
        for run in ("dask", "batch"):
            with open(tmp_path / run / name, encoding="utf-8", newline="") as f:
                rows = [{k: v for k, v in r.items() if k != "seconds"} for r in csv.DictReader(f)]
            tables.append(sorted(rows, key=lambda r: (r["path"], r.get("cluster", ""))))
        assert tables[0] == tables[1]
