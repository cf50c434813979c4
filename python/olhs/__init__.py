"""Optimal Latin hypercube designs for computer experiments, as numpy arrays.

>>> import olhs
>>> x = olhs.optimal_lhs(20, 3, seed=7)          # 20 points in [0, 1]^3
>>> x.shape
(20, 3)

``optimal_lhs`` runs the library's optimiser (independent restarts of an enhanced
stochastic evolutionary search minimising phi_p) with the search outside the GIL;
``classic_lhs`` gives the design of the classic entry point; ``phi_p`` and ``metrics``
(or ``score``) measure any design; ``improve`` optimises a design someone already has and
``augment`` adds points to one; ``plot`` draws a design (with matplotlib); ``olhs.qmc``
holds a ``scipy.stats.qmc`` engine. The same seed and settings give the same bits as the C++
library and the ``olhs`` command.
"""

import operator

import numpy as np

from . import _olhs
from ._olhs import NotEnoughMemory, Progress

__all__ = ["optimal_lhs", "classic_lhs", "phi_p", "metrics", "score", "improve", "augment", "plot", "Progress", "NotEnoughMemory",
           "DEFAULT_SEED", "CLASSIC_DEFAULT_SEED"]
__version__ = "0.1.0"

#: Seed of ``optimal_lhs`` when none is given (the C++ ``olhs::Options`` default).
DEFAULT_SEED = int(_olhs.DEFAULT_SEED)
#: Seed of ``classic_lhs`` when none is given (the classic stream's fixed seed, as the command uses).
CLASSIC_DEFAULT_SEED = int(_olhs.CLASSIC_DEFAULT_SEED)

# The library checks every setting's range; Python checks only what it takes to hand a
# value to C++: its type, and that it fits the C type.
_INT_MIN, _INT_MAX = -2**31, 2**31 - 1
_SEED_MAX = 2**64 - 1
_CRITERIA = ("phip", "maximin", "maxpro", "discrepancy")


def _integer(name, value, low=_INT_MIN, high=_INT_MAX, meaning=None):
    if isinstance(value, bool):
        raise TypeError(f"{name}: must be an integer, not bool")
    try:
        value = operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: must be an integer (got {type(value).__name__})") from None
    if not low <= value <= high:
        raise ValueError(f"{name}: {meaning or f'must lie in [{low}, {high}]'} (got {value})")
    return value


def _real(name, value):
    if isinstance(value, bool) or not isinstance(value, (int, float, np.integer, np.floating)):
        raise TypeError(f"{name}: must be a real number (got {type(value).__name__})")
    return float(value)


def _choice(name, value, accepted=None):
    """A string; the library names the accepted ones, unless `accepted` is checked here."""
    if not isinstance(value, str):
        raise TypeError(f"{name}: must be a string (got {type(value).__name__})")
    if accepted is not None and value not in accepted:
        raise ValueError(f"{name}: must be one of {', '.join(map(repr, accepted))} (got {value!r})")
    return value


def _seed(value, default):
    if value is None:
        return default
    return _integer("seed", value, 0, _SEED_MAX)


def _bounds(bounds, d):
    """The (d, 2) array of finite lower < upper bounds, or None."""
    if bounds is None:
        return None
    try:
        b = np.array(bounds, dtype=np.float64)
    except (TypeError, ValueError) as e:
        raise TypeError(f"bounds: must be a (d, 2) array of numbers ({e})") from None
    if b.shape != (d, 2):
        raise ValueError(f"bounds: must have shape (d, 2) = ({d}, 2), one (lower, upper) row per variable "
                         f"(got shape {b.shape})")
    if not np.all(np.isfinite(b)):
        raise ValueError("bounds: every bound must be finite")
    reversed_rows = np.flatnonzero(~(b[:, 0] < b[:, 1]))
    if reversed_rows.size:
        j = int(reversed_rows[0])
        raise ValueError(f"bounds: each row needs lower < upper (row {j + 1} is {b[j, 0]!r}, {b[j, 1]!r})")
    return b


def _scaled(unit, b):
    """Each column from [0, 1] into its bounds, as the command computes it."""
    if b is None:
        return unit
    low, high = b[:, 0], b[:, 1]
    return np.ascontiguousarray((1.0 - unit) * low + unit * high)


