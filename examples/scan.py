#!/usr/bin/env python3
"""scan.py - a sine sweep for a frequency response, with its progress.

    scan.py [START-HZ STOP-HZ SECONDS]
"""

import sys

import zeka

start, stop, seconds = (float(word) for word in sys.argv[1:4]) if len(sys.argv) > 3 else (0.67, 150.0, 30.0)

try:
    with zeka.connect() as z:
        z.set(amplitude=1.0)
        last = None
        # One frequency a burst (17.5 ms), as it is played; the loop ends with the sweep.
        for hz in z.sweep(start, stop, seconds):
            tenth = min(10, int(10 * (hz - start) / (stop - start)))  # the last burst may pass the end
            if tenth != last:
                print(f"{hz:8.2f} Hz  [{'#' * tenth:<10}]", flush=True)
                last = tenth
        if not z.connected:
            raise zeka.NotConnected("the instrument was lost during the sweep")
        print("done")
except zeka.Error as error:
    sys.exit(f"scan.py: {error}")
