// Standard MIDI files (SMF) and their RIFF wrapper (RMID).
//
// An SMF is a run of big-endian chunks without padding: "MThd" (6 bytes:
// format, track count, division) and then "MTrk" chunks of events. Each
// event is a delta time (a variable-length number of at most four bytes),
// a status byte or none under running status, and the data. A Track keeps
// an MTrk body byte for byte, so a file read and written back unchanged comes
// out the same. The reader walks every chunk of the file: unknown chunks are
// skipped, "MThd" may stand anywhere before the first "MTrk" (an "MTrk"
// ahead of it is ignored), and bytes behind the last chunk don't matter.
// Lengths that run past the end of the file are clipped to it.
//
// Detection asks for "MThd" at offset 0: a unique magic, the table's top
// score.
//
// An RMID file is a little-endian RIFF form of type "RMID" with word
// alignment: "data" holds a whole SMF; "DISP" of type 1 (text) names the
// song; "LIST" "INFO" holds its texts. Both apply only once "data" was read.
// "RIFF" at 0 and "RMID" at 8 decide detection; a RIFF of any other form type
// (WAVE, DLS, sfbk, ...) belongs to its own family.
//
// Not read yet: a "LIST" "DLS " collection inside an RMID file (it waits for
// the DLS reader; the writer rows that embed DLS instruments carry no writer
// for that reason). Instrument dumps in SysEx messages go to the harvesters
// that families register (RegisterSysExHarvester).
#include "formats/songs/smf.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "fileio/chunk.h"
#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/song.h"
#include "model/text.h"

namespace vaxel {
namespace {

std::vector<SysExHarvester>& Harvesters() {
    static std::vector<SysExHarvester> list;
    return list;
}

int DetectMid(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "MThd") ? songs::kMagic : songs::kNo;
}

int DetectRmi(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "RIFF") && b.equals(8, "RMID") ? songs::kMagic : songs::kNo;
}

constexpr uint32_t kMThd = FourCC("MThd");
constexpr uint32_t kMTrk = FourCC("MTrk");

// Tracks this short hold no event worth keeping (an end-of-track alone is 4).
constexpr uint64_t kMinTrackBytes = 5;
// The most of a DISP chunk's text taken as the song's name.
constexpr uint64_t kMaxDispBytes = 4096;

uint16_t Be16(const uint8_t* p) {
    return uint16_t(p[0] << 8 | p[1]);
}

void PutBe16(std::vector<uint8_t>& v, uint16_t x) {
    v.push_back(uint8_t(x >> 8));
    v.push_back(uint8_t(x));
}

void PutBe32(std::vector<uint8_t>& v, uint32_t x) {
    for (int shift = 24; shift >= 0; shift -= 8) v.push_back(uint8_t(x >> shift));
}

std::u16string TrackNumberName(const char* pattern, uint32_t number) {
    char text[32];
    std::snprintf(text, sizeof text, pattern, unsigned(number));
    return AnsiToWide(text);
}

bool IsDefaultTrackName(const char16_t* name) {
    // "Track " and at least two digits, as the reader names a track.
    static const char16_t kHead[] = u"Track ";
    for (int i = 0; i < 6; ++i)
        if (name[i] != kHead[i]) return false;
    int digits = 0;
    for (const char16_t* p = name + 6; *p; ++p, ++digits)
        if (*p < u'0' || *p > u'9') return false;
    return digits >= 2;
}

// Format 2 holds independent patterns: tracks still named by default are
// named for their use. A kind of 0 marks a track that is no pattern; when two
// or more of them exist they are numbered among themselves, and every other
// track is named after its pattern number.
void FixFormat2Names(Collection& collection, Song& song) {
    (void)collection;
    if (song.format != 2) return;
    uint32_t plain = 0;
    for (uint32_t i = 0; i < song.ids.size(); ++i)
        if (const Track* t = song.track(i); t && t->kind == 0) ++plain;
    uint32_t running = 0;
    for (uint32_t i = 0; i < song.ids.size(); ++i) {
        Track* t = song.track(i);
        if (!t || !IsDefaultTrackName(t->name())) continue;
        if (t->kind == 0 && plain >= 2) {
            t->setName(TrackNumberName("Track %02u", ++running).c_str());
        } else {
            t->setName(TrackNumberName("Pattern %02u", t->readerWords[0]).c_str());
        }
    }
}

