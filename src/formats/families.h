#pragma once
// Each format family's binding function; InstallFormatFamilies calls them all.
namespace vaxel {

void InstallFormatFamilies();

} // namespace vaxel
