// Replays a sequence of set, inquire, delete and reset operations, chosen by
// the input bytes, against a message handle and, side by side, against a
// plain property list driven through the property store's own calls (the
// reference). After every step:
//  - the handle's list passes zrfVerifyPropertiesFn;
//  - the handle and the reference agree: same reason, same list bytes and
//    allocation, same descriptor and MsgDescFieldsSet, and an inquiry finds
//    the same property with the same value.
// So the handle's own paths (its index, its fast set and get) are held to
// the store's results byte for byte.
//
// Input: byte 0 chooses the handle's validation; then per step an
// operation byte, a name (from a pool, or raw bytes), a type and a value.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "props/message_handle.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/message_handle.h"
#include "zxvxzu/properties.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool empty() const { return at_ >= size_; }
  uint8_t Byte() { return at_ < size_ ? data_[at_++] : 0; }
  std::vector<uint8_t> Bytes(size_t n) {
    n = std::min(n, size_ - std::min(at_, size_));
    std::vector<uint8_t> out(data_ + at_, data_ + at_ + n);
    at_ += n;
    return out;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

// Names that make groups, clash with descriptor fields, browse, or break
// the name rules.
const char* const kNames[] = {
    "a",
    "a.b",
    "a.c",
    "a.b.c",
    "b",
    "b.a",
    "ab",
    "x.y.z",
    ".x",
    "a..b",
    "t.",
    "JMSPriority",
    "Root.KWMD.Priority",
    "JMSCorrelationID",
    "Root.KWMD.Format",
    "JMSBogus",
    "a.%",
    "%",
    "a%",
    "usr.order.1",
    "usr.order.22",
};
constexpr size_t kNameCount = sizeof kNames / sizeof kNames[0];

const KWLONG kTypes[] = {KWTYPE_STRING,  KWTYPE_BOOLEAN, KWTYPE_BYTE_STRING, KWTYPE_INT8,
                         KWTYPE_INT16,   KWTYPE_INT32,   KWTYPE_INT64,       KWTYPE_FLOAT32,
                         KWTYPE_FLOAT64, KWTYPE_NULL,    KWTYPE_AS_SET,      3};
constexpr size_t kTypeCount = sizeof kTypes / sizeof kTypes[0];

// The external type of a store type code 0..9 (what an inquiry returns).
KWLONG ExternalOf(uint32_t code) {
  static const KWLONG kExternal[] = {
      KWTYPE_STRING, KWTYPE_BOOLEAN, KWTYPE_BYTE_STRING, KWTYPE_INT8,    KWTYPE_INT16,
      KWTYPE_INT32,  KWTYPE_INT64,   KWTYPE_FLOAT32,     KWTYPE_FLOAT64, KWTYPE_NULL};
  return code <= ZRF_TYPE_NULL ? kExternal[code] : -1;
}

uint32_t FixedSize(KWLONG type) {
  switch (type) {
    case KWTYPE_INT8:
      return 1;
    case KWTYPE_INT16:
      return 2;
    case KWTYPE_BOOLEAN:
    case KWTYPE_INT32:
    case KWTYPE_FLOAT32:
      return 4;
    case KWTYPE_INT64:
    case KWTYPE_FLOAT64:
      return 8;
    default:
      return 0;
  }
}

std::string NameFrom(Input& in) {
  const uint8_t pick = in.Byte();
  if (pick < 224) return kNames[pick % kNameCount];
  const std::vector<uint8_t> raw = in.Bytes(pick % 12);
  return std::string(raw.begin(), raw.end());
}

// The handle and its reference.
struct Pair {
  MsgHandleAnchor anchor{};
  KWHMSG hMsg = KWHM_NONE;
  MsgHandle* handle = nullptr;
  ZRFPAL ref{};
  KWMD refDesc{};
  KWULONG refFieldsSet = 0;
  ZRFCURSOR* refCursor = nullptr;
  ZRFWORKAREA refWork{};
  KWLONG validationOff = 0;
};

void RequireSame(const Pair& p) {
  const ZRFPAL list{p.handle->pProps, p.handle->PropsSize, 0};
  KWLONG cc;
  KWLONG rc;
  Require(zrfVerifyPropertiesFn(&list, &cc, &rc) == KWRC_NONE);
  Require(list.Size == p.ref.Size);
  Require(list.pProps->StrucLen == p.ref.pProps->StrucLen);
  Require(std::memcmp(list.pProps, p.ref.pProps, list.pProps->StrucLen) == 0);
  Require(std::memcmp(&p.handle->MsgDesc, &p.refDesc, sizeof p.refDesc) == 0);
  Require(p.handle->MsgDescFieldsSet == p.refFieldsSet);
}

void Set(Pair& p, Input& in) {
  const std::string name = NameFrom(in);
  const KWLONG type = kTypes[in.Byte() % kTypeCount];
  const uint8_t shape = in.Byte();
  const uint32_t fixed = FixedSize(type);
  const size_t length = (fixed != 0 && shape < 200) ? fixed : shape % 24;
  std::vector<uint8_t> value = in.Bytes(length);
  value.resize(length);
  KWPD pd{{'P', 'D', ' ', ' '},  KWPD_VERSION_1,  0,
          KWPD_SUPPORT_OPTIONAL, KWPD_NO_CONTEXT, KWCOPY_DEFAULT};
  const uint8_t pdByte = in.Byte();
  if (pdByte >= 240) {
    pd.Context = pdByte & 3;
    pd.CopyOptions = (pdByte & 4) ? 32 : KWCOPY_ALL;
    pd.Support = pdByte & 8 ? 0 : 0x100000;
  }
  const KWCHARV vname{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()),
                      KWCCSI_UTF8};
  KWLONG cc;
  KWLONG rc;
  const KWLONG reason =
      zstSetMessageProperty(nullptr, 1, p.hMsg, nullptr, &vname, &pd, type,
                            static_cast<KWLONG>(value.size()), value.data(), &p.anchor, &cc, &rc);
  // Checks of the handle's own come before the store.
  if (reason == KWRC_PD_ERROR || name.empty()) return;
  if (p.validationOff) pd.Support = KWPD_SUPPORT_OPTIONAL;
  uint32_t internal = ZRF_TYPE_AS_STORED;
  for (uint32_t code = 0; code <= ZRF_TYPE_NULL; ++code) {
    if (ExternalOf(code) == type) internal = code;
  }
  const KWLONG expected =
      zrfSetProperty(0, &p.ref, &p.refDesc, &p.refFieldsSet, name.data(),
                     static_cast<KWULONG>(name.size()), KWCCSI_UTF8, &pd, internal, value.data(),
                     static_cast<KWULONG>(value.size()), &p.refWork, p.validationOff, &cc, &rc);
  Require(reason == expected);
}