def _settings(restarts, threads, iterations, time_budget, metric, p, placement):
    """The search's settings in the order _olhs.optimize takes them (None: 0, automatic)."""
    restarts = _integer("restarts", restarts)
    threads = _integer("threads", threads)
    iterations = 0 if iterations is None else _integer("iterations", iterations, -2**63, 2**63 - 1)
    time_budget = 0.0 if time_budget is None else _real("time_budget", time_budget)
    return restarts, threads, iterations, time_budget, _choice("metric", metric), _real("p", p), _choice(
        "placement", placement)


def _progress(progress):
    if progress is not None and not callable(progress):
        raise TypeError(f"progress: must be callable or None (got {type(progress).__name__})")
    return progress


def optimal_lhs(n, d, *, seed=None, restarts=_olhs.DEFAULT_RESTARTS, threads=0, iterations=None,
                time_budget=None, metric="cityblock", p=_olhs.DEFAULT_P, placement="centered", bounds=None,
                progress=None, criterion="phip", start="auto"):
    """An optimal Latin hypercube of n points in d variables.

    Runs the library's optimiser: ``restarts`` independent searches on ``threads``
    threads; the best design by ``criterion`` wins. Every column is a permutation of the
    n levels, placed in [0, 1] and then scaled into ``bounds``.

    Parameters
    ----------
    n : int
        Number of points, at least 2.
    d : int
        Number of variables, at least 1.
    seed : int, optional
        0 to 2**64 - 1. None means ``olhs.DEFAULT_SEED`` (1, the C++ ``olhs::Options``
        default), so a call without a seed gives the same design every time. The same
        seed and settings give the same bits as the C++ ``olhs::optimize`` and the
        command ``olhs --seed``, whatever the number of threads. (The command without
        ``--seed`` uses ``olhs.CLASSIC_DEFAULT_SEED``.)
    restarts : int
        Independent searches, at least 1.
    threads : int
        Threads of the search; 0 (default) uses all cores.
    iterations : int, optional
        Outer iterations per restart (anneals where the search anneals: the maximin
        criterion, and Euclidean phi_p with an even p up to n^2 d = 4e5), at least 1.
        None chooses them from n and d, or runs until ``time_budget`` if given.
    time_budget : float, optional
        Seconds for the whole search, in (0, 1e9]; the design then depends on timing.
    metric : {"cityblock", "euclidean"}
        Distance between points in phi_p.
    p : float
        Exponent of phi_p, in [1, 200].
    criterion : {"phip", "maximin", "maxpro", "discrepancy"}
        What makes a design better: the smaller phi_p; the larger smallest distance
        between two points (by ``metric``), then fewer pairs at it, then the smaller
        phi_p; the smaller MaxPro (points apart in every projection onto a subset of the
        variables); or the smaller centred L2 discrepancy (points filling the cube evenly,
        as scipy's ``LatinHypercube(optimization="random-cd")`` seeks). The last two are
        measured with the levels at (k - 0.5) / n.
    start : {"auto", "random", "lattice"}
        What each restart starts from: random Latin designs; the best rank-1 lattice
        design for ``metric``; or by size (random while a search beats the lattice in its
        time, then the lattice alone, searched from when ``time_budget`` is given).
    placement : {"centered", "grid", "jittered"}
        Where level k of n lands in [0, 1]: (k - 0.5) / n, (k - 1) / (n - 1), or
        uniformly inside its cell (seeded).
    bounds : array_like, optional
        (d, 2) rows of finite (lower, upper) with lower < upper: column j is scaled
        to ``(1 - x) * lower + x * upper``.
    progress : callable, optional
        Called as ``progress(info)`` after each outer iteration of each restart, one call
        at a time and from the search's threads, with an ``olhs.Progress`` (restart,
        iteration, best_phi_p, elapsed_seconds, phase, fraction_done); for large designs
        also ten times a second while the lattice is chosen or the pairs measured (phase
        "building lattice" or "measuring"). Returning False (or any false value
        other than None) stops the search, which then returns the best design so far;
        an exception stops it and is raised here.

    Returns
    -------
    numpy.ndarray
        C-contiguous float64 array of shape (n, d).

    Raises
    ------
    ValueError, TypeError
        An argument out of range or of the wrong type; the message names it.
    NotEnoughMemory
        A MemoryError: the design would need more memory than the machine has, refused
        before anything large is allocated (the message names the memory needed).
    KeyboardInterrupt
        Ctrl-C stops the search within a fraction of a second (from the main thread).

    Notes
    -----
    The search releases the GIL: searches in several Python threads run at once, each
    giving the design it gives alone.

    Examples
    --------
    >>> import olhs
    >>> x = olhs.optimal_lhs(10, 2, seed=3, bounds=[(0, 1), (-5, 5)])
    >>> x.shape, bool(x[:, 1].min() >= -5)
    ((10, 2), True)
    """
    n = _integer("n", n)
    d = _integer("d", d)
    seed = _seed(seed, DEFAULT_SEED)
    settings = _settings(restarts, threads, iterations, time_budget, metric, p, placement)
    criterion = _choice("criterion", criterion)
    start = _choice("start", start)
    b = _bounds(bounds, d)
    result = _olhs.optimize(n, d, seed, *settings, criterion, start, _progress(progress))
    return _scaled(result["design"], b)


