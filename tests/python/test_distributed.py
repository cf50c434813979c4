"""Restarts on a real Dask cluster of worker processes: the same bits as one machine."""
import pytest

import olhs

distributed = pytest.importorskip("distributed", reason="needs Dask (python3-distributed)")
import olhs.distributed  # noqa: E402


@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as connected:
            yield connected


# Shares of the restarts reduce by the search's rule: phi_p, or for maximin the smallest
# distance first.
@pytest.mark.parametrize("arguments", [
    dict(),
    dict(criterion="maximin", metric="euclidean", iterations=2, bounds=[(0, 1), (-1, 1), (5, 6), (0, 10)]),
])
def test_shares_on_the_cluster_give_the_local_design(client, arguments):
    spread = olhs.distributed.optimal_lhs(30, 4, client=client, seed=5, restarts=7, batch=3, **arguments)
    assert spread.tobytes() == olhs.optimal_lhs(30, 4, seed=5, restarts=7, **arguments).tobytes()
