// MPEG-1, MPEG-2 and MPEG-2.5 audio, layers I to III (mp1, mp2, mp3, mpa, the
// audio mpg row and the Musifile layer II row), and MPEG system streams
// (mpeg and the system mpg row).
//
// An audio stream has no magic: it is a run of frames, each with a 32-bit
// header (ISO/IEC 11172-3 section 2.4.2.3): 11 sync bits, version, layer,
// protection, bit-rate index, sampling-rate index, padding, private, mode,
// mode extension, copyright, original, emphasis. Detection parses the header
// where the audio starts (behind ID3v2 tags and zero padding), rejects the
// reserved values, computes the frame length from bit rate and sampling rate
// and checks that the next frame starts there with the same version, layer
// and rate. Free-format streams (bit-rate index 0) get their frame length
// from the distance to the next matching header. A tag bigger than the buffer
// hides the stream: then the tag alone is a weaker sign, equal for every MPEG
// row, and the extension decides.
//
// A system stream starts with a pack header: 00 00 01 BA and the marker bits
// of MPEG-1 ('0010' prefix) or MPEG-2 ('01' prefix) pack headers.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

// kbit/s by bit-rate index 1..14, for MPEG-1 layers I, II, III and for the
// lower sampling rates (MPEG-2/2.5) layer I and layers II/III.
constexpr uint16_t kBitRates[5][15] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
};
constexpr uint32_t kMpeg1Rates[3] = {44100, 48000, 32000};

// Sync, version, layer and sampling rate: what every frame of a stream shares.
constexpr uint32_t kStreamBits = 0xFFFE0C00;
// The largest free-format frame: layer III at 640 kbit/s and 8 kHz is 2880 bytes.
constexpr size_t kMaxFreeFrame = 4096;

struct FrameHeader {
    uint32_t word = 0;
    int layer = 0;      // 1, 2 or 3
    size_t length = 0;  // bytes, 0 for free format
    size_t padding = 0; // bytes the padding bit adds
};

