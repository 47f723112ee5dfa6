#!/usr/bin/python3
"""Prints what python3-mido reads from MIDI files, for the SMF tests to
compare with. Per file:
    FILE <path>
    ERROR <message>                       when mido refuses the file, or
    SONG <format> <division> <seconds>    seconds "-" for format 2
    TRACK <messages> <name>               one line per track, end of track counted
"""
import sys

import mido

for path in sys.argv[1:]:
    print("FILE", path)
    try:
        mid = mido.MidiFile(path)
    except Exception as error:  # mido refuses the file: say so
        print("ERROR", type(error).__name__, str(error).replace("\n", " "))
        continue
    seconds = "-" if mid.type == 2 else repr(mid.length)
    print("SONG", mid.type, mid.ticks_per_beat, seconds)
    for track in mid.tracks:
        print("TRACK", len(track), track.name.replace("\n", " "))
