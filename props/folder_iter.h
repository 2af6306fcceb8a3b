// Walking the folders of a KWRFH2 safely, and reading a folder's name from
// its start tag in the folder's own encoding.
//
// A folder's NameValueLength is never trusted: each one is checked against
// what remains of the header before the folder is handed out, so a caller
// that stays inside Folder::text never reads past the header.
//
//   FolderIterator folders(header, struc_length, ReversedIntegers(encoding));
//   Folder f;
//   while (folders.Next(&f) == FolderIterator::Step::kFolder) {
//     FolderName name;
//     if (ScanFolderName(family, f.text, f.length, &name, fn) != KWRC_NONE) ... 2421
//   }
//   if (folders.malformed()) ... trace folders.bad_length(), folders.bad_remaining() ...
#pragma once

#include <cstdint>

#include "zxvxzu/zxvxzu_types.h"

namespace zxv::props {

struct Folder {
  uint32_t offset;      // of its NameValueLength field, from the header's start
  const uint8_t* text;  // NameValueData
  uint32_t length;      // NameValueLength, within the header
};

class FolderIterator {
 public:
  enum class Step { kFolder, kEnd, kMalformed };

  // `header` is a KWRFH2 whose StrucLength `struc_length` (at least 36) the
  // caller has checked against the data; `reversed` gives the byte order of
  // its integers.
  FolderIterator(const uint8_t* header, uint32_t struc_length, bool reversed);

  // The next folder; kEnd when the folders fill the header exactly;
  // kMalformed (and every later call too) when the next NameValueLength
  // runs past the header or fewer than 4 bytes remain for it.
  Step Next(Folder* folder);

  bool malformed() const { return malformed_; }
  // After kMalformed: the NameValueLength read (0 when there was no room
  // for one) and the bytes that remained behind it (negative when the
  // length field itself did not fit), as "FL: %u, RL: %d" traces them.
  uint32_t bad_length() const { return bad_length_; }
  int32_t bad_remaining() const { return bad_remaining_; }

 private:
  const uint8_t* header_;
  uint32_t end_;
  uint32_t at_;
  bool reversed_;
  bool malformed_ = false;
  uint32_t bad_length_ = 0;
  int32_t bad_remaining_ = 0;
};

// Where a folder's name lies within its text, in bytes.
struct FolderName {
  uint32_t start;
  uint32_t length;
};

// Reads the name of the folder whose text (in the encoding family
// `ccsid_type`, XCS_CCSID_TYPE_*) is `text`: blanks (and tab, line feed,
// carriage return) are skipped to the first "<", and the name runs from
// there to the first blank, "/" or ">". Returns KWRC_NONE, or 2421 with the
// failure traced under `fn`: "Folder contains no data" (empty or only
// blanks), "End of folder reached before tag start", "Invalid character 0x%d
// reached before tag start", "End of folder reached before folder name",
// "Invalid control character 0x%d reached before folder name", "Invalid
// control character 0x%d reached before folder name end", "End of folder
// reached before folder name end". An unknown family also gives 2421. A
// name may be empty ("<>"): the grammar, not the scanner, refuses that.
KWLONG ScanFolderName(uint32_t ccsid_type, const uint8_t* text, uint32_t length, FolderName* name,
                      uint32_t fn);

}  // namespace zxv::props
