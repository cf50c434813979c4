import threading

import olhs


def test_two_searches_at_once_give_each_its_own_design():
    settings = [dict(n=40, d=5, seed=11, restarts=2, iterations=60),
                dict(n=33, d=4, seed=12, restarts=3, iterations=80, metric="euclidean")]
    alone = [olhs.optimal_lhs(**s).tobytes() for s in settings]
    # Each search waits at its first report until the other is running too.
    both_running = threading.Barrier(2, timeout=120)
    first = [True, True]
    results = [None, None]
    failures = []

    def work(k):
        def progress(report):
            if first[k]:
                first[k] = False
                both_running.wait()
        try:
            results[k] = olhs.optimal_lhs(progress=progress, **settings[k]).tobytes()
        except BaseException as e:  # reported by the main thread
            failures.append(e)

    for _ in range(3):
        first[:] = [True, True]
        threads = [threading.Thread(target=work, args=(k,)) for k in range(2)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        assert not failures
        assert results == alone
        both_running.reset()


def test_many_threads_without_progress():
    seeds = list(range(20, 28))
    alone = {s: olhs.optimal_lhs(30, 3, seed=s, iterations=40, threads=1).tobytes() for s in seeds}
    together = {}

    def work(s):
        together[s] = olhs.optimal_lhs(30, 3, seed=s, iterations=40, threads=1).tobytes()

    threads = [threading.Thread(target=work, args=(s,)) for s in seeds]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert together == alone
