"""Every algorithm as a class, against plain numpy where that is short."""

import inspect
import pickle

import numpy as np
import pytest

import tzm

ALL = tzm.algorithms()


def test_the_simple_algorithms_do_what_numpy_does(noise):
    block = noise.astype(float)
    near = dict(rtol=0, atol=1e-6 * np.abs(block).max())  # a rounding of each value, of a few operations
    np.testing.assert_allclose(tzm.OffsetRemoval()(noise), block - block.mean(-1, keepdims=True), **near)
    np.testing.assert_allclose(
        tzm.BgRemoval(algorithm="median")(noise), block - np.median(block, axis=1, keepdims=True), **near
    )
    spectrum = np.fft.fft(block, axis=-1)
    spectrum[..., 1:48] *= 2
    spectrum[..., 49:] = 0
    np.testing.assert_allclose(tzm.Mig2Post()(noise), np.abs(np.fft.ifft(spectrum, axis=-1)), **near)
    gain = np.interp(np.arange(96), [10, 50, 90], [1, 3, 2])
    np.testing.assert_allclose(
        tzm.DepthGaining(start=10, apex=50, end=90, start_gain=1, apex_gain=3, end_gain=2)(noise), block * gain, **near
    )
    stretched = (block - block.min()) / (block.max() - block.min()) * 10 - 4
    np.testing.assert_allclose(tzm.NormalizationCscan(min=-4, max=6)(noise), stretched, rtol=0, atol=1e-5)
    window = tzm.SlidingBackground(window=10.0)(noise)  # longer than the scan
    np.testing.assert_allclose(window, block - block.mean(1, keepdims=True), **near)


@pytest.mark.filterwarnings("ignore::tzm.ChainWarning")
@pytest.mark.parametrize("kind", ALL, ids=lambda kind: kind.__name__)
def test_every_algorithm_tells_itself_and_takes_any_block(kind, noise):
    defaults = {name: p.default for name, p in inspect.signature(kind).parameters.items()}
    made = kind()
    assert made.parameters() == defaults and getattr(tzm, kind.__name__) is kind and kind.__name__ in dir(tzm)
    for section in ("Parameters", "Returns", "Notes", "References"):
        assert f"\n{section}\n{'-' * len(section)}\n" in kind.__doc__
    assert all(f"\n{name} : " in kind.__doc__ and getattr(kind, name).__doc__ for name in defaults)
    assert pickle.loads(pickle.dumps(made)) == made

    if "elevations" in defaults:
        made.elevations = [1.0, 1.2]  # there is nothing to go by without them
    kept = noise.copy()
    result = made(noise)
    np.testing.assert_array_equal(noise, kept)
    assert isinstance(result, np.ndarray) and result.ndim == 3 and np.isfinite(result).all()
    recording = tzm.Recording(noise, delta_x=0.005, time_zero=getattr(made, "time_zero", None), permittivity=6)
    image = made(recording)
    assert isinstance(image, tzm.Recording)
    if "permittivity" not in defaults:
        np.testing.assert_array_equal(image.data, result)
    for block in (noise[0], noise[:, :1], noise[:5, ::-1].astype("f8"), np.full((5, 3, 17), np.nan), noise[0, 0]):
        try:
            assert made(block).ndim == block.ndim
        except (tzm.CalcError, ValueError) as error:  # too few samples or A-scans
            assert str(error)


def test_parameters_have_both_names_and_are_checked():
    migration = tzm.FkMigration(permittivity=np.float32(9), timeZero=np.int64(12))
    assert migration.time_zero == migration.timeZero == 12 and migration.permittivity == 9
    migration.permittivity = 4
    assert repr(migration) == "FkMigration(time_zero=12, permittivity=4.0)"
    for name, value in [("permittivity", "six"), ("time_zero", 2.5), ("time_zero", None), ("time_zero", 2**40), ("permittivity", float("nan"))]:
        with pytest.raises(ValueError):
            migration.set(**{name: value})
    with pytest.raises(ValueError):
        migration.set(time_zero=3, permittivity="six")
    assert migration.time_zero == 12
    clipper = tzm.Clipper(borders={"upper_z": 3, "LowerX": 1})
    assert clipper.borders["UpperZ"] == 3 and clipper.borders["LowerX"] == 1
    assert tzm.BgRemoval(algorithm="highpass").algorithm == "highpass"
    with pytest.raises(tzm.ParameterError, match="one of|\"median\""):
        tzm.BgRemoval(algorithm="mean")


def test_wrong_names_suggest_the_right_ones():
    with pytest.raises(AttributeError, match="did you mean 'FkMigration'"):
        tzm.FKMigration
    with pytest.raises(TypeError, match="did you mean 'permittivity'"):
        tzm.FkMigration(permitivity=5)
    with pytest.raises(AttributeError, match="did you mean 'time_zero'"):
        tzm.FkMigration().timezero
    with pytest.raises(ValueError, match="did you mean 'time_zero'"):
        tzm.FkMigration().time_zer0 = 4
    with pytest.raises(ValueError, match="did you mean 'OffsetRemoval'"):
        tzm.Chain(["OfsetRemoval"])


