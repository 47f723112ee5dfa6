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
    kCmdClearAll = 128,
    kCmdSaveCollection = 131,
    kCmdSaveCollectionAs = 132,
    kCmdReplaceWaves = 151,
};

} // namespace vaxel::app