def classic_lhs(n, d, *, seed=None, mode=1, verbose=False):
    """The design of the classic entry point ``OptimalLatinHypercubeDOE``, bit for bit.

    Seeds the classic random stream, then calls the entry point: mode 1 improves a random
    Latin hypercube with the classic search (at most 2000 iterations, stopping after 100
    without improvement); any other mode returns the random design, whose first column
    is the levels in order. Level k is placed at (k - 1) / (n - 1).

    Parameters
    ----------
    n : int
        Number of points, at least 2.
    d : int
        Number of variables: at least 2 in mode 1, at least 1 otherwise.
    seed : int, optional
        0 to 2**64 - 1; None means ``olhs.CLASSIC_DEFAULT_SEED`` (20261123), the seed
        the command ``olhs --classic`` uses without ``--seed``. The design equals that
        of ``olhs --classic --seed S``.
    mode : int
        1 to search, anything else for the random design.
    verbose : bool
        Let the search print its progress lines on standard output, as the entry point
        does; by default they are discarded.

    Returns
    -------
    numpy.ndarray
        C-contiguous float64 array of shape (n, d) in [0, 1].

    Notes
    -----
    Each call is the first search of a fresh program: the stream from the seed, and the
    search's state from its start, whatever ran before. Calls run outside the GIL, any
    number at once, and Ctrl-C stops the search between its iterations
    (KeyboardInterrupt).

    Examples
    --------
    >>> import olhs
    >>> olhs.classic_lhs(5, 2, seed=1).shape
    (5, 2)
    """
    n = _integer("n", n)
    d = _integer("d", d)
    seed = _seed(seed, CLASSIC_DEFAULT_SEED)
    mode = _integer("mode", mode)
    return _olhs.classic(n, d, seed, mode, bool(verbose))


def _matrix(design, fewest):
    """The design as a float64 (n, d) array with at least `fewest` rows and one column."""
    try:
        a = np.asarray(design, dtype=np.float64)
    except (TypeError, ValueError) as e:
        raise TypeError(f"design: must be an (n, d) array of numbers ({e})") from None
    if a.ndim != 2:
        raise ValueError(f"design: must be a 2-D array of shape (n, d) (got shape {a.shape})")
    n, d = a.shape
    if n < fewest:
        points = "point" if fewest == 1 else "points"
        raise ValueError(f"design: needs at least {fewest} {points}, one per row (got {n})")
    if d < 1:
        raise ValueError("design: needs at least 1 variable, one per column (got 0)")
    return np.ascontiguousarray(a)


def _design(design):
    """A design to rank: the library refuses values that are not finite or tie in a column."""
    return _matrix(design, 2)


def phi_p(design, p=_olhs.DEFAULT_P, metric="cityblock"):
    """phi_p of a design: the smaller, the better its points fill the space.

    Each column is replaced by its ranks 1..n, as the command measures designs, and
    phi_p = (sum over pairs of points of dist^-p)^(1/p) is computed on those levels,
    the pairs in row order. For a design from ``optimal_lhs`` with the same metric and p
    it is the criterion the search minimised, to the bit.

    Parameters
    ----------
    design : array_like
        (n, d) values, n >= 2, d >= 1, finite and distinct within each column.
    p : float
        Exponent, in [1, 200].
    metric : {"cityblock", "euclidean"}
        Distance between the points' levels.

    Examples
    --------
    >>> import olhs
    >>> x = [[0.1, 0.6], [0.4, 0.1], [0.6, 0.9], [0.9, 0.4]]  # levels (1,3) (2,1) (3,4) (4,2)
    >>> round(olhs.phi_p(x), 6)                 # 4 pairs at distance 3, 2 at 4
    0.342705
    """
    d = _design(design)
    p = _real("p", p)
    metric = _choice("metric", metric)
    return _olhs.phip(d, p, metric)