// Walks the SMF chunks of [start, end) and builds the Song.
class SmfParser {
  public:
    SmfParser(Collection& collection, FileObject& file) : collection_(collection), file_(file) {}

    Song* parse(uint64_t start, uint64_t end) {
        ChunkReader reader(file_, true, false, false, start, end ? end : file_.Size());
        while (reader.NextChunk()) {
            if (reader.chunkId() == kMThd) {
                if (!song_) readHead(reader);
            } else if (reader.chunkId() == kMTrk) {
                if (song_) readTrack(reader); // an MTrk before MThd is ignored
            }
        }
        return song_;
    }

  private:
    void readHead(ChunkReader& reader) {
        uint8_t head[6];
        if (!reader.Read(head, sizeof head)) return; // too short to be a head
        song_ = new (std::nothrow) Song(collection_, kNewSerial, collection_.name());
        if (!song_) return;
        song_->format = Be16(head);
        song_->division = Be16(head + 4);
    }

    void readTrack(ChunkReader& reader) {
        const uint32_t index = trackIndex_++; // counted even when skipped
        const uint64_t length = reader.remaining();
        if (length < kMinTrackBytes) return;
        std::vector<uint8_t> bytes;
        try {
            bytes.resize(size_t(length));
        } catch (const std::bad_alloc&) {
            return; // memory for a track's bytes: the track is skipped
        } catch (const std::length_error&) {
            return;
        }
        if (!reader.Read(bytes.data(), length)) return;

        const uint16_t format = song_->format;
        std::u16string name;
        bool control = false;
        if (format == 0 && !masterTaken_) {
            name = u"Master Track";
            control = true;
        } else if (format == 1 && index == 0) {
            name = u"Control Track";
            control = true;
        } else {
            name = TrackNumberName("Track %02u", index + (masterTaken_ ? 0 : 1));
        }

        auto* track = new (std::nothrow) Track(collection_, kNewSerial, name.c_str());
        if (!track) return;
        song_->addChild(*track);
        track->setEvents(std::move(bytes));
        track->readerWords[0] = index + 1; // the track's number in the file

        if (format == 2) track->kind = int8_t(index + 1 > 127 ? 127 : index + 1);
        if (format == 1 && control) {
            if (HasNotes(*track)) {
                // Not a control track after all: the first of the numbered ones.
                track->setName(u"Track 01");
                control = false;
            } else {
                track->kind = Track::kControlTrack;
                masterTaken_ = true;
            }
        } else if (format == 0 && control) {
            masterTaken_ = true;
        }
        TrackMetaScan(*track, *song_, control);
        HarvestSysEx(*track);
    }

    void HarvestSysEx(const Track& track) {
        const std::vector<SysExHarvester>& harvesters = Harvesters();
        if (harvesters.empty()) return;
        const uint8_t* p = track.data();
        const uint8_t* end = p + track.dataLength();
        uint8_t running = 0;
        TrackEvent event;
        while (NextTrackEvent(p, end, running, event))
            if (event.status == 0xF0)
                for (SysExHarvester harvest : harvesters) harvest(collection_, event.data, event.length);
    }

    Collection& collection_;
    FileObject& file_;
    Song* song_ = nullptr;
    uint32_t trackIndex_ = 0;
    bool masterTaken_ = false;
};

// A text meta event's bytes up to the first NUL, as Windows-1252.
std::string MetaText(const TrackEvent& e) {
    size_t n = 0;
    while (n < e.length && e.data[n]) ++n;
    return std::string(reinterpret_cast<const char*>(e.data), n);
}

Song* ResolveSong(CollectionItem& item) {
    if (item.type() == ItemType::Song) return static_cast<Song*>(&item);
    if (item.type() == ItemType::Collection)
        return static_cast<Song*>(static_cast<Collection&>(item).first(ItemType::Song));
    return nullptr;
}

bool WriteBytes(FileObject& file, const std::vector<uint8_t>& bytes) {
    if (file.WriteBig(bytes.data(), bytes.size())) return true;
    SetLastError("Writing to file failed");
    return false;
}

} // namespace

// ---------------------------------------------------------------- scans

