#!/usr/bin/python3
"""Writes MIDI files with python3-mido into the folder given, for the SMF
tests: every format, tempo changes spread over tracks, names, texts, ports,
SysEx, running status, long deltas and many tracks."""
import os
import sys

import mido
from mido import Message, MetaMessage, MidiFile, MidiTrack

folder = sys.argv[1]


def notes(track, channel, base, count, step, velocity=80):
    for i in range(count):
        track.append(Message("note_on", channel=channel, note=base + i, velocity=velocity, time=0 if i == 0 else step))
        track.append(Message("note_off", channel=channel, note=base + i, velocity=0, time=step))


# Format 0: one track with everything in it.
mid = MidiFile(type=0, ticks_per_beat=480)
t = MidiTrack()
mid.tracks.append(t)
t.append(MetaMessage("track_name", name="Solo", time=0))
t.append(MetaMessage("copyright", text="(c) nobody", time=0))
t.append(MetaMessage("set_tempo", tempo=400000, time=0))
t.append(Message("program_change", channel=3, program=40, time=0))
t.append(Message("control_change", channel=3, control=7, value=100, time=0))
t.append(Message("sysex", data=[0x7E, 0x7F, 0x09, 0x01], time=0))
notes(t, 3, 60, 12, 120)
t.append(Message("pitchwheel", channel=3, pitch=-2000, time=50))
t.append(Message("aftertouch", channel=3, value=30, time=0))
t.append(Message("polytouch", channel=3, note=64, value=20, time=0))
t.append(MetaMessage("set_tempo", tempo=1000000, time=960))
notes(t, 3, 48, 4, 480)
t.append(MetaMessage("end_of_track", time=2000000))  # a delta of three bytes
mid.save(os.path.join(folder, "mido_format0.mid"))

# Format 1: tempo map in the first track, eight voices on two ports.
mid = MidiFile(type=1, ticks_per_beat=96)
tempo = MidiTrack()
mid.tracks.append(tempo)
tempo.append(MetaMessage("track_name", name="Tempo map", time=0))
tempo.append(MetaMessage("text", text="A comment", time=0))
tempo.append(MetaMessage("time_signature", numerator=3, denominator=4, time=0))
tempo.append(MetaMessage("set_tempo", tempo=600000, time=0))
for i, bpm in enumerate([90, 140, 75, 200]):
    tempo.append(MetaMessage("set_tempo", tempo=mido.bpm2tempo(bpm), time=384))
for v in range(8):
    tr = MidiTrack()
    mid.tracks.append(tr)
    if v % 3:
        tr.append(MetaMessage("track_name", name="Voice %d" % v, time=0))
    tr.append(MetaMessage("midi_port", port=v // 4, time=0))
    tr.append(Message("program_change", channel=v, program=v * 8, time=0))
    notes(tr, v, 40 + v * 3, 20 + v, 24 + v * 6, velocity=60 + v)
mid.save(os.path.join(folder, "mido_format1.mid"))

# Format 2: three independent patterns.
mid = MidiFile(type=2, ticks_per_beat=120)
for p in range(3):
    tr = MidiTrack()
    mid.tracks.append(tr)
    tr.append(MetaMessage("set_tempo", tempo=500000 + p * 100000, time=0))
    notes(tr, p, 60 + p, 5, 60)
mid.save(os.path.join(folder, "mido_format2.mid"))

# Format 1 whose first track holds notes: no control track.
mid = MidiFile(type=1, ticks_per_beat=240)
for v in range(3):
    tr = MidiTrack()
    mid.tracks.append(tr)
    notes(tr, v, 50 + v, 6, 240)
mid.save(os.path.join(folder, "mido_no_control.mid"))
