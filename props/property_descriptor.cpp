// The store's side of names whose value lives in the message descriptor:
// finding their mapping, reading, writing and restoring the fields, on the
// mapping table of descriptor_fields.h.
#include <algorithm>

#include "props/descriptor_fields.h"
#include "props/property_names.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

// Text in descriptor fields is in the machine's own CCSID.
constexpr int32_t kDescriptorCcsid = XCS_NATIVE_CCSID;

KWMD MakeDefaultDescriptor() {
  KWMD md;
  std::memset(&md, 0, sizeof md);
  std::memcpy(md.StrucId, KWMD_STRUC_ID, sizeof md.StrucId);
  md.Version = KWMD_VERSION_2;
  md.MsgType = KWMT_DATAGRAM;
  md.Expiry = KWEI_UNLIMITED;
  md.Encoding = KWENC_NATIVE;
  std::memset(md.Format, ' ', sizeof md.Format);
  md.Priority = KWPRI_PRIORITY_AS_Q_DEF;
  md.Persistence = KWPER_PERSISTENCE_AS_Q_DEF;
  md.MsgSeqNumber = 1;
  md.OriginalLength = KWOL_UNDEFINED;
  return md;
}

const KWMD kDefaultDescriptor = MakeDefaultDescriptor();

bool HasUsableList(const ZRFPAL* pal) {
  return pal != nullptr && pal->pProps != nullptr && HeaderUsable(pal);
}

KWLONG AccessReason(MdAccess access) {
  switch (access) {
    case MdAccess::kOk:
      return KWRC_NONE;
    case MdAccess::kNoValue:
      return KWRC_PROPERTY_NOT_AVAILABLE;
    case MdAccess::kTypeMismatch:
    case MdAccess::kLengthError:
    case MdAccess::kValueError:
      break;
  }
  return KWRC_PROPERTY_TYPE_ERROR;
}

bool MaskedMapping(const DescriptorMapping& m) {
  return m.kind == MdValueKind::kReportBits || m.kind == MdValueKind::kFlag;
}

}  // namespace

const KWMD& DefaultMessageDescriptor() { return kDefaultDescriptor; }

uint8_t NameFamilyOf(int32_t nameCcsid, const ZRFPAL* pal) {
  if (nameCcsid == 0) {
    return HasUsableList(pal) && pal->pProps->CCSID != 0 ? pal->pProps->CCSIDType
                                                         : uint8_t{XCS_CCSID_TYPE_UTF8};
  }
  return xcsGetCCSIDType(nameCcsid, kNativeEncoding);
}

int32_t NameCcsidOf(int32_t nameCcsid, const ZRFPAL* pal) {
  if (nameCcsid != 0) return nameCcsid;
  return HasUsableList(pal) && pal->pProps->CCSID != 0 ? pal->pProps->CCSID : kStoreCcsid;
}

const DescriptorMapping* DescriptorMappingOf(const uint8_t* name, uint32_t nameLength,
                                             uint8_t family) {
  const NameId id = FindKnownName(NameBytes{name, nameLength, static_cast<NameFamily>(family)});
  return id == ZRF_NAME_NONE ? nullptr : FindDescriptorMapping(id);
}

