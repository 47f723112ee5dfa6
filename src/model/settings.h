#pragma once
// The one settings record of the process. It is loaded once at start and
// written once at exit by the application; every subsystem reads its fields
// directly. The defaults here are those of a first run.
//
// The store is a key file, $XDG_CONFIG_HOME/ZLK-Software/Vaxel Studio.conf
// (~/.config/... by default), one "name=value" line per value under the
// names below; see settings_store.cpp for how each kind of value is written.
#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vaxel {

struct LoadSettings {
    bool bConfirm = false;
    bool bAutoSplitStereo = false;
    bool bAutoMergeStereo = true;
    bool bAutoCompactLayers = true;
    bool bAutoRemoveDupWaves = true;
    bool bAutoMoveArticulation = false;
    bool bAutoMoveTriggerParams = true;
    bool bAutoAppend32 = false;
    bool bAutoBid2Fwd = false;
    bool bAutoSortColl = true;
    bool bAutoSortWaves = true;
    bool bEnsureUniqueNames = true;
};

// The groups of app.SaveFmt, the last row used to save each kind of item.
enum SaveGroup : int {
    kSaveGroupWave,
    kSaveGroupInstrument,
    kSaveGroupSong,
    kSaveGroupCollection,
    kSaveGroupOther
};
// A SaveFmt entry that no save has set yet: the save dialog then takes the
// writer row of the group's default extension (wav, sfz, mid, sf2, sfz).
constexpr uint16_t kNoSaveRow = 0xFFFF;

struct AppSettings {
    std::vector<std::u16string> LastFilesW; // most recent first
    std::u16string LastPathInW;
    std::u16string LastPathOutW;
    std::array<uint16_t, 5> SaveFmt{kNoSaveRow, kNoSaveRow, kNoSaveRow, kNoSaveRow, kNoSaveRow};
    int32_t ptLastPos[2] = {-1, -1};  // window position; -1 lets the desktop place it
    int32_t ptLastSize[2] = {-1, -1}; // window size; -1 takes the default
    int32_t iPaneSplitL = 221;
    std::vector<uint16_t> awColWidths;
    bool bCheckForUpdates = true;
    bool bDispBankPrgs = true;
    bool bDispLoBank = false;
    bool bAutoSelWaveforms = true;
    bool bAutoSelCollItems = false;
    bool bPropagateDownDelta = false;
    bool bPersistentState = false;
    bool bShowNoteNames = true;
    bool bMidIsNamedC3 = false;
    bool bAsyncWaveLoad = true; // load wave data in the background after an open
    uint8_t eDarkMode = 0;      // 0 "Auto", 1 "Light", 2 "Dark"
    std::u16string wszWave;     // external wave editor
    std::u16string wszMidi;     // external MIDI editor
    std::string szVSTPaths;
    // Where the update check asks; empty (the default) keeps the check off.
    std::string szUpdateAddress;
};

struct AudioSettings {
    std::string szAudioOutDev = "System default";
    bool bAudioOutExclusive = false;
    uint8_t cAudioOutFormat = 16;
    uint8_t cAudioOutChannels = 2;
    std::string szAudioOutSampleRate = "48000";
    std::string szAudioInDev = "System default";
    bool bAudioInExclusive = false;
    uint8_t cAudioInFormat = 16;
    uint8_t cAudioInChannels = 2;
    bool bAudioInAGC = true;
    bool bAudioInMono = false;
    std::string szAudioInSampleRate = "48000";
    bool bMidiInEnable = true;
    std::string szMidiInDev; // "<none>" means no device
    int32_t nLatency = -1;
    float fdbMixGain = 0.0f;
    float fdbWaveGain = 0.0f;
    bool bEnable = false;
    bool bVKeyboard = true;
    bool bPlayWaveOnClick = true;
    bool bPlayCollOnClick = false;
    std::string acVKlo = "ZSXDCVGBHNJM,L.";
    std::string acVKhi = "Q2W3ER5T6Y7UI9O0P";
    bool bMidiRecAudition = true;
    bool bMidiRecMetronome = false;
};

