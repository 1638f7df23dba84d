"""Pictures and other forms of an image."""

import subprocess
import sys

import numpy as np
import pytest

import tzm
from tzm.plot import colour_range

matplotlib = pytest.importorskip("matplotlib")


@pytest.fixture(scope="module")
def image():
    return tzm.run(tzm.demo(ascans=64))


@pytest.fixture(autouse=True)
def closed():
    yield
    matplotlib.pyplot.close("all")


def test_a_bscan_is_drawn_where_it_lies(image):
    ax = image.plot("TX2RX2")
    shown = ax.images[0]
    assert shown.get_extent() == pytest.approx([-0.0025, 63.5 * 0.005, image.time[-1] + 0.025, -0.025])
    np.testing.assert_array_equal(shown.get_array(), image.data[17].T)
    assert "(m)" in ax.get_xlabel() and "(ns)" in ax.get_ylabel() and "B-scan 18 of 35" in ax.get_title()
    depth = ax.child_axes[0]
    assert "permittivity 6.5" in depth.get_ylabel()
    ax.figure.canvas.draw()
    assert depth.get_ylim()[0] == pytest.approx(ax.get_ylim()[0] * 0.3 / np.sqrt(6.5) / 2)
    given = matplotlib.pyplot.figure().add_subplot()
    assert image.plot(bscan=-1, ax=given, decibels=40) is given
    assert given.images[0].get_array().min() >= -40.001
    with pytest.raises(IndexError):
        image.plot(bscan=35)


def test_slices_are_cut_where_they_are_told(image):
    at = image.slice(depth=0.10)
    assert len(at.samples) == 1 and image.depth[at.samples[0]] == pytest.approx(0.10, abs=0.0015)
    np.testing.assert_array_equal(at.data, image.data[:, :, at.samples[0]])
    slab = image.slice(time=2, thickness=0.5)
    assert len(slab.samples) == 11
    np.testing.assert_allclose(slab.data, np.abs(image.data[:, :, 35:46]).mean(2), rtol=1e-6)
    ax = slab.plot()
    assert ax.get_aspect() == 1 and ax.images[0].get_extent()[2:] == pytest.approx([34.5 * 0.05, -0.025])
    for wrong in (dict(depth=5), dict(depth=0.1, time=1), {}):
        with pytest.raises(ValueError):
            image.slice(**wrong)
    bare = tzm.Recording(np.ones((2, 3, 4)))
    assert bare.slice(sample=3).plot().get_ylabel() == "B-scan"
    with pytest.raises(ValueError, match="permittivity"):
        bare.slice(depth=0)


def test_three_sections_are_linked(image):
    above, along, across = image.plot_slices(distance=0.1, across=0.3, time=2)
    np.testing.assert_array_equal(along.images[0].get_array(), image.data[6].T)
    along.figure.canvas.draw()
    x, y = along.transData.transform((0.2, 5.0))
    event = matplotlib.backend_bases.MouseEvent("button_press_event", along.figure.canvas, x, y, button=1)
    along.figure.canvas.callbacks.process("button_press_event", event)
    np.testing.assert_array_equal(across.images[0].get_array(), image.data[:, 40].T)
    np.testing.assert_array_equal(above.images[0].get_array(), image.data[:, :, 100])


def test_colours_clip_what_is_rare():
    values = np.concatenate([np.linspace(-1, 1, 999), [1e5]])
    low, high, signed = colour_range(values)
    assert signed and low == pytest.approx(-0.97, abs=0.01) and high == pytest.approx(0.97, abs=0.01)
    assert colour_range(np.abs(values))[:2] == (0, pytest.approx(0.995, abs=0.01))
    assert colour_range(np.full(3, np.nan)) == (0, 1, False) and colour_range(np.zeros(9)) == (0, 1, False)


def test_xarray_has_named_axes_over_the_same_memory(image, tmp_path):
    pytest.importorskip("xarray")
    array = image.to_xarray()
    assert np.shares_memory(array.values, image.data) and array.dims == ("across", "distance", "time")
    assert [array[d].attrs["units"] for d in (*array.dims, "depth")] == ["m", "m", "ns", "m"]
    assert array.sel(distance=0.1, time=2, method="nearest").shape == (35,)
    assert str(array.channel[6].values) == "TX2RX1" and array.attrs["permittivity"] == 6.5
    np.testing.assert_array_equal(tzm.OffsetRemoval()(array), tzm.OffsetRemoval()(image.data))


def test_a_vtk_image_needs_vtk_only_when_it_is_asked_for(image, tmp_path):
    loaded = "import tzm; print('libvtk' in open('/proc/self/maps').read().lower())"
    assert subprocess.run([sys.executable, "-c", loaded], capture_output=True, text=True).stdout == "False\n"
    try:
        image.to_vti(tmp_path / "image.vti")
    except tzm.FormatError as error:
        pytest.skip(str(error))
    read = tzm.read(tmp_path / "image.vti")
    np.testing.assert_array_equal(read.data, image.data)
    assert read.line_spacing == pytest.approx(0.05)
    with pytest.raises(ValueError):
        image.to_vti(tmp_path / "image.png")


def test_the_demo_draws_its_pictures(tmp_path):
    subprocess.run([sys.executable, "-m", "tzm", "demo", "--out", tmp_path / "demo"], check=True)
    assert {p.name for p in (tmp_path / "demo").iterdir()} == {"bscan.png", "slices.png", "linked.png"}
    assert (tmp_path / "demo" / "bscan.png").read_bytes().startswith(b"\x89PNG")
