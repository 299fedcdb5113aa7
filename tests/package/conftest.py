"""The archives, made once from a copy of the sources in another folder."""
import os
import shutil
import subprocess
import zipfile
from types import SimpleNamespace

import pytest
from support.wine import ROOT


@pytest.fixture(scope="session")
def dist():
    """The folder of the archives. That of the sources has a longer path and no history."""
    sources = ROOT / "build" / "elsewhere" / "a longer path"
    shutil.rmtree(sources.parent, ignore_errors=True)
    shutil.copytree(ROOT, sources, ignore=shutil.ignore_patterns("build", "dist", ".git"))
    done = subprocess.run([sources / "scripts/release.sh"], capture_output=True, text=True,
                          env={**os.environ, "SOURCE_DATE_EPOCH": "1767225600"})
    assert done.returncode == 0, done.stdout + done.stderr
    yield sources / "dist"
    shutil.rmtree(sources.parent)


@pytest.fixture(scope="session", params=["x64", "x86"])
def package(request, dist, tmp_path_factory):
    """One archive, and its files unpacked."""
    (archive,) = dist.glob(f"*-{request.param}.zip")
    folder = tmp_path_factory.mktemp(request.param)
    zipfile.ZipFile(archive).extractall(folder)
    return SimpleNamespace(preset=request.param, archive=archive, folder=folder)
