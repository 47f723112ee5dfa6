#pragma once
// Standard MIDI files and their RIFF wrapper (RMID): the readers and writers
// of the format table, and the pieces that other song formats reuse.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vaxel {

class Collection;
class CollectionItem;
class FileObject;
class Song;
class Track;
struct WriteOptions;

// Reads the chunks between two file offsets (end 0: the file's end) and
// returns the new Song, or null when no MThd comes before the first MTrk.
// A bad MTrk never fails it: a track is what its bytes are.
Song* ParseSmf(Collection& collection, FileObject& file, uint64_t start, uint64_t end);
// Format table routines.
int ReadMid(Collection& collection, FileObject& file, uint32_t param);
int WriteMid(CollectionItem& item, FileObject& file, const WriteOptions& options);
int ReadRmi(Collection& collection, FileObject& file, uint32_t param);
int WriteRmi(CollectionItem& item, FileObject& file, const WriteOptions& options);

// The whole SMF of a Song: MThd, then one MTrk per Track with its bytes as
// they stand. False only when memory runs out.
bool BuildSmf(const Song& song, std::vector<uint8_t>& out);

// Reads a track's text meta events into the Track and, for the master or
// control track, into the Song (fields still empty only).
void TrackMetaScan(Track& track, Song& song, bool isControlTrack);
// Step 8 of reading a track: the families that know instrument dumps in
// System Exclusive messages register a harvester, which is handed the body
// of every SysEx message of every track read (behind the F0 status, the
// closing F7 included when present) and adds what it recognises to the
// collection as Instruments. None is registered until such a family lands.
using SysExHarvester = void (*)(Collection& collection, const uint8_t* message, size_t length);
void RegisterSysExHarvester(SysExHarvester harvester);

// The events of a track body (the count of Track::setEvents).
uint32_t TrackEventCount(const uint8_t* bytes, size_t length);
// True at the first note-on or note-off (velocity 0 included); false at the
// end-of-track meta event or the end of the data.
bool HasNotes(const Track& track);

} // namespace vaxel
