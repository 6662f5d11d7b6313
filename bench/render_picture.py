#!/usr/bin/env python3
"""Draws waveform and spectrogram of a rendered song. usage: bench/render_picture.py SONG.wav PICTURE.png

Needs sox, numpy and matplotlib."""
import subprocess
import sys

import matplotlib
import numpy as np

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

RATE = 24000


def main():
    raw = subprocess.run(["sox", sys.argv[1], "-t", "f32", "-c", "1", "-r", str(RATE), "-"],
                         capture_output=True, check=True).stdout
    sound = np.frombuffer(raw, dtype="<f4")
    seconds = len(sound) / RATE
    figure, (upper, lower) = plt.subplots(2, 1, figsize=(8, 4.4), sharex=True, height_ratios=[1, 2])
    columns = 1600
    pieces = sound[: len(sound) // columns * columns].reshape(columns, -1)
    time = np.linspace(0, seconds, columns)
    upper.fill_between(time, pieces.min(1), pieces.max(1), linewidth=0)
    upper.set_ylim(-1, 1)
    lower.specgram(sound, NFFT=2048, Fs=RATE, noverlap=0, vmin=-140, vmax=-40, cmap="magma")
    lower.set_yscale("symlog", linthresh=500)
    lower.set_ylim(50, RATE / 2)
    lower.set_xlabel("seconds")
    lower.set_ylabel("Hz")
    figure.tight_layout()
    figure.savefig(sys.argv[2], dpi=80)


if __name__ == "__main__":
    main()
