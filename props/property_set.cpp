// The set and delete paths of message handles: names that map onto fields
// of the message descriptor change the descriptor, every other name the
// property list.
#include "props/property_names.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;

KWLONG SetProperty(ZRFPAL* pal, KWMD* md, KWULONG* fieldsSet, const uint8_t* name,
                   uint32_t nameLength, int32_t nameCcsid, const KWPD* pd, KWULONG type,
                   const void* value, uint32_t valueLength, ZRFWORKAREA* work, bool validationOff,
                   uint32_t fn) {
  if (name == nullptr || nameLength == 0) return KWRC_PROPERTY_NAME_ERROR;
  const int32_t ccsid = NameCcsidOf(nameCcsid, pal);
  const uint8_t family = NameFamilyOf(nameCcsid, pal);
  if (!validationOff) {
    NameId id = ZRF_NAME_NONE;
    if (const KWLONG reason =
            ValidatePropertyName(name, static_cast<KWLONG>(nameLength), ccsid, family, &id);
        reason != KWRC_NONE) {
      return reason;
    }
  }
  if (md != nullptr) {
    if (const DescriptorMapping* mapping = DescriptorMappingOf(name, nameLength, family)) {
      return WriteDescriptorProperty(md, fieldsSet, *mapping, type, value, valueLength, ccsid, work,
                                     fn);
    }
  }
  // Name-only entries and untyped values are not something a caller sets.
  if ((type & ZRF_TYPE_MASK) > ZRF_TYPE_NULL) return KWRC_PROPERTY_TYPE_ERROR;
  return AppendProperty(pal, name, nameLength, nameCcsid, type, value, valueLength, pd, work, fn);
}

KWLONG DeleteProperty(ZRFPAL* pal, KWMD* md, KWULONG* fieldsSet, const uint8_t* name,
                      uint32_t nameLength, int32_t nameCcsid, ZRFWORKAREA* work, uint32_t fn) {
  if (name == nullptr || nameLength == 0) return KWRC_PROPERTY_NAME_ERROR;
  if (md != nullptr) {
    if (const DescriptorMapping* mapping =
            DescriptorMappingOf(name, nameLength, NameFamilyOf(nameCcsid, pal))) {
      return RestoreDescriptorField(md, fieldsSet, *mapping);
    }
  }
  return DeleteNamedProperty(pal, name, nameLength, nameCcsid, work, fn);
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfSetProperty(KWLONG Options, ZRFPAL* pPAL, KWMD* pMsgDesc,
                              KWULONG* pMsgDescFieldsSet, const void* pName, KWULONG NameLength,
                              KWLONG NameCCSID, const KWPD* pPD, KWULONG Type, const void* pValue,
                              KWULONG ValueLength, ZRFWORKAREA* pWork, KWLONG ValidationOff,
                              KWLONG* pCompCode, KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnSetProperty);
  xtr_parms(zxv::kComponent, zp::kFnSetProperty, "Options: 0x%X, Type: 0x%X", Options, Type);
  const KWLONG reason =
      pPAL == nullptr
          ? zp::MissingParameter("pPAL", __FILE__, zp::kProbeMissing)
          : zp::SetProperty(pPAL, pMsgDesc, pMsgDescFieldsSet, static_cast<const uint8_t*>(pName),
                            NameLength, NameCCSID, pPD, Type, pValue, ValueLength, pWork,
                            ValidationOff != 0, zp::kFnSetProperty);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnSetProperty, reason);
  return reason;
}

ZXV_API KWLONG zrfDeleteProperty(KWLONG Options, ZRFPAL* pPAL, KWMD* pMsgDesc,
                                 KWULONG* pMsgDescFieldsSet, const void* pName, KWULONG NameLength,
                                 KWLONG NameCCSID, ZRFWORKAREA* pWork, KWLONG* pCompCode,
                                 KWLONG* pReason) {
  xtr_FNC_entry(zxv::kComponent, zp::kFnDeleteProperty);
  xtr_parms(zxv::kComponent, zp::kFnDeleteProperty, "Options: 0x%X", Options);
  const KWLONG reason = pPAL == nullptr
                            ? zp::MissingParameter("pPAL", __FILE__, zp::kProbeMissing)
                            : zp::DeleteProperty(pPAL, pMsgDesc, pMsgDescFieldsSet,
                                                 static_cast<const uint8_t*>(pName), NameLength,
                                                 NameCCSID, pWork, zp::kFnDeleteProperty);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, zp::kFnDeleteProperty, reason);
  return reason;
}

}  // extern "C"
