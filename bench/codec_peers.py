#!/usr/bin/env python3
"""CPU time of velor beside sox, sndfile-convert and ffmpeg for each codec, whole programs, best of several
alternating runs on one machine. Usage: bench/codec_peers.py VELOR [MINUTES] [RUNS]. Prints a Markdown table;
a ratio below 1 means that velor took less time than the fastest peer."""
import array
import math
import os
import random
import resource
import struct
import subprocess
import sys
import tempfile


def cpu_seconds(command):
    """User and system time of one run, or None when it fails."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if done.returncode != 0:
        return None
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def write_source(name, rate, channels, minutes):
    random.seed(1)
    piece = array.array('h')
    for i in range(rate * 10):
        envelope = 0.5 + 0.5 * math.sin(i / 3000)
        for c in range(channels):
            piece.append(int(20000 * envelope * (0.7 * math.sin(i * 0.03 + c) + 0.3 * random.uniform(-1, 1))))
    data = piece.tobytes() * (minutes * 6)
    header = struct.pack('<4sI8sIHHIIHH4sI', b'RIFF', 36 + len(data), b'WAVEfmt ', 16, 1, channels, rate,
                         rate * channels * 2, channels * 2, 16, b'data', len(data))
    with open(name, 'wb') as out:
        out.write(header + data)


def best(commands, runs):
    """Best time of each command, taken in turn so that noise hits all alike."""
    times = {}
    for _ in range(runs):
        for who, command in commands.items():
            seconds = cpu_seconds(command)
            if seconds is not None:
                times[who] = min(times.get(who, 1e9), seconds)
    return times


def main():
    velor = os.path.abspath(sys.argv[1])
    minutes = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 3
    convert = [velor, 'convert', '--quiet', '--overwrite']
    ffmpeg = ['ffmpeg', '-y', '-v', 'error', '-threads', '1']
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        write_source('music.wav', 44100, 2, max(minutes // 4, 1))
        write_source('speech.wav', 8000, 1, minutes)
        write_source('wide.wav', 16000, 1, minutes)
        jobs = []

        def decode(name, file, peers, ours=()):
            jobs.append((name + ' decode', {
                'velor': convert + list(ours) + [file, '-o', 'v.out.wav', '--encoding', 'PCM 16-bit'], **peers}))

        def peer_decoders(file, which):
            all_of = {'sox': ['sox', file, '-b', '16', '-e', 'signed', 's.out.wav'],
                      'libsndfile': ['sndfile-convert', '-pcm16', file, 'l.out.wav'],
                      'ffmpeg': ffmpeg + ['-i', file, '-c:a', 'pcm_s16le', 'f.out.wav']}
            return {who: all_of[who] for who in which}

        def encode(name, source, encoding, peers):
            jobs.append((name + ' encode', {
                'velor': convert + [source, '-o', 'v.out.wav', '--encoding', encoding], **peers}))

        def make(*command):
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        everyone = ('sox', 'libsndfile', 'ffmpeg')
        make('sox', 'music.wav', '-e', 'ms-adpcm', 'ms.wav')
        decode('MS ADPCM', 'ms.wav', peer_decoders('ms.wav', everyone))
        make('sox', 'music.wav', '-e', 'ima-adpcm', 'ima.wav')
        decode('IMA ADPCM', 'ima.wav', peer_decoders('ima.wav', everyone))
        make(*ffmpeg, '-i', 'music.wav', '-c:a', 'adpcm_yamaha', 'yamaha.wav')
        decode('Yamaha ADPCM', 'yamaha.wav', peer_decoders('yamaha.wav', ('ffmpeg',)))
        make('sox', 'speech.wav', 'oki.vox')
        decode('OKI ADPCM', 'oki.vox', {'sox': ['sox', '-r', '8000', 'oki.vox', '-b', '16', 's.out.wav']})
        jobs.append(('OKI ADPCM encode', {'velor': convert + ['speech.wav', '-o', 'v.vox'],
                                          'sox': ['sox', 'speech.wav', 's.vox']}))
        make('sox', 'speech.wav', '-e', 'gsm-full-rate', 'gsm.wav')
        decode('GSM 06.10', 'gsm.wav', peer_decoders('gsm.wav', everyone))
        encode('GSM 06.10', 'speech.wav', 'GSM 2-bit', {
            'sox': ['sox', 'speech.wav', '-e', 'gsm-full-rate', 's.out.wav'],
            'libsndfile': ['sndfile-convert', '-gsm610', 'speech.wav', 'l.out.wav'],
            'ffmpeg': ffmpeg + ['-i', 'speech.wav', '-c:a', 'libgsm_ms', 'f.out.wav']})
        for bits, flag in ((2, None), (3, '-g723_24'), (4, '-g721_32'), (5, '-g723_40')):
            rate = str(8000 * bits)
            name = f'G.726 {rate} bit/s'
            make(*ffmpeg, '-i', 'speech.wav', '-c:a', 'g726', '-b:a', rate, f'g{bits}.wav')
            decode(name, f'g{bits}.wav', peer_decoders(f'g{bits}.wav', ('ffmpeg',)))
            peers = {'ffmpeg': ffmpeg + ['-i', 'speech.wav', '-c:a', 'g726', '-b:a', rate, 'f.out.wav']}
            if flag:
                peers['libsndfile'] = ['sndfile-convert', flag, 'speech.wav', 'l.out.au']
            encode(name, 'speech.wav', f'ADPCM {bits}-bit', peers)
        make(*ffmpeg, '-i', 'wide.wav', '-c:a', 'g722', '-f', 'g722', 'w.g722-8')
        decode('G.722', 'w.g722-8', {'ffmpeg': ffmpeg + ['-f', 'g722', '-i', 'w.g722-8', 'f.out.wav']},
               ['--answer', 'raw.g722.packing=Big endian'])
        for law, theirs in (('Mu-law', 'mulaw'), ('A-law', 'alaw')):
            make(*ffmpeg, '-i', 'music.wav', '-c:a', 'pcm_' + theirs, theirs + '.wav')
            decode(law, theirs + '.wav', peer_decoders(theirs + '.wav', everyone))
            encode(law, 'music.wav', law + ' 8-bit', {
                'sox': ['sox', 'music.wav', '-e', law.lower(), 's.out.wav'],
                'libsndfile': ['sndfile-convert', '-ulaw' if law[0] == 'M' else '-alaw', 'music.wav', 'l.out.wav'],
                'ffmpeg': ffmpeg + ['-i', 'music.wav', '-c:a', 'pcm_' + theirs, 'f.out.wav']})

        print('| codec | velor s | fastest peer | s | ratio |\n|---|---|---|---|---|')
        for name, commands in jobs:
            times = best(commands, runs)
            ours = times.pop('velor', None)
            if ours is None or not times:
                print(f'| {name} | failed | | | |')
                continue
            peer = min(times, key=times.get)
            print(f'| {name} | {ours:.2f} | {peer} | {times[peer]:.2f} | {ours / times[peer]:.2f} |', flush=True)
        os.chdir('/')


main()
