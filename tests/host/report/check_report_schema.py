"""zetdip-cad's default job follows the shipped JSON Schema, which refuses
broken reports.  usage: check_report_schema.py ZETDIP_CAD SCHEMA"""
import copy
import json
import subprocess
import sys
import tempfile

import jsonschema


def main():
    with open(sys.argv[2]) as f:
        validator = jsonschema.Draft202012Validator(json.load(f))
    validator.check_schema(validator.schema)
    with tempfile.TemporaryDirectory() as work:
        # Without arguments: the synthetic job, and a line saying where it went.
        run = subprocess.run([sys.argv[1]], cwd=work, check=True, capture_output=True, text=True)
        assert "zetdip-out/synthetic.png" in run.stdout, run.stdout
        with open(work + "/zetdip-out/synthetic.json") as f:
            report = json.load(f)
    validator.validate(report)
    assert report["status"] == "ok" and report["clusters"], "the default job marks clusters"
    for mutate in (lambda r: r.update(status="error"),  # an error needs its text
                   lambda r: r["clusters"][0].pop("members"),
                   lambda r: r["input"]["pixel_spacing"].update(row_mm=0)):
        r = copy.deepcopy(report)
        mutate(r)
        if validator.is_valid(r):
            sys.exit("schema accepts a broken report: " + json.dumps(r)[:200])


if __name__ == "__main__":
    main()
