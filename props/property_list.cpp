// The property list as a block: its header, allocation, growth, duplication,
// re-allocation and freeing.
#include <algorithm>
#include <cstdlib>

#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

// Failure-record probes of this file.
constexpr uint32_t kProbeFreeEyeCatcher = 2;
constexpr uint32_t kProbeCreateList = 3;
constexpr uint32_t kProbeGrowList = 4;
constexpr uint32_t kProbeDuplicate = 6;
constexpr uint32_t kProbeReallocate = 7;
constexpr uint32_t kProbePalBlock = 8;
constexpr uint32_t kProbeDamagedList = 9;

constexpr char kVerifyVariable[] = "ZXV_VERIFY_PROPERTIES";

bool EyeCatcherMatches(const ZRFPROPS* list) {
  return std::memcmp(list->StrucId, ZRFP_STRUC_ID, sizeof list->StrucId) == 0;
}

// Copies the bytes in use of a usable source list into a new block of the
// source's allocated size.
KWLONG DuplicateList(const ZRFPAL* in, ZRFPAL* out) {
  if (in->pProps == nullptr || in->Size == 0) {
    *out = ZRFPAL{};
    return KWRC_NONE;
  }
  if (!HeaderUsable(in)) return DamagedList(in, __FILE__, kProbeDuplicate, "Source list damaged");
  ZRFPAL copy{};
  if (const KWLONG reason = AllocateList(in->Size, &copy, kProbeDuplicate); reason != KWRC_NONE) {
    return reason;
  }
  std::memcpy(copy.pProps, in->pProps, in->pProps->StrucLen);
  *out = copy;
  return KWRC_NONE;
}

}  // namespace

KWLONG MissingParameter(const char* what, const char* file, uint32_t probe) {
  xcsERDPSFn(kComponent, file, probe, xcsRC_INVALID_PARAMETER, nullptr, 0, "Missing parameter: %s",
             what);
  return KWRC_UNEXPECTED_ERROR;
}

bool VerifySettingOn() {
  // A missing, unreadable or negative value counts as 0.
  const char* text = xcsGetEnv(kVerifyVariable);
  if (text == nullptr) return false;
  return std::strtol(text, nullptr, 10) > 0;
}

void WriteDefaultHeader(ZRFPROPS* list, uint32_t fn) {
  xtr_text_detail(kComponent, fn, "Initialising properties to default values");
  std::memcpy(list->StrucId, ZRFP_STRUC_ID, sizeof list->StrucId);
  list->VersionFlags = ZRFP_DEFAULT_FLAGS;
  if (VerifySettingOn()) list->VersionFlags |= ZRFP_FLAG_VERIFY;
  list->StrucLen = kHeaderLength;
  list->PropsLen = 0;
  list->CCSID = 0;
  list->CCSIDType = 0;
  std::memset(list->Reserved, 0, sizeof list->Reserved);
}

bool HeaderUsable(const ZRFPAL* pal) {
  if (pal->pProps == nullptr || pal->Size < kHeaderLength) return false;
  const ZRFPROPS* list = pal->pProps;
  return EyeCatcherMatches(list) && (list->VersionFlags & ZRFP_VERSION_MASK) == ZRFP_VERSION_1 &&
         list->StrucLen >= kHeaderLength && list->StrucLen <= pal->Size;
}

KWLONG StorageReason(xcsRC rc, const char* file, uint32_t probe) {
  const KWLONG reason = xcsStorageReason(rc);
  if (reason == KWRC_UNEXPECTED_ERROR) {
    xcsERDPFn(kComponent, file, probe, rc, "Unexpected allocator code", nullptr, 0);
  }
  return reason;
}

KWLONG DamagedList(const ZRFPAL* pal, const char* file, uint32_t probe, const char* comment) {
  const size_t dump = pal->pProps == nullptr ? 0 : std::min<size_t>(pal->Size, kHeaderLength);
  xcsERDPFn(kComponent, file, probe, xcsRC_UNEXPECTED_ERROR, comment, pal->pProps, dump);
  return KWRC_UNEXPECTED_ERROR;
}

KWLONG AllocateList(uint32_t size, ZRFPAL* out, uint32_t probe) {
  void* block = nullptr;
  const xcsRC rc = xcsGetMemFn(std::max(size, kHeaderLength), &block);
  if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, probe);
  out->pProps = static_cast<ZRFPROPS*>(block);
  out->Size = std::max(size, kHeaderLength);
  out->Reserved = 0;
  return KWRC_NONE;
}

KWLONG PrepareListForAppend(ZRFPAL* pal, uint32_t fn) {
  if (pal->pProps != nullptr && pal->Size >= kHeaderLength) {
    if (!HeaderUsable(pal)) {
      return DamagedList(pal, __FILE__, kProbeDamagedList, "Property list header damaged");
    }
    return KWRC_NONE;
  }
  // A block smaller than a header is not a list the store made; it is left
  // to its owner rather than freed or re-allocated.
  ZRFPAL fresh{};
  if (const KWLONG reason = AllocateList(kInitialListSize, &fresh, kProbeCreateList);
      reason != KWRC_NONE) {
    return reason;
  }
  WriteDefaultHeader(fresh.pProps, fn);
  fresh.pProps->CCSID = kStoreCcsid;
  fresh.pProps->CCSIDType = XCS_CCSID_TYPE_UTF8;
  *pal = fresh;
  return KWRC_NONE;
}

