#!/usr/bin/env python3
"""Pitch detection on the real notes of a SoundFont bank: ours beside aubiopitch (Debian package aubio-tools).

Prints a Markdown table: the share of notes in the right octave (within 200 cents of the pitch the bank says), the
median error of those, and CPU time for each note. The peer follows the pitch over time, so its answer is the median
over the middle of each note; its CPU time is that of the whole program, ours that of the detection alone, and the
peer's time for the shortest note is given so that both can be judged.

    cmake --preset bench && cmake --build --preset bench --target bench_pitch_notes
    bench/pitch_peers.py [path of bench_pitch_notes] [bank.sf2...]
"""
import math
import pathlib
import resource
import statistics
import subprocess
import sys
import tempfile

root = pathlib.Path(__file__).resolve().parent.parent
program = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else root / "build/bench/bench/bench_pitch_notes").resolve()
banks = sys.argv[2:] or ["/usr/share/sounds/sf2/TimGM6mb.sf2", "/usr/share/sounds/sf2/FluidR3_GM.sf2"]
METHODS = ("yinfft", "yinfast", "yin")  # its others, made for other tasks, end in faults on some of these files


def cpu_of_children():
    use = resource.getrusage(resource.RUSAGE_CHILDREN)
    return use.ru_utime + use.ru_stime


def peer(method, wave):
    """Cents above MIDI key 0 (None when it hears no pitch) and CPU seconds."""
    before = cpu_of_children()
    run = subprocess.run(["aubiopitch", "-p", method, "-r", "0", "-B", "4096", "-H", "1024", "-i", wave],
                         capture_output=True, text=True, check=True)
    seconds = cpu_of_children() - before
    values = [float(line.split()[1]) for line in run.stdout.splitlines() if len(line.split()) == 2]
    middle = [v for v in values[len(values) // 5: max(1, len(values) * 4 // 5)] if v > 0]
    if not middle:
        return None, seconds
    return 1200 * math.log2(statistics.median(middle) / 8.17579891565), seconds


def row(name, bank, errors, seconds):
    right = [e for e in errors if e is not None and abs(e) < 200]
    print(f"| {bank} | {len(errors)} | {name} | {100 * len(right) / len(errors):.1f} % | "
          f"{statistics.median(map(abs, right)):.1f} | {1000 * statistics.mean(seconds):.1f} ms | "
          f"{1000 * min(seconds):.1f} ms |", flush=True)


print("| bank | notes | detector | right octave | median error, cents | CPU a note | shortest |")
print("|---|---|---|---|---|---|---|")
for bank in banks:
    with tempfile.TemporaryDirectory() as folder:
        listing = subprocess.run([program, bank, folder], capture_output=True, text=True, errors="replace", check=True).stdout
        notes = [line.split("\t") for line in listing.splitlines()]
        short = pathlib.Path(bank).name
        row("velor", short, [float(n[2]) - float(n[1]) for n in notes], [float(n[3]) for n in notes])
        for method in METHODS:
            results = [peer(method, f"{folder}/{n[0]}") for n in notes]
            errors = [None if r[0] is None else r[0] - float(n[1]) for r, n in zip(results, notes)]
            row(f"aubiopitch {method}", short, errors, [r[1] for r in results])
