// Scanning a folder's start tag for its name, once per encoding family
// (zrfParseASCIIFolderName and its siblings).
#include "props/folder_parser.h"
#include "props/folder_tokens.h"
#include "props/property_store.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {

template <typename T>
KWLONG ScanFolderName(const uint8_t* text, uint32_t length, FolderNameSpan* out, uint32_t fn) {
  FolderCursor<T> c(text, length);
  c.SkipBlanks();
  if (c.AtEnd()) {
    xtr_text_detail(kComponent, fn, "Folder contains no data");
    return KWRC_RFH_FORMAT_ERROR;
  }
  const auto first = static_cast<uint32_t>(c.Peek());
  if (first == 0) {
    xtr_text_detail(kComponent, fn, "End of folder reached before tag start");
    return KWRC_RFH_FORMAT_ERROR;
  }
  if (!c.Is('<')) {
    xtr_text_detail(kComponent, fn, "Invalid character 0x%d reached before tag start", first);
    return KWRC_RFH_FORMAT_ERROR;
  }
  c.Advance();
  if (c.AtEnd()) {
    xtr_text_detail(kComponent, fn, "End of folder reached before folder name");
    return KWRC_RFH_FORMAT_ERROR;
  }
  if (FolderCursor<T>::IsControl(c.Peek())) {
    xtr_text_detail(kComponent, fn, "Invalid control character 0x%d reached before folder name",
                    static_cast<uint32_t>(c.Peek()));
    return KWRC_RFH_FORMAT_ERROR;
  }
  uint32_t start = 0;
  uint32_t bytes = 0;
  uint32_t chars = 0;
  uint32_t cut = 0;
  uint32_t control = 0;
  if (!c.ReadName(&start, &bytes, &chars, &cut, &control)) {
    xtr_text_detail(kComponent, fn, "Invalid control character 0x%d reached before folder name end",
                    control);
    return KWRC_RFH_FORMAT_ERROR;
  }
  if (c.AtEnd()) {
    xtr_text_detail(kComponent, fn, "End of folder reached before folder name end");
    return KWRC_RFH_FORMAT_ERROR;
  }
  const auto stop = c.Peek();
  if (bytes == 0 ||
      !(FolderCursor<T>::IsBlank(stop) || stop == T::Char('/') || stop == T::Char('>'))) {
    xtr_text_detail(kComponent, fn, "syntax error");
    return KWRC_RFH_FORMAT_ERROR;
  }
  if (chars > kMaxTagChars) {
    xtr_text_detail(kComponent, fn, "Tag name too long (%u chars). Truncating to %u", chars,
                    kMaxTagChars);
  }
  out->offset = start;
  out->length = cut;
  out->after = c.pos();
  return KWRC_NONE;
}

template KWLONG ScanFolderName<FamilyTraits<XCS_CCSID_TYPE_ASCII>>(const uint8_t*, uint32_t,
                                                                   FolderNameSpan*, uint32_t);
template KWLONG ScanFolderName<FamilyTraits<XCS_CCSID_TYPE_EBCDIC>>(const uint8_t*, uint32_t,
                                                                    FolderNameSpan*, uint32_t);
template KWLONG ScanFolderName<FamilyTraits<XCS_CCSID_TYPE_UTF8>>(const uint8_t*, uint32_t,
                                                                  FolderNameSpan*, uint32_t);
template KWLONG ScanFolderName<FamilyTraits<XCS_CCSID_TYPE_LUCS2>>(const uint8_t*, uint32_t,
                                                                   FolderNameSpan*, uint32_t);
template KWLONG ScanFolderName<FamilyTraits<XCS_CCSID_TYPE_BUCS2>>(const uint8_t*, uint32_t,
                                                                   FolderNameSpan*, uint32_t);

namespace {

constexpr uint32_t kProbeMissing = 1;

template <uint8_t kFamily>
KWLONG ScannerShell(const void* folder, KWULONG length, KWULONG* nameOffset, KWULONG* nameLength,
                    KWLONG* compCode, KWLONG* reasonOut, uint32_t fn) {
  xtr_FNC_entry(kComponent, fn);
  KWLONG reason;
  FolderNameSpan span{0, 0, 0};
  if (nameOffset == nullptr || nameLength == nullptr) {
    reason = MissingParameter("pNameOffset/pNameLength", __FILE__, kProbeMissing);
  } else if (folder == nullptr && length != 0) {
    reason = MissingParameter("pFolder", __FILE__, kProbeMissing);
  } else {
    reason = ScanFolderName<FamilyTraits<kFamily>>(static_cast<const uint8_t*>(folder), length,
                                                   &span, fn);
  }
  if (nameOffset != nullptr) *nameOffset = span.offset;
  if (nameLength != nullptr) *nameLength = span.length;
  SetCodes(reason, compCode, reasonOut);
  xtr_FNC_retcode(kComponent, fn, reason);
  return reason;
}

}  // namespace
}  // namespace zxv::props

namespace zp = zxv::props;

extern "C" {

ZXV_API KWLONG zrfParseASCIIFolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                       KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason) {
  return zp::ScannerShell<XCS_CCSID_TYPE_ASCII>(pFolder, Length, pNameOffset, pNameLength,
                                                pCompCode, pReason, zp::kFnParseASCIIFolderName);
}

ZXV_API KWLONG zrfParseEBCDICFolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                        KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason) {
  return zp::ScannerShell<XCS_CCSID_TYPE_EBCDIC>(pFolder, Length, pNameOffset, pNameLength,
                                                 pCompCode, pReason, zp::kFnParseEBCDICFolderName);
}

ZXV_API KWLONG zrfParseUTF8FolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                      KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason) {
  return zp::ScannerShell<XCS_CCSID_TYPE_UTF8>(pFolder, Length, pNameOffset, pNameLength, pCompCode,
                                               pReason, zp::kFnParseUTF8FolderName);
}

ZXV_API KWLONG zrfParseBUCS2FolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                       KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason) {
  return zp::ScannerShell<XCS_CCSID_TYPE_BUCS2>(pFolder, Length, pNameOffset, pNameLength,
                                                pCompCode, pReason, zp::kFnParseBUCS2FolderName);
}

ZXV_API KWLONG zrfParseLUCS2FolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                       KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason) {
  return zp::ScannerShell<XCS_CCSID_TYPE_LUCS2>(pFolder, Length, pNameOffset, pNameLength,
                                                pCompCode, pReason, zp::kFnParseLUCS2FolderName);
}

}  // extern "C"
