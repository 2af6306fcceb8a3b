// The mapping between the property types applications use (KWTYPE_*) and
// the property store's internal type codes (ZRF_TYPE_*).
#include "props/message_handle.h"

namespace zxv::props {
namespace {

struct TypePair {
  KWLONG external;
  uint32_t internal;
};

// Indexed by internal code 0..9; codes 10 and 11 have no external type.
constexpr TypePair kTypes[] = {
    {KWTYPE_STRING, ZRF_TYPE_STRING},
    {KWTYPE_BOOLEAN, ZRF_TYPE_BOOLEAN},
    {KWTYPE_BYTE_STRING, ZRF_TYPE_BYTE_STRING},
    {KWTYPE_INT8, ZRF_TYPE_INT8},
    {KWTYPE_INT16, ZRF_TYPE_INT16},
    {KWTYPE_INT32, ZRF_TYPE_INT32},
    {KWTYPE_INT64, ZRF_TYPE_INT64},
    {KWTYPE_FLOAT32, ZRF_TYPE_FLOAT32},
    {KWTYPE_FLOAT64, ZRF_TYPE_FLOAT64},
    {KWTYPE_NULL, ZRF_TYPE_NULL},
};
static_assert(sizeof kTypes / sizeof kTypes[0] == ZRF_TYPE_NULL + 1, "one row per value type");

constexpr bool RowsInCodeOrder() {
  for (uint32_t code = 0; code < sizeof kTypes / sizeof kTypes[0]; ++code) {
    if (kTypes[code].internal != code) return false;
  }
  return true;
}
static_assert(RowsInCodeOrder(), "kTypes is indexed by internal code");

}  // namespace

uint32_t InternalTypeOf(KWLONG externalType) {
  for (const TypePair& pair : kTypes) {
    if (pair.external == externalType) return pair.internal;
  }
  return ZRF_TYPE_AS_STORED;
}

KWLONG ExternalTypeOf(uint32_t internalType) {
  return internalType <= ZRF_TYPE_NULL ? kTypes[internalType].external : -1;
}

}  // namespace zxv::props
