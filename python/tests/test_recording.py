"""Arrays, their memory, what a recording tells, files."""

import copy
import gc
import pickle
import weakref

import numpy as np
import pytest

import tzm


def test_an_array_of_floats_is_viewed_and_any_other_converted(noise):
    recording = tzm.Recording(noise)
    assert np.shares_memory(recording.data, noise) and recording.data.shape == (10, 40, 96)
    noise[3, 4, 5] = 77
    assert recording.data[3, 4, 5] == 77
    for other in (noise.astype(float), noise[:, ::2], noise.astype(">f4"), np.asfortranarray(noise), noise[0].astype("i2")):
        held = tzm.Recording(other).data
        assert held.dtype == np.float32 and held.flags.c_contiguous and not np.shares_memory(held, other)
        np.testing.assert_array_equal(held, other.reshape(held.shape))
    frozen = noise.copy()
    frozen.flags.writeable = False
    recording = tzm.Recording(frozen)
    assert not recording.data.flags.writeable and not recording.bscans(2, 3).data.flags.writeable


def test_memory_lives_as_long_as_its_last_view(noise):
    image = tzm.OffsetRemoval()(tzm.Recording(noise, delta_x=0.01))
    kept = image.data
    expected = kept.copy()
    part = image.bscans(2, 3).data
    del image
    gc.collect()
    np.testing.assert_array_equal(kept, expected)
    del kept
    gc.collect()
    np.testing.assert_array_equal(part, expected[2:5])

    class Owner(np.ndarray):
        pass

    owner = np.ones((2, 3, 4), np.float32).view(Owner)
    gone = weakref.ref(owner)
    recording = tzm.Recording(owner)
    del owner
    gc.collect()
    assert recording.data.sum() == 24
    del recording
    gc.collect()
    assert gone() is None


@pytest.mark.parametrize(
    "wrong",
    [
        np.zeros((0, 3, 4)),
        np.zeros((2, 3, 0)),
        np.zeros(5),
        np.float32(3),
        np.zeros((1, 1, 1, 1)),
        np.zeros((2, 3), complex),
        np.zeros((2, 3), "M8[s]"),
        np.array([["a", "b"]]),
        np.array([[None, object()]]),
        [[1.0, 2.0], [3.0]],
        {"a": 1},
        "text",
    ],
    ids=lambda w: f"{type(w).__name__}-{getattr(w, 'dtype', '')}{getattr(w, 'shape', '')}",
)
def test_what_is_no_block_is_a_value_error(wrong):
    with pytest.raises(ValueError):
        tzm.Recording(wrong)


def test_what_a_recording_tells_is_checked_and_travels(noise):
    about = dict(
        delta_t=1e-10,
        delta_x=0.02,
        line_spacing=0.1,
        time_zero=12,
        permittivity=9,
        channels=list("abcde"),
        valid_ascans=[(1, 30)] * 10,
        positions=[(0, 0, 1.5, 2.5, 3.5), (0, 39, 1.5, 3.5, 3.5)],
        coordinates="EPSG:32632",
        bits=16,
        notes=["as it is"],
        placement=(1, 2, 3, 0, 1, 1, 0),
    )
    recording = tzm.Recording(noise, **about)
    for other in (recording, pickle.loads(pickle.dumps(recording)), copy.deepcopy(recording)):
        assert other.knows_delta_x and other.valid_ascans[9] == (1, 30) and other.channels == list("abcde")
        assert other.about().keys() == recording.about().keys() and other.positions.shape == (2, 5)
        np.testing.assert_array_equal(other.data, noise)
    assert recording.time[12] == 0 and recording.depth[22] == pytest.approx(10 * 1e-10 * 3e8 / 3 / 2)
    for name, value in [
        ("delta_t", 0),
        ("delta_t", float("nan")),
        ("delta_x", -1),
        ("permittivity", 0),
        ("channels", ["a", "b", "c"]),
        ("valid_ascans", [(0, 41)] * 10),
        ("valid_ascans", [(0, 4)]),
        ("time_zeros", [1]),
    ]:
        with pytest.raises(ValueError):
            setattr(recording, name, value)
        with pytest.raises(ValueError):
            tzm.Recording(noise, **{name: value})
    with pytest.raises(TypeError, match="int or None"):
        recording.time_zero = "early"
    with pytest.raises(TypeError):
        tzm.Recording(noise, delta_y=1)
    with pytest.raises(AttributeError, match="did you mean 'permittivity'"):
        recording.permitivity


def test_channels_are_found_by_number_and_name(scene):
    third = scene.channel("TX2RX2")
    np.testing.assert_array_equal(third.data, scene.data[2::5])
    np.testing.assert_array_equal(scene.channel(-3).data, third.data)
    assert third.channels == ["TX2RX2"] and third.line_spacing == pytest.approx(0.25) and third.across[1] == third.line_spacing
    with pytest.raises(ValueError, match="did you mean 'TX2RX2'"):
        scene.channel("TX2-RX2")
    with pytest.raises(IndexError):
        scene.channel(5)


def test_files_are_read_as_they_were_written(scene, tmp_path):
    scene.write(tmp_path / "line.f32")
    assert any(form["name"] == "raw" and form["writes"] for form in tzm.formats())
    read = tzm.read(tmp_path / "line.f32")
    np.testing.assert_array_equal(read.data, scene.data)
    assert read.channels == scene.channels and read.permittivity == 6.5 and len(read.checksum) == 64
    np.testing.assert_array_equal(tzm.read(str(tmp_path / "line.f32"), channel="TX1RX1").data, scene.data[::5])
    source = tzm.open(tmp_path / "line.f32")
    assert source.shape == scene.shape
    np.testing.assert_array_equal(source.read(5, 10).data, scene.data[5:15])
    with pytest.raises(IndexError):
        source.read(30, 6)
    scene.write(tmp_path / "line2.f32")
    two = tzm.read([tmp_path / "line.f32", tmp_path / "line2.f32"])
    assert two.shape == (70, 64, 512)


def test_what_is_no_recording_is_a_format_error(tmp_path):
    with pytest.raises(tzm.FormatError) as error:
        tzm.read(tmp_path / "nothing.DZT")
    assert isinstance(error.value, FileNotFoundError)
    (tmp_path / "broken.DZT").write_bytes(b"\0" * 100)
    (tmp_path / "other.txt").write_text("no recording")
    for name in ("broken.DZT", "other.txt", "."):
        with pytest.raises(tzm.FormatError):
            tzm.read(tmp_path / name)
    with pytest.raises(ValueError):
        tzm.read("a\0b.DZT")
    with pytest.raises(ValueError):
        tzm.Recording(np.ones((2, 3))).write(tmp_path / "name.unknown")