def metrics(design, p=_olhs.DEFAULT_P):
    """Space-filling and correlation measures of a design, on the ranks of its columns.

    Parameters
    ----------
    design : array_like
        (n, d) values, n >= 2, d >= 1, finite and distinct within each column.
    p : float
        Exponent of both phi_p, in [1, 200].

    Returns
    -------
    dict
        ``phi_p_city_block`` and ``phi_p_euclidean``, as ``phi_p`` gives them;
        ``min_city_block_distance`` (int) and ``min_city_block_pairs``, the smallest
        city-block distance between two points' levels and how many pairs are that close;
        ``min_euclidean_distance`` and ``min_euclidean_pairs`` likewise; ``max_abs_correlation``,
        the largest absolute Pearson correlation between two columns (None with one
        column); ``centered_l2_discrepancy``, Hickernell's centred L2 discrepancy of the
        levels placed at (k - 0.5) / n (its square is what
        ``scipy.stats.qmc.discrepancy(method="CD")`` gives for those points); ``maxpro``,
        the MaxPro criterion of those points (Joseph, Gul and Ba 2015), smaller when the
        points stay apart in every projection.

    Examples
    --------
    >>> import olhs
    >>> m = olhs.metrics([[0.1, 0.6], [0.4, 0.1], [0.6, 0.9], [0.9, 0.4]])
    >>> m["min_city_block_distance"], m["min_city_block_pairs"], m["max_abs_correlation"]
    (3, 4, 0.0)
    """
    d = _design(design)
    p = _real("p", p)
    return _olhs.metrics(d, p)


def score(design, p=_olhs.DEFAULT_P):
    """The measures ``olhs score FILE`` prints, of a design: the same dict as ``metrics``.

    ``score`` and ``metrics`` are one function under two names: ``score`` after the
    command, ``metrics`` after the C++ ``olhs::metrics``. The keys are those of the
    command's JSON, and the values the same bits.

    Examples
    --------
    >>> import olhs
    >>> s = olhs.score([[10, 0.1], [20, 0.3], [30, 0.2]], p=2)   # levels (1,1) (2,3) (3,2)
    >>> s["min_city_block_distance"], s["min_city_block_pairs"], round(s["max_abs_correlation"], 6)
    (2, 1, 0.5)
    """
    return metrics(design, p)


def improve(design, *, seed=None, restarts=_olhs.DEFAULT_RESTARTS, threads=0, iterations=None,
            time_budget=None, metric="cityblock", p=_olhs.DEFAULT_P, progress=None, return_info=False):
    """A design someone already has, optimised from where it stands: never worse by phi_p.

    Each column is taken by its ranks 1..n (so the values may lie in any range) and
    ``olhs::improve`` runs the optimiser from those levels instead of from random ones:
    every restart starts from the design on a stream of its own and keeps it until it
    finds a smaller phi_p. Each column of the result holds the values the same column of
    ``design`` held, to the bit (the point of rank k gets the column's k-th smallest
    value): only their pairing changes. The points keep their order and column 0 keeps
    its values. The same design, seed and settings give the same bits as
    ``olhs improve FILE --seed S`` (whose default without ``--seed`` is
    ``olhs.CLASSIC_DEFAULT_SEED``).

    Parameters
    ----------
    design : array_like
        (n, d) values, n >= 2, d >= 1, finite and distinct within each column.
    seed : int, optional
        0 to 2**64 - 1; None means ``olhs.DEFAULT_SEED``.
    restarts, threads, iterations, time_budget, metric, p, progress
        As for ``optimal_lhs``; ``iterations=None`` chooses them from n.
    return_info : bool
        Also return a dict of the run (see Returns).

    Returns
    -------
    numpy.ndarray or (numpy.ndarray, dict)
        The C-contiguous float64 (n, d) design; with ``return_info=True`` also a dict:
        ``phi_p`` of the result and ``start_phi_p`` of ``design`` (on ranks, under
        ``metric`` and ``p``; ``phi_p <= start_phi_p``), ``levels`` (the ranks of the
        result, int array), ``iterations``, ``restarts``, ``stop_reason``, ``seconds``.

    Raises
    ------
    ValueError, TypeError
        An argument out of range or of the wrong type; the message names it (a tie in a
        column names the column and both rows).
    KeyboardInterrupt
        Ctrl-C stops the search, as for ``optimal_lhs``.

    Examples
    --------
    >>> import olhs, numpy as np
    >>> x0 = np.random.default_rng(1).uniform(-5, 5, size=(12, 3))
    >>> x, info = olhs.improve(x0, seed=2, iterations=30, return_info=True)
    >>> bool(info["phi_p"] <= info["start_phi_p"]), bool((np.sort(x, 0) == np.sort(x0, 0)).all())
    (True, True)
    """
    a = _design(design)
    seed = _seed(seed, DEFAULT_SEED)
    restarts, threads, iterations, time_budget, metric, p, _ = _settings(
        restarts, threads, iterations, time_budget, metric, p, "centered")
    result = _olhs.improve(a, seed, restarts, threads, iterations, time_budget, metric, p, _progress(progress))
    # Rank k takes the column's k-th smallest value, as the command pairs them.
    levels = result["levels"]
    x = np.ascontiguousarray(np.take_along_axis(np.sort(a, axis=0), levels - 1, axis=0))
    return (x, result) if return_info else x


