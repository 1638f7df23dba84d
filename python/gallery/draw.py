"""What the scripts of the gallery share: a prepared recording, and a picture of some blocks one below the other."""

import functools
import sys
from pathlib import Path

import matplotlib

if __name__ != "__main__" and not hasattr(sys, "ps1"):
    matplotlib.use("Agg")
import matplotlib.pyplot as plt

import tzm

CHANNEL = "TX2RX1"  # bistatic, so that the steps for channels show


@functools.lru_cache(maxsize=None)
def prepared(up_to, mesh=False):
    """The slab of the demo behind the standard chain's steps ahead of an algorithm."""
    record = tzm.demo(mesh=mesh)
    chain = tzm.Chain.standard(record, migration=up_to if "Migration" in up_to else "FkMigration")
    steps = chain[: [step.name for step in chain].index(up_to)]
    return steps.run(record, progress=False) if len(steps) else record


def compare(blocks, channel=CHANNEL, **options):
    """Draws blocks by their titles, and writes the picture."""
    figure, axes = plt.subplots(len(blocks), 1, figsize=(9, 3.4 * len(blocks)), layout="constrained", squeeze=False)
    for ax, (title, block) in zip(axes[:, 0], blocks.items()):
        if isinstance(block, tzm.DepthSlice):
            block.plot(ax, **options)
        else:
            block.plot(channel, ax=ax, **options)
        ax.set_title(title)
    save(figure)


def save(figure):
    """Writes the picture to the file that the command line names, else beside the script."""
    script = Path(sys.argv[0])
    out = Path(sys.argv[1]) if len(sys.argv) > 1 else script.with_suffix(".png")
    figure.savefig(out, dpi=100)
    plt.close(figure)
    print(out)
