// Properties of a handle: set, inquire (with browsing) and delete
// (zstSetMessageProperty, zstInquireMessageProperty,
// zstDeleteMessageProperty). Each runs under the handle's thread lock (type
// 0), hands the handle's list, descriptor, cursor and work area to the
// property store, and stores back the list, which the store may have moved.
#include <cstring>

#include "props/message_handle.h"
#include "props/message_handle_express.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeRelease = 1;

constexpr KWLONG kValidContextMask = KWPD_USER_CONTEXT;

using NameRef = PropertyName;

int32_t EffectiveCcsid(KWLONG ccsid) { return ccsid == KWCCSI_APPL ? XCS_NATIVE_CCSID : ccsid; }

// Bytes before the first NUL character of the CCSID's width.
uint32_t TerminatedLength(const uint8_t* p, int32_t ccsid) {
  if (p == nullptr) return 0;
  if (xcsIsTwoByteCCSID(ccsid)) {
    uint32_t n = 0;
    while (p[n] != 0 || p[n + 1] != 0) n += 2;
    return n;
  }
  return static_cast<uint32_t>(std::strlen(reinterpret_cast<const char*>(p)));
}

// The name a KWCHARV describes. 2442 when there is none to be had.
KWLONG ResolveName(const KWCHARV* v, NameRef* out) {
  if (v == nullptr) return KWRC_PROPERTY_NAME_ERROR;
  const uint8_t* p = static_cast<const uint8_t*>(v->VSPtr);
  if (p == nullptr && v->VSOffset > 0) p = reinterpret_cast<const uint8_t*>(v) + v->VSOffset;
  out->ccsid = EffectiveCcsid(v->VSCCSID);
  if (v->VSLength == KWVS_NULL_TERMINATED) {
    out->length = TerminatedLength(p, out->ccsid);
  } else if (v->VSLength < 0) {
    return KWRC_PROPERTY_NAME_ERROR;
  } else {
    out->length = static_cast<uint32_t>(v->VSLength);
  }
  if (p == nullptr || out->length == 0) return KWRC_PROPERTY_NAME_ERROR;
  out->data = p;
  return KWRC_NONE;
}

KWLONG CheckPropertyDescriptor(const KWPD& pd, uint32_t fn) {
  if ((pd.Context & ~kValidContextMask) != 0) {
    if ((pd.Context & (pd.Context - 1)) != 0) {
      xtr_text_detail(kComponent, fn, "Multiple KWPD Context values");
    } else {
      xtr_text_detail(kComponent, fn, "Unsupported KWPD Context value");
    }
    return KWRC_PD_ERROR;
  }
  if ((pd.CopyOptions & ~KWCOPY_VALID_MASK) != 0) {
    xtr_text_detail(kComponent, fn, "Unsupported KWPD CopyOptions value");
    return KWRC_PD_ERROR;
  }
  return KWRC_NONE;
}

// Takes back the list from a store call. A change that moved nodes (and so
// changed the bytes in use) or the list leaves the index behind; one that
// did not (a value rewritten in place, a descriptor field) keeps it.
void StoreListAfterStore(MsgHandle* handle, const ZRFPAL& pal, uint32_t strucLenBefore) {
  const bool moved = pal.pProps != handle->pProps ||
                     (pal.pProps != nullptr && pal.pProps->StrucLen != strucLenBefore);
  StoreList(handle, pal);
  if (moved) NoteListChanged(handle);
}

uint32_t StrucLenOf(const MsgHandle* handle) {
  return handle->pProps != nullptr ? handle->pProps->StrucLen : 0;
}

KWPD DefaultPropertyDescriptor() {
  KWPD pd;
  std::memcpy(pd.StrucId, KWPD_STRUC_ID, sizeof pd.StrucId);
  pd.Version = KWPD_VERSION_1;
  pd.Options = KWPD_NONE;
  pd.Support = KWPD_SUPPORT_OPTIONAL;
  pd.Context = KWPD_NO_CONTEXT;
  pd.CopyOptions = KWCOPY_DEFAULT;
  return pd;
}