def _unit_or_box(design, b):
    """The design as an (n, d) array; the library refuses values outside [0, 1] or the box."""
    return _matrix(design, 1)


def augment(design, k, *, bounds=None, seed=None, restarts=_olhs.DEFAULT_RESTARTS, threads=0, iterations=None,
            time_budget=None, metric="cityblock", p=_olhs.DEFAULT_P, placement="centered", progress=None,
            return_info=False):
    """The design with k points added; its own n points keep their values to the bit.

    Runs ``olhs::augment``: each variable's box is cut into n + k equal strata, and the
    new points take strata that no given point holds, each a different one, so every
    stratum holds one point whenever the given points hold different strata. Where given
    points share a stratum, as many strata stay empty (the *doubled* strata, counted in
    the info dict) and the new points take empty strata spread evenly among them. The
    optimiser then exchanges strata among the new points only, minimising phi_p of the
    whole design on stratum numbers. The same design, k, seed and settings give the same
    bits as ``olhs augment FILE -k K --seed S``.

    Parameters
    ----------
    design : array_like
        (n, d) finite values, n >= 1, d >= 1, inside [0, 1] or the box of ``bounds``
        (values outside are refused). Ties are allowed: they share a stratum.
    k : int
        Points to add, 1 to 999999.
    bounds : array_like, optional
        (d, 2) rows of finite (lower, upper) with lower < upper: the box of each variable.
        None is the unit box.
    seed : int, optional
        0 to 2**64 - 1; None means ``olhs.DEFAULT_SEED``.
    restarts, threads, iterations, time_budget, metric, p, progress
        As for ``optimal_lhs``; ``iterations=None`` chooses them from n + k.
    placement : {"centered", "jittered"}
        A new value sits in the middle of its stratum, or uniformly within it (seeded).
        "grid" is refused: it would put values on the edges of their strata.
    return_info : bool
        Also return a dict of the run (see Returns).

    Returns
    -------
    numpy.ndarray or (numpy.ndarray, dict)
        The C-contiguous float64 (n + k, d) design: the rows of ``design`` first, then the
        k new ones. With ``return_info=True`` also a dict: ``doubled`` (int, 0 unless given
        points share strata) and ``doubled_strata`` (the count per variable), ``strata``
        (the stratum 1..n + k of every value, int array), ``phi_p`` (of the strata; inf
        when two given points share their stratum in every variable), ``iterations``,
        ``restarts``, ``stop_reason``, ``seconds``.

    Raises
    ------
    ValueError, TypeError
        An argument out of range or of the wrong type; the message names it.
    KeyboardInterrupt
        Ctrl-C stops the search, as for ``optimal_lhs``.

    Examples
    --------
    >>> import olhs
    >>> x0 = [[0.05, 0.5], [0.35, 0.05], [0.65, 0.95], [0.95, 0.35]]
    >>> x = olhs.augment(x0, 4, seed=1)
    >>> x.shape, x[:4].tolist() == x0
    ((8, 2), True)
    >>> _, info = olhs.augment([[0.5, 0.1], [0.5, 0.9]], 2, return_info=True)
    >>> info["doubled"], info["doubled_strata"]       # both points in stratum 3 of 4 of x1
    (1, [1, 0])
    """
    try:
        d = np.shape(design)[1] if np.ndim(design) == 2 else None
    except (TypeError, ValueError):
        d = None
    b = None if d is None else _bounds(bounds, d)
    a = _unit_or_box(design, b)
    k = _integer("k", k)
    seed = _seed(seed, DEFAULT_SEED)
    restarts, threads, iterations, time_budget, metric, p, placement = _settings(
        restarts, threads, iterations, time_budget, metric, p, placement)
    lower, upper = ([], []) if b is None else (b[:, 0].tolist(), b[:, 1].tolist())
    result = _olhs.augment(a, k, seed, restarts, threads, iterations, time_budget, metric, p, placement,
                           lower, upper, _progress(progress))
    x = result.pop("design")
    return (x, result) if return_info else x


