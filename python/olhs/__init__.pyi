from typing import Callable, Literal, Optional, Sequence, Union

import numpy as np
import numpy.typing as npt

from . import qmc as qmc

__version__: str
DEFAULT_SEED: int
CLASSIC_DEFAULT_SEED: int

Metric = Literal["cityblock", "euclidean"]
Placement = Literal["centered", "grid", "jittered"]

class Progress:
    """What a progress callable is given after each outer iteration of a restart."""
    @property
    def restart(self) -> int: ...
    @property
    def iteration(self) -> int: ...
    @property
    def best_phi_p(self) -> float: ...
    @property
    def elapsed_seconds(self) -> float: ...

def optimal_lhs(
    n: int,
    d: int,
    *,
    seed: Optional[int] = None,
    restarts: int = 2,
    threads: int = 0,
    iterations: Optional[int] = None,
    time_budget: Optional[float] = None,
    metric: Metric = "cityblock",
    p: float = 50.0,
    placement: Placement = "centered",
    bounds: Optional[npt.ArrayLike] = None,
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
) -> npt.NDArray[np.float64]:
    """An optimal Latin hypercube of n points in d variables, shape (n, d).

    >>> olhs.optimal_lhs(10, 2, seed=3, bounds=[(0, 1), (-5, 5)]).shape
    (10, 2)
    """

def classic_lhs(
    n: int, d: int, *, seed: Optional[int] = None, mode: int = 1, verbose: bool = False
) -> npt.NDArray[np.float64]:
    """The classic entry point's design, bit for bit, shape (n, d).

    >>> olhs.classic_lhs(5, 2, seed=1).shape
    (5, 2)
    """
