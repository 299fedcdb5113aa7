"""What a run may cost, in requests to the Windows server: times do not matter for a test."""
import measure
import pytest
from support.machine import PREFIX
from support.wine import ROOT


@pytest.fixture(scope="module")
def figures(installed):
    installed.clean()
    with measure.TracedMachine(PREFIX, ROOT / "build" / "traced") as traced:
        return measure.figures(traced, [10, 100, 1000])


@pytest.mark.parametrize("name", [n for n, bound in measure.BOUNDS.items() if bound is not None])
def test_cost(figures, name):
    assert figures[name] <= measure.BOUNDS[name]
