"""What a survey of 10 TB costs: measures a lane's work, its Zarr and the scheduler's share, and reckons from there.

survey_bench.py [EMPTY_TASKS]
"""

from __future__ import annotations

import os

os.environ["OMP_NUM_THREADS"] = "1"

import sys
import tempfile
import time
import warnings

import numpy as np
import zarr
from distributed import Client, LocalCluster, as_completed

import tzm

TERABYTE = 1e12


def least(call, repeats=5):
    times = []
    for _ in range(repeats):
        begin = time.perf_counter()
        call()
        times.append(time.perf_counter() - begin)
    return min(times)


def empty(number):
    return ""


def main():
    warnings.simplefilter("ignore")
    tasks = int(sys.argv[1]) if len(sys.argv) > 1 else 5000
    lane = tzm.demo(lanes=1, ascans=2000)
    megabytes = lane.data.nbytes / 1e6
    work = least(lambda: tzm.run(lane, migration="FkMigration", threads=1))
    with tempfile.TemporaryDirectory() as folder:
        array = zarr.open(folder, mode="w", shape=lane.shape, chunks=lane.shape, dtype="f4")
        write = least(lambda: array.__setitem__(slice(None), lane.data))
        read = least(lambda: np.asarray(array[:]))
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster) as client:
        client.gather(client.map(empty, range(100), pure=False))
        left, begin = iter(range(tasks)), time.perf_counter()
        queue = as_completed([client.submit(empty, next(left), pure=False) for _ in range(8)])
        for future in queue:
            future.result()
            for number in left:
                queue.add(client.submit(empty, number, pure=False))
                break
        task = (time.perf_counter() - begin) / tasks
    lanes = 10 * TERABYTE / (megabytes * 1e6)
    print(f"a lane of {megabytes:.1f} MB: {work:.3f} s of work, {megabytes / work:.0f} MB/s a core")
    print(f"Zarr: {megabytes / write:.0f} MB/s written, {megabytes / read:.0f} MB/s read")
    print(f"a task costs {1e3 * task:.2f} ms, a million {1e3 * task * 1000 / 3600:.1f} h")
    print(f"10 TB: {lanes:.0f} lanes, {lanes * work / 3600:.0f} core hours of work, {lanes * task * 2 / 3600:.1f} h of the scheduler "
          f"in two rounds, which {work / task:.0f} cores keep busy")


if __name__ == "__main__":
    main()
