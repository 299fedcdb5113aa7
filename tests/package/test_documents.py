"""Exit codes in the documents, which deployment systems are given, are those of the program."""
import re

import pytest
from support.wine import ROOT

HEADER = next(ROOT.glob("src/*/exit_codes.h")).read_text()
CODES = {int(code) for code in re.findall(r"= (-?\d+),", HEADER)}


@pytest.mark.parametrize("document", ["README.md", "docs/deployment.md"])
def test_exit_codes(document):
    text = (ROOT / document).read_text()
    unsigned = {int(code) - 2**32 for code in re.findall(r"\b42949\d+\b", text)}
    hexadecimal = {int(code, 16) - 2**32 for code in re.findall(r"\b0xFFFFFF\w\w\b", text)}
    assert unsigned | hexadecimal <= CODES
    for row in re.findall(r"^\| (-\d+) \| (\d+) \| (0x\w+) \|", text, re.M):
        assert int(row[0]) % 2**32 == int(row[1]) == int(row[2], 16), row
