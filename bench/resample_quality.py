#!/usr/bin/env python3
"""Measures the nine methods of "velor resample" and prints the tables of docs/resampling.md.

usage: bench/resample_quality.py VELOR [PICTURE.png]

Sines of half full scale as 32-bit float files. Signal to noise is the power of the sine to everything else, after
the best fit of amplitude and phase, in the middle of the file. Aliases: a sine above the new Nyquist frequency, what
is left of it. Needs numpy, for the picture matplotlib."""
import os
import struct
import subprocess
import sys
import tempfile

import numpy as np

METHODS = ['nearest', 'linear', 'cubic', 'fir8', 'fir12', 'fir16', 'fir20', 'fir24', 'auto']
SECONDS = 2


def write(path, rate, samples):
    data = samples.astype('<f4').tobytes()
    with open(path, 'wb') as out:
        out.write(struct.pack('<4sI8sIHHIIHH4sI', b'RIFF', 36 + len(data), b'WAVEfmt ', 16, 3, 1, rate, rate * 4, 4,
                              32, b'data', len(data)))
        out.write(data)


def read(path):
    with open(path, 'rb') as file:
        data = file.read()
    at = data.index(b'data')
    size = struct.unpack('<I', data[at + 4:at + 8])[0]
    return np.frombuffer(data[at + 8:at + 8 + size], '<f4').astype(float)


def converted(velor, old, new, method, frequency):
    write('in.wav', old, 0.5 * np.sin(2 * np.pi * frequency / old * np.arange(old * SECONDS)))
    subprocess.run([velor, 'resample', '--quiet', '--overwrite', 'in.wav', '-o', 'out.wav', '--rate', str(new),
                    '--method', method], check=True)
    out = read('out.wav')
    return out[len(out) // 4:-len(out) // 4]


def fit(samples, cycles):
    """Amplitude of the best fitting sine and the root mean square of what it leaves."""
    phase = 2 * np.pi * cycles * np.arange(len(samples))
    basis = np.stack([np.sin(phase), np.cos(phase)], 1)
    parts = np.linalg.lstsq(basis, samples, rcond=None)[0]
    rest = samples - basis @ parts
    return np.hypot(*parts), np.sqrt(np.mean(rest**2))


def decibels(x):
    return 20 * np.log10(max(x, 1e-9))


def noise(velor, old, new, method, frequency):
    amplitude, rest = fit(converted(velor, old, new, method, frequency), frequency / new)
    return decibels(amplitude / np.sqrt(2) / rest), decibels(amplitude / 0.5)


def alias(velor, old, new, method, frequency):
    samples = converted(velor, old, new, method, frequency)
    return decibels(np.sqrt(np.mean(samples**2)) * np.sqrt(2) / 0.5)


def main():
    velor = os.path.abspath(sys.argv[1])
    picture = os.path.abspath(sys.argv[2]) if len(sys.argv) > 2 else None
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        tones = [997, 6000, 12000, 18000]
        print('44100 to 48000 Hz, signal to noise in dB:\n\n| method | ' + ' | '.join(f'{t} Hz' for t in tones) + ' |')
        print('|---' * (len(tones) + 1) + '|')
        for method in METHODS:
            print(f'| {method} | ' + ' | '.join(f'{noise(velor, 44100, 48000, method, t)[0]:.0f}' for t in tones) + ' |')
        passed = [997, 10000, 18000, 20000, 21000]
        folded = [22500, 23000, 23500]
        print('\n48000 to 44100 Hz, level of tones that should stay, and of tones that should go, in dB:\n\n| method | ' +
              ' | '.join(f'{t} Hz' for t in passed + folded) + ' |')
        print('|---' * (len(passed) + len(folded) + 1) + '|')
        for method in METHODS:
            stay = [noise(velor, 48000, 44100, method, t)[1] for t in passed]
            go = [alias(velor, 48000, 44100, method, t) for t in folded]
            print(f'| {method} | ' + ' | '.join(f'{x:.2f}' for x in stay) + ' | ' +
                  ' | '.join(f'{x:.0f}' for x in go) + ' |')
        if picture:
            draw(velor, picture)


def draw(velor, path):
    import matplotlib
    matplotlib.use('Agg')
    from matplotlib import pyplot
    figure, axes = pyplot.subplots(figsize=(7, 3.6), dpi=80)
    frequencies = np.arange(15000, 24000, 300)
    for method in METHODS[1:-1]:
        axes.plot(frequencies / 1000, [alias(velor, 48000, 44100, method, f) for f in frequencies], label=method)
    axes.axvline(22.05, color='grey', linewidth=0.8, linestyle=':')
    axes.set(xlabel='frequency of the tone, kHz', ylabel='level behind the resampler, dB', ylim=(-170, 5),
             title='48 kHz to 44.1 kHz')
    axes.legend(fontsize=7, loc='lower left')
    figure.tight_layout()
    figure.savefig(path)


if __name__ == '__main__':
    main()
