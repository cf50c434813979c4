import ast
import doctest
import importlib
import importlib.util
import inspect
from pathlib import Path

import pytest

import olhs


@pytest.mark.parametrize("module", ["olhs", "olhs.qmc"])
def test_examples_in_docstrings_run(module):
    if module == "olhs.qmc":
        pytest.importorskip("scipy")
    runner = doctest.DocTestRunner()
    for test in doctest.DocTestFinder().find(importlib.import_module(module)):
        # plot's example draws, with matplotlib when it is there.
        if test.name != "olhs.plot" or importlib.util.find_spec("matplotlib"):
            runner.run(test)
    assert runner.tries > 0 and runner.failures == 0


# The type stubs name every public function with the same arguments and defaults.
@pytest.mark.parametrize("module, names", [
    ("olhs", ["optimal_lhs", "classic_lhs", "phi_p", "metrics", "score", "improve", "augment", "plot"]),
    ("olhs.qmc", ["OptimalLatinHypercube.__init__"]),
])
def test_stubs_match_the_functions(module, names):
    if module == "olhs.qmc":
        pytest.importorskip("scipy")
    loaded = importlib.import_module(module)
    tree = ast.parse(Path(loaded.__file__).with_suffix(".pyi").read_text())
    stubs = {node.name: node.args for node in ast.walk(tree) if isinstance(node, ast.FunctionDef)}
    for name in olhs.__all__ if module == "olhs" else []:
        assert name in stubs or name.isupper() or any(getattr(n, "name", None) == name for n in tree.body), name
    for name in names:
        a = stubs[name.split(".")[-1]]
        parameters = inspect.signature(eval(name, vars(loaded))).parameters.values()
        assert [x.arg for x in a.posonlyargs + a.args] == [p.name for p in parameters if p.kind == p.POSITIONAL_OR_KEYWORD]
        assert [x.arg for x in a.kwonlyargs] == [p.name for p in parameters if p.kind == p.KEYWORD_ONLY], name
        assert [ast.literal_eval(v) for v in a.defaults + [k for k in a.kw_defaults if k]] == [
            p.default for p in parameters if p.default is not p.empty], name