KWLONG EnsureRoom(ZRFPAL* pal, uint64_t extra) {
  const uint64_t inUse = pal->pProps->StrucLen;
  if (extra <= pal->Size - inUse) return KWRC_NONE;
  if (inUse + extra > kMaxListSize) return KWRC_STORAGE_NOT_AVAILABLE;
  // Doubling the need keeps a run of appends from re-allocating often.
  const uint64_t newSize = std::min<uint64_t>(2 * (extra + pal->Size), kMaxListSize);
  void* block = nullptr;
  const xcsRC rc = xcsReallocMemFn(pal->pProps, newSize, &block);
  if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeGrowList);
  pal->pProps = static_cast<ZRFPROPS*>(block);
  pal->Size = static_cast<KWULONG>(newSize);
  return KWRC_NONE;
}

KWLONG FreeList(ZRFPAL* pal) {
  if (pal->pProps == nullptr) {
    pal->Size = 0;
    return KWRC_NONE;
  }
  if (pal->Size < sizeof pal->pProps->StrucId || !EyeCatcherMatches(pal->pProps)) {
    const size_t dump = std::min<size_t>(pal->Size, kHeaderLength);
    xcsERDPFn(kComponent, __FILE__, kProbeFreeEyeCatcher, xcsRC_UNEXPECTED_ERROR,
              "Property list eye-catcher not valid; not freed", pal->pProps, dump);
    return KWRC_UNEXPECTED_ERROR;
  }
  xcsFreeMemFn(pal->pProps);
  pal->pProps = nullptr;
  pal->Size = 0;
  return KWRC_NONE;
}

}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfAllocatePAL(ZRFPROPS* pProps, KWULONG Size, ZRFPAL** ppPAL, KWLONG* pCompCode,
                              KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnAllocatePAL);
  KWLONG reason = KWRC_NONE;
  if (ppPAL == nullptr) {
    reason = zp::MissingParameter("ppPAL", __FILE__, zp::kProbePalBlock);
  } else {
    void* block = nullptr;
    const xcsRC rc = xcsGetMemFn(sizeof(ZRFPAL), &block);
    if (rc != xcsRC_OK) {
      reason = zp::StorageReason(rc, __FILE__, zp::kProbePalBlock);
      *ppPAL = nullptr;
    } else {
      ZRFPAL* pal = static_cast<ZRFPAL*>(block);
      pal->pProps = pProps;
      pal->Size = pProps == nullptr ? 0 : Size;
      pal->Reserved = 0;
      *ppPAL = pal;
      xtr_parms(zxv::kComponent, zp::kFnAllocatePAL, "pPAL: %p", static_cast<void*>(pal));
    }
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnAllocatePAL, reason);
  return reason;
}

ZXV_API KWLONG zrfFreePAL(ZRFPAL* pPAL, KWLONG Options, KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnFreePAL);
  KWLONG reason = KWRC_NONE;
  if (pPAL != nullptr) {
    reason = zp::FreeList(pPAL);
    if (reason == KWRC_NONE && (Options & ZRF_FREE_DESCRIPTOR)) xcsFreeMemFn(pPAL);
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnFreePAL, reason);
  return reason;
}

ZXV_API KWLONG zrfDuplicatePAL(const ZRFPAL* pPALin, ZRFPAL* pPALout, KWLONG* pCompCode,
                               KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnDuplicatePAL);
  xtr_parms(zxv::kComponent, zp::kFnDuplicatePAL, "pPALin: %p", static_cast<const void*>(pPALin));
  KWLONG reason;
  if (pPALin == nullptr || pPALout == nullptr) {
    reason = zp::MissingParameter(pPALin == nullptr ? "pPALin" : "pPALout", __FILE__,
                                  zp::kProbeDuplicate);
  } else {
    reason = zp::DuplicateList(pPALin, pPALout);
    xtr_parms(zxv::kComponent, zp::kFnDuplicatePAL, "pPALout: %p", static_cast<void*>(pPALout));
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnDuplicatePAL, reason);
  return reason;
}

ZXV_API KWLONG zrfReallocatePAL(const ZRFPAL* pSource, ZRFPAL* pTarget, KWLONG* pCompCode,
                                KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnReallocatePAL);
  KWLONG reason = KWRC_NONE;
  if (pSource == nullptr || pTarget == nullptr) {
    reason = zp::MissingParameter(pSource == nullptr ? "pSource" : "pTarget", __FILE__,
                                  zp::kProbeReallocate);
  } else if (pSource->pProps == nullptr || pSource->Size == 0) {
    reason = zp::FreeList(pTarget);
  } else if (!zp::HeaderUsable(pSource)) {
    reason = zp::DamagedList(pSource, __FILE__, zp::kProbeReallocate, "Source list damaged");
  } else if (pTarget->pProps == pSource->pProps) {
    // Already the same list: nothing to copy.
  } else if (pTarget->pProps == nullptr) {
    reason = zp::DuplicateList(pSource, pTarget);
  } else {
    if (pTarget->Size < pSource->Size) {
      void* block = nullptr;
      const xcsRC rc = xcsReallocMemFn(pTarget->pProps, pSource->Size, &block);
      if (rc != xcsRC_OK) {
        reason = zp::StorageReason(rc, __FILE__, zp::kProbeReallocate);
      } else {
        pTarget->pProps = static_cast<ZRFPROPS*>(block);
        pTarget->Size = pSource->Size;
      }
    }
    if (reason == KWRC_NONE) {
      std::memcpy(pTarget->pProps, pSource->pProps, pSource->pProps->StrucLen);
    }
  }
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnReallocatePAL, reason);
  return reason;
}

}  // extern "C"
