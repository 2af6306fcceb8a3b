// Name validity checks over the class tables.
#include "base/name_checks.h"

#include <cstring>

#include "base/name_char_classes.h"
#include "base/name_fn_numbers.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/names.h"

namespace zxv::base {
namespace {

constexpr int32_t kNoAsterisk = -1;

// True when every byte of name[from, end) is a blank. The blank is the only
// byte of class kBlank in every table, so one comparison serves them all.
bool BlanksOnly(const char* name, int from, int end) {
  static constexpr char kBlanks[KW_OBJECT_NAME_LENGTH + 1] =
      "                                                ";
  static_assert(sizeof kBlanks == KW_OBJECT_NAME_LENGTH + 1 &&
                kBlanks[KW_OBJECT_NAME_LENGTH - 1] == ' ');
  return from >= end || std::memcmp(name + from, kBlanks, static_cast<size_t>(end - from)) == 0;
}

// The object-name scan behind CheckObjectName and CheckQueueManagerName.
// On a valid verdict *asterisk holds the '*' position or kNoAsterisk.
Rc ScanObjectName(const char* name, int32_t options, int32_t* asterisk) {
  *asterisk = kNoAsterisk;
  for (int p = 0; p < KW_OBJECT_NAME_LENGTH; ++p) {
    // Most bytes are plain name characters: skip them in a tight loop.
    while (p < KW_OBJECT_NAME_LENGTH && ClassOf(kObjectNameClass, name[p]) == CharClass::kName) ++p;
    if (p == KW_OBJECT_NAME_LENGTH) break;
    const CharClass cls = ClassOf(kObjectNameClass, name[p]);
    switch (cls) {
      case CharClass::kName:
        continue;
      case CharClass::kDotSlash:
        if (options & ZUT_NAME_NO_DOT_SLASH) return ZXVRC_INVALID_NAME;
        continue;
      case CharClass::kHyphen:
        if ((options & ZUT_NAME_ALLOW_HYPHEN) && p != 0) continue;
        return ZXVRC_INVALID_NAME;
      case CharClass::kBlank:
      case CharClass::kAsterisk:
        break;
      default:
        return ZXVRC_INVALID_NAME;
    }
    // A blank or '*' ends the name: only blanks may follow, so a '*' must be
    // the last non-blank character and a NUL in the padding is refused.
    if (!BlanksOnly(name, p + 1, KW_OBJECT_NAME_LENGTH)) {
      return ZXVRC_INVALID_NAME;
    }
    if (cls == CharClass::kBlank) {
      if (p == 0 && !(options & ZUT_NAME_ALLOW_BLANK)) return ZXVRC_INVALID_NAME;
      return ZXVRC_OK;
    }
    if (!(options & ZUT_NAME_ALLOW_GENERIC)) return ZXVRC_INVALID_NAME;
    *asterisk = p;
    return ZXVRC_OK;
  }
  return ZXVRC_OK;  // full width, no padding
}

}  // namespace

Rc CheckObjectName(const char* name, int32_t options, int32_t* asteriskPos) {
  if (name == nullptr) return ZXVRC_INVALID_NAME;
  int32_t asterisk = kNoAsterisk;
  const Rc rc = ScanObjectName(name, options, &asterisk);
  if (rc == ZXVRC_OK && (options & ZUT_NAME_ALLOW_GENERIC) && asteriskPos != nullptr) {
    *asteriskPos = asterisk;
  }
  return rc;
}

Rc CheckQueueManagerName(const char* name) {
  if (name == nullptr) return ZXVRC_INVALID_NAME;
  // The object-name scan with blank names accepted and nothing else widened
  // gives exactly the queue-manager rule.
  int32_t unused = kNoAsterisk;
  return ScanObjectName(name, ZUT_NAME_ALLOW_BLANK, &unused);
}

Rc CheckInstallationName(const char* name) {
  if (name == nullptr) return ZXVRC_INVALID_NAME;
  for (int p = 0; p < KW_INSTALLATION_NAME_LENGTH; ++p) {
    switch (ClassOf(kInstallationNameClass, name[p])) {
      case CharClass::kName:
        continue;
      case CharClass::kNul:
        return ZXVRC_OK;
      case CharClass::kBlank:
        // Blanks may only pad: a NUL after a blank is refused too.
        return BlanksOnly(name, p + 1, KW_INSTALLATION_NAME_LENGTH) ? ZXVRC_OK : ZXVRC_INVALID_NAME;
      default:
        return ZXVRC_INVALID_NAME;
    }
  }
  return ZXVRC_OK;
}

Rc CheckProfile(const char* profile) {
  if (profile == nullptr) return ZXVRC_INVALID_NAME;
  constexpr int kLen = KW_PROFILE_NAME_LENGTH;
  for (int p = 0; p < kLen; ++p) {
    const CharClass cls = ClassOf(kProfileClass, profile[p]);
    if (cls == CharClass::kName) continue;
    if (cls != CharClass::kBlank || p == 0) return ZXVRC_INVALID_NAME;
    if (!BlanksOnly(profile, p + 1, kLen)) return ZXVRC_INVALID_NAME;
    break;
  }

  // "**" matches any number of qualifiers, so it must be a whole qualifier of
  // its own, and only one is allowed: "***" counts as two.
  bool seen = false;
  for (int i = 0; i + 1 < kLen; ++i) {
    if (profile[i] != '*' || profile[i + 1] != '*') continue;
    if (seen) return ZXVRC_INVALID_NAME;
    seen = true;
    if (i != 0 && profile[i - 1] != '.') return ZXVRC_INVALID_NAME;
    if (i + 2 < kLen && profile[i + 2] != '.' && profile[i + 2] != ' ') {
      return ZXVRC_INVALID_NAME;
    }
  }
  return ZXVRC_OK;
}

}  // namespace zxv::base

namespace zb = zxv::base;

extern "C" {

ZXV_API ZXVRC zutCheckValidName(const char* name, KWLONG options, KWLONG* asteriskPos) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnCheckValidName);
  const ZXVRC rc = zb::CheckObjectName(name, options, asteriskPos);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnCheckValidName, rc);
  return rc;
}

ZXV_API KWLONG zutCheckQMName(const char* name, KWLONG* compCode, KWLONG* reason) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnCheckQMName);
  zxv::Outcome outcome;
  if (zb::CheckQueueManagerName(name) != ZXVRC_OK) outcome.fail(KWRC_Q_MGR_NAME_ERROR);
  if (compCode != nullptr) *compCode = outcome.comp_code;
  if (reason != nullptr) *reason = outcome.reason;
  xtr_FNC_retcode(zxv::kComponent, zb::kFnCheckQMName, outcome.reason);
  return outcome.comp_code;
}

ZXV_API ZXVRC zutCheckValidInstallationName(const char* name) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnCheckValidInstallationName);
  const ZXVRC rc = zb::CheckInstallationName(name);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnCheckValidInstallationName, rc);
  return rc;
}

ZXV_API ZXVRC zutCheckValidProfile(const char* profile) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnCheckValidProfile);
  const ZXVRC rc = zb::CheckProfile(profile);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnCheckValidProfile, rc);
  return rc;
}

}  // extern "C"
