"""A virtual instrument in real time at /dev/ttyACM0, and the connection to it, for the tests that ask for them."""

import gc

import pytest

import zeka


@pytest.fixture
def virtual():
    with zeka.simulated() as instrument:
        yield instrument
        zeka.ZEKAFree()


@pytest.fixture
def z(virtual):
    with zeka.connect(timeout=20) as instrument:
        yield instrument
        instrument.reset()
        gc.collect()
