#!/usr/bin/python3
"""Writes the seed banks of the SoundFont fuzz target: a plain 16-bit bank
with a global zone and two zones on a stereo pair, the same with an sm24
body, and a version 1 bank. Run from the repository root."""
import struct

def chunk(cid, body):
    return cid + struct.pack('<I', len(body)) + body + (b'\0' if len(body) & 1 else b'')

def lst(kind, body):
    return chunk(b'LIST', kind + body)

def name(text):
    return text.encode().ljust(20, b'\0')[:20]

def bank(major, sm24):
    info = chunk(b'ifil', struct.pack('<HH', major, 1)) + chunk(b'INAM', b'Seed\0\0')
    smpl = b''.join(struct.pack('<h', (i % 40 - 20) * 1000) for i in range(64)) + b'\0' * 92
    sdta = chunk(b'smpl', smpl)
    if sm24:
        sdta += chunk(b'sm24', bytes(i * 3 & 255 for i in range(110)))
    phdr = name('Seed') + struct.pack('<HHHIII', 3, 128, 0, 0, 0, 0)
    phdr += name('EOP') + struct.pack('<HHHIII', 0, 0, 2, 0, 0, 0)
    pbag = struct.pack('<HH', 0, 0) + struct.pack('<HH', 1, 1) + struct.pack('<HH', 2, 1)
    pgen = struct.pack('<Hh', 48, 20) + struct.pack('<HH', 41, 0) + struct.pack('<HH', 0, 0)
    # velocity (0x0502) to attenuation, and a CC1 to vibrato depth
    pmod = struct.pack('<HHhHH', 0x0502, 48, 480, 0, 0) + b'\0' * 10
    inst = name('Pair') + struct.pack('<H', 0) + name('EOI') + struct.pack('<H', 3)
    ibag = struct.pack('<HH', 0, 0) + struct.pack('<HH', 2, 1) + struct.pack('<HH', 5, 1) + struct.pack('<HH', 8, 1)
    igen = (struct.pack('<Hh', 8, 7000) + struct.pack('<Hh', 34, -2000)
            + struct.pack('<HH', 43, 0 | 64 << 8) + struct.pack('<Hh', 17, -500) + struct.pack('<HH', 53, 0)
            + struct.pack('<HH', 43, 65 | 127 << 8) + struct.pack('<HH', 54, 1) + struct.pack('<HH', 53, 1)
            + struct.pack('<HH', 0, 0))
    imod = struct.pack('<HHhHH', 0x0081, 6, 50, 0, 0) + b'\0' * 10
    shdr = name('Left') + struct.pack('<IIIIIBbHH', 0, 32, 4, 30, 22050, 60, -3, 1, 4)
    shdr += name('Right') + struct.pack('<IIIIIBbHH', 32, 64, 36, 60, 22050, 60, -3, 0, 2)
    shdr += name('EOS') + b'\0' * 26
    pdta = b''.join(chunk(k, v) for k, v in [(b'phdr', phdr), (b'pbag', pbag), (b'pmod', pmod), (b'pgen', pgen),
                                             (b'inst', inst), (b'ibag', ibag), (b'imod', imod), (b'igen', igen),
                                             (b'shdr', shdr)])
    return chunk(b'RIFF', b'sfbk' + lst(b'INFO', info) + lst(b'sdta', sdta) + lst(b'pdta', pdta))

for path, data in [('fuzz/corpus/sf2/plain.sf2', bank(2, False)), ('fuzz/corpus/sf2/sm24.sf2', bank(2, True)),
                   ('fuzz/corpus/sf2/v1.sbk', bank(1, False))]:
    with open(path, 'wb') as f:
        f.write(data)
