#!/usr/bin/env python3
"""soundfont_oracle.py BANK OUT: what a SoundFont 2 bank holds, one line an item, worked out here from the
published format alone. Tests compare it with what the reader makes of the same file."""
import struct
import sys

DEFAULTS = {8: 13500, 21: -12000, 23: -12000, 25: -12000, 26: -12000, 27: -12000, 28: -12000, 30: -12000,
            33: -12000, 34: -12000, 35: -12000, 36: -12000, 38: -12000, 46: -1, 47: -1, 56: 100, 58: -1}
LIMITS = {8: (1500, 13500), 9: (0, 960), 15: (0, 1000), 16: (0, 1000), 17: (-500, 500), 33: (-12000, 5000),
          34: (-12000, 8000), 35: (-12000, 5000), 36: (-12000, 8000), 37: (0, 1440), 38: (-12000, 8000),
          48: (0, 1440), 51: (-120, 120), 52: (-99, 99), 56: (0, 1200), 5: (-12000, 12000),
          6: (-12000, 12000), 7: (-12000, 12000), 11: (-12000, 12000)}
NOT_IN_PRESETS = {0, 1, 2, 3, 4, 12, 45, 46, 47, 50, 54, 57, 58}


def chunks(data, begin, end):
    while begin + 8 <= end:
        name, size = struct.unpack('<4sI', data[begin:begin + 8])
        yield name, begin + 8, begin + 8 + size
        following = begin + 8 + size
        if size % 2 and data[following:following + 4] != b'LIST':
            following += 1
        begin = following


def records(data, layout):
    return list(struct.iter_unpack(layout, data[:len(data) // struct.calcsize(layout) * struct.calcsize(layout)]))


def zones(first, last, bags, generators, target):
    """(keys, velocities, values, target) of each zone that names a target, global values included."""
    common = {}
    for index in range(first, last):
        values = dict(common)
        named = None
        for number, amount in generators[bags[index][0]:bags[index + 1][0]]:
            if number == target:
                named = amount
                break
            values[number] = amount
        if named is None:
            if index == first:
                common = values
            continue
        keys = values.get(43, 0x7F00)
        velocities = values.get(44, 0x7F00)
        yield (keys & 255, keys >> 8), (velocities & 255, velocities >> 8), values, named


def signed(value):
    return value - 65536 if value >= 32768 else value


def seconds(timecents):
    return 0.0 if timecents <= -12000 else 2 ** (timecents / 1200)


def text(field):
    return field.split(b'\0')[0].decode('latin-1')


def main(bank, out):
    with open(bank, 'rb') as file:
        data = file.read()
    lists = {}
    samples = (0, 0)
    for name, begin, end in chunks(data, 12, len(data)):
        if name == b'LIST':
            for inner, start, stop in chunks(data, begin + 4, end):
                if inner == b'smpl':
                    samples = (start, stop)
                elif data[begin:begin + 4] == b'pdta':
                    lists[inner] = data[start:stop]
    presets = records(lists[b'phdr'], '<20sHHH12x')
    pbag, ibag = records(lists[b'pbag'], '<HH'), records(lists[b'ibag'], '<HH')
    pgen, igen = records(lists[b'pgen'], '<HH'), records(lists[b'igen'], '<HH')
    instruments = records(lists[b'inst'], '<20sH')
    headers = records(lists[b'shdr'], '<20sIIIIIBbHH')
    instrument_zones = [list(zones(instruments[i][1], instruments[i + 1][1], ibag, igen, 53))
                        for i in range(len(instruments) - 1)]
    with open(out, 'w', encoding='latin-1') as lines:
        for i in range(len(presets) - 1):
            name, program, number, first = presets[i]
            lines.write(f'preset\t{text(name)}\t{number}\t{program}\n')
            for keys, velocities, added, instrument in zones(first, presets[i + 1][3], pbag, pgen, 41):
                named = False
                for low, high, own, sample in instrument_zones[instrument]:
                    key = (max(keys[0], low[0]), min(keys[1], low[1]))
                    velocity = (max(velocities[0], high[0]), min(velocities[1], high[1]))
                    if key[0] > key[1] or velocity[0] > velocity[1]:
                        continue

                    def value(generator):
                        base = signed(own[generator]) if generator in own else DEFAULTS.get(generator, 0)
                        if generator in added and generator not in NOT_IN_PRESETS:
                            base += signed(added[generator])
                        least, most = LIMITS.get(generator, (-32768, 32767))
                        return min(max(base, least), most)

                    if not named:
                        lines.write(f'layer\t{text(instruments[instrument][0])}\n')
                        named = True
                    header = headers[sample]
                    start = header[1] + value(0) + 32768 * value(4)
                    end = header[2] + value(1) + 32768 * value(12)
                    loop = value(54) & 1
                    loop_start = header[3] + value(2) + 32768 * value(45) - start
                    loop_end = min(header[4] + value(3) + 32768 * value(50), end) - start
                    if not 0 <= loop_start < loop_end:
                        loop = 0
                    root = value(58) if value(58) >= 0 else header[6] if header[6] < 128 else 60
                    sustain = value(37)
                    parameters = {
                        1: value(56) / 100,
                        3: value(6) / 100,
                        7: value(5) / 100,
                        11: min(max(value(7) / 100, -96), 96),
                        14: -value(48) * 0.04,
                        33: min(max(value(11) / 100, -128), 128),
                        51: value(17) / 500,
                        57: value(16) / 1000,
                        61: value(15) / 1000,
                        82: seconds(value(33)),
                        86: min(seconds(value(34)), 100),
                        90: seconds(value(35)),
                        94: min(seconds(value(36)) * min(sustain / 1000, 1), 100),
                        97: 0 if sustain >= 1000 else 10 ** (-sustain / 200),
                        98: min(seconds(value(38)), 100),
                    }
                    lines.write('\t'.join(map(str, ['region', text(header[0]), *key, *velocity, end - start,
                                                    header[5], header[7], loop,
                                                    loop_start if loop else 0, loop_end if loop else 0,
                                                    value(57),
                                                    # the first and last points, wherever there are any
                                                    *[struct.unpack('<h', data[samples[0] + 2 * at:
                                                                               samples[0] + 2 * at + 2])[0]
                                                      for at in (start, end - 1)]])) + '\n')
                    tune = value(51) + value(52) / 100
                    for key in (48, 72):  # what they sound like, by root key and tuning together
                        lines.write(f'pitch\t{key}\t{(key - root) * value(56) / 100 + tune:.9g}\n')
                    if abs(tune) <= 48:
                        lines.write(f'root\t{root}\n')
                    for parameter, number in sorted(parameters.items()):
                        lines.write(f'value\t{parameter}\t{number:.9g}\n')


main(sys.argv[1], sys.argv[2])