// The thread lock of a property call, released whatever the outcome.
class PropertyCallLock {
 public:
  PropertyCallLock(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg, MsgHandleAnchor* anchor,
                   const char* description, uint32_t fn)
      : thread_(thread != nullptr ? thread : xihCurrentThread()) {  // looked up once per call
    reason_ = AcquireForCall(thread_, hConn, hMsg, anchor, description, fn, &handle_);
  }
  ~PropertyCallLock() {
    if (handle_ != nullptr && ReleaseForCall(thread_, handle_) != ZXVRC_OK) {
      xcsERDPFn(kComponent, __FILE__, kProbeRelease, ZSTRC_UNEXPECTED_ERROR,
                "Cannot release the message handle after a property call", nullptr, 0);
    }
  }
  PropertyCallLock(const PropertyCallLock&) = delete;
  PropertyCallLock& operator=(const PropertyCallLock&) = delete;

  KWLONG reason() const { return reason_; }
  MsgHandle* handle() const { return handle_; }

 private:
  xihTHREAD* thread_;
  MsgHandle* handle_ = nullptr;
  KWLONG reason_;
};

KWLONG SetOnHandle(MsgHandle* handle, KWLONG options, const KWCHARV* name, const KWPD* pd,
                   KWLONG type, KWLONG valueLength, const void* value) {
  constexpr uint32_t fn = kFnSetMessageProperty;
  KWPD descriptor = pd != nullptr ? *pd : DefaultPropertyDescriptor();
  // Properties of a handle that does not validate are never marked as
  // needing support by the receiver.
  if (handle->ValidationOff) descriptor.Support = KWPD_SUPPORT_OPTIONAL;
  if (const KWLONG reason = CheckPropertyDescriptor(descriptor, fn); reason != KWRC_NONE) {
    return reason;
  }
  NameRef ref;
  if (const KWLONG reason = ResolveName(name, &ref); reason != KWRC_NONE) return reason;
  if (valueLength < 0) return KWRC_PROPERTY_TYPE_ERROR;
  const uint32_t internalType = InternalTypeOf(type);
  KWLONG reason;
  if (SetPropertyFast(handle, ref, descriptor, internalType, value,
                      static_cast<uint32_t>(valueLength), &reason)) {
    return reason;
  }
  ZRFPAL pal = ListOf(handle);
  const uint32_t before = StrucLenOf(handle);
  reason = zrfSetProperty(options, &pal, &handle->MsgDesc, &handle->MsgDescFieldsSet, ref.data,
                          ref.length, ref.ccsid, &descriptor, internalType, value,
                          static_cast<KWULONG>(valueLength), &handle->Work.Store,
                          static_cast<KWLONG>(handle->ValidationOff), nullptr, nullptr);
  StoreListAfterStore(handle, pal, before);
  return reason;
}

bool IsWarning(KWLONG reason) {
  return reason == KWRC_PROPERTY_NAME_TOO_BIG || reason == KWRC_PROP_VALUE_NOT_CONVERTED ||
         reason == KWRC_PROP_NAME_NOT_CONVERTED;
}

KWLONG InquireOnHandle(MsgHandle* handle, KWIMPO* impo, const KWCHARV* name, KWPD* pd, KWLONG* type,
                       KWLONG valueLength, void* value, KWLONG* dataLength) {
  constexpr uint32_t fn = kFnInquireMessageProperty;
  const KWLONG options = impo != nullptr ? impo->Options : KWIMPO_INQ_FIRST;
  const uint32_t requestedType = (options & KWIMPO_CONVERT_TYPE) && type != nullptr
                                     ? InternalTypeOf(*type)
                                     : uint32_t{ZRF_TYPE_AS_STORED};
  KWULONG storeOptions =
      static_cast<KWULONG>(options) & (KWIMPO_INQ_NEXT | KWIMPO_INQ_PROP_UNDER_CURSOR);
  static_assert(KWIMPO_INQ_NEXT == ZRF_GET_BROWSE_NEXT, "browse options pass through");
  static_assert(KWIMPO_INQ_PROP_UNDER_CURSOR == ZRF_GET_UNDER_CURSOR,
                "browse options pass through");
  if (handle->pProps != nullptr && (handle->pProps->VersionFlags & ZRFP_FLAG_VERIFY)) {
    storeOptions |= ZRF_GET_VERIFY;
  }
  NameRef ref;
  if ((options & KWIMPO_INQ_PROP_UNDER_CURSOR) == 0) {
    if (const KWLONG reason = ResolveName(name, &ref); reason != KWRC_NONE) return reason;
  }
  ZRFPROPINFO info{};
  KWLONG reason;
  const bool browsing = (storeOptions & (ZRF_GET_BROWSE_NEXT | ZRF_GET_UNDER_CURSOR)) != 0;
  if (browsing || !GetPropertyFast(handle, ref, &info, &reason)) {
    ZRFPAL pal = ListOf(handle);
    reason = zrfGetPropertyWithBrowse(static_cast<KWLONG>(storeOptions), &pal, &handle->MsgDesc,
                                      &handle->pCursor, ref.data, ref.length, ref.ccsid,
                                      &handle->Work.Store, &info, nullptr, nullptr);
  }
  if (reason != KWRC_NONE) return reason;
  KWLONG returnedType = KWTYPE_AS_SET;
  reason = CopyPropertyValue(info, impo, requestedType, &returnedType, pd, valueLength, value,
                             dataLength, &handle->Work.Store);
  if (type != nullptr && (reason == KWRC_NONE || IsWarning(reason))) *type = returnedType;
  if (impo != nullptr && (impo->ReturnedName.VSBufSize > 0 || (options & KWIMPO_QUERY_LENGTH))) {
    const KWLONG nameReason = CalculatePropertyName(info, impo, &handle->Work.Store, fn);
    if (reason == KWRC_NONE) reason = nameReason;
  }
  return reason;
}

