#pragma once
// Path and file-name helpers on wide text, and the safe naming of files made
// from item names.
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace vaxel {

class Collection;

// Position after the last '/', '\' or ':'.
size_t FileNamePart(std::u16string_view path);
// Position of the last '.' in the final path component, or the end of the
// text when there is none; a name ending in ".." gives the end.
size_t ExtensionPart(std::u16string_view name);

// Rewrites a path in place: drops surrogate and private-use code points and
// composes a Latin letter followed by a combining mark into the precomposed
// letter where one exists. Returns whether anything changed.
bool CleanUnicodePath(std::u16string& path);

// Makes a file name from an item name: characters a file system refuses
// ("*/:?\\", DEL and control characters) become '_', '"' becomes '\'',
// '|' ',', '<' '(' and '>' ')'; trailing blanks are removed; a final
// extension that the format table knows is dropped; an empty name becomes
// "Noname", and a name of dots only has them replaced. With foldToAnsi the
// text first goes through the 8-bit folding (WideToAnsi) and back.
std::u16string SafeFileName(std::u16string_view name, bool foldToAnsi);
// The 8-bit form for writers of 8-bit name fields ("noname" when empty).
std::string SafeFileNameAnsi(std::u16string_view name);
// Appends a safe file name to a path, with a '/' first when asked and the
// path does not end in a separator already.
void AppendFileName(std::u16string& path, std::u16string_view name, bool addSeparator, bool foldToAnsi);

// Finds a sample file that another file refers to. In order:
//   1. the path itself (also with its '\' separators read as '/');
//   2. a path that ends in a separator (or is empty) gets searchName;
//   3. the file name in the current folder and each of its direct
//      sub-folders;
//   4. likewise in the folder of the collection's own file (text
//      kInfoSourceFile) and its direct sub-folders;
//   5. askUser, titled "Please locate the missing file: " + name.
// In each folder a name that differs in case only also counts. A hit sets
// path (absolute) and makes its folder the current folder, so that the next
// file of the same collection is found at once. askUser returns false on
// cancel; null means nobody can be asked (batch, command line).
using LocateAsk = bool (*)(const std::u16string& title, std::u16string& chosenPath);
bool LocateFile(std::u16string& path, std::u16string_view searchName, const Collection* collection,
                LocateAsk askUser = nullptr);

} // namespace vaxel
