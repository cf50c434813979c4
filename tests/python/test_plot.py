import io

import numpy as np
import pytest

import olhs
from conftest import in_child

collections = pytest.importorskip("matplotlib.collections")
from matplotlib.backends.backend_agg import FigureCanvasAgg  # noqa: E402


@pytest.mark.parametrize("variables", [None, [3, 1]])
def test_each_panel_plots_one_pair_of_columns(variables):
    x = olhs.optimal_lhs(12, 4, seed=3, iterations=10)
    fig = olhs.plot(x, variables=variables)
    shown = variables or [0, 1, 2, 3]
    assert len(fig.axes) == len(shown) ** 2
    for position, ax in enumerate(fig.axes):
        row, column = divmod(position, len(shown))
        points = [c.get_offsets() for c in ax.collections if isinstance(c, collections.PathCollection)]
        if row == column:
            assert not points and [t.get_text() for t in ax.texts] == [f"x{shown[row] + 1}"]
        else:
            assert len(points) == 1
            np.testing.assert_array_equal(points[0], x[:, [shown[column], shown[row]]])
    png = io.BytesIO()
    FigureCanvasAgg(fig).print_png(png)
    assert png.getvalue().startswith(b"\x89PNG")


def test_without_matplotlib_only_plot_fails_and_says_what_to_install():
    code = r"""
import olhs
print(olhs.optimal_lhs(6, 2, iterations=5).shape)
try:
    olhs.plot([[0.1, 0.2], [0.6, 0.7]])
except ImportError as e:
    print(e.name, "python3-matplotlib" in str(e))
"""
    assert in_child(code, hidden="matplotlib") == "(6, 2)\nmatplotlib True\n"