void Inquire(Pair& p, Input& in) {
  const std::string name = NameFrom(in);
  const uint8_t how = in.Byte();
  KWLONG options = KWIMPO_INQ_FIRST;
  if (how & 1) options = KWIMPO_INQ_NEXT;
  if ((how & 6) == 6) options = KWIMPO_INQ_PROP_UNDER_CURSOR;
  const bool convert = (how & 8) != 0;
  if (convert) options |= KWIMPO_CONVERT_TYPE;
  KWIMPO impo = KWIMPO_DEFAULT_INIT;
  impo.Options = options;
  char returned[8];
  if (how & 16) impo.ReturnedName = KWCHARV{returned, 0, sizeof returned, 0, KWCCSI_UTF8};
  KWLONG type = kTypes[in.Byte() % kTypeCount];
  uint8_t value[64];
  const KWLONG size = (how & 32) ? 3 : static_cast<KWLONG>(sizeof value);
  KWLONG length = -1;
  const KWCHARV vname{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()),
                      KWCCSI_UTF8};
  KWLONG cc;
  KWLONG rc;
  const KWLONG reason = zstInquireMessageProperty(nullptr, 1, p.hMsg, &impo, &vname, nullptr, &type,
                                                  size, value, &length, &p.anchor, &cc, &rc);
  if (name.empty() && !(options & KWIMPO_INQ_PROP_UNDER_CURSOR)) return;

  ZRFPROPINFO info{};
  const KWLONG found = zrfGetPropertyWithBrowse(
      options & (KWIMPO_INQ_NEXT | KWIMPO_INQ_PROP_UNDER_CURSOR), &p.ref, &p.refDesc, &p.refCursor,
      name.data(), static_cast<KWULONG>(name.size()), KWCCSI_UTF8, &p.refWork, &info, &cc, &rc);
  // The browse found the same property or none, and left the cursors alike.
  Require((reason == KWRC_PROPERTY_NOT_AVAILABLE) == (found == KWRC_PROPERTY_NOT_AVAILABLE));
  const ZRFCURSOR* mine = p.handle->pCursor;
  Require((mine == nullptr) == (p.refCursor == nullptr));
  if (mine != nullptr) {
    Require(mine->NameLength == p.refCursor->NameLength);
    Require(mine->NameCCSID == p.refCursor->NameCCSID);
    Require(std::memcmp(mine->pName, p.refCursor->pName, mine->NameLength) == 0);
  }
  if (found != KWRC_NONE || convert) return;
  if (reason == KWRC_NONE || reason == KWRC_PROPERTY_NAME_TOO_BIG) {
    // As stored: the value's bytes themselves (text in the list's CCSID).
    const uint32_t code = info.TypeFlags & ZRF_TYPE_MASK;
    if ((info.TypeFlags & ZRF_FLAG_STRING_FORM) == 0 && code <= ZRF_TYPE_NULL) {
      Require(type == ExternalOf(code));
      Require(length == static_cast<KWLONG>(info.ValueLength));
      Require(info.ValueLength == 0 || std::memcmp(value, info.pValue, info.ValueLength) == 0);
    }
  } else if (reason == KWRC_PROPERTY_VALUE_TOO_BIG) {
    Require(length == static_cast<KWLONG>(info.ValueLength));
  }
}

