"""Restarts on a real Dask cluster of worker processes: the same bits as one machine."""
import pytest

import olhs

distributed = pytest.importorskip("distributed", reason="needs Dask (python3-distributed)")
import olhs.distributed  # noqa: E402


@pytest.fixture(scope="module")
def client():
    cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None)
    with distributed.Client(cluster) as connected:
        yield connected
    cluster.close()


@pytest.mark.parametrize("arguments", [
    dict(),
    dict(criterion="maximin", metric="euclidean", iterations=2),
    dict(criterion="maxpro", iterations=20, bounds=[(0, 1), (-1, 1), (5, 6), (0, 10)]),
])
def test_shares_on_the_cluster_give_the_local_design(client, arguments):
    local = olhs.optimal_lhs(30, 4, seed=5, restarts=7, **arguments)
    spread = olhs.distributed.optimal_lhs(30, 4, client=client, seed=5, restarts=7, batch=3, **arguments)
    assert spread.tobytes() == local.tobytes()


def test_progress_counts_restarts_and_stops_the_rest(client):
    seen = []

    def progress(done, total):
        seen.append((done, total))
        return False

    x = olhs.distributed.optimal_lhs(20, 3, client=client, restarts=12, batch=2, iterations=200, progress=progress)
    assert seen == [(2, 12)]
    assert sorted(x[:, 0].tolist()) == [(k + 0.5) / 20 for k in range(20)]
