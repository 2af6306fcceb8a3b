// A message handle's properties to headers in front of the message data
// (zstPropertiesToKWRFH2): the descriptor in the caller's version, a
// descriptor extension when a version 1 descriptor cannot carry the group
// fields, and a KWRFH2 holding the properties, built in a work buffer and
// copied to the caller's buffer when they fit.
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "props/props_writer.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeMissing = 1;
constexpr uint32_t kProbeWork = 2;

// The default values of the version 2 group fields.
constexpr int32_t kDefaultMsgSeqNumber = 1;
constexpr int32_t kDefaultOffset = 0;
constexpr int32_t kDefaultMsgFlags = 0;
constexpr int32_t kDefaultOriginalLength = KWOL_UNDEFINED;

// Copies n bytes sixteen at a time (n at least 16): the compiler copies a
// descriptor as a string move, whose start-up costs more than its bytes.
// Inline and unrolled, n being a constant at each call: loads and stores
// without a loop.
[[gnu::always_inline]] inline void CopyDescriptorBytes(void* to, const void* from, size_t n) {
  auto* t = static_cast<uint8_t*>(to);
  const auto* f = static_cast<const uint8_t*>(from);
#if defined(__SSE2__)
#pragma GCC unroll 32
  for (size_t at = 0; at + 16 < n; at += 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(t + at),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(f + at)));
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(t + n - 16),
                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(f + n - 16)));
#else
  std::memcpy(t, f, n);
#endif
}

bool GroupFieldsAtDefaults(const KWMD& md) {
  static constexpr uint8_t kNoGroup[KW_GROUP_ID_LENGTH] = {};
  return std::memcmp(md.GroupId, kNoGroup, sizeof kNoGroup) == 0 &&
         md.MsgSeqNumber == kDefaultMsgSeqNumber && md.Offset == kDefaultOffset &&
         md.MsgFlags == kDefaultMsgFlags && md.OriginalLength == kDefaultOriginalLength;
}

// The descriptor extension at `at`, its integers in the native encoding and
// its StrucId in `ccsid`; it names (encoding, ccsid, format) for what follows.
void WriteExtension(uint8_t* at, const KWMD& md, int32_t ccsid, int32_t nextEncoding,
                    int32_t nextCcsid, const char* nextFormat) {
  KWMDE mde{};
  WriteChainText(KWMDE_STRUC_ID, kStrucIdLength, ccsid, kNativeEncoding,
                 reinterpret_cast<uint8_t*>(mde.StrucId));
  mde.Version = KWMDE_VERSION_2;
  mde.StrucLength = KWMDE_LENGTH;
  mde.Encoding = nextEncoding;
  mde.CodedCharSetId = nextCcsid;
  WriteChainText(nextFormat, kFormatLength, ccsid, kNativeEncoding,
                 reinterpret_cast<uint8_t*>(mde.Format));
  mde.Flags = 0;
  std::memcpy(mde.GroupId, md.GroupId, sizeof mde.GroupId);
  mde.MsgSeqNumber = md.MsgSeqNumber;
  mde.Offset = md.Offset;
  mde.MsgFlags = md.MsgFlags;
  mde.OriginalLength = md.OriginalLength;
  std::memcpy(at, &mde, sizeof mde);
}

// The work buffer, freed on every path.
struct WorkBuffer {
  ZRFHDRBUF buffer{};
  ~WorkBuffer() { xcsFreeMemFn(buffer.pBuffer); }
};

