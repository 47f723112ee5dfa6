// libFuzzer target for Standard MIDI files and their RIFF wrapper: the input,
// held in a memfd, is read as SMF and as RMID through the real readers; every
// song that comes out is timed, written back, and read again, which must give
// the same tracks.
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "fileio/file_object.h"
#include "fileio/midi_events.h"
#include "formats/install.h"
#include "formats/songs/smf.h"
#include "model/collection.h"
#include "model/song.h"

using namespace vaxel;

namespace {

void Check(Collection& collection) {
    for (Song* song : ItemsOf<Song>(collection)) {
        (void)SongLengthSeconds(*song);
        const TempoMap map(*song);
        for (uint32_t i = 0; i < song->ids.size(); ++i) {
            Track* t = song->track(i);
            if (!t) continue;
            if (t->eventCount != CountTrackEvents(t->data(), t->dataLength())) std::abort();
            TimedEventReader reader(*t, map);
            TimedEvent e;
            uint64_t last = 0;
            while (reader.next(e)) {
                if (e.tick < last || e.end > t->data() + t->dataLength()) std::abort();
                last = e.tick;
            }
            (void)TrackChannels(*t);
        }
        std::vector<uint8_t> smf;
        if (!BuildSmf(*song, smf)) continue;
        // What we write reads back as the same tracks.
        int fd = memfd_create("fuzz-smf-out", 0);
        if (fd < 0) continue;
        if (::write(fd, smf.data(), smf.size()) == ssize_t(smf.size())) {
            FileObject file(fd);
            Collection again;
            Song* back = ParseSmf(again, file, 0, 0);
            if (!back) std::abort();
            uint32_t kept = 0;
            for (uint32_t i = 0; i < song->ids.size(); ++i)
                if (Track* t = song->track(i); t && t->dataLength() >= 5) {
                    Track* u = back->track(kept++);
                    if (!u || u->bytes() != t->bytes()) std::abort();
                }
        }
        ::close(fd);
    }
}

void Read(FileObject& file, int (*reader)(Collection&, FileObject&, uint32_t)) {
    Collection collection;
    file.Seek(0);
    if (!reader(collection, file, 0)) {
        if (collection.count(ItemType::Song) != 0) std::abort(); // a failed read leaves nothing
        return;
    }
    Check(collection);
    collection.update(-1, true);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool installed = (InstallFormats(), true);
    (void)installed;
    int fd = memfd_create("fuzz-smf", 0);
    if (fd < 0) return 0;
    if (size && ::write(fd, data, size) != ssize_t(size)) {
        ::close(fd);
        return 0;
    }
    {
        FileObject file(fd);
        Read(file, &ReadMid);
        Read(file, &ReadRmi);
    }
    ::close(fd);
    return 0;
}
