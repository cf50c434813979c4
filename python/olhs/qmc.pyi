from typing import Literal, Optional, Union

import numpy as np
import numpy.typing as npt
from scipy.stats import qmc as _qmc

from . import Criterion, Metric, Placement

class OptimalLatinHypercube(_qmc.QMCEngine):
    """Optimal Latin hypercubes as a scipy.stats.qmc engine: each random(n) is a fresh design.

    >>> OptimalLatinHypercube(3, seed=42).random(20).shape
    (20, 3)
    """
    def __init__(
        self,
        d: int,
        *,
        seed: Union[None, int, np.random.Generator] = None,
        restarts: int = 2,
        threads: int = 0,
        iterations: Optional[int] = None,
        time_budget: Optional[float] = None,
        metric: Metric = "cityblock",
        p: float = 50.0,
        placement: Literal["centered", "jittered"] = "centered",
        optimization: None = None,
        criterion: Criterion = "phip",
    ) -> None: ...
    def _random(self, n: int = 1, *, workers: int = 1) -> npt.NDArray[np.float64]: ...
    def fast_forward(self, n: int) -> "OptimalLatinHypercube": ...
