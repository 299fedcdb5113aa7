"""What a run may cost, in requests to the Windows server: times are no matter for a test."""
import os
import sys

import pytest
from conftest import PREFIX, ROOT, Machine

sys.path.insert(0, str(ROOT / "bench"))
import measure  # noqa: E402

pytestmark = pytest.mark.skipif(
    "x64" not in os.environ.get("ZELK_PRESETS", "x64 x86").split(),
    reason="a build for testing is not what is handed out")


@pytest.fixture(scope="module")
def figures():
    Machine("x64").wine()
    with measure.TracedMachine(PREFIX, ROOT / "build" / "traced") as machine:
        return measure.figures(machine, [10, 100, 1000])


@pytest.mark.parametrize("name", [name for name, bound in measure.BOUNDS.items() if bound is not None])
def test_cost(figures, name):
    assert figures[name] <= measure.BOUNDS[name]