KWLONG DeleteOnHandle(MsgHandle* handle, KWLONG options, const KWCHARV* name) {
  NameRef ref;
  if (options & KWDMPO_DEL_PROP_UNDER_CURSOR) {
    const ZRFCURSOR* cursor = handle->pCursor;
    if (cursor == nullptr || cursor->pName == nullptr || cursor->NameLength == 0) {
      return KWRC_PROPERTY_NOT_AVAILABLE;
    }
    ref = NameRef{cursor->pName, cursor->NameLength, cursor->NameCCSID};
  } else if (const KWLONG reason = ResolveName(name, &ref); reason != KWRC_NONE) {
    return reason;
  }
  ZRFPAL pal = ListOf(handle);
  const uint32_t before = StrucLenOf(handle);
  const KWLONG reason =
      zrfDeleteProperty(options, &pal, &handle->MsgDesc, &handle->MsgDescFieldsSet, ref.data,
                        ref.length, ref.ccsid, &handle->Work.Store, nullptr, nullptr);
  StoreListAfterStore(handle, pal, before);
  return reason;
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

namespace {

KWLONG Finish(KWLONG reason, uint32_t fn, KWLONG* pCompCode, KWLONG* pReason) {
  if (pCompCode != nullptr) {
    *pCompCode = reason == KWRC_NONE ? KWCC_OK : zp::IsWarning(reason) ? KWCC_WARNING : KWCC_FAILED;
  }
  if (pReason != nullptr) *pReason = reason;
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

// The general paths of set and inquire: every call that the express path
// does not take, traced. Out of line, so that the exported functions keep
// the small frame of the express path.
[[gnu::noinline]] KWLONG SetGeneral(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                    const KWSMPO* pSetPropOpts, const KWCHARV* pName,
                                    const KWPD* pPropDesc, KWLONG Type, KWLONG ValueLength,
                                    const void* pValue, MsgHandleAnchor* pAnchor, KWLONG* pCompCode,
                                    KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnSetMessageProperty;
  xtr_FNC_entry(zxv::kComponent, fn);
  xtr_parms(zxv::kComponent, fn, "hConn: %d, hMsg: 0x%llx, Type: %d, ValueLength: %d", hConn,
            static_cast<unsigned long long>(hMsg), Type, ValueLength);
  KWLONG reason;
  {
    zp::PropertyCallLock lock(pThread, hConn, hMsg, pAnchor, "zstSetMessageProperty", fn);
    reason = lock.reason();
    if (reason == KWRC_NONE) {
      reason = zp::SetOnHandle(lock.handle(),
                               pSetPropOpts != nullptr ? pSetPropOpts->Options : KWSMPO_SET_FIRST,
                               pName, pPropDesc, Type, ValueLength, pValue);
    }
  }
  return Finish(reason, fn, pCompCode, pReason);
}

[[gnu::noinline]] KWLONG InquireGeneral(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                        KWIMPO* pInqPropOpts, const KWCHARV* pName, KWPD* pPropDesc,
                                        KWLONG* pType, KWLONG ValueLength, void* pValue,
                                        KWLONG* pDataLength, MsgHandleAnchor* pAnchor,
                                        KWLONG* pCompCode, KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnInquireMessageProperty;
  xtr_FNC_entry(zxv::kComponent, fn);
  xtr_parms(zxv::kComponent, fn, "hConn: %d, hMsg: 0x%llx, Options: 0x%X", hConn,
            static_cast<unsigned long long>(hMsg),
            pInqPropOpts != nullptr ? pInqPropOpts->Options : 0);
  if (pDataLength != nullptr) *pDataLength = 0;
  KWLONG reason;
  {
    zp::PropertyCallLock lock(pThread, hConn, hMsg, pAnchor, "zstInquireMessageProperty", fn);
    reason = lock.reason();
    if (reason == KWRC_NONE) {
      reason = zp::InquireOnHandle(lock.handle(), pInqPropOpts, pName, pPropDesc, pType,
                                   ValueLength, pValue, pDataLength);
    }
  }
  return Finish(reason, fn, pCompCode, pReason);
}

// The codes of a call the express path finished (no trace: it runs with
// trace off).
KWLONG ExpressCodes(KWLONG reason, KWLONG* pCompCode, KWLONG* pReason) {
  if (pCompCode != nullptr) {
    *pCompCode = reason == KWRC_NONE ? KWCC_OK : zp::IsWarning(reason) ? KWCC_WARNING : KWCC_FAILED;
  }
  if (pReason != nullptr) *pReason = reason;
  return reason;
}

}  // namespace

extern "C" {

ZXV_API KWLONG zstSetMessageProperty(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                     const KWSMPO* pSetPropOpts, const KWCHARV* pName,
                                     const KWPD* pPropDesc, KWLONG Type, KWLONG ValueLength,
                                     const void* pValue, MsgHandleAnchor* pAnchor,
                                     KWLONG* pCompCode, KWLONG* pReason) {
  KWLONG reason;
  if (!xtr_active(XTR_LEVEL_FLOW) &&
      zp::SetPropertyExpress(pThread, hConn, hMsg, pName, pPropDesc, Type, ValueLength, pValue,
                             pAnchor, &reason)) {
    return ExpressCodes(reason, pCompCode, pReason);
  }
  return SetGeneral(pThread, hConn, hMsg, pSetPropOpts, pName, pPropDesc, Type, ValueLength, pValue,
                    pAnchor, pCompCode, pReason);
}

ZXV_API KWLONG zstInquireMessageProperty(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                         KWIMPO* pInqPropOpts, const KWCHARV* pName,
                                         KWPD* pPropDesc, KWLONG* pType, KWLONG ValueLength,
                                         void* pValue, KWLONG* pDataLength,
                                         MsgHandleAnchor* pAnchor, KWLONG* pCompCode,
                                         KWLONG* pReason) {
  KWLONG reason;
  if (!xtr_active(XTR_LEVEL_FLOW) &&
      zp::InquirePropertyExpress(pThread, hConn, hMsg, pInqPropOpts, pName, pPropDesc, pType,
                                 ValueLength, pValue, pDataLength, pAnchor, &reason)) {
    return ExpressCodes(reason, pCompCode, pReason);
  }
  return InquireGeneral(pThread, hConn, hMsg, pInqPropOpts, pName, pPropDesc, pType, ValueLength,
                        pValue, pDataLength, pAnchor, pCompCode, pReason);
}

ZXV_API KWLONG zstDeleteMessageProperty(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                        const KWDMPO* pDltPropOpts, const KWCHARV* pName,
                                        MsgHandleAnchor* pAnchor, KWLONG* pCompCode,
                                        KWLONG* pReason) {
  constexpr uint32_t fn = zp::kFnDeleteMessageProperty;
  xtr_FNC_entry(zxv::kComponent, fn);
  const KWLONG options = pDltPropOpts != nullptr ? pDltPropOpts->Options : KWDMPO_DEL_FIRST;
  xtr_parms(zxv::kComponent, fn, "hConn: %d, hMsg: 0x%llx, Options: 0x%X", hConn,
            static_cast<unsigned long long>(hMsg), options);
  KWLONG reason;
  {
    zp::PropertyCallLock lock(pThread, hConn, hMsg, pAnchor, "zstDeleteMessageProperty", fn);
    reason = lock.reason();
    if (reason == KWRC_NONE) reason = zp::DeleteOnHandle(lock.handle(), options, pName);
  }
  return Finish(reason, fn, pCompCode, pReason);
}

}  // extern "C"
