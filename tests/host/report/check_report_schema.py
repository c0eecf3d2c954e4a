"""zetdip-cad's default job follows the shipped JSON Schema, which refuses
broken reports.  usage: check_report_schema.py ZETDIP_CAD SCHEMA"""
import copy
import json
import os
import subprocess
import sys
import tempfile

import jsonschema


def main():
    program, schema_path = sys.argv[1], sys.argv[2]
    with open(schema_path) as f:
        schema = json.load(f)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    with tempfile.TemporaryDirectory() as work:
        # Without arguments: the synthetic job, and a line saying where it went.
        run = subprocess.run([program], cwd=work, check=True, capture_output=True, text=True)
        assert "zetdip-out/synthetic.png" in run.stdout, run.stdout
        assert os.path.isfile(work + "/zetdip-out/synthetic.png")
        with open(work + "/zetdip-out/synthetic.json") as f:
            report = json.load(f)
    validator.validate(report)
    assert report["status"] == "ok" and report["clusters"], "the default job marks clusters"

    for mutate in (
        lambda r: r.pop("clusters"),
        lambda r: r.update(status="error"),  # an error needs its text
        lambda r: r["clusters"][0].pop("members"),
        lambda r: r["input"]["pixel_spacing"].update(row_mm=0),
    ):
        r = copy.deepcopy(report)
        mutate(r)
        if validator.is_valid(r):
            sys.exit("schema accepts a broken report: " + json.dumps(r)[:200])
    validator.validate({"schema": "zetdip-cad/1", "status": "error", "error": "cause",
                        "input": {"path": "x.dcm"}})


if __name__ == "__main__":
    main()