void Delete(Pair& p, Input& in) {
  const std::string name = NameFrom(in);
  const bool underCursor = in.Byte() >= 224;
  const KWDMPO dmpo{{'D', 'M', 'P', 'O'},
                    KWDMPO_VERSION_1,
                    underCursor ? KWDMPO_DEL_PROP_UNDER_CURSOR : KWDMPO_DEL_FIRST};
  const KWCHARV vname{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()),
                      KWCCSI_UTF8};
  KWLONG cc;
  KWLONG rc;
  const KWLONG reason =
      zstDeleteMessageProperty(nullptr, 1, p.hMsg, &dmpo, &vname, &p.anchor, &cc, &rc);
  std::string target = name;
  if (underCursor) {
    if (p.refCursor == nullptr || p.refCursor->NameLength == 0) {
      Require(reason == KWRC_PROPERTY_NOT_AVAILABLE);
      return;
    }
    target.assign(reinterpret_cast<const char*>(p.refCursor->pName), p.refCursor->NameLength);
  }
  if (target.empty()) return;
  const KWLONG expected =
      zrfDeleteProperty(0, &p.ref, &p.refDesc, &p.refFieldsSet, target.data(),
                        static_cast<KWULONG>(target.size()), KWCCSI_UTF8, &p.refWork, &cc, &rc);
  Require(reason == expected);
}

void Reset(Pair& p, Input& in) {
  const bool descriptor = in.Byte() & 1;
  zstResetMessageHandle(nullptr, p.handle, descriptor ? 1 : 0);
  std::memcpy(p.ref.pProps, p.handle->pProps, ZRFP_HEADER_LENGTH);  // the default header
  if (descriptor) {
    p.refDesc = p.handle->MsgDesc;
    p.refFieldsSet = 0;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  Pair p;
  const KWCMHO cmho{{'C', 'M', 'H', 'O'},
                    KWCMHO_VERSION_1,
                    (in.Byte() & 1) ? KWCMHO_VALIDATE : KWCMHO_DEFAULT_VALIDATION};
  KWLONG cc;
  KWLONG rc;
  Require(zstCreateMessageHandle(nullptr, 1, &cmho, &p.anchor, &p.hMsg, &cc, &rc) == KWRC_NONE);
  p.handle = zxv::props::HandleOf(p.hMsg);
  p.validationOff = static_cast<KWLONG>(p.handle->ValidationOff);
  const ZRFPAL initial{p.handle->pProps, p.handle->PropsSize, 0};
  Require(zrfDuplicatePAL(&initial, &p.ref, &cc, &rc) == KWRC_NONE);
  p.refDesc = p.handle->MsgDesc;

  for (int steps = 0; !in.empty() && steps < 400; ++steps) {
    const uint8_t op = in.Byte();
    if (op < 110) {
      Set(p, in);
    } else if (op < 190) {
      Inquire(p, in);
    } else if (op < 245) {
      Delete(p, in);
    } else {
      Reset(p, in);
    }
    RequireSame(p);
  }

  Require(zstDeleteMessageHandle(nullptr, 1, &p.hMsg, nullptr, &p.anchor, &cc, &rc) == KWRC_NONE);
  zrfFreePAL(&p.ref, 0, &cc, &rc);
  zrfFreeCursor(&p.refCursor);
  xcsFreeMemFn(p.refWork.pBuffer);
  return 0;
}