KWLONG PropertiesToHeaders(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg, const ZSTHDROPTS* opts,
                           KWMD* md, uint8_t* buffer, uint32_t bufferLength,
                           MsgHandleAnchor* anchor, KWULONG* headersLength) {
  constexpr uint32_t fn = kFnPropertiesToKWRFH2;
  if (md == nullptr || headersLength == nullptr || (buffer == nullptr && bufferLength != 0)) {
    return MissingParameter(md == nullptr              ? "pMsgDesc"
                            : headersLength == nullptr ? "pHeadersLength"
                                                       : "pBuffer",
                            __FILE__, kProbeMissing);
  }
  *headersLength = 0;
  const int32_t version = md->Version;
  if (version != KWMD_VERSION_1 && version != KWMD_VERSION_2) {
    xtr_text_detail(kComponent, fn, "Unsupported KWMD version: %d", version);
    return KWRC_MD_ERROR;
  }
  const ZSTHDROPTS options = opts != nullptr ? *opts : ZSTHDROPTS{};
  const int32_t nameValueCcsid =
      options.NameValueCCSID == 0 ? ZRF_DEFAULT_NAME_VALUE_CCSID : options.NameValueCCSID;

  HandleCallLock lock(thread, hConn, hMsg, anchor, "zstPropertiesToKWRFH2", fn);
  if (lock.reason() != KWRC_NONE) return lock.reason();
  MsgHandle* handle = lock.handle();

  WorkBuffer work;
  {
    void* block = nullptr;
    const xcsRC rc = xcsGetMemFn(kWorkBufferSize, &block);
    if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeWork);
    work.buffer.pBuffer = static_cast<uint8_t*>(block);
    work.buffer.Size = kWorkBufferSize;
  }

  // The descriptor in the caller's version.
  const KWMD& own = handle->MsgDesc;
  bool extension = false;
  if (version == KWMD_VERSION_1) {
    CopyDescriptorBytes(md, &own, KWMD_LENGTH_1);
    md->Version = KWMD_VERSION_1;
    extension = !GroupFieldsAtDefaults(own);
  } else {
    CopyDescriptorBytes(md, &own, sizeof own);
    md->Version = KWMD_VERSION_2;
  }

  // The KWRFH2 names what the handle's descriptor names for the body.
  ZRFHDROPTS header{};
  header.NameValueCCSID = nameValueCcsid;
  header.CopyPurpose = options.CopyPurpose;
  header.DataEncoding = own.Encoding;
  header.DataCCSID = own.CodedCharSetId;
  std::memcpy(header.DataFormat, own.Format, kFormatLength);
  int32_t extensionCcsid = 0;
  if (extension) {
    extensionCcsid = ApplicationCcsid();
    md->Encoding = kNativeEncoding;
    md->CodedCharSetId = extensionCcsid;
    std::memcpy(md->Format, KWFMT_MD_EXTENSION, kFormatLength);
    WriteExtension(work.buffer.pBuffer, own, extensionCcsid, kNativeEncoding, 0, KWFMT_NONE);
    work.buffer.Length = kMdeLength;
    header.Encoding = kNativeEncoding;
    header.CCSID = extensionCcsid;  // the extension's CCSID 0 keeps the descriptor's
  } else {
    header.Encoding = md->Encoding;
    header.CCSID = ChainCcsid(kUtf8Ccsid, md->CodedCharSetId);
  }

  ZRFPAL pal = ListOf(handle);
  ZRFMARKS marks{};
  // The header may be put in the caller's buffer straight, unless that
  // buffer overlaps the descriptor, which is written after it.
  HeaderDestination destination{buffer, bufferLength, 0};
  const auto mdAt = reinterpret_cast<uintptr_t>(md);
  const auto bufferAt = reinterpret_cast<uintptr_t>(buffer);
  const bool direct = mdAt >= bufferAt + bufferLength || mdAt + sizeof *md <= bufferAt;
  KWLONG reason = ConvertAllToRfh2(&pal, header, &work.buffer, &marks, fn, WriterPaths::kAny,
                                   direct ? &destination : nullptr);
  const bool found = reason == KWRC_NONE;
  if (reason == KWRC_PROPERTY_NOT_AVAILABLE) {
    // No properties: no header. An extension still carries the group
    // fields and then names the body itself.
    xtr_text_detail(kComponent, fn, "No properties to write");
    reason = KWRC_NONE;
    if (extension) {
      WriteExtension(work.buffer.pBuffer, own, extensionCcsid, own.Encoding, own.CodedCharSetId,
                     own.Format);
    }
  } else if (found) {
    if (extension) {
      WriteChainText(KWFMT_RF_HEADER_2, kFormatLength, extensionCcsid, kNativeEncoding,
                     work.buffer.pBuffer + offsetof(KWMDE, Format));
    } else {
      std::memcpy(md->Format, KWFMT_RF_HEADER_2, kFormatLength);
    }
  }
  if (reason == KWRC_NONE) {
    *headersLength = work.buffer.Length;
    if (work.buffer.Length > bufferLength) {
      xtr_text_detail(kComponent, fn, "Headers of %u bytes do not fit in %u bytes",
                      work.buffer.Length, bufferLength);
      reason = KWRC_HEADERS_TOO_BIG;
    } else if (work.buffer.Length != 0) {
      // The bytes the writer did not put in place already.
      std::memcpy(buffer, work.buffer.pBuffer,
                  destination.placed_from != 0 ? destination.placed_from : work.buffer.Length);
    }
  }
  if (found && (options.Options & ZST_P2H_PROCESS_MARKED) != 0) {
    const KWLONG marked = ProcessMarkedNodes(&pal, marks, options.Options, fn);
    if (reason == KWRC_NONE) reason = marked;
  }
  return reason;
}

}  // namespace
}  // namespace zxv::props

extern "C" {

ZXV_API KWLONG zstPropertiesToKWRFH2(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                     const ZSTHDROPTS* pOpts, KWMD* pMsgDesc, void* pBuffer,
                                     KWULONG BufferLength, MsgHandleAnchor* pAnchor,
                                     KWULONG* pHeadersLength, KWLONG* pCompCode, KWLONG* pReason) {
  namespace zp = zxv::props;
  constexpr uint32_t fn = zp::kFnPropertiesToKWRFH2;
  xtr_FNC_entry(zxv::kComponent, fn);
  const KWLONG reason =
      zp::PropertiesToHeaders(pThread, hConn, hMsg, pOpts, pMsgDesc, static_cast<uint8_t*>(pBuffer),
                              BufferLength, pAnchor, pHeadersLength);
  zp::SetCodes(reason, pCompCode, pReason);
  xtr_FNC_retcode(zxv::kComponent, fn, reason);
  return reason;
}

}  // extern "C"
