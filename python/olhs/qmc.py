"""A ``scipy.stats.qmc`` engine of optimal Latin hypercubes.

>>> from scipy.stats import qmc
>>> from olhs.qmc import OptimalLatinHypercube
>>> engine = OptimalLatinHypercube(2, seed=1)
>>> sample = engine.random(16)
>>> qmc.scale(sample, [0, 10], [1, 20]).shape
(16, 2)
"""

import numpy as np
from scipy.stats import qmc as _qmc

from . import _CRITERIA, _INT_MAX, _choice, _olhs, _integer, _settings

__all__ = ["OptimalLatinHypercube"]

# scipy's post-processing methods, by the names QMCEngine takes (case aside).
_SCIPY_OPTIMIZATIONS = ("random-cd", "lloyd")


class OptimalLatinHypercube(_qmc.QMCEngine):
    """Optimal Latin hypercubes as a ``scipy.stats.qmc.QMCEngine``.

    Each call ``random(n)`` returns a fresh optimal Latin hypercube of n points (the
    library's optimiser, as ``olhs.optimal_lhs``) in [0, 1)^d, seeded by one 64-bit
    draw from the engine's ``rng``. So, as with ``qmc.LatinHypercube``, every call is a
    design of its own (two calls of 10 points are not one design of 20), an int ``seed``
    repeats the sequence of designs, and ``reset()`` starts it again. ``fast_forward(n)``
    skips one call without running a search.

    Parameters
    ----------
    d : int
        Number of variables, at least 0 (no variables: every sample has shape (n, 0),
        as with scipy's engines).
    seed : {None, int, numpy.random.Generator}
        As for every scipy engine: None draws fresh entropy, so that each engine differs;
        an int or a Generator makes the designs reproducible.
    restarts, threads, iterations, time_budget, metric, p, placement, criterion
        The search's settings, as for ``olhs.optimal_lhs``. The placement must keep the
        points inside [0, 1): "centered" (default) or "jittered". ``criterion=
        "discrepancy"`` searches for the centred L2 discrepancy, what scipy's
        ``optimization="random-cd"`` improves.
    optimization : None
        Only None: each design is optimal already. scipy's post-processing is refused
        with a ValueError, since it would make the design worse: "lloyd" moves the
        points off their strata, so the sample is no longer a Latin hypercube, and
        "random-cd" re-pairs the values for the centred discrepancy, undoing the search's
        phi_p (``criterion="discrepancy"`` searches for that discrepancy instead).

    Examples
    --------
    >>> from scipy.stats import qmc
    >>> from olhs.qmc import OptimalLatinHypercube
    >>> engine = OptimalLatinHypercube(3, seed=42)
    >>> x = engine.random(20)
    >>> bool(qmc.discrepancy(x) < 0.05)
    True
    """

    def __init__(self, d, *, seed=None, restarts=_olhs.DEFAULT_RESTARTS, threads=0, iterations=None,
                 time_budget=None, metric="cityblock", p=_olhs.DEFAULT_P, placement="centered",
                 optimization=None, criterion="phip"):
        d = _integer("d", d, 0, _INT_MAX, f"the number of variables must lie in [0, {_INT_MAX}]")
        settings = _settings(restarts, threads, iterations, time_budget, metric, p, placement)
        if settings[-1] == "grid":
            raise ValueError("placement: must be 'centered' or 'jittered' in a qmc engine, whose points "
                             "lie in [0, 1) (got 'grid')")
        _refuse_optimization(optimization)
        self._settings = settings
        self._criterion = _choice("criterion", criterion, _CRITERIA)
        # Refused here rather than at the first draw, as scipy's engines do.
        _olhs.check(2, max(d, 1), *settings, self._criterion, "auto")
        super().__init__(d=d, seed=seed)

    def _next_seed(self):
        return int(self.rng.integers(0, 2**64, dtype=np.uint64))

    def _random(self, n=1, *, workers=1):
        n = _integer("n", n, 0, 2**31 - 1, "the number of points must lie in [0, 2147483647]")
        workers = _integer("workers", workers, -1, 2**31 - 1, "must be -1 (all cores) or at least 1")
        seed = self._next_seed()
        restarts, threads, iterations, time_budget, metric, p, placement = self._settings
        if workers != 1:
            threads = 0 if workers == -1 else workers
        if n == 0 or self.d == 0:
            return np.empty((n, self.d))
        if n == 1:
            # One point is a Latin hypercube by itself: the middle of the cube, or a point
            # drawn within it.
            if placement == "jittered":
                return np.random.default_rng(seed).random((1, self.d))
            return np.full((1, self.d), 0.5)
        result = _olhs.optimize(n, self.d, seed, restarts, threads, iterations, time_budget, metric, p,
                                placement, self._criterion, "auto", None)
        return result["design"]

    def fast_forward(self, n):
        """Skips the design that ``random(n)`` would return, without searching."""
        _integer("n", n, 0, 2**31 - 1, "the number of points must lie in [0, 2147483647]")
        self._next_seed()
        self.num_generated += n
        return self


def _refuse_optimization(optimization):
    if optimization is None:
        return
    if not isinstance(optimization, str):
        raise TypeError(f"optimization: must be None (got {type(optimization).__name__})")
    if optimization.lower() not in _SCIPY_OPTIMIZATIONS:
        # scipy's wording, so that code checking for it finds it here too.
        raise ValueError(f"optimization: {optimization!r} is not a valid optimization method; "
                         "this engine takes only None")
    raise ValueError(f"optimization: {optimization!r} would make the optimal design worse ('lloyd' moves "
                     "the points off their Latin strata, 'random-cd' undoes the phi_p search for the "
                     "centred discrepancy); leave it None, and pass criterion='discrepancy' to search "
                     "for that discrepancy")
