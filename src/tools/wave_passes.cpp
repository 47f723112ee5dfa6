// Collection-wide wave passes: dual mono <-> stereo, duplicate and unused
// waves. They change the instruments along with the waves, so that what
// plays stays the same: a split stereo wave becomes two hard-panned regions
// in twin layers, and a merge folds such twins back into one region.
//
// Regions refer to their wave by id and may name one of its markers as play
// section or loop. When a region moves to another wave (a duplicate's kept
// copy, the stereo wave of a pair), those markers move with it: the equal
// marker of the new wave is used, or a copy is added to it.
#include "tools/wave_passes.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "fileio/sample_coding.h"
#include "fileio/undo_store.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/param_table.h"
#include "model/settings.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"
#include "tools/wave_ops.h"

namespace vaxel {
namespace {

using IdSet = std::unordered_set<ItemId, ItemIdHash>;

// ---------------------------------------------------------------- helpers

Region* RegionById(const Collection& c, ItemId id) {
    return TypeOf(id) == ItemType::Region ? static_cast<Region*>(c.find(id)) : nullptr;
}
Layer* LayerById(const Collection& c, ItemId id) {
    return TypeOf(id) == ItemType::Layer ? static_cast<Layer*>(c.find(id)) : nullptr;
}

// The live regions of an instrument, layer by layer.
std::vector<Region*> RegionsOf(const Instrument& instrument) {
    const Collection& c = instrument.collection();
    std::vector<Region*> out;
    for (ItemId layerId : instrument.ids)
        if (Layer* layer = LayerById(c, layerId))
            for (ItemId regionId : layer->ids)
                if (Region* r = RegionById(c, regionId)) out.push_back(r);
    return out;
}

// Every region and synthesis model that refers to a wave, by the wave's id.
using UserMap = std::unordered_map<ItemId, std::vector<CollectionItem*>, ItemIdHash>;
UserMap WaveUsers(const Collection& c) {
    UserMap users;
    for (ItemType t : {ItemType::Region, ItemType::SynthesisModel})
        for (CollectionItem* item = c.first(t); item; item = c.next(item, t))
            for (ItemId id : item->ids) {
                if (TypeOf(id) != ItemType::Waveform) continue;
                std::vector<CollectionItem*>& list = users[id];
                if (list.empty() || list.back() != item) list.push_back(item);
            }
    return users;
}

void Repoint(CollectionItem& item, ItemId from, ItemId to) {
    for (ItemId& entry : item.ids)
        if (entry == from) entry = to;
}

bool SameMarker(const LoopRecord& a, const LoopRecord& b) {
    return a.kind == b.kind && a.start == b.start && a.end == b.end && a.startFraction == b.startFraction &&
           a.endFraction == b.endFraction && a.loopType == b.loopType && a.loopCount == b.loopCount;
}

// The id, on `to`, of the marker that markerId names on `from`: the same id
// when it means the same there, else an equal marker, else a copy added to
// `to`. 0 (the whole wave, no loop) when `to` can hold no more markers.
uint32_t MapMarker(const Waveform& from, Waveform& to, uint32_t markerId) {
    const LoopRecord* record = from.findMarker(markerId);
    if (!record) return markerId; // a stale reference; the post-load pass clears it
    if (const LoopRecord* same = to.findMarker(markerId); same && SameMarker(*same, *record)) return markerId;
    for (const LoopRecord& m : to.markers)
        if (SameMarker(m, *record)) return m.markerId;
    if (to.markers.size() >= kMaxMarkers) return 0;
    LoopRecord copy = *record;
    copy.markerId = NextMarkerId();
    to.markers.push_back(copy);
    return copy.markerId;
}

// Points a region that played `from` at `to`, with its play section and loop.
void MoveRegion(Region& region, const Waveform& from, Waveform& to) {
    if (&from != &to) {
        if (region.playSection) region.playSection = MapMarker(from, to, region.playSection);
        if (region.loopSection == kMainLoop) {
            // The main loop of each wave: keep what the region heard.
            const LoopRecord* heard = from.mainLoop();
            const LoopRecord* there = to.mainLoop();
            if (heard && !(there && SameMarker(*heard, *there)))
                region.loopSection = MapMarker(from, to, heard->markerId);
            else if (!heard && there && there->loopType != 0)
                region.loopSection = 0;
        } else if (region.loopSection != 0) {
            region.loopSection = MapMarker(from, to, region.loopSection);
        }
    }
    Repoint(region, from.id, to.id);
}

void MoveUser(CollectionItem& user, const Waveform& from, Waveform& to) {
    if (user.type() == ItemType::Region)
        MoveRegion(static_cast<Region&>(user), from, to);
    else
        Repoint(user, from.id, to.id);
}

float PanOf(const Region& r) {
    return r.getValue(kParamPan);
}

// Stores a pan on a region; a value equal to what the layer gives is left to
// the layer, so that a merge after a split leaves the region as it was.
void SetPan(Region& r, float pan) {
    const float inherited = r.defaultValue(kParamPan);
    if (std::fabs(pan - inherited) < 1e-6f)
        r.clearValue(kParamPan, inherited);
    else
        r.setValue(kParamPan, pan);
}

uint64_t RectangleOf(const Region& r) {
    const TriggerBlock& t = r.trigger;
    return uint64_t(t.keyLow) | uint64_t(t.keyHigh) << 8 | uint64_t(t.velocityLow) << 16 |
           uint64_t(t.velocityHigh) << 24;
}

// An undo step for a pass over the whole collection; 0 without a store.
// failed is set when a store is installed but could not take the step.
uint32_t PushWhole(const char16_t* label, bool& failed) {
    failed = false;
    UndoStore* store = UndoStore::Installed();
    if (!store) return 0;
    const uint32_t step = store->pushWholeState(label);
    failed = step == 0;
    return step;
}

void DropIfUnchanged(uint32_t step, int result) {
    if (step && result == 0)
        if (UndoStore* store = UndoStore::Installed()) store->dropStep(step);
}

int UnderWholeStep(Collection& c, const char16_t* label, int (*pass)(Collection&)) {
    bool failed;
    const uint32_t step = PushWhole(label, failed);
    if (failed) return -1;
    const int result = pass(c);
    DropIfUnchanged(step, result);
    return result;
}

// ---------------------------------------------------------------- split

// The next phase group free in an instrument, 0 when all are taken.
uint16_t FreePhaseGroup(const Instrument* instrument) {
    if (!instrument) return 0;
    unsigned highest = 0;
    for (Region* r : RegionsOf(*instrument)) highest = std::max<unsigned>(highest, r->phaseGroup);
    return highest < 65535 ? uint16_t(highest + 1) : 0;
}

void CollectScopeWaves(Collection& c, CollectionItem& scope, IdSet& seen, std::vector<Waveform*>& out) {
    auto take = [&](Region& r) {
        Waveform* w = r.waveform();
        if (w && w->channels == 2 && seen.insert(w->id).second) out.push_back(w);
    };
    switch (scope.type()) {
    case ItemType::Waveform:
        if (auto& w = static_cast<Waveform&>(scope); w.channels == 2 && seen.insert(w.id).second)
            out.push_back(&w);
        break;
    case ItemType::Region:
        take(static_cast<Region&>(scope));
        break;
    case ItemType::Layer:
        for (ItemId id : scope.ids)
            if (Region* r = RegionById(c, id)) take(*r);
        break;
    case ItemType::Instrument:
        for (Region* r : RegionsOf(static_cast<Instrument&>(scope))) take(*r);
        break;
    default:
        break;
    }
}

} // namespace

int SplitStereoWaves(Collection& c, CollectionItem* scope) {
    std::vector<Waveform*> stereo;
    if (scope && scope->type() != ItemType::Collection) {
        IdSet seen;
        CollectScopeWaves(c, *scope, seen, stereo);
    } else {
        for (Waveform* w : ItemsOf<Waveform>(c))
            if (w->channels == 2) stereo.push_back(w);
    }

    // Each split wave keeps its id as the left half; the right half is new.
    std::unordered_map<ItemId, Waveform*, ItemIdHash> rightOf;
    bool failed = false;
    for (Waveform* w : stereo) {
        if (w->frames == 0) continue;
        Waveform* right = nullptr;
        const OpResult result = ToMono(*w, 3, &right);
        if (result == kOpFailed) {
            failed = true;
            break;
        }
        if (result == kOpChanged && right) rightOf[w->id] = right;
    }

    // The regions on split waves get twins on the right halves, in a twin of
    // their layer placed right behind it, even when the split stopped early:
    // whatever was split must still play both sides.
    if (!rightOf.empty()) {
        std::vector<Layer*> layers;
        for (Layer* layer : ItemsOf<Layer>(c)) layers.push_back(layer);
        std::unordered_map<ItemId, uint16_t, ItemIdHash> nextGroup;
        for (Layer* layer : layers) {
            Instrument* instrument = layer->instrument();
            if (!instrument) continue; // a stray layer plays nothing
            std::vector<Region*> split;
            for (ItemId id : layer->ids)
                if (Region* r = RegionById(c, id); r && r->waveform() && rightOf.count(r->waveform()->id))
                    split.push_back(r);
            if (split.empty()) continue;

            auto* twin = new (std::nothrow) Layer(c, *layer);
            if (!twin) {
                SetLastError("Out of memory");
                return -1;
            }
            // The clone copied every region; only the split ones are wanted,
            // so start it empty and add copies of those.
            const IdList copied = twin->ids;
            twin->ids.clear();
            for (ItemId id : copied) delete c.find(id);
            twin->parentId = instrument->id;
            instrument->ids.insert(uint32_t(instrument->ids.indexOf(layer->id) + 1), twin->id);

            auto group = nextGroup.find(instrument->id);
            if (group == nextGroup.end())
                group = nextGroup.emplace(instrument->id, FreePhaseGroup(instrument)).first;
            for (Region* r : split) {
                Waveform* left = r->waveform();
                auto* copy = new (std::nothrow) Region(c, *r);
                if (!copy) {
                    SetLastError("Out of memory");
                    return -1;
                }
                twin->addChild(*copy);
                Repoint(*copy, left->id, rightOf[left->id]->id);
                r->setValue(kParamPan, -1.0f);
                copy->setValue(kParamPan, 1.0f);
                if (r->phaseGroup == 0 && group->second != 0) {
                    r->phaseGroup = copy->phaseGroup = group->second;
                    r->phaseMaster = 1;
                    copy->phaseMaster = 0;
                    group->second = group->second < 65535 ? uint16_t(group->second + 1) : 0;
                }
            }
            instrument->regionsChanged();
        }
    }
    return failed ? -1 : int(rightOf.size());
}

// ---------------------------------------------------------------- merge

namespace {

// The left/right marks of dual mono names, longest first so that " -L" wins
// over "-L" and the base comes out without its separator.
struct SideMark {
    std::u16string_view left, right;
};
constexpr SideMark kSideMarks[] = {
    {u"Left", u"Right"}, {u" -L", u" -R"}, {u"(L)", u"(R)"}, {u"-L", u"-R"}, {u"_L", u"_R"}, {u" L", u" R"},
};

bool EndsWithFolded(std::u16string_view name, std::u16string_view tail) {
    return name.size() > tail.size() && EqualsIgnoreCase(name.substr(name.size() - tail.size()), tail);
}

// The side a name's mark gives (1 left, 2 right, 0 none), the mark's index
// and the name without it (trailing blanks and separators dropped too).
int SideOfName(std::u16string_view name, int& style, std::u16string& base) {
    for (int i = 0; i < int(std::size(kSideMarks)); ++i) {
        for (int side = 1; side <= 2; ++side) {
            const std::u16string_view mark = side == 1 ? kSideMarks[i].left : kSideMarks[i].right;
            if (!EndsWithFolded(name, mark)) continue;
            std::u16string_view rest = name.substr(0, name.size() - mark.size());
            while (!rest.empty() && (rest.back() == u' ' || rest.back() == u'-' || rest.back() == u'_'))
                rest.remove_suffix(1);
            if (rest.empty()) continue;
            style = i;
            base.assign(rest);
            return side;
        }
    }
    return 0;
}

std::u16string FoldedKey(std::u16string_view text, int style) {
    std::u16string key;
    key.reserve(text.size() + 2);
    for (char16_t ch : text) key += FoldCase(ch);
    key += u'\0';
    key += char16_t(u'0' + style);
    return key;
}

bool CanPair(const Waveform& a, const Waveform& b) {
    return &a != &b && a.channels == 1 && b.channels == 1 && a.sampleRate == b.sampleRate &&
           a.frames == b.frames && a.frames > 0;
}

// The first index of the run of equal rectangles that index a is in.
size_t GroupStart(const std::vector<Region*>& sorted, size_t a) {
    const uint64_t rectangle = RectangleOf(*sorted[a]);
    while (a > 0 && RectangleOf(*sorted[a - 1]) == rectangle) --a;
    return a;
}

struct WavePair {
    Waveform* left;
    Waveform* right;
    std::u16string name;
    bool byRegions;
};

struct RegionPair {
    Region* left;
    Region* right;
    size_t pair;
    bool rightFirst; // the right one comes first in the instrument
};

// The name of the stereo wave of a pair: the left name without its mark,
// else what the two names share at their start, else the left name.
std::u16string StereoName(const Waveform& left, const Waveform& right) {
    int style;
    std::u16string base;
    if (SideOfName(left.name(), style, base) == 1) return base;
    const std::u16string_view a = left.name();
    const std::u16string_view b = right.name();
    size_t n = 0;
    while (n < a.size() && n < b.size() && a[n] == b[n]) ++n;
    while (n > 0 && (a[n - 1] == u' ' || a[n - 1] == u'-' || a[n - 1] == u'_' || a[n - 1] == u'(')) --n;
    return n ? std::u16string(a.substr(0, n)) : std::u16string(a);
}

// Whether two mono waves that are still only on disk can become one
// stereo wave without being read: both plain codings of the generic
// decoder, the same coding and length, in the same file.
bool CanJoinOnDisk(const Waveform& left, const Waveform& right) {
    if (left.hasSamples() || right.hasSamples()) return false;
    if (left.decodeRoutine != &GenericDecode || right.decodeRoutine != &GenericDecode) return false;
    if (left.channels != 1 || right.channels != 1 || left.frames != right.frames) return false;
    if (left.dataCodingWord != right.dataCodingWord || (left.dataCodingWord & kCodingSplitStereo))
        return false;
    if (left.readerWide != 0 || right.readerWide != 0 || right.sourceOffset == 0) return false;
    const char16_t* a = left.text(kInfoSourceFile);
    const char16_t* b = right.text(kInfoSourceFile);
    return a && b && *a && std::u16string_view(a) == std::u16string_view(b);
}

} // namespace

int MergeDualMonoWaves(Collection& c) {
    std::vector<WavePair> pairs;
    std::unordered_map<ItemId, size_t, ItemIdHash> pairOf;
    auto addPair = [&](Waveform* left, Waveform* right, std::u16string name, bool byRegions) {
        pairOf[left->id] = pairs.size();
        pairOf[right->id] = pairs.size();
        pairs.push_back({left, right, std::move(name), byRegions});
    };

    std::vector<Instrument*> instruments;
    for (Instrument* instrument : ItemsOf<Instrument>(c)) instruments.push_back(instrument);

    // Pairs that instruments play: two regions on one rectangle, on two mono
    // waves, panned to opposite sides.
    std::vector<std::vector<Region*>> regionsOf(instruments.size());
    for (size_t i = 0; i < instruments.size(); ++i) {
        std::vector<Region*>& regions = regionsOf[i];
        for (Region* r : RegionsOf(*instruments[i]))
            if (Waveform* w = r->waveform(); w && w->channels == 1) regions.push_back(r);
        // By rectangle, so that partners are neighbours; a stable sort keeps
        // the layer order within a rectangle, which decides "the first".
        std::stable_sort(regions.begin(), regions.end(),
                         [](const Region* x, const Region* y) { return RectangleOf(*x) < RectangleOf(*y); });
        for (size_t a = 0; a < regions.size(); ++a) {
            for (size_t b = GroupStart(regions, a); b < regions.size(); ++b) {
                if (RectangleOf(*regions[a]) != RectangleOf(*regions[b])) break;
                Region* ra = regions[a];
                Region* rb = regions[b];
                if (a == b || RectangleOf(*ra) != RectangleOf(*rb)) continue;
                if (!(PanOf(*ra) < 0.0f && PanOf(*rb) > 0.0f)) continue;
                Waveform* wl = ra->waveform();
                Waveform* wr = rb->waveform();
                if (!CanPair(*wl, *wr) || pairOf.count(wl->id) || pairOf.count(wr->id)) continue;
                addPair(wl, wr, StereoName(*wl, *wr), true);
            }
        }
    }

    // Pairs by name among the mono waves left over.
    std::unordered_map<std::u16string, std::vector<Waveform*>> rightsByKey;
    std::vector<std::pair<Waveform*, std::u16string>> lefts;
    for (Waveform* w : ItemsOf<Waveform>(c)) {
        if (w->channels != 1 || pairOf.count(w->id)) continue;
        int style;
        std::u16string base;
        const int side = SideOfName(w->name(), style, base);
        if (side == 1) lefts.emplace_back(w, FoldedKey(base, style));
        if (side == 2) rightsByKey[FoldedKey(base, style)].push_back(w);
    }
    for (auto& [left, key] : lefts) {
        auto found = rightsByKey.find(key);
        if (found == rightsByKey.end()) continue;
        for (Waveform*& right : found->second) {
            if (!right || !CanPair(*left, *right)) continue;
            addPair(left, right, StereoName(*left, *right), false);
            right = nullptr;
            break;
        }
    }
    if (pairs.empty()) return 0;

    // The region pairs: same instrument, same rectangle, the left wave of a
    // pair and its right wave, the left region panned no further right.
    std::vector<RegionPair> regionPairs;
    std::vector<std::vector<size_t>> regionPairsOf(pairs.size());
    for (size_t i = 0; i < instruments.size(); ++i) {
        std::vector<Region*>& regions = regionsOf[i];
        std::vector<bool> taken(regions.size(), false);
        for (size_t a = 0; a < regions.size(); ++a) {
            if (taken[a]) continue;
            auto pa = pairOf.find(regions[a]->waveform()->id);
            if (pa == pairOf.end() || pairs[pa->second].left != regions[a]->waveform()) continue;
            for (size_t b = GroupStart(regions, a); b < regions.size(); ++b) {
                if (RectangleOf(*regions[a]) != RectangleOf(*regions[b])) break;
                if (b == a || taken[b]) continue;
                if (regions[b]->waveform() != pairs[pa->second].right) continue;
                if (PanOf(*regions[a]) > PanOf(*regions[b])) continue;
                taken[a] = taken[b] = true;
                regionPairsOf[pa->second].push_back(regionPairs.size());
                regionPairs.push_back({regions[a], regions[b], pa->second, b < a});
                break;
            }
        }
    }

    UserMap users = WaveUsers(c);
    auto usersOf = [&](const Waveform* w) { return users.count(w->id) ? users[w->id].size() : size_t(0); };

    int count = 0;
    bool failed = false;
    IdSet touchedInstruments;
    for (size_t p = 0; p < pairs.size() && !failed; ++p) {
        WavePair& pair = pairs[p];
        const std::vector<size_t>& joined = regionPairsOf[p];
        const size_t aloneLeft = usersOf(pair.left) - joined.size();
        const size_t aloneRight = usersOf(pair.right) - joined.size();
        if (joined.empty() && (aloneLeft || aloneRight)) continue;

        // The left wave turns stereo itself unless something still plays it
        // alone; then the stereo wave is a new copy.
        Waveform* stereo = pair.left;
        if (aloneLeft) {
            stereo = new (std::nothrow) Waveform(c, *pair.left, true);
            if (!stereo || (pair.left->hasSamples() && !stereo->hasSamples())) {
                delete stereo;
                SetLastError("Out of memory");
                failed = true;
                break;
            }
        }
        if (CanJoinOnDisk(*stereo, *pair.right)) {
            // Both sides still on disk in the same coding: the stereo wave
            // reads its left half where the left wave lay and its right half
            // where the right one lay, when first used, so that opening a
            // bank of linked pairs reads no samples.
            stereo->channels = 2;
            stereo->dataCodingWord |= kCodingSplitStereo;
            stereo->readerWide = pair.right->sourceOffset;
            stereo->bitsPerSample = std::max(stereo->bitsPerSample, pair.right->bitsPerSample);
            stereo->rootKey = uint8_t((unsigned(stereo->rootKey) + pair.right->rootKey) >> 1);
        } else if (ToStereo(*stereo, 3, pair.right, false) == kOpFailed) {
            if (stereo != pair.left) delete stereo;
            failed = true;
            break;
        }
        stereo->setName(pair.name.c_str(), int(pair.name.size()));

        for (size_t index : joined) {
            RegionPair& rp = regionPairs[index];
            // The phase master stays, else the first of the two.
            const bool leftMaster = rp.left->phaseMaster != 0;
            const bool rightMaster = rp.right->phaseMaster != 0;
            const bool keepRight = leftMaster != rightMaster ? rightMaster : rp.rightFirst;
            Region* keep = keepRight ? rp.right : rp.left;
            Region* drop = keepRight ? rp.left : rp.right;
            Waveform* played = keepRight ? pair.right : pair.left;
            const float pan = (PanOf(*rp.left) + PanOf(*rp.right)) * 0.5f;
            const uint16_t group = keep->phaseGroup == drop->phaseGroup ? keep->phaseGroup : 0;
            Layer* dropLayer = drop->layer();
            Instrument* instrument = keep->layer() ? keep->layer()->instrument() : nullptr;
            delete drop;
            if (dropLayer && dropLayer->ids.empty()) delete dropLayer;
            MoveRegion(*keep, *played, *stereo);
            SetPan(*keep, pan);
            if (group && instrument) {
                bool shared = false;
                for (Region* other : RegionsOf(*instrument))
                    if (other != keep && other->phaseGroup == group) shared = true;
                if (!shared) keep->phaseGroup = 0, keep->phaseMaster = 0;
            }
            if (instrument) touchedInstruments.insert(instrument->id);
        }
        if (!aloneRight) delete pair.right;
        ++count;
    }
    for (ItemId id : touchedInstruments)
        if (CollectionItem* instrument = c.find(id)) static_cast<Instrument*>(instrument)->regionsChanged();
    return failed ? -1 : count;
}

// ---------------------------------------------------------------- duplicates

namespace {

// The name as duplicates compare it: case folded, and without the number
// that unique naming puts at the end ("Snare 1", "Snare2" -> "snare"); the
// octave of a note name stays ("Piano C4"). The samples decide the rest.
std::u16string DuplicateKey(std::u16string_view name) {
    size_t n = name.size();
    if (n > 0 && name[n - 1] >= u'0' && name[n - 1] <= u'9') {
        const char16_t before = n > 1 ? name[n - 2] : u' ';
        if (!(before == u'#' || (before >= u'A' && before <= u'G'))) {
            while (n > 0 && name[n - 1] >= u'0' && name[n - 1] <= u'9') --n;
            while (n > 0 && name[n - 1] == u' ') --n;
            // A name of digits alone counts up as a whole ("1", "2"): all
            // such names share the empty key.
        }
    }
    std::u16string key;
    key.reserve(n);
    for (size_t i = 0; i < n; ++i) key += FoldCase(name[i]);
    return key;
}

bool SameShape(const Waveform& a, const Waveform& b) {
    if (a.channels != b.channels || a.sampleRate != b.sampleRate || a.frames != b.frames ||
        a.rootKey != b.rootKey || a.fineTune != b.fineTune)
        return false;
    const LoopRecord* la = a.mainLoop();
    const LoopRecord* lb = b.mainLoop();
    if (!la || !lb) return !la == !lb;
    return SameMarker(*la, *lb);
}

bool SameSamples(Waveform& a, Waveform& b) {
    const float* pa = a.lockSamples();
    const float* pb = b.lockSamples();
    if (!pa || !pb) return false; // an unreadable wave is never taken for another
    const SampleBlock* ba = a.samples();
    const SampleBlock* bb = b.samples();
    if (ba == bb) return true;
    if (ba->frames != bb->frames || ba->channels != bb->channels) return false;
    const size_t n = ba->sampleCount();
    for (size_t i = 0; i < n; ++i)
        if (pa[i] != pb[i]) return false;
    return true;
}

struct Duplicate {
    Waveform* copy;
    Waveform* kept;
};

std::vector<Duplicate> FindDuplicates(Collection& c) {
    std::vector<Duplicate> out;
    std::unordered_map<std::u16string, std::vector<Waveform*>> keptByKey;
    for (Waveform* w : ItemsOf<Waveform>(c)) {
        if (w->frames == 0) continue;
        std::vector<Waveform*>& kept = keptByKey[DuplicateKey(w->name())];
        Waveform* match = nullptr;
        for (Waveform* k : kept)
            if (SameShape(*k, *w) && SameSamples(*k, *w)) {
                match = k;
                break;
            }
        if (match)
            out.push_back({w, match});
        else
            kept.push_back(w);
    }
    return out;
}

int RemoveFound(Collection& c, const std::vector<Duplicate>& found) {
    if (found.empty()) return 0;
    UserMap users = WaveUsers(c);
    for (const Duplicate& d : found) {
        if (auto it = users.find(d.copy->id); it != users.end())
            for (CollectionItem* user : it->second) MoveUser(*user, *d.copy, *d.kept);
        delete d.copy;
    }
    return int(found.size());
}

std::vector<Waveform*> UnusedWaves(const Collection& c) {
    const UserMap users = WaveUsers(c);
    std::vector<Waveform*> out;
    for (Waveform* w : ItemsOf<Waveform>(c))
        if (!users.count(w->id)) out.push_back(w);
    return out;
}

// An item step over the listed items, when a store is installed; false when
// the store could not take it (LastError says why).
bool PushItems(const std::vector<ItemId>& ids, const char16_t* label) {
    UndoStore* store = UndoStore::Installed();
    return !store || store->pushItemState(ids, label) != 0;
}

} // namespace

int RemoveDuplicateWaves(Collection& c) {
    return RemoveFound(c, FindDuplicates(c));
}

int RemoveUnusedWaves(Collection& c) {
    const std::vector<Waveform*> unused = UnusedWaves(c);
    for (Waveform* w : unused) delete w;
    return int(unused.size());
}

// ---------------------------------------------------------------- commands

int stereoToDualMono(Collection& c) {
    return UnderWholeStep(c, u"Interleaved stereo -> Dual mono",
                          [](Collection& collection) { return SplitStereoWaves(collection); });
}

int dualMonoToStereo(Collection& c) {
    return UnderWholeStep(c, u"Dual mono -> Interleaved stereo", MergeDualMonoWaves);
}

int deleteUnusedWaveforms(Collection& c) {
    const std::vector<Waveform*> unused = UnusedWaves(c);
    if (unused.empty()) return 0;
    std::vector<ItemId> ids;
    for (Waveform* w : unused) ids.push_back(w->id);
    if (!PushItems(ids, u"Delete unused waveforms")) return -1;
    for (Waveform* w : unused) delete w;
    return int(unused.size());
}

int deleteDuplicateWaveforms(Collection& c) {
    const std::vector<Duplicate> found = FindDuplicates(c);
    if (found.empty()) return 0;
    // The step holds the copies, the kept waves (they may gain markers) and
    // everything that gets pointed elsewhere.
    IdSet seen;
    std::vector<ItemId> ids;
    auto note = [&](ItemId id) {
        if (seen.insert(id).second) ids.push_back(id);
    };
    const UserMap users = WaveUsers(c);
    for (const Duplicate& d : found) {
        note(d.copy->id);
        note(d.kept->id);
        if (auto it = users.find(d.copy->id); it != users.end())
            for (CollectionItem* user : it->second) note(user->id);
    }
    if (!PushItems(ids, u"Delete duplicate waveforms")) return -1;
    return RemoveFound(c, found);
}

// ---------------------------------------------------------------- hooks

void RunStereoLoadOptions(Collection& c) {
    const LoadSettings& load = GlobalSettings().load;
    if (load.bAutoSplitStereo) {
        Status().status(u"Splitting stereo waveforms", kStatusProgress);
        SplitStereoWaves(c);
    } else if (load.bAutoMergeStereo && !(capsOf(c.sourceFormat) & kMaskStereo)) {
        Status().status(u"Merging dual mono waveforms", kStatusProgress);
        MergeDualMonoWaves(c);
    }
}

void InstallWavePasses() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    Collection::UpdateHooks& update = Collection::hooks();
    // Another part may have put its own On Load work here; it runs after the
    // stereo step.
    update.onLoadOptions = [previous = update.onLoadOptions](Collection& c) {
        RunStereoLoadOptions(c);
        if (previous) previous(c);
    };
    FlowHooks& flows = Flows();
    flows.splitStereoToDualMono = [](CollectionItem& item) {
        return SplitStereoWaves(item.collection(), &item) >= 0;
    };
    flows.removeDuplicateWaves = [](Collection& c) { RemoveDuplicateWaves(c); };
}

} // namespace vaxel
