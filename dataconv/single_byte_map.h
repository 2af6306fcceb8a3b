// Byte-for-byte translation tables of CCSID pairs, built from the platform's
// conversion service and kept for the life of the process.
//
// Converting many short strings through the conversion service costs a call
// and a converter lookup per string. For a pair of CCSIDs where a byte on its
// own converts to exactly one byte, a table of those bytes converts a string
// made only of such bytes exactly as the service would: none of them is a
// lead byte, a shift or a byte without a mapping, so each stands for one
// character whatever its neighbours. A string holding any other byte goes
// through the service as before.
//
//   const SingleByteMap* map = GetSingleByteMap(37, 850);
//   if (map != nullptr && MapBytes(*map, in, n, out)) { /* out holds n bytes */ }
#pragma once

#include <cstddef>
#include <cstdint>

namespace zxv::dataconv {

struct SingleByteMap {
  uint8_t to[256];     // the target byte of each source byte that converts alone
  uint8_t alone[256];  // 1: the byte converts alone to one byte; 0: it does not
};

// The table of the pair when this process has built it; null otherwise.
// Safe from any thread.
const SingleByteMap* FindSingleByteMap(int32_t from_ccsid, int32_t to_ccsid);

// As FindSingleByteMap, building the table when there is none yet (256 calls
// of the conversion service). Null when the pair does not qualify (equal
// CCSIDs, a two-byte set on either side), when the service failed for a
// reason other than a byte that does not convert alone (storage, for one),
// when another thread is building a table in the last free place, or when
// the tables of 32 pairs already fill the cache. Safe from any thread.
const SingleByteMap* GetSingleByteMap(int32_t from_ccsid, int32_t to_ccsid);

// Translates n bytes from in to out (no overlap). False when some byte does
// not convert alone; out then holds garbage and the caller converts through
// the service instead.
inline bool MapBytes(const SingleByteMap& map, const uint8_t* in, size_t n, uint8_t* out) {
  unsigned missing = 0;
  for (size_t k = 0; k < n; ++k) {
    const uint8_t b = in[k];
    out[k] = map.to[b];
    missing |= map.alone[b] ^ 1u;
  }
  return missing == 0;
}

}  // namespace zxv::dataconv
