"""Restarts of one optimiser run spread over a Dask cluster.

The optimiser's restarts are independent and each draws from a stream keyed by (seed,
restart), so a run splits into shares of consecutive restarts that any machine can make.
Each task runs the library on its share; the shares reduce by the library's own rule (the
best value the search kept, under the maximin criterion the larger smallest distance and
fewer pairs at it first, the lowest restart among equals), so the design is the same bits
as ``olhs.optimal_lhs`` with the same arguments on one machine.

Dask (Debian's ``python3-distributed``) is imported only here.
"""
import math

from . import DEFAULT_SEED, _bounds, _choice, _integer, _olhs, _progress, _scaled, _seed, _settings

__all__ = ["optimal_lhs"]


def _share(n, d, seed, first, count, settings, criterion, start):
    # Runs on a worker: one thread per task, as the cluster hands out its cores.
    restarts, _threads, iterations, time_budget, metric, p, placement = settings
    result = _olhs.optimize(n, d, seed, count, 1, iterations, time_budget, metric, p, placement, criterion, start,
                            None, first)
    return result


def _rank(result, criterion, metric):
    """The reduction's order: smaller is better, then the lower restart."""
    if criterion == "maximin":
        smallest = result["min_euclidean_distance"] if metric == "euclidean" else result["min_city_block_distance"]
        return (-smallest, result["pairs_at_smallest"], result["search_value"], result["best_restart"])
    return (0.0, 0, result["search_value"], result["best_restart"])


def optimal_lhs(n, d, *, client, seed=None, restarts=_olhs.DEFAULT_RESTARTS, iterations=None, batch=None,
                metric="cityblock", p=_olhs.DEFAULT_P, placement="centered", bounds=None, progress=None,
                criterion="phip", start="auto"):
    """``olhs.optimal_lhs`` with its restarts run as tasks on a Dask cluster.

    Parameters
    ----------
    client : distributed.Client
        The cluster's client.
    batch : int, optional
        Restarts per task; by default the restarts are split into about four tasks per
        worker thread, so that a slow or lost worker delays little.
    progress : callable, optional
        Called as ``progress(done, total)`` on this machine each time a task finishes, with
        the restarts made so far; returning False cancels the tasks not yet finished, and
        the best design of those finished is returned. Ctrl-C cancels them too.
    The other arguments are those of ``olhs.optimal_lhs`` (no time budget: the design must
    not depend on timing). A worker that dies has its task run again elsewhere.

    Returns
    -------
    numpy.ndarray
        The (n, d) design, the same bits as ``olhs.optimal_lhs`` gives on one machine.
    """
    n = _integer("n", n)
    d = _integer("d", d)
    seed = _seed(seed, DEFAULT_SEED)
    settings = _settings(restarts, 0, iterations, None, metric, p, placement)
    criterion = _choice("criterion", criterion)
    start = _choice("start", start)
    b = _bounds(bounds, d)
    progress = _progress(progress)
    _olhs.check(n, d, *settings, criterion, start)
    restarts = settings[0]
    if batch is None:
        threads = sum(client.nthreads().values()) or 1
        batch = max(1, math.ceil(restarts / (4 * threads)))
    batch = _integer("batch", batch, 1, 2**31 - 1, "must be at least 1 restart per task")

    from distributed import as_completed

    futures = [client.submit(_share, n, d, seed, first, min(batch, restarts - first), settings, criterion, start,
                             pure=False) for first in range(0, restarts, batch)]
    best, done = None, 0
    try:
        for future in as_completed(futures):
            result = future.result()
            done += result["restarts"]
            if best is None or _rank(result, criterion, metric) < _rank(best, criterion, metric):
                best = result
            if progress is not None and progress(done, restarts) is False:
                break
    finally:
        client.cancel([f for f in futures if not f.done()])
    return _scaled(best["design"], b)
