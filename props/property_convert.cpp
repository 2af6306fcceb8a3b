// Names and text values brought into a list's CCSID through the platform's
// converter, in scratch space that the caller's work area can supply.
#include <algorithm>
#include <limits>

#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeScratch = 1;
constexpr uint32_t kProbeConverter = 2;

// No character of the CCSIDs the store converts between needs more than four
// bytes per input byte; a shortfall is still handled by growing and retrying.
constexpr uint64_t kGrowthFactor = 4;
constexpr uint64_t kSlack = 16;
constexpr int kMaxAttempts = 4;

// Converter codes that mean the text has no form in the target CCSID.
constexpr xcsRC kNotConvertibleCodes[] = {
    xcsRC_CONV_NOT_SUPPORTED,    xcsRC_CONV_INVALID_SOURCE,    xcsRC_CONV_UNMAPPABLE,
    xcsRC_CONV_TRUNCATED_SOURCE, xcsRC_CONV_DEFAULT_CHAR_USED,
};

bool IsAllocatorCode(xcsRC rc) {
  return rc == xcsRC_STORAGE_NOT_AVAILABLE || rc == xcsRC_STORAGE_NOT_AVAILABLE_2 ||
         rc == xcsRC_STORAGE_NOT_AVAILABLE_TRACE || rc == xcsRC_RESOURCE_PROBLEM;
}

KWLONG ConversionReason(xcsRC rc, uint32_t fn) {
  for (xcsRC code : kNotConvertibleCodes) {
    if (rc == code) {
      xtr_text_detail(kComponent, fn, "Value failed to be converted into properties CCSID");
      return KWRC_NOT_CONVERTED;
    }
  }
  if (IsAllocatorCode(rc)) return StorageReason(rc, __FILE__, kProbeConverter);
  xcsERDPFn(kComponent, __FILE__, kProbeConverter, rc, "Unexpected conversion code", nullptr, 0);
  return KWRC_UNEXPECTED_ERROR;
}

// Converts one piece into `out` of `room` bytes.
xcsRC ConvertPiece(int32_t from, int32_t to, Text in, uint8_t* out, uint64_t room, uint32_t* used) {
  *used = 0;
  if (in.length == 0) return xcsRC_OK;
  const uint32_t outLength =
      static_cast<uint32_t>(std::min<uint64_t>(room, std::numeric_limits<uint32_t>::max()));
  return xcsConvertString(from, kNativeEncoding, in.data, in.length, to, kNativeEncoding, out,
                          outLength, used);
}

}  // namespace

ScratchSpace::~ScratchSpace() { xcsFreeMemFn(own_); }

KWLONG ScratchSpace::Reserve(uint64_t size) {
  if (size <= capacity()) return KWRC_NONE;
  if (size > kMaxListSize) return KWRC_STORAGE_NOT_AVAILABLE;
  void* block = nullptr;
  if (work_ != nullptr) {
    const xcsRC rc = work_->pBuffer == nullptr ? xcsGetMemFn(size, &block)
                                               : xcsReallocMemFn(work_->pBuffer, size, &block);
    if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeScratch);
    work_->pBuffer = static_cast<uint8_t*>(block);
    work_->Capacity = static_cast<KWULONG>(size);
    return KWRC_NONE;
  }
  const xcsRC rc = xcsGetMemFn(size, &block);
  if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeScratch);
  xcsFreeMemFn(own_);
  own_ = static_cast<uint8_t*>(block);
  own_capacity_ = size;
  return KWRC_NONE;
}

KWLONG ConvertText(int32_t fromCcsid, int32_t toCcsid, Text name, Text value, bool hasValue,
                   ScratchSpace* scratch, Text* nameOut, Text* valueOut, uint32_t fn) {
  if (!hasValue) value = Text{};
  uint64_t need = kGrowthFactor * (uint64_t{name.length} + value.length) + 2 * kSlack;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt, need *= 2) {
    if (const KWLONG reason = scratch->Reserve(need); reason != KWRC_NONE) return reason;
    uint8_t* const out = scratch->data();
    uint32_t nameUsed = 0;
    xcsRC rc = ConvertPiece(fromCcsid, toCcsid, name, out, scratch->capacity(), &nameUsed);
    uint32_t valueUsed = 0;
    if (rc == xcsRC_OK) {
      rc = ConvertPiece(fromCcsid, toCcsid, value, out + nameUsed, scratch->capacity() - nameUsed,
                        &valueUsed);
    }
    if (rc == xcsRC_CONV_BUFFER_TOO_SMALL) continue;
    if (rc != xcsRC_OK) return ConversionReason(rc, fn);
    *nameOut = Text{out, nameUsed};
    if (valueOut != nullptr) *valueOut = Text{out + nameUsed, valueUsed};
    return KWRC_NONE;
  }
  xcsERDPFn(kComponent, __FILE__, kProbeConverter, xcsRC_CONV_BUFFER_TOO_SMALL,
            "Converted text does not fit", nullptr, 0);
  return KWRC_UNEXPECTED_ERROR;
}

}  // namespace zxv::props
