// Byte-wise translation tables of CCSID pairs, built from the platform's
// conversion service and kept for the life of the process.
//
// Converting many short strings through the conversion service costs a call
// and a converter lookup per string. For a source byte that on its own
// converts to one to four target bytes, a table of those bytes converts a
// string made only of such bytes exactly as the service would: none of them
// is a lead byte, a shift or a byte without a mapping, so each stands for one
// character whatever its neighbours, and the target side was checked to
// write a run of characters as their outputs one after another (a target
// with shift states would not). A string holding any other byte goes through
// the service as before.
//
//   const SingleByteMap* map = GetSingleByteMap(37, 1208);
//   size_t used;
//   if (map != nullptr && MapBytes(*map, in, n, out, room, &used)) { /* done */ }
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zxv::dataconv {

struct SingleByteMap {
  static constexpr size_t kMaxOut = 4;
  uint8_t to[256][kMaxOut];  // the target bytes of each source byte
  uint8_t length[256];       // how many; 0: the byte does not convert alone
  bool one_to_one;           // every length is 0 or 1
};

// The table of the pair when this process has built it; null otherwise.
// Safe from any thread.
const SingleByteMap* FindSingleByteMap(int32_t from_ccsid, int32_t to_ccsid);

// As FindSingleByteMap, building the table when there is none yet (about 260
// calls of the conversion service). Null when the pair does not qualify
// (equal CCSIDs, a two-byte set on either side), when the service failed for
// a reason other than a byte that does not convert (storage, for one), when
// another thread is building a table in the last free place, or when the
// tables of 32 pairs already fill the cache. Safe from any thread.
const SingleByteMap* GetSingleByteMap(int32_t from_ccsid, int32_t to_ccsid);

// Translates n bytes from in into out (room bytes; no overlap) and sets
// *used. False when some byte does not convert alone or the result does not
// fit; out then holds garbage and the caller converts through the service
// instead, which also says why.
inline bool MapBytes(const SingleByteMap& map, const uint8_t* in, size_t n, uint8_t* out,
                     size_t room, size_t* used) {
  if (map.one_to_one) {
    if (n > room) return false;
    unsigned missing = 0;
    for (size_t k = 0; k < n; ++k) {
      const uint8_t b = in[k];
      out[k] = map.to[b][0];
      missing |= map.length[b] ^ 1u;
    }
    *used = n;
    return missing == 0;
  }
  size_t o = 0;
  for (size_t k = 0; k < n; ++k) {
    const uint8_t b = in[k];
    const size_t len = map.length[b];
    if (len == 0 || room - o < len) return false;
    if (len == 1) {
      out[o] = map.to[b][0];
    } else {
      std::memcpy(out + o, map.to[b], len);
    }
    o += len;
  }
  *used = o;
  return true;
}

}  // namespace zxv::dataconv
