#!/usr/bin/env python3
"""CPU time of velor beside FluidSynth and TiMidity rendering MIDI songs with one SoundFont, whole programs, best of
several alternating runs; wall time with one and two threads; and what loading the bank for a song takes.

usage: bench/render_peers.py VELOR BANK.sf2 SONG.mid... [--runs N]

Effects on, polyphony 128, 48000 Hz. Prints Markdown tables; a ratio below 1 means that velor took less time.
Needs fluidsynth, timidity and python3-mido."""
import os
import resource
import subprocess
import sys
import tempfile
import time

import mido


def run(command):
    """User and system seconds, wall seconds and peak memory in MiB of one run; None when it fails."""
    start = time.monotonic()
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = status
    if status != 0:
        return None
    return usage.ru_utime + usage.ru_stime, time.monotonic() - start, usage.ru_maxrss / 1024


def best(commands, runs, figure):
    times = {}
    for _ in range(runs):
        for who, command in commands.items():
            result = run(command)
            if result is not None:
                times[who] = min(times.get(who, 1e9), result[figure])
    return times


def loading_song(song, path):
    """A song of a second that strikes every patch of another one once, so that the same instruments load."""
    messages, seen = [], set()
    programs, banks = {}, {}
    for message in mido.MidiFile(song, clip=True):
        if message.type == "program_change":
            programs[message.channel] = message.program
        elif message.type == "control_change" and message.control in (0, 32):
            banks[(message.channel, message.control)] = message.value
        elif message.type == "note_on" and message.velocity > 0:
            channel = message.channel
            patch = (channel == 9, programs.get(channel, 0), banks.get((channel, 0), 0), banks.get((channel, 32), 0))
            if patch not in seen:
                seen.add(patch)
                for control in (0, 32):
                    messages.append(mido.Message("control_change", channel=channel, control=control,
                                                 value=banks.get((channel, control), 0)))
                messages.append(mido.Message("program_change", channel=channel, program=patch[1]))
                messages.append(mido.Message("note_on", channel=channel, note=message.note, velocity=64))
                messages.append(mido.Message("note_off", channel=channel, note=message.note, time=10))
    track = mido.MidiTrack(messages)
    file = mido.MidiFile(type=0, ticks_per_beat=480)
    file.tracks.append(track)
    file.save(path)
    return len(seen)


def main():
    arguments = sys.argv[1:]
    runs = 3
    if "--runs" in arguments:
        at = arguments.index("--runs")
        runs = int(arguments[at + 1])
        del arguments[at:at + 2]
    velor, bank, songs = os.path.abspath(arguments[0]), arguments[1], arguments[2:]
    print("| song | velor (s) | FluidSynth (s) | TiMidity (s) | to FluidSynth | to TiMidity | wall, 2 threads to 1 | "
          "loading (s) | loading (MiB) |")
    print("|---|---|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as folder:
        out = os.path.join(folder, "out.wav")
        config = os.path.join(folder, "timidity.cfg")
        with open(config, "w") as file:
            file.write(f"soundfont {bank}\n")

        def render(song, *more):
            return [velor, "render", song, "-o", out, "--overwrite", "-q", "--bank", bank, "--rate", "48000",
                    "--polyphony", "128", *more]

        for song in songs:
            cpu = best({
                "velor": render(song),
                "fluidsynth": ["fluidsynth", "-ni", "-q", "-r", "48000", "-o", "synth.polyphony=128", "-T", "wav",
                               "-F", out, bank, song],
                "timidity": ["timidity", "-c", config, "-p128", "-s", "48000", "-Ow", "-o", out, song],
            }, runs, 0)
            wall = best({"one": render(song), "two": render(song, "--threads", "2")}, runs, 1)
            short = os.path.join(folder, "short.mid")
            loading_song(song, short)
            load = best({"velor": render(short)}, runs, 0)["velor"]
            memory = best({"velor": render(short)}, 1, 2)["velor"]
            ours = cpu["velor"]
            peers = [cpu.get("fluidsynth"), cpu.get("timidity")]
            shown = [f"{x:.2f}" if x else "-" for x in peers]
            ratios = [f"{ours / x:.2f}" if x else "-" for x in peers]
            print(f"| {os.path.splitext(os.path.basename(song))[0]} | {ours:.2f} | {shown[0]} | {shown[1]} | "
                  f"{ratios[0]} | {ratios[1]} | {wall['two'] / wall['one']:.2f} | {load:.2f} | {memory:.0f} |",
                  flush=True)


if __name__ == "__main__":
    main()
