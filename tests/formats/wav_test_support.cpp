#include "formats/wav_test_support.h"

#include <cstring>
#include <sndfile.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "formats/install.h"
#include "model/last_error.h"

namespace vaxel::wavtest {
namespace {

void Decode(Loaded& l, FileObject& file) {
    Waveform& w = *l.wave;
    if (!w.decodeRoutine || w.frames == 0) return;
    if (!file.Seek(w.sourceOffset) || !w.decodeRoutine(w, file, false)) {
        l.error = LastErrorUtf8();
        return;
    }
    const SampleBlock* b = w.samples();
    if (b) l.samples.assign(b->data, b->data + b->sampleCount());
}

Loaded Finish(std::unique_ptr<Collection> c, int result, FileObject& file, bool decode) {
    Loaded l;
    l.collection = std::move(c);
    if (!result) {
        l.error = LastErrorUtf8();
        return l;
    }
    l.wave = static_cast<Waveform*>(l.collection->first(ItemType::Waveform));
    if (!l.wave) {
        l.error = "no wave";
        return l;
    }
    if (decode) Decode(l, file);
    return l;
}

} // namespace

Loaded Load(const std::filesystem::path& path, ReadRoutine reader) {
    InstallFormats();
    auto c = std::make_unique<Collection>();
    c->setName(u"collection");
    FileObject file;
    if (!file.Open(path, FileObject::kRead)) {
        Loaded l;
        l.error = "cannot open " + path.string();
        return l;
    }
    ClearLastError();
    int result = reader(*c, file, 0);
    return Finish(std::move(c), result, file, true);
}

Loaded LoadBytes(const std::vector<uint8_t>& bytes, ReadRoutine reader, bool decode) {
    InstallFormats();
    int fd = memfd_create("wav-test", 0);
    if (!bytes.empty()) {
        EXPECT_EQ(::write(fd, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    Loaded l;
    {
        FileObject file(fd);
        file.Seek(0);
        auto c = std::make_unique<Collection>();
        c->setName(u"collection");
        ClearLastError();
        int result = reader(*c, file, 0);
        l = Finish(std::move(c), result, file, decode);
    }
    ::close(fd);
    return l;
}

SndFile ReadWithSndfile(const std::filesystem::path& path) {
    SndFile s;
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) {
        s.error = sf_strerror(nullptr);
        return s;
    }
    s.ok = true;
    s.channels = info.channels;
    s.rate = info.samplerate;
    s.frames = info.frames;
    s.format = info.format;
    s.samples.resize(size_t(info.frames) * info.channels);
    sf_count_t got = sf_readf_float(f, s.samples.data(), info.frames);
    s.samples.resize(size_t(got) * info.channels);
    SF_INSTRUMENT inst{};
    if (sf_command(f, SFC_GET_INSTRUMENT, &inst, sizeof inst) == SF_TRUE) {
        s.hasInstrument = true;
        s.baseNote = inst.basenote;
        s.detune = inst.detune;
        s.loopCount = inst.loop_count;
        for (int i = 0; i < inst.loop_count && i < 16; ++i)
            s.loops.push_back(
                {inst.loops[i].mode, inst.loops[i].start, inst.loops[i].end, inst.loops[i].count});
    }
    uint32_t cues = 0;
    if (sf_command(f, SFC_GET_CUE_COUNT, &cues, sizeof cues) == SF_TRUE && cues > 0) {
        auto all = std::make_unique<SF_CUES>();
        if (sf_command(f, SFC_GET_CUE, all.get(), sizeof(SF_CUES)) == SF_TRUE)
            for (uint32_t i = 0; i < all->cue_count && i < 100; ++i)
                s.cuePositions.push_back(all->cue_points[i].position);
    }
    sf_close(f);
    return s;
}

std::vector<float> FirstChannels(const std::vector<float>& samples, int channels, int keep) {
    if (channels <= keep) return samples;
    std::vector<float> out;
    for (size_t i = 0; i + channels <= samples.size(); i += channels)
        out.insert(out.end(), samples.begin() + ptrdiff_t(i), samples.begin() + ptrdiff_t(i + keep));
    return out;
}

std::string Save(CollectionItem& item, const std::filesystem::path& path, WriteRoutine writer,
                 uint32_t codingMask, uint32_t param) {
    FileObject file;
    if (!file.Open(path, FileObject::kCreate)) return "cannot create " + path.string();
    WriteOptions options;
    options.codingMask = codingMask;
    options.param = param;
    ClearLastError();
    if (!writer(item, file, options)) return LastErrorUtf8().empty() ? "failed" : LastErrorUtf8();
    return "";
}

void Put16(std::vector<uint8_t>& out, uint16_t v) {
    out.push_back(uint8_t(v));
    out.push_back(uint8_t(v >> 8));
}

void Put32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(uint8_t(v >> (8 * i)));
}

std::vector<uint8_t> Chunk(const char* id, const std::vector<uint8_t>& body) {
    std::vector<uint8_t> out(id, id + 4);
    Put32(out, uint32_t(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    if (body.size() & 1) out.push_back(0);
    return out;
}

std::vector<uint8_t> Riff(const std::vector<std::vector<uint8_t>>& chunks, const char* form) {
    std::vector<uint8_t> body{'W', 'A', 'V', 'E'};
    for (const auto& c : chunks) body.insert(body.end(), c.begin(), c.end());
    std::vector<uint8_t> out(form, form + 4);
    Put32(out, uint32_t(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

std::vector<uint8_t> FmtBody(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits,
                             uint16_t blockAlign) {
    std::vector<uint8_t> out;
    Put16(out, tag);
    Put16(out, channels);
    Put32(out, rate);
    Put32(out, rate * blockAlign);
    Put16(out, blockAlign);
    Put16(out, bits);
    return out;
}

} // namespace vaxel::wavtest
