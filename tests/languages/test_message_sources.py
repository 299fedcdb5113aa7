"""The sources of the message libraries: what would reach a user as garbage or as a lie."""
from pathlib import Path

import check_sources
import pytest

ROOT = Path(__file__).resolve().parents[2]


@pytest.mark.parametrize("locale", check_sources.LOCALES)
def test_message_source(locale):
    assert not check_sources.faults(ROOT / "msg", locale)
