#!/usr/bin/env python3
"""play_recording.py - plays an ECG recording once, from the first sample to the last.

    play_recording.py FILE [CHANNEL]

The file is text: rate, number of samples, number of channels, channel names, then one line a sample with a value in mV
for each channel. Without a channel it has one channel, without the lines about channels; *.bin is binary.
"""

import sys

import zeka

if len(sys.argv) < 2:
    sys.exit(__doc__)
channel = int(sys.argv[2]) if len(sys.argv) > 2 else None

try:
    with zeka.connect() as z:
        print(f"{z.load(sys.argv[1], channel)} samples")
        z.play("recording", once=True)
        z.wait()  # until it has been played; a lost instrument is an exception
        print("played")
except zeka.Error as error:
    sys.exit(f"play_recording.py: {error}")
