#pragma once
// The format table: every file format the program knows, one row each, in a
// fixed order. The row index is a stable handle: a Collection keeps it as its
// source format and the settings keep the last used row per item kind.
//
// The rows are data here; each format family binds its routines to its rows
// at start-up (formats/install.cpp), so a row whose reader or writer does not
// exist yet carries none and the reader and writer counts stay honest.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vaxel {

class Collection;
class CollectionItem;
class FileObject;

struct WriteOptions {
    uint32_t codingMask = 0; // the row's word with the user's coding and channels put in
    uint32_t param = 0;
    float bitRate = 0.0f;    // kbit/s; 0 when none was chosen
};

// The low 8 bits of a read or write result are non-zero on success.
using ReadRoutine = int (*)(Collection& collection, FileObject& file, uint32_t param);
using WriteRoutine = int (*)(CollectionItem& item, FileObject& file, const WriteOptions& options);
// A score from the first bytes of a file: 0 no, 2 plausible, 6 a unique magic
// number. Must be safe on any buffer, however short, and must not allocate.
using DetectRoutine = int (*)(const uint8_t* buffer, uint32_t param, size_t bufferBytes, uint64_t fileSize,
                              int row);
// The index-th selectable bit rate in kbit/s, or 0 or less behind the last;
// writes its label (at most kBitRateLabelCapacity units) when label is set.
using BitRateRoutine = int (*)(int index, uint32_t param, char16_t* label);
constexpr size_t kBitRateLabelCapacity = 64;

struct FormatEntry {
    const char16_t* extension;   // without the point; '?' and '*' are patterns
    ReadRoutine read;
    WriteRoutine write;
    DetectRoutine detect;
    const char16_t* description;
    uint8_t itemMask;            // bit n: can hold items of ItemType n
    uint32_t codingMask;         // what a writer takes; 0 in a read-only row
    uint32_t param;
    BitRateRoutine bitRateAt;
};

constexpr int formatCount = 559;

// Coding mask bits beyond the 20 DataCoding bits.
constexpr uint32_t kMaskMono = 1u << 20;
constexpr uint32_t kMaskStereo = 1u << 21;
constexpr uint32_t kMaskDualMono = 1u << 22;
constexpr uint32_t kMaskCodings = 0xFFFFF;

// The row, or null for an index outside 0..558.
const FormatEntry* formatRow(int row);

// Binding, done once at start-up by each format family. Every bind names the
// row by extension (exact case) and description; a bind that finds no row, or
// finds a row already bound, is a programming error and returns false.
struct FormatRoutines {
    ReadRoutine read = nullptr;
    WriteRoutine write = nullptr;
    DetectRoutine detect = nullptr;
    BitRateRoutine bitRateAt = nullptr;
};
bool bindFormat(const char16_t* extension, const char16_t* description, const FormatRoutines& routines);
// The row index for an extension and description, or -1.
int findFormatRow(const char16_t* extension, const char16_t* description);

int readerCount();
int writerCount();

std::u16string extensionOf(int row);   // empty for a bad index
std::u16string descriptionOf(int row); // "<none>" for a bad index
// Whether any row but row 0 has this extension (case ignored).
bool isKnownExtension(std::u16string_view extension);
// The coding mask (and param) of a row. A row without a writer answers for
// the writer rows that follow it with the same extension (exact case).
uint32_t capsOf(int row, uint32_t* param = nullptr);
bool itemAllowed(int row, int itemType);

struct RowInfo {
    std::u16string extension;
    std::u16string description;
    uint8_t itemMask = 0;
    uint32_t codingMask = 0;
};
// Advance row to the first row at or behind it with a reader (writer); false
// when there is none. Fills info when given.
bool nextReadRow(int& row, RowInfo* info = nullptr);
bool nextWriteRow(int& row, RowInfo* info = nullptr);

// The first writer row whose item mask shares a bit with itemMask and whose
// extension equals the given one (case ignored, a leading point skipped).
int findWriteRowByExtension(std::u16string_view extension, uint32_t itemMask);

// The channel count a save to this row gives the item: 1 or 2, or 0 when the
// item's waves would come out differently. Layers, Regions and synthesis
// models are saved as the Instrument made from them, a Song as its render.
int channelsForSave(int row, const CollectionItem& item);

// The DataCoding a save to this row gives the item's waves (kMixedCoding
// when they differ), and its text for the save dialog: the coding's name,
// "Mixed", or for a compressed coding the row's label of the chosen rate
// ("Compressed" when none is known).
constexpr int kMixedCoding = 20;
int codingForSave(int row, const CollectionItem& item, std::u16string* label = nullptr);

// The "Data format:" and "Channel format:" lists of the save dialog. Each
// entry carries its position: a DataCoding below 20, kAutoCoding for the
// row's own choice, kFirstBitRateChoice + i for the i-th listed bit rate;
// channel positions are 0 auto, 1 mono, 2 stereo.
struct SaveChoice {
    int position;
    std::u16string text;
};
constexpr int kAutoCoding = 20;
constexpr int kFirstBitRateChoice = 21;
std::vector<SaveChoice> dataFormatChoices(int row, const CollectionItem& item);
std::vector<SaveChoice> channelFormatChoices(int row, const CollectionItem& item);
// Puts a choice into the options' coding mask (starting from the row's mask
// when it is 0); false when the row does not offer that position.
bool applyDataFormatChoice(int row, int position, WriteOptions& options);
bool applyChannelChoice(int row, int position, WriteOptions& options);

// Matches a row's extension pattern against a file's extension, both folded
// to lower case: '?' takes any one character (even the end), '*' matches all.
bool matchExtension(std::u16string_view pattern, std::u16string_view extension);

// Detection. Reads the first 32 KiB of the file (the position is kept) and
// asks every row. Returns the row, or -1 for an empty or unreadable file;
// confidence is in percent (a score of 9 shows as 100).
int detectFormat(const std::filesystem::path& path, FileObject& file, int* confidence);
// The same over a buffer already in memory (the first bytes of a file of
// fileSize bytes). Also the entry point of the fuzz target.
int detectFormatInBuffer(std::u16string_view fileName, const uint8_t* buffer, size_t bytes, uint64_t fileSize,
                         int* confidence, int* bestScore = nullptr);

// The scoring itself, over any table of rows (the real one above, or a small
// one in a test): every row with a detector is asked; the score is its answer
// plus 3 on an extension match (2 in a row whose extension is "*"); a strictly
// higher score wins, so ties go to the lower row; a best score below 3 counts
// only when it belongs to a "*" row.
int detectInRows(const FormatEntry* rows, int count, std::u16string_view fileName, const uint8_t* buffer,
                 size_t bytes, uint64_t fileSize, int* confidence, int* bestScore = nullptr);

// For the open dialog: the format name and confidence of a file. A file that
// cannot be opened gives an empty name and 0; an unknown one
// "Unknown file type".
bool describeFile(const std::filesystem::path& path, std::u16string& name, int& confidence);
bool isSupportedFile(const std::filesystem::path& path);

// The entries of the file dialogs: "ext - Description" and "*.ext".
struct FilterEntry {
    int row;
    std::u16string text;
    std::u16string pattern;
};
std::vector<FilterEntry> openDialogFilters();
// itemMask: 1 << ItemType of the item saved (0xFF for "Save all"). A Song's
// list is followed by the rows for Waveforms, since a song can be rendered.
std::vector<FilterEntry> saveDialogFilters(uint32_t itemMask);

} // namespace vaxel
