"""The archives, which are made once."""
import os
import shutil
import subprocess

import pytest
from support.machine import PRESET
from support.wine import ROOT


@pytest.fixture(scope="session")
def archive():
    """Made from a copy of the sources in a folder with a longer path and no history."""
    sources = ROOT / "build" / f"elsewhere {PRESET}" / "a longer path"
    shutil.rmtree(sources.parent, ignore_errors=True)
    shutil.copytree(ROOT, sources, ignore=shutil.ignore_patterns("build", "dist", ".git"))
    done = subprocess.run([sources / "scripts/release.sh", PRESET], capture_output=True, text=True,
                          env={**os.environ, "SOURCE_DATE_EPOCH": "1767225600"})
    assert done.returncode == 0, done.stdout + done.stderr
    (archive,) = (sources / "dist").glob(f"*-{PRESET}.zip")
    yield archive
    shutil.rmtree(sources.parent)
