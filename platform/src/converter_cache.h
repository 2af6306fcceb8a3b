// ICU converters by CCSID, cached per thread.
#pragma once

#include <unicode/ucnv.h>

#include <cstdint>

#include "zxvxcs2/xcs_base.h"

namespace zxv::platform {

enum class ByteOrder { kBig, kLittle };

// True for the UCS-2/UTF-16 CCSIDs, whose byte order comes from the encoding.
bool IsTwoByteSet(int32_t ccsid);

// True for the CCSIDs this ICU has no table for.
bool LacksConverterTable(int32_t ccsid);

// The byte order of a two-byte set under `encoding`: low four bits 1 mean
// big-endian, anything else the native little-endian order.
ByteOrder OrderFromEncoding(int32_t encoding);

// The calling thread's converter for `ccsid` (`order` matters only for
// two-byte sets), reset and set to stop at the first bad or unmappable
// character; null when no table exists. The converter stays owned by the
// cache and is closed when the thread ends.
UConverter* ThreadConverter(int32_t ccsid, ByteOrder order);

}  // namespace zxv::platform
