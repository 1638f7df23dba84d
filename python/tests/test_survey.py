"""Surveys on a cluster: the bits of a run on one machine, whoever dies meanwhile."""

import os
import signal
import threading
import time

import numpy as np
import pytest

import tzm

zarr = pytest.importorskip("zarr")
distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def files(tmp_path_factory):
    folder = tmp_path_factory.mktemp("survey")
    lines = []
    whole = tzm.demo(lanes=8, ascans=48)
    for lane in range(8):
        lines.append(folder / f"line{lane:02}.f32")
        whole.bscans(5 * lane, 5).write(lines[-1])
    return lines


CHAINS = {
    "standard": None,
    "margins": ["OffsetRemoval", "TimeZeroDetection", ("BgRemoval", {"algorithm": "classify"}), "Mig2Post",
                ("HorizontalSumUp", {"thickness": 4}), ("Clipper", {"borders": {"lower_y": 3, "upper_y": 7}}), "NormalizationCscan"],
}


@pytest.mark.filterwarnings("ignore::tzm.ChainWarning")
@pytest.mark.parametrize("name", CHAINS)
def test_lane_by_lane_gives_the_bits_of_one_run(files, tmp_path, name):
    whole = tzm.run(tzm.read(files), CHAINS[name])
    for lanes in (1, 3):
        image = tzm.survey.run(files, CHAINS[name], output=tmp_path / "image.zarr", lanes_per_task=lanes)
        np.testing.assert_array_equal(image.values, whole.data)
    np.testing.assert_allclose(image.time.values, whole.time)
    assert image.time.attrs["units"] == "ns" and image.chunks[0][0] == 15 and image.depth.shape == image.time.shape
    assert {p.name for p in tmp_path.iterdir()} == {"image.zarr"}
    # from Zarr to Zarr
    once = tzm.survey.run(tmp_path / "image.zarr", ["OffsetRemoval"], output=tmp_path / "again.zarr")
    np.testing.assert_array_equal(once.values, tzm.OffsetRemoval()(whole.data))


def test_what_is_refused_leaves_the_last_image(files, tmp_path):
    with pytest.raises(tzm.CalcError):
        tzm.survey.run(files, ["FkMigration"], permittivity=-1, time_zero=3, output=tmp_path / "image.zarr")
    tzm.survey.run(files, ["OffsetRemoval"], output=tmp_path / "image.zarr")
    broken = tmp_path / "broken.zarr"
    array = zarr.open_group(broken, mode="w").create_dataset("amplitude", data=np.full((10, 4, 8), np.nan, np.float32))
    array.attrs["delta_x"] = 0.01
    with pytest.raises(ValueError, match="NaN"):
        tzm.survey.run(broken, ["OffsetRemoval"], output=tmp_path / "image.zarr")
    assert zarr.open(str(tmp_path / "image.zarr"))["amplitude"].shape == (40, 48, 512)
    with pytest.raises(ValueError):
        tzm.survey.run(tmp_path / "image.zarr", ["OffsetRemoval"], output=tmp_path / "image.zarr")


@pytest.mark.filterwarnings("ignore")
def test_a_killed_workers_lanes_are_computed_again(files, tmp_path):
    whole = tzm.run(tzm.read(files))
    cluster = distributed.LocalCluster(
        n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None, memory_limit="1GiB"
    )
    with cluster, distributed.Client(cluster) as client:
        killed = []

        def kill():
            while not list(tmp_path.glob("image.zarr.part/*/amplitude/0.0.0")):  # the first lanes are written
                time.sleep(0.005)
            killed.append(next(iter(client.run(os.getpid).values())))
            os.kill(killed[0], signal.SIGKILL)

        killer = threading.Thread(target=kill)
        killer.start()
        image = tzm.survey.run(files, output=tmp_path / "image.zarr", client=client)
        killer.join()
        assert killed and len(client.run(os.getpid)) >= 1
        np.testing.assert_array_equal(image.values, whole.data)
        with pytest.raises(MemoryError, match="MiB"):
            tzm.survey._require_memory(client, (10**6, 10**5, 2048), 5)
