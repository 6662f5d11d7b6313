#!/usr/bin/env python3
"""Compares single notes of a SoundFont as velor and FluidSynth play them, and prints the table of
docs/synthesizer-fidelity.md.

usage: bench/synth_fidelity.py VELOR BANK.sf2

Needs fluidsynth, sox and numpy. Both render without effects at 48000 Hz, and at the same gain: a sine of known
level in a bank made here tells by how much each misses it, and the table leaves that out. Measured are
  pitch    the strongest partial between 0.4 and 1.4 s, in cents
  level    root mean square from the start to the end of the key press, in dB
  attack   time from the first sound to 90 % of the highest level within the first second, in ms
  release  time from the end of the key press until the level has fallen by 20 dB, in ms
"""
import os
import struct
import subprocess
import sys
import tempfile

import numpy as np

RATE = 48000
HELD = 1.5  # seconds that the key is down
# Bank (128 plays drums), program, key, velocity, whether the sound has a pitch.
NOTES = [
    (0, 0, 36, 100, True), (0, 0, 60, 64, True), (0, 0, 84, 110, True), (0, 4, 55, 90, True),
    (0, 6, 67, 100, True), (0, 8, 79, 80, True), (0, 11, 64, 100, True), (0, 13, 72, 100, True),
    (0, 16, 48, 100, True), (0, 19, 60, 100, True), (0, 21, 65, 90, True), (0, 24, 52, 100, True),
    (0, 29, 45, 100, True), (0, 32, 36, 100, True), (0, 33, 40, 110, True), (0, 38, 43, 100, True),
    (0, 40, 76, 90, True), (0, 42, 48, 100, True), (0, 46, 60, 100, True), (0, 48, 64, 100, True),
    (0, 52, 60, 100, True), (0, 56, 70, 100, True), (0, 60, 53, 80, True), (0, 65, 61, 100, True),
    (0, 68, 74, 100, True), (0, 73, 79, 100, True), (0, 80, 69, 100, True), (0, 88, 57, 100, True),
    (128, 0, 36, 110, False), (128, 0, 38, 100, False), (128, 0, 49, 100, False), (0, 104, 50, 100, True),
]


def song(path, bank, program, key, velocity):
    channel = 9 if bank == 128 else 0
    tick = 1000  # per second, with the tempo below

    def delta(n):
        out = [n & 127]
        while n > 127:
            n >>= 7
            out.insert(0, n & 127 | 128)
        return bytes(out)

    events = b"\0\xff\x51\x03\x0f\x42\x40" + bytes([0, 0xC0 | channel, program])
    events += bytes([0, 0xB0 | channel, 91, 0])
    events += bytes([0, 0x90 | channel, key, velocity])
    events += delta(int(HELD * tick)) + bytes([0x80 | channel, key, 0])
    events += delta(4 * tick) + b"\xff\x2f\0"
    with open(path, "wb") as file:
        file.write(b"MThd" + struct.pack(">IHHH", 6, 0, 1, tick) + b"MTrk" + struct.pack(">I", len(events)) + events)


def sine_bank(path):
    """A bank of one looped sine at half of full scale, 480 Hz on key 60."""
    def chunk(name, data):
        return name + struct.pack("<I", len(data)) + data + (b"\0" if len(data) & 1 else b"")

    def lists(kind, *chunks):
        return chunk(b"LIST", kind + b"".join(chunks))

    def name(text):
        return text.ljust(20, b"\0")

    frames = 4800
    wave = [round(16384 * np.sin(2 * np.pi * i / 100)) for i in range(frames)] + [0] * 46
    presets = lists(
        b"pdta",
        chunk(b"phdr", name(b"sine") + struct.pack("<HHHIII", 0, 0, 0, 0, 0, 0)
              + name(b"EOP") + struct.pack("<HHHIII", 0, 0, 1, 0, 0, 0)),
        chunk(b"pbag", struct.pack("<HHHH", 0, 0, 1, 0)), chunk(b"pmod", bytes(10)),
        chunk(b"pgen", struct.pack("<HHHH", 41, 0, 0, 0)),
        chunk(b"inst", name(b"sine") + struct.pack("<H", 0) + name(b"EOI") + struct.pack("<H", 1)),
        chunk(b"ibag", struct.pack("<HHHH", 0, 0, 2, 0)), chunk(b"imod", bytes(10)),
        chunk(b"igen", struct.pack("<HHHHHH", 54, 1, 53, 0, 0, 0)),
        chunk(b"shdr", name(b"sine") + struct.pack("<IIIIIBbHH", 0, frames, 0, frames, RATE, 60, 0, 0, 1)
              + name(b"EOS") + bytes(26)))
    info = lists(b"INFO", chunk(b"ifil", struct.pack("<HH", 2, 1)), chunk(b"isng", b"EMU8000\0"),
                 chunk(b"INAM", b"Sinus\0"))
    samples = lists(b"sdta", chunk(b"smpl", struct.pack(f"<{len(wave)}h", *wave)))
    with open(path, "wb") as file:
        file.write(chunk(b"RIFF", b"sfbk" + info + samples + presets))


