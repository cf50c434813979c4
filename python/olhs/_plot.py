"""The scatter-plot matrix behind ``olhs.plot``, drawn as the command's ``--plot`` draws it."""

import numpy as np
from matplotlib.figure import Figure

_POINT_COLOUR = "#1f5fa8"
_GRID_COLOUR = "#e4e4e4"
_DPI = 100
_MARGIN = 0.55  # inches around the matrix, for the ticks and their labels


def scatter_matrix(x, variables, labels):
    """A Figure of k x k panels: variable ``variables[column]`` across and ``variables[row]`` up,
    the variable's label on the diagonal."""
    n = x.shape[0]
    k = len(variables)
    # About a thousand pixels across, but never cramped nor oversized, as in the command.
    cell = float(np.clip(960.0 / k, 90.0, 220.0)) / _DPI
    side = k * cell + 2 * _MARGIN
    fig = Figure(figsize=(side, side), dpi=_DPI)
    fig.subplots_adjust(left=_MARGIN / side, right=1 - _MARGIN / side, bottom=_MARGIN / side,
                        top=1 - _MARGIN / side, wspace=0.08, hspace=0.08)
    axes = fig.subplots(k, k, sharex="col", sharey="row", squeeze=False)
    # A third of the gap between neighbouring levels, 1 to 4 pixels, in points squared.
    radius = float(np.clip((cell * _DPI - 24.0) / max(n - 1, 1) / 3.0, 1.0, 4.0))
    size = (2.0 * radius * 72.0 / _DPI) ** 2
    for row in range(k):
        for column in range(k):
            ax = axes[row, column]
            across, up = variables[column], variables[row]
            # Ticks on the matrix's edges only, columns taking turns below and above and rows
            # left and right, so that the labels of neighbouring axes never meet.
            below, above = row == k - 1 and column % 2 == 0, row == 0 and column % 2 == 1
            left, right = column == 0 and row % 2 == 0, column == k - 1 and row % 2 == 1
            ax.tick_params(bottom=below, labelbottom=below, top=above, labeltop=above, left=left,
                           labelleft=left, right=right, labelright=right, labelsize=8)
            if row == column:
                for spine in ax.spines.values():
                    spine.set_visible(False)
                ax.text(0.5, 0.5, labels[up], transform=ax.transAxes, ha="center", va="center",
                        fontsize=min(24.0, cell * _DPI / 4.0) * 72.0 / _DPI)
                continue
            for spine in ax.spines.values():
                spine.set_edgecolor("#888888")
            if n <= 60:  # more lines would merge into a grey square
                ax.vlines(x[:, across], 0, 1, transform=ax.get_xaxis_transform(), colors=_GRID_COLOUR,
                          linewidths=0.5, zorder=0)
                ax.hlines(x[:, up], 0, 1, transform=ax.get_yaxis_transform(), colors=_GRID_COLOUR,
                          linewidths=0.5, zorder=0)
            ax.scatter(x[:, across], x[:, up], s=size, c=_POINT_COLOUR, linewidths=0)
    return fig
