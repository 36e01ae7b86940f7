"""Never run: mypy reads it (.ci/run), to see that a program which uses the module is checked and knows its types."""

from typing import assert_type

import zeka

assert_type(zeka.ZEKAGetSerialNumber(), str)
assert_type(zeka.ZEKASetAmplitude(1.0), int)
assert_type(zeka.ZEKAIsConnected(), bool)
zeka.ZEKASetAmplitude("1.0")  # type: ignore[arg-type]
zeka.ZEKASetDCOffset(0)  # type: ignore[call-arg]
zeka.ZEKARegisterSignalOutputCallback(lambda seconds, mv: None)
zeka.ZEKARegisterSignalOutputCallback(lambda seconds: None)  # type: ignore

with zeka.connect() as z:
    assert_type(z.identity.serial, str)
    for seconds, mv in z.points():
        assert_type(mv, float)
    for hz in z.sweep(1, 100, seconds=10):
        assert_type(hz, float)
    z.play(7)  # type: ignore[arg-type]

with zeka.simulated() as virtual:
    assert_type(virtual.measure()[0].frequency_hz, float)
