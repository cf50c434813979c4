import doctest
import pydoc

import pytest

import olhs


@pytest.mark.parametrize("module", ["olhs", "olhs.qmc"])
def test_examples_in_docstrings_run(module):
    if module == "olhs.qmc":
        pytest.importorskip("scipy")
    import importlib
    failed, attempted = doctest.testmod(importlib.import_module(module), verbose=False)
    assert attempted > 0 and failed == 0


def test_help_shows_signature_arguments_and_an_example():
    text = pydoc.render_doc(olhs.optimal_lhs, renderer=pydoc.plaintext)
    assert "optimal_lhs(n, d, *, seed=None, restarts=2, threads=0" in text
    for argument in ["seed :", "restarts :", "bounds :", "progress :", "Examples", ">>> "]:
        assert argument in text
    for function in [olhs.classic_lhs, olhs.Progress]:
        assert function.__doc__