uint32_t TrackEventCount(const uint8_t* bytes, size_t length) {
    return CountTrackEvents(bytes, length);
}

bool HasNotes(const Track& track) {
    const uint8_t* p = track.data();
    const uint8_t* end = p + track.dataLength();
    uint8_t running = 0;
    TrackEvent e;
    while (p < end && NextTrackEvent(p, end, running, e)) {
        const uint8_t kind = e.status & 0xF0;
        if (e.status < 0xF0 && (kind == 0x80 || kind == 0x90)) return true;
        if (e.status == 0xFF && e.metaType == 0x2F) return false;
    }
    return false;
}

void RegisterSysExHarvester(SysExHarvester harvester) {
    if (!harvester) return;
    std::vector<SysExHarvester>& list = Harvesters();
    if (std::find(list.begin(), list.end(), harvester) == list.end()) list.push_back(harvester);
}

void TrackMetaScan(Track& track, Song& song, bool isControlTrack) {
    const uint8_t* p = track.data();
    const uint8_t* end = p + track.dataLength();
    uint8_t running = 0;
    bool named = false;
    bool channelSeen = false;
    TrackEvent e;
    while (p < end && NextTrackEvent(p, end, running, e)) {
        if (e.status < 0xF0) {
            if (!channelSeen) track.startChannel = e.status & 0x0F;
            channelSeen = true;
            continue;
        }
        if (e.status != 0xFF) continue;
        switch (e.metaType) {
        case 0x01: { // text
            const std::string text = MetaText(e);
            if (text.empty()) break;
            if (song.text(kInfoComments)[0] == 0)
                song.setTextAnsi(kInfoComments, text.c_str(), int(text.size()));
            else if (isControlTrack && !named)
                track.setNameAnsi(text.c_str(), int(text.size()));
            break;
        }
        case 0x02: { // copyright
            const std::string text = MetaText(e);
            if (!text.empty() && song.text(kInfoCopyright)[0] == 0)
                song.setTextAnsi(kInfoCopyright, text.c_str(), int(text.size()));
            break;
        }
        case 0x03: { // sequence or track name: the first one counts
            const std::string text = MetaText(e);
            if (text.empty() || named) break;
            named = true;
            track.setNameAnsi(text.c_str(), int(text.size()));
            if (isControlTrack) song.setTextAnsi(kInfoName, text.c_str(), int(text.size()));
            break;
        }
        case 0x21: // MIDI port of the track's events
            if (e.length >= 1) track.port = e.data[0] & 0x7F;
            break;
        case 0x2F:
            return; // end of track
        default:
            break; // 0x00, the sequence number, and the rest carry nothing for the model
        }
    }
}

// ---------------------------------------------------------------- SMF

Song* ParseSmf(Collection& collection, FileObject& file, uint64_t start, uint64_t end) {
    return SmfParser(collection, file).parse(start, end);
}

int ReadMid(Collection& collection, FileObject& file, uint32_t) {
    Song* song = ParseSmf(collection, file, 0, 0);
    if (!song) {
        SetLastError("Invalid or corrupt Midi file");
        return 0;
    }
    FixFormat2Names(collection, *song);
    return 1;
}

bool BuildSmf(const Song& song, std::vector<uint8_t>& out) {
    std::vector<const Track*> tracks;
    uint64_t total = 14;
    for (uint32_t i = 0; i < song.ids.size() && tracks.size() < 0xFFFF; ++i) {
        if (const Track* t = song.track(i)) {
            tracks.push_back(t);
            total += 8 + uint64_t(t->dataLength());
        }
    }
    out.clear();
    try {
        out.reserve(size_t(total));
    } catch (const std::exception&) {
        return false;
    }
    out.insert(out.end(), {'M', 'T', 'h', 'd', 0, 0, 0, 6});
    PutBe16(out, song.format);
    PutBe16(out, uint16_t(tracks.size()));
    PutBe16(out, song.division);
    for (const Track* t : tracks) {
        out.insert(out.end(), {'M', 'T', 'r', 'k'});
        PutBe32(out, t->dataLength());
        out.insert(out.end(), t->data(), t->data() + t->dataLength());
    }
    return true;
}

