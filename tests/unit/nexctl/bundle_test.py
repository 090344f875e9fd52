#!/usr/bin/env python3
"""The archive of "nexctl bundle" as another program reads it: bundle_test.py FOLDER PROGRAM..."""
import json
import subprocess
import sys
import zipfile
from pathlib import Path

folder, program = Path(sys.argv[1]), sys.argv[2:]
folder.mkdir(parents=True, exist_ok=True)
archive = folder / "help.zip"
archive.unlink(missing_ok=True)
done = subprocess.run([*program, "bundle", "--out", archive.name, "--mark", "nobody's"], cwd=folder, capture_output=True,
                      text=True)
assert done.returncode == 0, done.stdout + done.stderr
with zipfile.ZipFile(archive) as opened:
    assert opened.testzip() is None
    contents = json.loads(opened.read("contents.json"))
    names = [one["name"] for one in contents["taken"]]
    assert opened.namelist() == names + ["contents.json"], opened.namelist()
    for one in contents["taken"]:
        assert opened.getinfo(one["name"]).file_size == one["bytes"], one
        if one["name"].endswith(".json"):
            json.loads(opened.read(one["name"]))
    large = [one for one in opened.infolist() if one.file_size > 1000]
    assert large and all(one.compress_type == zipfile.ZIP_DEFLATED and one.compress_size < one.file_size for one in large), large
    assert len(json.loads(opened.read("files.json"))[0]["sha256"]) == 64
print(f"{len(names)} files")