def plot(design, *, variables=None, labels=None):
    """The scatter-plot matrix of a design, as a matplotlib Figure (as ``olhs --plot`` draws it).

    The panel in row r and column c plots column ``variables[c]`` across and
    ``variables[r]`` up, in the design's own values; the diagonal names the variable.
    Up to 60 points, light lines through every value show the Latin strata.
    matplotlib is imported only here. The Figure is not registered with pyplot: a
    notebook shows it as a cell's value, and ``fig.savefig`` writes it.

    Parameters
    ----------
    design : array_like
        (n, d) finite values, n >= 1, d >= 2 (a pandas DataFrame's column names become
        the labels).
    variables : sequence of int, optional
        The columns to show, by index from 0, at least 2 and each once; None shows all.
    labels : sequence of str, optional
        A name for each of the d columns; None means x1, x2, ..., as the command.

    Returns
    -------
    matplotlib.figure.Figure

    Raises
    ------
    ImportError
        matplotlib is not installed.
    ValueError, TypeError
        An argument out of range or of the wrong type; the message names it.

    Examples
    --------
    >>> import olhs
    >>> fig = olhs.plot(olhs.optimal_lhs(20, 3, seed=7))
    >>> len(fig.axes)                       # 3 x 3 panels; the diagonal names the variables
    9
    >>> fig.savefig("design.png")           # doctest: +SKIP
    """
    names = getattr(design, "columns", None) if labels is None else labels
    x = _matrix(design, 1)
    bad = np.argwhere(~np.isfinite(x))
    if bad.size:
        i, j = map(int, bad[0])
        raise ValueError(f"design: row {i + 1}, column {j + 1}: must be a finite number (got {x[i, j]!r})")
    d = x.shape[1]
    if variables is None:
        variables = list(range(d))
    else:
        if isinstance(variables, (str, bytes)) or not hasattr(variables, "__iter__"):
            raise TypeError(f"variables: must be a sequence of column indices (got {type(variables).__name__})")
        variables = [_integer("variables", v, 0, d - 1, f"a column index must lie in [0, {d - 1}]")
                     for v in variables]
        if len(set(variables)) != len(variables):
            raise ValueError(f"variables: each column may appear once (got {variables})")
    if len(variables) < 2:
        name = "design" if len(variables) == d else "variables"
        raise ValueError(f"{name}: plots pairs of variables and needs at least 2 (got {len(variables)})")
    if names is None:
        names = [f"x{j + 1}" for j in range(d)]
    else:
        if isinstance(names, (str, bytes)) or not hasattr(names, "__iter__"):
            raise TypeError(f"labels: must be a sequence of names, one per column (got {type(names).__name__})")
        names = [str(name) for name in names]
        if len(names) != d:
            raise ValueError(f"labels: must name each of the design's {d} columns (got {len(names)})")
    try:
        from . import _plot
    except ImportError as e:
        raise ImportError("plot: needs matplotlib, which was not found (Debian and Ubuntu: apt-get install "
                          f"python3-matplotlib; pip: pip install matplotlib): {e}", name=e.name) from e
    return _plot.scatter_matrix(x, variables, names)


def __getattr__(name):
    # scipy is imported only when olhs.qmc is used. import_module, not "from . import",
    # which would look the attribute up here again when the import fails.
    if name == "qmc":
        import importlib
        return importlib.import_module(".qmc", __name__)
    raise AttributeError(f"module 'olhs' has no attribute {name!r}")
