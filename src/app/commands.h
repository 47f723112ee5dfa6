#pragma once
// The numbered commands of the main window. Every menu entry, accelerator
// and drop reaches MainWindow::dispatch with one of these.
namespace vaxel::app {

enum Command : int {
    kCmdOpen = 101,
    kCmdSaveSelected = 102,
    kCmdMerge = 103,
    kCmdSaveAll = 104,
    kCmdExit = 106,
    kCmdAddInstrument = 109,
    kCmdAddLayer = 110,
    kCmdAddRegion = 111,
    kCmdRunEditor = 118, // the waveform editor, or on a song the MIDI editor
    kCmdClearAll = 128,
    kCmdDeleteUnusedWaves = 138,
    kCmdClone = 130,
    kCmdSaveCollection = 131,
    kCmdSaveCollectionAs = 132,
    kCmdEditName = 134,
    kCmdSelectAll = 148,
    kCmdReplaceWaves = 151,
    kCmdDualMonoToStereo = 154,
    kCmdStereoToDualMono = 155,
    kCmdDeselectAll = 171,
    kCmdDeleteDuplicateWaves = 190,
    kCmdProcessItems = 29000,
    kCmdUndo = 30064,
    kCmdRedo = 30128,
    // Two commands of our own, from the free numbers of the range above.
    kCmdOptions = 105,
    kCmdCheckForUpdates = 108,
};

} // namespace vaxel::app