bool ParseHeader(uint32_t h, FrameHeader& f) {
    if ((h & 0xFFE00000) != 0xFFE00000) return false;
    const uint32_t version = h >> 19 & 3;   // 0 MPEG-2.5, 1 reserved, 2 MPEG-2, 3 MPEG-1
    const uint32_t layerBits = h >> 17 & 3; // 0 reserved, 1 III, 2 II, 3 I
    const uint32_t rateIndex = h >> 12 & 15;
    const uint32_t srIndex = h >> 10 & 3;
    if (version == 1 || layerBits == 0 || rateIndex == 15 || srIndex == 3 || (h & 3) == 2) return false;
    f.word = h;
    f.layer = int(4 - layerBits);
    uint32_t rate = kMpeg1Rates[srIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    int table = version == 3 ? f.layer - 1 : (f.layer == 1 ? 3 : 4);
    uint32_t kbps = kBitRates[table][rateIndex];
    bool pad = h >> 9 & 1;
    f.padding = f.layer == 1 ? 4 : 1;
    if (kbps == 0) {
        f.length = 0;
    } else if (f.layer == 1) {
        f.length = (12 * kbps * 1000 / rate + pad) * 4;
    } else {
        // Layer III at the lower rates carries half the samples a frame.
        uint32_t factor = f.layer == 3 && version != 3 ? 72 : 144;
        f.length = factor * kbps * 1000 / rate + pad;
    }
    return true;
}

bool HeaderAt(const probe::Bytes& b, size_t at, FrameHeader& f) {
    return b.has(at, 4) && ParseHeader(b.be32(at), f);
}

// What may follow the last frame of a stream.
bool EndTagAt(const probe::Bytes& b, size_t at) {
    return b.equals(at, "TAG") || b.equals(at, "APETAGEX") || b.equals(at, "LYRICSBEGIN") ||
           b.equals(at, "ID3");
}

enum class Chain { Broken, Unseen, Verified };

bool SameStream(const FrameHeader& a, const FrameHeader& b) {
    return (a.word & kStreamBits) == (b.word & kStreamBits);
}

// Free format: the next header of the same stream gives the frame length;
// the frame after that must follow at the same length, give or take the
// padding bits of the two frames.
Chain FollowFreeFormat(const probe::Bytes& b, uint64_t fileSize, size_t at, const FrameHeader& first) {
    FrameHeader second;
    size_t p = at + 8;
    for (; b.has(p, 4) && p < at + kMaxFreeFrame; ++p)
        if (b.data[p] == 0xFF && HeaderAt(b, p, second) && SameStream(first, second) &&
            (second.word >> 12 & 15) == 0)
            break;
    if (!b.has(p, 4) || p >= fileSize) return Chain::Unseen;
    if (p >= at + kMaxFreeFrame) return Chain::Broken;
    size_t unpadded = p - at - (first.word >> 9 & 1 ? first.padding : 0);
    size_t third = p + unpadded + (second.word >> 9 & 1 ? second.padding : 0);
    if (third >= fileSize || !b.has(third, 4)) return Chain::Verified;
    FrameHeader f;
    if (HeaderAt(b, third, f) && SameStream(first, f)) return Chain::Verified;
    return EndTagAt(b, third) ? Chain::Verified : Chain::Broken;
}

// Follows the stream from the frame at `at`: Verified when the next frame is
// there and matches, Unseen when the buffer or the file ends first (or a tag
// follows), Broken when something else is there.
Chain FollowStream(const probe::Bytes& b, uint64_t fileSize, size_t at, const FrameHeader& first) {
    if (first.length == 0) return FollowFreeFormat(b, fileSize, at, first);
    size_t next = at + first.length;
    if (next >= fileSize || !b.has(next, 4)) return Chain::Unseen;
    FrameHeader f;
    if (HeaderAt(b, next, f) && SameStream(first, f)) return Chain::Verified;
    return EndTagAt(b, next) ? Chain::Unseen : Chain::Broken;
}

struct MpegGuess {
    int score = audio::kNo;
    int layer = 0; // 0 when the stream could not be seen
};

MpegGuess GuessMpegAudio(const uint8_t* buffer, size_t bytes, uint64_t fileSize) {
    probe::Bytes b{buffer, bytes};
    audio::AudioStart start = audio::SkipId3v2(b);
    if (start.hidden) return {audio::kWeakMagic, 0};
    size_t at = start.offset;
    while (at < b.size && b.data[at] == 0) ++at;

    FrameHeader f;
    if (HeaderAt(b, at, f)) {
        switch (FollowStream(b, fileSize, at, f)) {
        case Chain::Verified:
            return {audio::kMagic, f.layer};
        case Chain::Unseen:
            return {audio::kWeakMagic, f.layer};
        case Chain::Broken:
            return {audio::kPlausible, f.layer};
        }
    }
    // Junk before the first frame: a stream found behind it is only
    // plausible, so that a container holding MPEG frames (a WAV of format
    // tag 85, say) keeps its own, stronger row.
    constexpr size_t kJunkWindow = 4096;
    for (size_t p = at + 1; p < at + kJunkWindow && b.has(p, 4); ++p) {
        if (b.data[p] != 0xFF || !HeaderAt(b, p, f) || f.length == 0) continue;
        FrameHeader second;
        size_t q = p + f.length;
        if (HeaderAt(b, q, second) && SameStream(f, second) && second.length &&
            FollowStream(b, fileSize, q, second) == Chain::Verified)
            return {audio::kPlausible, f.layer};
    }
    return {};
}

// A row of one layer: the stream's own layer scores in full; a stream of
// another layer stays plausible, so that the extension wins only over a
// stream that could not be confirmed.
int ScoreForLayer(const MpegGuess& g, int layer) {
    if (g.layer == 0 || g.layer == layer) return g.score;
    return g.score < audio::kPlausible ? g.score : audio::kPlausible;
}

int DetectMp1(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    return ScoreForLayer(GuessMpegAudio(buffer, bytes, fileSize), 1);
}

int DetectMp2(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    return ScoreForLayer(GuessMpegAudio(buffer, bytes, fileSize), 2);
}

int DetectMp3(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    return ScoreForLayer(GuessMpegAudio(buffer, bytes, fileSize), 3);
}

// "MPEG audio" rows take any layer, but below the layer's own row.
int DetectMpegAudio(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    MpegGuess g = GuessMpegAudio(buffer, bytes, fileSize);
    return g.score < audio::kWeakMagic ? g.score : audio::kWeakMagic;
}

// Musifile: layer II frames under the mus extension, which the Doom music
// row shares (that one has a magic number of its own).
int DetectMusifile(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    MpegGuess g = GuessMpegAudio(buffer, bytes, fileSize);
    if (g.layer != 0 && g.layer != 2) return audio::kNo;
    return g.score < audio::kWeakMagic ? g.score : audio::kWeakMagic;
}

int DetectMpegSystem(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(0, 14) || b.be32(0) != 0x000001BA) return audio::kNo;
    const uint8_t* p = buffer;
    // MPEG-1 pack: '0010', SCR with marker bits, mux rate with marker bits.
    if ((p[4] & 0xF1) == 0x21 && (p[6] & 1) && (p[8] & 1) && (p[9] & 0x80) && (p[11] & 1))
        return audio::kMagic;
    // MPEG-2 pack: '01', SCR and extension with marker bits, mux rate, two markers.
    if ((p[4] & 0xC4) == 0x44 && (p[6] & 4) && (p[8] & 4) && (p[9] & 1) && (p[12] & 3) == 3)
        return audio::kMagic;
    return audio::kWeakMagic;
}

} // namespace

void InstallMpegFormats() {
    audio::BindDetector(u"mp1", u"MPEG layer I", &DetectMp1);
    audio::BindDetector(u"mp2", u"MPEG layer II", &DetectMp2);
    audio::BindDetector(u"mp3", u"MPEG layer III", &DetectMp3);
    audio::BindDetector(u"mpa", u"MPEG audio", &DetectMpegAudio);
    audio::BindDetector(u"mpg", u"MPEG audio", &DetectMpegAudio);
    audio::BindDetector(u"mpeg", u"MPEG system stream", &DetectMpegSystem);
    audio::BindDetector(u"mpg", u"MPEG system stream", &DetectMpegSystem);
    audio::BindDetector(u"mus", u"Musifile MPEG layer II", &DetectMusifile);
}

} // namespace vaxel
