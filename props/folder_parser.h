// The folder parser inside the library: trace function numbers and the
// entry points that zrfParse, zrf_folder_parse and the scanners' shells
// build on (include/zxvxzu/folder_parser.h has the contracts).
#pragma once

#include <cstdint>

#include "props/folder_session.h"
#include "props/rfh2_chain.h"
#include "zxvxzu/folder_parser.h"

namespace zxv::props {

// Trace function numbers of the parser.
inline constexpr uint32_t kFnFolderBase = kFnRfh2Base + 0x40;
inline constexpr uint32_t kFnParse = kFnFolderBase + 0x00;
inline constexpr uint32_t kFnFolderParse = kFnFolderBase + 0x01;
inline constexpr uint32_t kFnProcessKWFolder = kFnFolderBase + 0x02;
inline constexpr uint32_t kFnParseASCIIFolderName = kFnFolderBase + 0x03;
inline constexpr uint32_t kFnParseEBCDICFolderName = kFnFolderBase + 0x04;
inline constexpr uint32_t kFnParseUTF8FolderName = kFnFolderBase + 0x05;
inline constexpr uint32_t kFnParseBUCS2FolderName = kFnFolderBase + 0x06;
inline constexpr uint32_t kFnParseLUCS2FolderName = kFnFolderBase + 0x07;

// Nesting limit of the grammar, the folder element included.
inline constexpr uint32_t kMaxFolderDepth = 64;

// The encoding family of folder text in `ccsid` (UCS-2 byte order from
// `encoding`), or XCS_CCSID_TYPE_UNKNOWN when the CCSID has no family or no
// row in the property-name table.
uint8_t FolderFamilyOf(int32_t ccsid, int32_t encoding);

// The work of zrf_folder_parse on checked arguments: parses one folder of
// family `family` through `session` (which must have had BeginFolder) and
// says what becomes of it. The caller commits or rolls back the session.
KWLONG ParseFolder(const uint8_t* text, uint32_t length, int32_t ccsid, uint8_t family,
                   FolderSession* session, uint32_t* action);

// The reject-support check of zrfProcessKWFolder.
KWLONG ProcessKWFolder(uint32_t rejectSupport, uint32_t options, uint32_t fn);

// The work of zrfParse on checked arguments.
KWLONG ParseMessage(uint32_t options, uint8_t* data, uint32_t length, const char* format,
                    int32_t encoding, int32_t ccsid, ZRFPAL* pal, KWMD* md, KWULONG* fieldsSet,
                    uint32_t* dataOffset, uint32_t* dataLength);

}  // namespace zxv::props
