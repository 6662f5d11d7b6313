#!/usr/bin/env python3
"""CPU time of velor beside sox and libsamplerate when 44.1 kHz becomes 48 kHz: whole programs, 16-bit stereo,
taken in turn; the median of the pairs' ratios counts. Usage: bench/resample_peers.py VELOR [MINUTES] [RUNS].
Prints Markdown tables; a ratio below 1 means that velor took less time. Needs sox and sndfile-resample (Debian:
samplerate-programs)."""
import array
import math
import os
import random
import statistics
import struct
import subprocess
import sys
import tempfile


def cpu_seconds(command):
    """User and system time of one run, and its peak memory in MiB."""
    with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit('failed: ' + ' '.join(command))
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def write_source(name, minutes):
    random.seed(1)
    piece = array.array('h')
    for i in range(44100 * 10):
        envelope = 0.5 + 0.5 * math.sin(i / 3000)
        for c in range(2):
            piece.append(int(20000 * envelope * (0.7 * math.sin(i * 0.03 + c) + 0.3 * random.uniform(-1, 1))))
    data = piece.tobytes() * (minutes * 6)
    with open(name, 'wb') as out:
        out.write(struct.pack('<4sI8sIHHIIHH4sI', b'RIFF', 36 + len(data), b'WAVEfmt ', 16, 1, 2, 44100, 176400, 4,
                              16, b'data', len(data)))
        out.write(data)


def main():
    velor = os.path.abspath(sys.argv[1])
    minutes = int(sys.argv[2]) if len(sys.argv) > 2 else 10
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 5

    def ours(method):
        return [velor, 'resample', '--quiet', '--overwrite', 'in.wav', '-o', 'v.wav', '--rate', '48000', '--method',
                method]

    peers = {'libsamplerate medium': ['sndfile-resample', '-to', '48000', '-c', '1', 'in.wav', 'l.wav'],
             'libsamplerate best': ['sndfile-resample', '-to', '48000', '-c', '0', 'in.wav', 'l.wav'],
             'sox rate -h': ['sox', 'in.wav', '-b', '16', 's.wav', 'rate', '-h', '48000'],
             'sox rate -v': ['sox', 'in.wav', '-b', '16', 's.wav', 'rate', '-v', '48000']}
    pairs = [('fir16', 'libsamplerate medium'), ('fir16', 'sox rate -h'), ('fir24', 'libsamplerate best'),
             ('fir24', 'sox rate -v')]
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        write_source('in.wav', minutes)
        print('| method | CPU | peer | CPU | ratio |\n|---|---|---|---|---|')
        memory = 0
        for method, peer in pairs:
            times = []
            for _ in range(runs):
                own, peak = cpu_seconds(ours(method))
                memory = max(memory, peak)
                times.append((own, cpu_seconds(peers[peer])[0]))
            mine, theirs = (statistics.median(column) for column in zip(*times))
            ratio = statistics.median(a / b for a, b in times)
            print(f'| {method} | {mine:.2f} s | {peer} | {theirs:.2f} s | {ratio:.2f} |', flush=True)
        frames = minutes * 60 * 44100
        floats = frames * (1 + 48000 / 44100) * 8 / 2**20
        print(f'\nPeak memory {memory:.0f} MiB; input and output as floats are {floats:.0f} MiB.')


if __name__ == '__main__':
    main()
