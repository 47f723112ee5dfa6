#pragma once
// The one settings record of the process. It is loaded once at start and
// written once at exit by the application; every subsystem reads its fields
// directly. The defaults here are those of a first run.
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

struct AppSettings {
    bool bAsyncWaveLoad = true; // load wave data in the background after an open
};

// Per-format options.
struct FmtSettings {
    struct {
        // Don't save the default loop if it is "Off" and there is no
        // alternate loop.
        bool bNoLoopOff = true;
    } wav;
};

struct Settings {
    AppSettings app;
    LoadSettings load;
    FmtSettings fmt;
};

Settings& GlobalSettings();

} // namespace vaxel