def render(velor, bank, midi, ours, theirs):
    subprocess.run([velor, "render", midi, "-o", ours, "--overwrite", "-q", "--bank", bank, "--no-effects",
                    "--no-normalize", "--keep-silence", "--encoding", "f32"], check=True)
    subprocess.run(["fluidsynth", "-ni", "-q", "-r", str(RATE), "-g", str(1 / 128 ** 0.5), "-R", "0", "-C", "0",
                    "-O", "float", "-T", "wav", "-F", theirs, bank, midi],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return load(ours), load(theirs)


def load(path):
    raw = subprocess.run(["sox", path, "-t", "f32", "-c", "2", "-r", str(RATE), "-"], capture_output=True, check=True)
    frames = np.frombuffer(raw.stdout, dtype="<f4").reshape(-1, 2).astype(float)
    start = int(np.argmax(np.abs(frames).max(1) > 1e-6))
    return frames[start:]


def pitch(frames):
    part = frames[int(0.4 * RATE):int(1.4 * RATE)].sum(1)
    spectrum = np.abs(np.fft.rfft(part * np.blackman(len(part)), 1 << 20))
    spectrum[: int(30 * (1 << 20) / RATE)] = 0
    peak = int(np.argmax(spectrum))
    a, b, c = np.log(spectrum[peak - 1:peak + 2] + 1e-30)
    return (peak + 0.5 * (a - c) / (a - 2 * b + c)) * RATE / (1 << 20)


def envelope(frames, window=0.004):
    size = int(window * RATE)
    power = (frames ** 2).sum(1)
    smooth = np.convolve(power, np.ones(size) / size, "same")
    return np.sqrt(smooth)


def attack(frames):
    level = envelope(frames)[: RATE]
    return float(np.argmax(level >= 0.9 * level.max())) / RATE * 1000


def release(frames):
    # Windows of 25 ms even out the periods of low notes.
    level = envelope(frames, 0.025)
    off = int(HELD * RATE)
    start = level[off]
    below = np.nonzero(level[off:] < start * 0.1)[0]
    return float(below[0]) / RATE * 1000 if len(below) else float("nan")


def main():
    velor, bank_file = sys.argv[1:3]
    print("| bank | program | key | velocity | pitch (cents) | level (dB) | attack (ms) | release (ms) |")
    print("|---|---|---|---|---|---|---|---|")
    worst = {"pitch": 0.0, "level": 0.0}
    outside = []
    with tempfile.TemporaryDirectory() as folder:
        midi, ours, theirs = (os.path.join(folder, name) for name in ("n.mid", "v.wav", "f.wav"))
        calibration = os.path.join(folder, "sine.sf2")
        sine_bank(calibration)
        song(midi, 0, 0, 60, 127)
        # Half of full scale, General MIDI's volume of 100, the middle of constant-power panning, the gain.
        right = 0.5 / 2 ** 0.5 * (100 / 127) ** 2 * 0.5 ** 0.5 / 128 ** 0.5
        steady = slice(int(0.5 * RATE), int(1.4 * RATE))
        offsets = [20 * np.log10(np.sqrt((x[steady, 0] ** 2).mean()) / right)
                   for x in render(velor, calibration, midi, ours, theirs)]
        for bank, program, key, velocity, pitched in NOTES:
            song(midi, bank, program, key, velocity)
            a, b = render(velor, bank_file, midi, ours, theirs)
            off = int(HELD * RATE)
            level = 10 * np.log10((a[:off] ** 2).sum() / (b[:off] ** 2).sum()) - offsets[0] + offsets[1]
            cents = 1200 * np.log2(pitch(a) / pitch(b)) if pitched else None
            rises, falls = (attack(a), attack(b)), (release(a), release(b))
            shown = f"{cents:+.2f}" if pitched else "-"
            print(f"| {bank} | {program} | {key} | {velocity} | {shown} | {level:+.2f} | "
                  f"{rises[0]:.0f} / {rises[1]:.0f} | {falls[0]:.0f} / {falls[1]:.0f} |")
            name = f"{bank}:{program} key {key}"
            if pitched:
                worst["pitch"] = max(worst["pitch"], abs(cents))
                if abs(cents) > 1:
                    outside.append(f"{name}: pitch {cents:+.2f} cents")
            worst["level"] = max(worst["level"], abs(level))
            if abs(level) > 1:
                outside.append(f"{name}: level {level:+.2f} dB")
            for what, (x, y) in (("attack", rises), ("release", falls)):
                # Envelopes move in blocks of 1.3 ms here and there.
                if abs(x - y) > max(0.1 * y, 3):
                    outside.append(f"{name}: {what} {x:.0f} ms against {y:.0f} ms")
    print(f"\nA sine of known level: velor {offsets[0]:+.2f} dB, FluidSynth {offsets[1]:+.2f} dB.")
    print(f"Largest deviation: pitch {worst['pitch']:.2f} cents, level {worst['level']:.2f} dB.")
    print("Outside 1 cent, 1 dB and 10 %: " + ("none." if not outside else "; ".join(outside) + "."))


if __name__ == "__main__":
    main()
