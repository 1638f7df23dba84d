import os

import numpy as np
import pytest

import tzm

SANITIZED = "libasan" in os.environ.get("LD_PRELOAD", "")


@pytest.fixture(scope="session")
def scene():
    """Seven lanes of the demo's slab."""
    return tzm.demo(ascans=64)


@pytest.fixture
def noise():
    """A block of counts: two lanes of five channels."""
    return np.random.default_rng(1).normal(0, 1000, (10, 40, 96)).astype(np.float32)