def test_failures_tell_code_and_step(noise):
    for made, block, code in [
        (tzm.FkMigration(permittivity=0), noise, -10),
        (tzm.EnergyCorrection(), noise[:3], -11),
        (tzm.FkMigration(time_zero=97), noise, None),
        (tzm.Mig2Post(), np.ones((5, 2, 2000)), 99),
    ]:
        with pytest.raises((tzm.CalcError, ValueError)) as error:
            made(block)
        if code:
            assert error.value.code == code and error.value.step == type(made).__name__
            assert pickle.loads(pickle.dumps(error.value)).code == code
    endless = np.lib.stride_tricks.as_strided(np.ones(1, np.float32), (40000, 40000, 40000), (0, 0, 0))
    with pytest.raises(MemoryError):
        tzm.FkMigration()(endless)


def test_intervals_and_documents_of_a_call_leave_none_behind(noise):
    plain = tzm.FkMigration()(noise)
    other = tzm.FkMigration()(noise, delta_t=1e-10, delta_x=0.02)
    steep = tzm.FkMigration()(noise, config={"FkMigration": {"DipMax": 20.0}})
    assert not np.array_equal(plain, other) and not np.array_equal(plain, steep)
    np.testing.assert_array_equal(tzm.FkMigration()(noise), plain)
    np.testing.assert_array_equal(tzm.FkMigration()(noise, threads=1), plain)
    with pytest.raises(ValueError):
        tzm.FkMigration()(noise, config="{not JSON")
    with pytest.raises(ValueError):
        tzm.FkMigration()(tzm.Recording(noise), delta_t=1e-10)


def test_the_array_layer_does_what_scipy_does(noise):
    signal = pytest.importorskip("scipy.signal")
    long = np.random.default_rng(2).normal(size=(3, 2, 1500)).astype(np.float32)
    np.testing.assert_allclose(tzm.hilbert_envelope(long), np.abs(signal.hilbert(long.astype(float))), atol=2e-6 * np.abs(long).max())
    assert np.isnan(tzm.hilbert_envelope([[1, np.nan, 2, 3]])).all()
    for kind, theirs in [("hann", "hann"), ("hamming", "hamming"), ("bartlett", "bartlett"), ("blackman", "blackman")]:
        np.testing.assert_allclose(tzm.window(kind, 33), signal.get_window(theirs, 33, fftbins=False), atol=1e-6)
    b, a = tzm.iir_design("highpass", 0.05, order=3)
    np.testing.assert_allclose((b, a), signal.butter(3, 0.1, "high"), atol=1e-9)
    chebyshev = tzm.iir_design("lowpass", 0.1, order=4, ripple=1)
    np.testing.assert_allclose(chebyshev, signal.cheby1(4, 1, 0.2), atol=1e-9)
    b, a = tzm.iir_design("lowpass", 0.1)
    smooth = tzm.filter_zero_phase(b, a, noise)
    inner = slice(30, 66)  # ends are extended in other ways
    expected = signal.filtfilt(b, a, noise.astype(float), axis=-1)
    np.testing.assert_allclose(smooth[..., inner], expected[..., inner], atol=1e-2)
    for wrong in [lambda: tzm.window("gauss", 9), lambda: tzm.window("hann", 2), lambda: tzm.iir_design("lowpass", 0.7),
                  lambda: tzm.iir_design("bandpass", 0.1), lambda: tzm.filter_zero_phase([1], [1], noise)]:
        with pytest.raises(ValueError):
            wrong()


def test_the_permittivity_of_a_slab_is_found():
    found = tzm.focus(tzm.demo(lanes=2))
    assert found.curve.shape == (40, 3) and found.verdict in ("found", "ambiguous", "nothing")
    assert found.permittivity is None or 3 <= found.permittivity <= 20
    with pytest.raises(tzm.Cancelled):
        tzm.focus(tzm.demo(lanes=1), progress=lambda share: False)
    with pytest.raises(ValueError):
        tzm.focus(tzm.demo(lanes=1), low=9, high=3)


def test_the_memory_of_a_result_serves_the_next_one_when_nobody_looks_at_it():
    block = np.random.default_rng(1).normal(size=(4, 512, 512)).astype(np.float32)
    result = tzm.OffsetRemoval()(block)
    part = result[1:]
    before, place = part.copy(), result.ctypes.data
    del result
    other = tzm.Envelope()(block)
    np.testing.assert_array_equal(part, before)
    assert not np.shares_memory(part, other)
    del part
    assert tzm.OffsetRemoval()(block).ctypes.data == place
