"""Times tzm beside numpy and scipy, and beside a C++ host: python_bench.py CHAIN_RUN [--markdown].

One thread on both sides, after a warm-up; both sides of a pair take turns, and the least of all repeats counts. scipy's
transforms and numpy's sorts use one thread of their own accord; its linear algebra isn't called.
"""

from __future__ import annotations

import os

for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS"):
    os.environ[name] = "1"  # ahead of numpy

import argparse
import pathlib
import subprocess
import sys
import tempfile
import time
import warnings

import numpy as np
import scipy.fft
import scipy.ndimage
import scipy.signal

import tzm

REPEATS = 7
DELTA_T, DELTA_X, SPEED = 5e-11, 0.005, 3e8


def least(*calls, repeats=REPEATS):
    """Least milliseconds of each of some calls that take turns."""
    times = [[] for _ in calls]
    for turn in range(repeats + 1):
        for call, taken in zip(calls, times):
            begin = time.perf_counter()
            call()
            if turn:  # the first warms up
                taken.append(time.perf_counter() - begin)
    return [1e3 * min(taken) for taken in times]


def envelope(block):
    return np.abs(scipy.signal.hilbert(block, axis=-1))


def median_background(block):
    return block - np.median(block, axis=1, keepdims=True)


B, A = scipy.signal.butter(1, 0.01, "high")


def high_pass(block):
    return scipy.signal.filtfilt(B, A, block, axis=1)


BAND = scipy.signal.butter(4, (400e6, 1600e6), "band", fs=1 / DELTA_T, output="sos")


def band_pass(block):
    return scipy.signal.sosfiltfilt(BAND, block, axis=-1)


def local_median(block):  # of 51 A-scans
    return block - scipy.ndimage.median_filter(block, (1, 51, 1), mode="nearest")


class Stolt:
    """Stolt's migration with numpy, as one would write it with care: real transforms (of numpy in double precision, of
    scipy in single) of lengths that suit them, tables of the read in frequency made once, one gather of two neighbours per element, dips up to 85 degrees
    and frequencies up to 0.6 of Nyquist's, as the library takes them. The read is linear, where the library's has ten
    terms."""

    def __init__(self, fft, samples, ascans, permittivity, dip=85.0, share=0.6):
        self.fft = fft
        self.nt, self.nx = 1 << (samples - 1).bit_length(), 1 << (ascans - 1).bit_length()
        half = SPEED / np.sqrt(permittivity) / 2
        f = np.arange(self.nt // 2 + 1) / (self.nt * DELTA_T)
        kz = f / half
        kx = np.abs(np.fft.fftfreq(self.nx, DELTA_X))[:, None]
        place = half * np.hypot(kz, kx) * self.nt * DELTA_T  # bins
        passes = (place <= share * self.nt / 2) & (kx <= np.tan(np.radians(dip)) * kz)
        self.low = np.where(passes, np.minimum(place.astype(np.int32), self.nt // 2 - 1), 0)
        self.part = np.where(passes, place - self.low, 0).astype(np.float32)
        self.passes = passes.astype(np.float32)
        self.low = (self.low + (np.arange(self.nx) * (self.nt // 2 + 1))[:, None]).astype(np.intp)

    def __call__(self, block):
        image = np.empty_like(block)
        bscans, ascans, samples = block.shape
        for z in range(bscans):
            spectrum = self.fft.rfft2(block[z], s=(self.nx, self.nt)).ravel()
            low = spectrum[self.low]
            moved = (low + self.part * (spectrum[self.low + 1] - low)) * self.passes
            image[z] = self.fft.irfft2(moved, s=(self.nx, self.nt))[:ascans, :samples]
        return image


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("chain_run", nargs="?", help="the program chain_run of a build with benchmarks")
    arguments.add_argument("--markdown", action="store_true")
    arguments = arguments.parse_args()
    warnings.simplefilter("ignore", tzm.ChainWarning)
    record = tzm.demo()
    block = np.array(record.data)
    rows = []

    def row(name, ours, theirs, beside):
        rows.append((name, ours, theirs, theirs / ours, beside))

    stolt, migration = Stolt(scipy.fft, 512, 300, 6.5), tzm.FkMigration(time_zero=0, permittivity=6.5)
    theirs, ours = stolt(block), migration(block)
    likeness = np.corrcoef(theirs[::5, ::3, ::5].ravel(), ours[::5, ::3, ::5].ravel())[0, 1]
    assert likeness > 0.95, likeness  # both migrate
    pairs = [
        ("envelope", tzm.Mig2Post(), envelope, "scipy.signal.hilbert, numpy.abs"),
        ("median background", tzm.BgRemoval(algorithm="median"), median_background, "numpy.median"),
        ("high-pass along the scan", tzm.BgRemoval(algorithm="highpass"), high_pass, "scipy.signal.filtfilt"),
        ("band pass", tzm.BandPass(low=400, high=1600, order=4), band_pass, "scipy.signal.sosfiltfilt"),
        ("median of 51 A-scans", tzm.SlidingBackground(window=0.25, median=True), local_median, "scipy.ndimage.median_filter"),
        ("Stolt migration", migration, Stolt(np.fft, 512, 300, 6.5), "numpy.fft.rfft2, linear read"),
        ("Stolt migration", migration, stolt, "scipy.fft.rfft2, linear read"),
    ]
    for name, ours, theirs, beside in pairs:
        row(name, *least(lambda: ours(block, threads=1), lambda: theirs(block)), beside)

    if arguments.chain_run:
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "scene.f32")
            record.write(file)
            read, host, here = tzm.read(file), [], []
            for _ in range(5):  # take turns
                here.append(least(lambda: tzm.run(read, threads=1), repeats=5)[0])
                host.append(float(subprocess.run([arguments.chain_run, file, "5", "1"], check=True, capture_output=True).stdout))
            row("tzm.run", min(here), min(host), "the chain in C++")

    small, call = np.ones((1, 1, 8), np.float32), tzm.OffsetRemoval()
    many = 2000

    def calls():
        for _ in range(many):
            call(small)

    overhead = 1e3 * least(calls)[0] / many
    code = "import time, numpy; t = time.perf_counter(); import tzm; print(time.perf_counter() - t)"
    imported = min(
        float(subprocess.run([sys.executable, "-c", code], check=True, capture_output=True).stdout) for _ in range(7)
    )
    if arguments.markdown:
        print("| 512 x 300 x 35, one thread | tzm, ms | beside it, ms | times as fast | |\n|---|---|---|---|---|")
        for name, ours, theirs, ratio, beside in rows:
            print(f"| {name} | {ours:.1f} | {theirs:.1f} | {ratio:.2f} | {beside} |")
        print(f"\nA call of an algorithm on eight samples takes {overhead:.1f} us; `import tzm` {imported:.3f} s beyond numpy.")
    else:
        for name, ours, theirs, ratio, beside in rows:
            print(f"{name:28} {ours:9.2f} ms {theirs:9.2f} ms {ratio:7.2f}  {beside}")
        print(f"call {overhead:.1f} us, import {imported:.3f} s beyond numpy, likeness of the migrations {likeness:.3f}")


if __name__ == "__main__":
    main()