KWLONG ReadDescriptorProperty(const KWMD& md, const DescriptorMapping& mapping, const uint8_t* name,
                              uint32_t nameLength, int32_t nameCcsid, ZRFPROPINFO* info) {
  MdValue value;
  if (const KWLONG reason = AccessReason(ReadDescriptorValue(md, mapping, &value));
      reason != KWRC_NONE) {
    return reason;
  }
  *info = ZRFPROPINFO{};
  info->TypeFlags = static_cast<KWULONG>(value.type);
  info->Support = KWPD_SUPPORT_OPTIONAL;
  info->Context = KWPD_NO_CONTEXT;
  info->CopyOptions = KWCOPY_ALL;  // the descriptor goes with every copy
  info->pName = name;
  info->NameLength = nameLength;
  info->NameCCSID = nameCcsid;
  info->ValueCCSID = kDescriptorCcsid;
  info->Source = ZRF_SOURCE_DESCRIPTOR;
  switch (value.type) {
    case MdPropType::kString:
    case MdPropType::kBytes:
      info->pValue = value.bytes;
      info->ValueLength = value.length;
      break;
    case MdPropType::kInt64: {
      const int64_t v = value.integer;
      std::memcpy(&info->Scalar, &v, sizeof v);
      info->pValue = &info->Scalar;
      info->ValueLength = sizeof v;
      break;
    }
    default: {  // 32-bit integers and booleans, and the narrower integers as 32 bits
      const int32_t v = static_cast<int32_t>(value.integer);
      std::memcpy(&info->Scalar, &v, sizeof v);
      info->pValue = &info->Scalar;
      info->ValueLength = FixedValueSize(static_cast<uint32_t>(value.type));
      if (info->ValueLength != sizeof v) {
        info->TypeFlags = ZRF_TYPE_INT32;
        info->ValueLength = sizeof v;
      }
      break;
    }
  }
  return KWRC_NONE;
}

KWLONG WriteDescriptorProperty(KWMD* md, KWULONG* fieldsSet, const DescriptorMapping& mapping,
                               uint32_t typeFlags, const void* value, uint32_t valueLength,
                               int32_t valueCcsid, ZRFWORKAREA* work, uint32_t fn) {
  const uint32_t code = typeFlags & ZRF_TYPE_MASK;
  // Text spelling another type, floats, nulls and untyped values have no
  // descriptor field to go into.
  if ((typeFlags & ZRF_FLAG_STRING_FORM) || code > static_cast<uint32_t>(MdPropType::kInt64)) {
    return KWRC_PROPERTY_TYPE_ERROR;
  }
  if (value == nullptr && valueLength != 0) return KWRC_PROPERTY_TYPE_ERROR;
  ScratchSpace scratch(work);
  if (code == ZRF_TYPE_STRING && NeedsConversion(valueCcsid, kDescriptorCcsid)) {
    Text converted;
    if (const KWLONG reason = ConvertText(valueCcsid, kDescriptorCcsid,
                                          Text{static_cast<const uint8_t*>(value), valueLength},
                                          Text{}, false, &scratch, &converted, nullptr, fn);
        reason != KWRC_NONE) {
      return reason;
    }
    value = converted.data;
    valueLength = converted.length;
  }
  uint32_t bits = fieldsSet != nullptr ? *fieldsSet : 0;
  const MdAccess access =
      WriteDescriptorValue(md, &bits, mapping, static_cast<MdPropType>(code), value, valueLength);
  if (access == MdAccess::kOk && fieldsSet != nullptr) *fieldsSet = bits;
  return AccessReason(access);
}

KWLONG RestoreDescriptorField(KWMD* md, KWULONG* fieldsSet, const DescriptorMapping& mapping) {
  if (fieldsSet != nullptr && (*fieldsSet & mapping.fieldBits) == 0) {
    return KWRC_PROPERTY_NOT_AVAILABLE;
  }
  uint8_t* field = reinterpret_cast<uint8_t*>(md) + mapping.offset;
  const uint8_t* original = reinterpret_cast<const uint8_t*>(&kDefaultDescriptor) + mapping.offset;
  if (MaskedMapping(mapping)) {
    int32_t now;
    int32_t was;
    std::memcpy(&now, field, sizeof now);
    std::memcpy(&was, original, sizeof was);
    now = (now & ~mapping.mask) | (was & mapping.mask);
    std::memcpy(field, &now, sizeof now);
  } else {
    std::memcpy(field, original, mapping.width);
  }
  // A field shared by several names (Report, MsgFlags) stays marked while
  // other bits of it are still set.
  if (fieldsSet != nullptr && std::memcmp(field, original, mapping.width) == 0) {
    *fieldsSet &= ~mapping.fieldBits;
  }
  return KWRC_NONE;
}

}  // namespace zxv::props