struct VizSettings {
    bool bWaveDispFill = true;
    bool bWaveDispSplit = false;
    bool bTrackInEditor = true;
    bool bSpectrum = false;
    bool bChannels = false;
};

struct SdsSettings {
    std::string szOutDev;
    std::string szInDev;
    int32_t iOutChannel = 0;
    int32_t iInChannel = -1;
    int32_t iOutBits = 0;
};

struct CdSettings {
    int32_t iCDDev = 0;
    bool bReplaceColl = true;
};

struct StatSettings {
    int32_t iOpen = 0;
    int32_t iSave = 0;
};

struct SaveAllSettings {
    int32_t iMode = 214; // the naming scheme of Save all
};

struct SynthToWaveSettings {
    uint32_t dwSampleRate = 48000;
    uint32_t dwmsMaxLength = 2000;
    uint32_t dwmsMinLength = 250;
    int32_t iNumWaves = 1;
};

struct MidiToWaveSettings {
    uint32_t dwSampleRate = 48000;
    bool bEffects = true;
    bool bDeleteSrc = false;
    bool bNormalizePeak = true;
    bool bDeleteSilence = true;
    // The General MIDI bank songs are rendered with: Debian's default GM
    // sound font link.
    std::u16string wszGMBank = u"/usr/share/sounds/sf2/default-GM.sf2";
    int32_t iMaxPolyphony = 128;
};

// Per-format options.
struct FmtSettings {
    struct {
        bool bWriteAPE = false;
        bool bWriteID3 = false;
        bool bWriteMS = true;
    } aac;
    struct {
        bool bWriteID3 = false;
        bool bWriteJS = true;
    } mp2;
    struct {
        bool bWriteAPE = false;
        bool bWriteID3 = true;
        bool bWriteJS = true;
    } mp3;
    struct {
        bool bReadAsk = true;
        uint32_t dwSampleRate = 44100;
        int32_t iBits = 16;
        int32_t iChannels = 2;
    } sd2;
    struct {
        bool bReadAsk = true;
        uint32_t dwDataFormat = 0x8002000;
    } vox;
    struct {
        // Don't save the default loop if it is "Off" and there is no
        // alternate loop.
        bool bNoLoopOff = true;
    } wav;
};

struct BatchSettings {
    std::array<uint8_t, 24> options{};  // the batch options record
    std::array<uint8_t, 50> SaveFmts{}; // the batch's output rows
};

struct Settings {
    // "12.13" of the program that last wrote the store; empty before the
    // first run's store exists.
    std::string VersionNumber;
    AppSettings app;
    LoadSettings load;
    AudioSettings aio;
    VizSettings viz;
    SdsSettings sds;
    CdSettings cds;
    StatSettings stat;
    SaveAllSettings sall;
    SynthToWaveSettings sy2wt;
    MidiToWaveSettings mid2wav;
    FmtSettings fmt;
    BatchSettings batch;
    uint64_t features = ~uint64_t(0); // the FeatureMask
};

Settings& GlobalSettings();

// The store's path: $XDG_CONFIG_HOME/ZLK-Software/Vaxel Studio.conf, with
// ~/.config when the variable is unset or empty.
std::filesystem::path SettingsPath();

// Loads every value from the store at path (SettingsPath() when empty); a
// missing or unreadable value keeps its default without a message. Returns
// whether this is the first run (no VersionNumber stored, or 0). Also
// applies the feature mask.
bool loadSettings(Settings& settings, const std::filesystem::path& path = {});
// Writes every value, and VersionNumber, atomically (a temporary file
// renamed over the store). Returns false when the folder can't be written;
// the program goes on.
bool saveSettings(const Settings& settings, const std::filesystem::path& path = {});

// The recent files list over app.LastFilesW: a load or save puts the path at
// the head (once), a failed open removes it. At most 16 entries are kept.
void AddRecentFile(Settings& settings, std::u16string_view path);
void RemoveRecentFile(Settings& settings, std::u16string_view path);

// The running program's version, as stored in VersionNumber.
constexpr const char* kSettingsVersion = "12.13";

} // namespace vaxel
