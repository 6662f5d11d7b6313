#!/usr/bin/env python3
"""Whole-program timings of velor beside the program a user would otherwise run.

Prints a Markdown table: medians of both and the median of the ratios, pair by pair. Machines are noisy, so the two
run in turn and the ratio counts, not the seconds. CPU time is user + system time of the finished process.

    bench/peers.py [path of velor] [runs]
"""
import os
import pathlib
import resource
import statistics
import struct
import subprocess
import sys
import tempfile

root = pathlib.Path(__file__).resolve().parent.parent
velor = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else root / "build/release/velor").resolve()
runs = int(sys.argv[2]) if len(sys.argv) > 2 else 9


def measure(command):
    """CPU seconds, wall seconds and peak memory (MiB) of one run."""
    read, write = os.pipe()
    child = os.fork()
    if child == 0:
        before = os.times().elapsed
        process = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wall = os.times().elapsed - before
        use = resource.getrusage(resource.RUSAGE_CHILDREN)
        os.write(write, struct.pack("dddi", use.ru_utime + use.ru_stime, wall, use.ru_maxrss / 1024, process.returncode))
        os._exit(0)
    os.close(write)
    cpu, wall, memory, code = struct.unpack("dddi", os.read(read, 64))
    os.close(read)
    os.waitpid(child, 0)
    if code != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}")
    return cpu, wall, memory


def compare(what, ours, theirs, setup=lambda: None):
    mine, other = [], []
    for turn in range(runs + 1):
        pair = []
        for command in (ours, theirs):
            setup()
            pair.append(measure(command)[0])
        if turn:  # the first pair warms the caches
            mine.append(pair[0])
            other.append(pair[1])
    ratio = statistics.median(a / b for a, b in zip(mine, other) if b > 0)
    print(f"| {what} | {statistics.median(mine):.3f} s | {statistics.median(other):.3f} s | {ratio:.2f} |")


with tempfile.TemporaryDirectory() as folder:
    folder = pathlib.Path(folder)
    long = folder / "long.wav"
    subprocess.run(["sox", "-n", "-r", "44100", "-c", "2", "-b", "16", long, "synth", "600", "sine", "440", "sine", "550"],
                   check=True)
    small = []
    head = long.read_bytes()[:2044]
    for i in range(1000):
        small.append(folder / f"small{i:04}.wav")
        small[-1].write_bytes(head)
    huge = folder / "huge.wav"
    size = 2**31 - 100
    with open(huge, "wb") as file:
        file.write(b"RIFF" + struct.pack("<I", size + 36) + b"WAVEfmt " +
                   struct.pack("<IHHIIHH", 16, 1, 2, 44100, 176400, 4, 16) + b"data" + struct.pack("<I", size))
        file.truncate(44 + size)

    print("| task | velor, CPU | peer, CPU | ratio |")
    print("|---|---|---|---|")
    target = folder / "out.aif"
    compare("10 min stereo WAVE 16-bit to AIFF 24-bit; peer sndfile-convert -pcm24",
            [velor, "convert", long, "-o", target, "--encoding", "PCM 24-bit", "--quiet"],
            ["sndfile-convert", "-pcm24", long, target], lambda: target.unlink(missing_ok=True))
    compare("info on 1,000 small WAVE files; peer file", [velor, "info", *small], ["file", *small])

    print("\n| task | wall | peak memory |")
    print("|---|---|---|")
    for what, command in (("info on a 2 GiB WAVE", [velor, "info", huge]), ("--version", [velor, "--version"])):
        results = [measure(command) for _ in range(runs)]
        wall = statistics.median(r[1] for r in results)
        print(f"| {what} | {wall * 1000:.0f} ms | {max(r[2] for r in results):.1f} MiB |")
