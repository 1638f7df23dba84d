"""``python -m tzm demo``: records a slab with a simulated array and draws its image."""

from __future__ import annotations

import argparse
from pathlib import Path

import tzm


def demo(out: Path, mesh: bool) -> None:
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    record = tzm.demo(mesh=mesh)
    image = tzm.run(record)
    out.mkdir(parents=True, exist_ok=True)
    figure, (above, below) = plt.subplots(2, 1, figsize=(10, 9), layout="constrained")
    record.plot("TX2RX3", ax=above)
    above.set_title("counts of " + above.get_title())
    image.plot("TX2RX3", ax=below)
    below.set_title("image of " + below.get_title())
    figure.savefig(out / "bscan.png", dpi=110)
    figure, axes = plt.subplots(1, 2, figsize=(10, 6), layout="constrained")
    for ax, depth in zip(axes, (0.10, 0.16)):
        image.slice(depth=depth, thickness=0.03).plot(ax)
    figure.savefig(out / "slices.png", dpi=110)
    image.plot_slices(time=image.time[image.slice(depth=0.10).samples.start])[0].figure.savefig(out / "linked.png", dpi=110)
    print(f"bscan.png, slices.png and linked.png are in {out}")


def main() -> None:
    parser = argparse.ArgumentParser(prog="python -m tzm", description=__doc__)
    commands = parser.add_subparsers(dest="command", required=True)
    command = commands.add_parser("demo", help="draw the demo")
    command.add_argument("--out", type=Path, default=Path("tzm-demo"), help="folder of the pictures")
    command.add_argument("--mesh", action="store_true", help="the slab with a mesh")
    arguments = parser.parse_args()
    demo(arguments.out, arguments.mesh)


if __name__ == "__main__":
    main()
