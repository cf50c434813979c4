import doctest
import pydoc

import pytest

import olhs


@pytest.mark.parametrize("module", ["olhs", "olhs.qmc"])
def test_examples_in_docstrings_run(module):
    if module == "olhs.qmc":
        pytest.importorskip("scipy")
    import importlib
    import importlib.util
    runner = doctest.DocTestRunner()
    for test in doctest.DocTestFinder().find(importlib.import_module(module)):
        # plot's example draws, with matplotlib when it is there.
        if test.name != "olhs.plot" or importlib.util.find_spec("matplotlib"):
            runner.run(test)
    assert runner.tries > 0 and runner.failures == 0


def test_help_shows_signature_arguments_and_an_example():
    text = pydoc.render_doc(olhs.optimal_lhs, renderer=pydoc.plaintext)
    assert "optimal_lhs(n, d, *, seed=None, restarts=2, threads=0" in text
    for argument in ["seed :", "restarts :", "bounds :", "progress :", "Examples", ">>> "]:
        assert argument in text
    for function in [olhs.classic_lhs, olhs.Progress]:
        assert function.__doc__


def _stub_functions(module_file):
    import ast
    from pathlib import Path
    tree = ast.parse(Path(module_file).with_suffix(".pyi").read_text())
    found = {}
    for node in ast.walk(tree):
        if isinstance(node, ast.FunctionDef):
            a = node.args
            found[node.name] = ([x.arg for x in a.posonlyargs + a.args], [x.arg for x in a.kwonlyargs],
                                [ast.literal_eval(v) for v in a.defaults + [k for k in a.kw_defaults if k]])
    return found, {n.name for n in tree.body if isinstance(n, ast.ClassDef)}


def test_stubs_match_the_functions():
    import inspect
    functions, classes = _stub_functions(olhs.__file__)
    for name in olhs.__all__:
        assert name in functions or name in classes or name.isupper(), name
    for name in ["optimal_lhs", "classic_lhs", "phi_p", "metrics", "score", "improve", "augment", "plot"]:
        signature = inspect.signature(getattr(olhs, name))
        positional = [p.name for p in signature.parameters.values() if p.kind == p.POSITIONAL_OR_KEYWORD]
        keywords = [p.name for p in signature.parameters.values() if p.kind == p.KEYWORD_ONLY]
        defaults = [p.default for p in signature.parameters.values() if p.default is not p.empty]
        assert functions[name] == (positional, keywords, defaults), name


def test_qmc_stub_matches_the_engine():
    import inspect
    qmc = pytest.importorskip("olhs.qmc")
    functions, classes = _stub_functions(qmc.__file__)
    assert "OptimalLatinHypercube" in classes
    signature = inspect.signature(qmc.OptimalLatinHypercube.__init__)
    keywords = [p.name for p in signature.parameters.values() if p.kind == p.KEYWORD_ONLY]
    assert functions["__init__"][1] == keywords
