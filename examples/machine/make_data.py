#!/usr/bin/env python3
"""Writes the recorded data of the machine-monitoring worksheet (machine.ini), once.

The files it writes are committed beside it; run it again only to change the data. Everything
is computed from fixed numbers and a seeded generator, so it writes the same bytes every time.

  vibration.wav     an accelerometer on a pump bearing: 10 s at 2000 samples/s, 16-bit
                    counts of 1 mg. The shaft turns at 24.5 Hz; from 6 s on a bearing tone at
                    157 Hz grows, the kind of fault the monitor is there to catch.
  thermocouple.csv  a type K thermocouple on the pump housing, its voltage in volts at 10
                    samples/s against a cold junction at 25 C, while the housing warms from 40
                    to 100 C.
"""
import math
import os
import random
import struct
import wave

HERE = os.path.dirname(os.path.abspath(__file__))
SECONDS = 10
VIBRATION_RATE = 2000
THERMO_RATE = 10

# NIST ITS-90 type K, 0 .. 1372 C: E in mV = sum(c[i] * T^i) + a0 * exp(a1 * (T - a2)^2).
TYPE_K = [-0.176004136860e-01, 0.389212049750e-01, 0.185587700320e-04, -0.994575928740e-07,
          0.318409457190e-09, -0.560728448890e-12, 0.560750590590e-15, -0.320207200030e-18,
          0.971511471520e-22, -0.121047212750e-25]
TYPE_K_A = (0.118597600000e+00, -0.118343200000e-03, 0.126968600000e+03)


def type_k_millivolts(celsius):
    a0, a1, a2 = TYPE_K_A
    return (sum(c * celsius ** i for i, c in enumerate(TYPE_K)) +
            a0 * math.exp(a1 * (celsius - a2) ** 2))


def vibration(noise):
    frames = []
    for n in range(SECONDS * VIBRATION_RATE):
        t = n / VIBRATION_RATE
        g = 0.30 * math.sin(2 * math.pi * 24.5 * t)           # imbalance, once per turn
        g += 0.10 * math.sin(2 * math.pi * 49.0 * t + 0.7)    # misalignment, twice per turn
        fault = min(max((t - 6) / 2, 0), 1)                   # the bearing tone grows from 6 s
        g += 0.90 * fault * math.sin(2 * math.pi * 157.0 * t)
        g += noise.gauss(0, 0.05)
        frames.append(struct.pack("<h", round(g * 1000)))
    with wave.open(os.path.join(HERE, "vibration.wav"), "wb") as out:
        out.setnchannels(1)
        out.setsampwidth(2)
        out.setframerate(VIBRATION_RATE)
        out.writeframes(b"".join(frames))


def thermocouple(noise):
    cold = type_k_millivolts(25)
    lines = ["time,voltage"]
    for n in range(SECONDS * THERMO_RATE):
        t = n / THERMO_RATE
        celsius = 40 + 6 * t + noise.gauss(0, 0.2)
        volts = (type_k_millivolts(celsius) - cold) / 1000
        lines.append("%.1f,%.8f" % (t, volts))
    with open(os.path.join(HERE, "thermocouple.csv"), "w", newline="\n") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    noise = random.Random(2024)
    vibration(noise)
    thermocouple(noise)
