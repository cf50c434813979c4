from typing import Callable, List, Literal, Optional, Sequence, Tuple, TypedDict, Union, overload

import numpy as np
import numpy.typing as npt
from matplotlib.figure import Figure

from . import qmc as qmc

__version__: str
DEFAULT_SEED: int
CLASSIC_DEFAULT_SEED: int

Metric = Literal["cityblock", "euclidean"]
Criterion = Literal["phip", "maximin", "maxpro", "discrepancy"]
Start = Literal["auto", "random", "lattice"]
Placement = Literal["centered", "grid", "jittered"]

class NotEnoughMemory(MemoryError):
    """A design refused because it would need more memory than the machine has."""

class Progress:
    """What a progress callable is given after each outer iteration of a restart, and ten
    times a second while a large design is built or measured."""
    @property
    def restart(self) -> int: ...
    @property
    def iteration(self) -> int: ...
    @property
    def best_phi_p(self) -> float: ...
    @property
    def elapsed_seconds(self) -> float: ...
    @property
    def phase(self) -> Literal["searching", "building lattice", "measuring"]: ...
    @property
    def fraction_done(self) -> float: ...

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
    criterion: Criterion = "phip",
    start: Start = "auto",
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

class Metrics(TypedDict):
    phi_p_city_block: float
    phi_p_euclidean: float
    min_city_block_distance: int
    min_city_block_pairs: int
    min_euclidean_distance: float
    min_euclidean_pairs: int
    max_abs_correlation: Optional[float]
    centered_l2_discrepancy: float
    maxpro: float

def phi_p(design: npt.ArrayLike, p: float = 50.0, metric: Metric = "cityblock") -> float:
    """phi_p of the ranks of each column of an (n, d) design.

    >>> round(olhs.phi_p([[0.1, 0.6], [0.4, 0.1], [0.6, 0.9], [0.9, 0.4]]), 6)
    0.342705
    """

def metrics(design: npt.ArrayLike, p: float = 50.0) -> Metrics:
    """Every measure of the ranks of each column of an (n, d) design.

    >>> olhs.metrics([[0.1, 0.6], [0.4, 0.1], [0.6, 0.9], [0.9, 0.4]])["min_city_block_distance"]
    3
    """

def score(design: npt.ArrayLike, p: float = 50.0) -> Metrics:
    """What ``olhs score FILE`` measures: the same dict as ``metrics``.

    >>> olhs.score([[10, 0.1], [20, 0.3], [30, 0.2]], p=2)["min_city_block_distance"]
    2
    """

class Run(TypedDict):
    phi_p: float
    iterations: int
    restarts: int
    stop_reason: str
    seconds: float

class ImproveInfo(Run):
    start_phi_p: float
    levels: npt.NDArray[np.int32]

class AugmentInfo(Run):
    doubled: int
    doubled_strata: List[int]
    strata: npt.NDArray[np.int32]

@overload
def improve(
    design: npt.ArrayLike,
    *,
    seed: Optional[int] = None,
    restarts: int = 2,
    threads: int = 0,
    iterations: Optional[int] = None,
    time_budget: Optional[float] = None,
    metric: Metric = "cityblock",
    p: float = 50.0,
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
    return_info: Literal[False] = False,
) -> npt.NDArray[np.float64]: ...
@overload
def improve(
    design: npt.ArrayLike,
    *,
    seed: Optional[int] = None,
    restarts: int = 2,
    threads: int = 0,
    iterations: Optional[int] = None,
    time_budget: Optional[float] = None,
    metric: Metric = "cityblock",
    p: float = 50.0,
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
    return_info: Literal[True],
) -> Tuple[npt.NDArray[np.float64], ImproveInfo]: ...
def improve(
    design: npt.ArrayLike,
    *,
    seed: Optional[int] = None,
    restarts: int = 2,
    threads: int = 0,
    iterations: Optional[int] = None,
    time_budget: Optional[float] = None,
    metric: Metric = "cityblock",
    p: float = 50.0,
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
    return_info: bool = False,
) -> Union[npt.NDArray[np.float64], Tuple[npt.NDArray[np.float64], ImproveInfo]]:
    """The design optimised from where it stands, never worse by phi_p; each column keeps its values.

    >>> x = olhs.improve(x0, seed=2)                       # same shape and column values as x0
    >>> x, info = olhs.improve(x0, return_info=True)       # info["phi_p"] <= info["start_phi_p"]
    """

@overload
def augment(
    design: npt.ArrayLike,
    k: int,
    *,
    bounds: Optional[npt.ArrayLike] = None,
    seed: Optional[int] = None,
    restarts: int = 2,
    threads: int = 0,
    iterations: Optional[int] = None,
    time_budget: Optional[float] = None,
    metric: Metric = "cityblock",
    p: float = 50.0,
    placement: Literal["centered", "jittered"] = "centered",
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
    return_info: Literal[False] = False,
) -> npt.NDArray[np.float64]: ...
@overload
def augment(
    design: npt.ArrayLike,
    k: int,
    *,
    bounds: Optional[npt.ArrayLike] = None,
    seed: Optional[int] = None,
    restarts: int = 2,
    threads: int = 0,
    iterations: Optional[int] = None,
    time_budget: Optional[float] = None,
    metric: Metric = "cityblock",
    p: float = 50.0,
    placement: Literal["centered", "jittered"] = "centered",
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
    return_info: Literal[True],
) -> Tuple[npt.NDArray[np.float64], AugmentInfo]: ...
def augment(
    design: npt.ArrayLike,
    k: int,
    *,
    bounds: Optional[npt.ArrayLike] = None,
    seed: Optional[int] = None,
    restarts: int = 2,
    threads: int = 0,
    iterations: Optional[int] = None,
    time_budget: Optional[float] = None,
    metric: Metric = "cityblock",
    p: float = 50.0,
    placement: Literal["centered", "jittered"] = "centered",
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
    return_info: bool = False,
) -> Union[npt.NDArray[np.float64], Tuple[npt.NDArray[np.float64], AugmentInfo]]:
    """The (n + k, d) design: the n given rows to the bit, then k new points in free strata.

    >>> x = olhs.augment(x0, 10, bounds=[(0, 5), (100, 200)])
    >>> x, info = olhs.augment(x0, 10, return_info=True)   # info["doubled"]: strata held twice
    """

def plot(
    design: npt.ArrayLike, *, variables: Optional[Sequence[int]] = None, labels: Optional[Sequence[str]] = None
) -> Figure:
    """The scatter-plot matrix of a design (needs matplotlib), as ``olhs --plot`` draws it.

    >>> fig = olhs.plot(olhs.optimal_lhs(20, 3, seed=7))   # 3 x 3 panels
    >>> fig.savefig("design.png")
    """
