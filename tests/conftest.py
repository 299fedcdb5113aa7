"""What every test in Python is given: a machine on which nothing is registered."""
import pytest
from support.machine import Machine


@pytest.fixture(scope="session")
def installed():
    return Machine()


@pytest.fixture
def machine(installed):
    installed.clean()
    return installed
