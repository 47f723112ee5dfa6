#pragma once
// Binds every format family's routines to its rows of the format table.
// Called once at start-up by the programs, the tests and the fuzz targets;
// calling it again does nothing.
namespace vaxel {

void InstallFormats();

} // namespace vaxel
