#pragma once
// Folding of code points above 255 to the nearest plain ASCII character, for
// text that must go into 8-bit fields.
namespace vaxel {

// The one-byte stand-in for a code point above 255 that Windows-1252 cannot
// hold: a letter of Latin Extended-A (256-383), Greek (880-1023) or Cyrillic
// (1024-1127) gives its nearest Latin letter; 710 gives '^'; 8216-8218 the
// apostrophe; 8220-8222 the double quote; 8226 '*'; 8230 '.'; 8249 '<';
// 8250 '>'; 8364 'E'. Anything else gives '?'.
char FoldToAscii(char16_t c);

} // namespace vaxel