int WriteMid(CollectionItem& item, FileObject& file, const WriteOptions&) {
    Song* song = ResolveSong(item);
    if (!song) {
        SetLastError("The file format can not save this item");
        return 0;
    }
    std::vector<uint8_t> bytes;
    if (!BuildSmf(*song, bytes)) {
        SetLastError("Out of memory");
        return 0;
    }
    return WriteBytes(file, bytes) ? 1 : 0;
}

// ---------------------------------------------------------------- RMID

int ReadRmi(Collection& collection, FileObject& file, uint32_t) {
    ChunkReader riff(file, false, true, true);
    if (riff.chunkId() != FourCC("RIFF") || riff.formType() != FourCC("RMID")) {
        SetLastError("Not a RIFF-RMID file");
        return 0;
    }
    Song* song = nullptr;
    while (riff.NextChunk()) {
        const uint32_t id = riff.chunkId();
        if (id == FourCC("data")) {
            if (song) continue; // one song per file
            const uint64_t start = riff.pos();
            song = ParseSmf(collection, file, start, start + riff.remaining());
            if (!song) {
                SetLastError("Could not parse SMF");
                return 0;
            }
            FixFormat2Names(collection, *song);
        } else if (id == FourCC("DISP") && song) {
            uint8_t type[4];
            if (!riff.Read(type, 4) ||
                (type[0] | type[1] << 8 | type[2] << 16 | uint32_t(type[3]) << 24) != 1)
                continue;
            // A name, not a document: a few kilobytes at most are read.
            std::string text(size_t(std::min<uint64_t>(riff.remaining(), kMaxDispBytes)), '\0');
            if (!riff.Read(text.data(), text.size())) continue;
            text.resize(std::strlen(text.c_str()));
            if (!text.empty()) song->setTextAnsi(kInfoName, text.c_str(), int(text.size()));
        } else if (id == FourCC("LIST") && song) {
            // A walker over this chunk alone, so the chunks behind it stay
            // in the walk.
            ChunkReader list(riff, true);
            if (list.formType() != FourCC("INFO")) continue;
            MemChunkReader info = list.ReadRest();
            ReadInfoChunks(info, *song);
        }
    }
    if (!song) {
        SetLastError("No SMF data");
        return 0;
    }
    return 1;
}

int WriteRmi(CollectionItem& item, FileObject& file, const WriteOptions&) {
    Song* song = ResolveSong(item);
    if (!song) {
        SetLastError("The file format can not save this item");
        return 0;
    }
    std::vector<uint8_t> smf;
    if (!BuildSmf(*song, smf) || smf.size() > 0xFFFFFF00u) {
        SetLastError(smf.empty() ? "Out of memory" : "The file format can not save this item");
        return 0;
    }
    MemChunkWriter riff(false, true, smf.size() + 512, FourCC("RIFF"), FourCC("RMID"));
    riff.AddChunk(FourCC("data"), smf.data(), uint32_t(smf.size()));
    std::vector<uint8_t>().swap(smf);
    MemChunkWriter info(false, true, 256, FourCC("LIST"), FourCC("INFO"));
    if (!AddInfoChunks(info, *song, true) || !riff.AddChild(info) || !riff.ok()) {
        SetLastError("Out of memory");
        return 0;
    }
    if (!riff.WriteTo(file)) {
        SetLastError("Writing to file failed");
        return 0;
    }
    return 1;
}

namespace {

// One bind per row carries all of its routines; a refused bind is a
// programming error.
void Bind(const char16_t* extension, const char16_t* description, const FormatRoutines& routines) {
    if (bindFormat(extension, description, routines)) return;
    std::fprintf(stderr, "vaxel: song formats: cannot bind the routines of %s \"%s\"\n",
                 WideToUtf8(extension).c_str(), WideToUtf8(description).c_str());
    std::abort();
}

} // namespace

void songs::InstallMidiFormats() {
    Bind(u"mid", u"Standard MIDI file (SMF)", {&ReadMid, &WriteMid, &DetectMid, nullptr});
    Bind(u"rmi", u"RIFF-MIDI (DLS optional)", {&ReadRmi, nullptr, &DetectRmi, nullptr});
    Bind(u"rmi", u"RIFF-MIDI w no instruments", {nullptr, &WriteRmi, nullptr, nullptr});
}

} // namespace vaxel
