// The conversion engine: vpiConvertData and the walk over a message's chain
// of structures that it shares with vxKWXDX.
#include "dataconv/engine.h"

#include <cstring>

#include "dataconv/fn_numbers.h"
#include "dataconv/header_converters.h"
#include "dataconv/user_exit.h"
#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/headers.h"
#include "zxvxzu/kwrfh2.h"

namespace zxv::dataconv {
namespace {

constexpr const char* kTraceSwitch = "ZXV_TRACE_DATACONV";
constexpr const char* kNoUserExitsSwitch = "ZXV_NO_USER_DATACONV";

constexpr uint32_t kProbeUnexpectedAllocCode = 10;

// Messages up to this size are dumped whole; longer ones as their first and
// last kDumpPart bytes.
constexpr size_t kDumpWhole = 128;
constexpr size_t kDumpPart = kDumpWhole / 2;

// Worst growth of converted data: a single-byte character becomes at most 3
// bytes of UTF-8 or 2 of UTF-16, plus padding of strings and folders.
constexpr size_t kScratchGrowth = 4;
constexpr size_t kScratchSlack = 256;

const char kXmitFormat[KW_FORMAT_LENGTH] = {'K', 'W', 'X', 'M', 'I', 'T', ' ', ' '};

bool InheritsCcsid(int32_t ccsid) { return ccsid == 0 || ccsid == -1 || ccsid == -2; }

// Failure reasons that are about storage rather than the data.
bool IsStorageReason(int32_t reason) {
  return reason == KWRC_STORAGE_NOT_AVAILABLE || reason == KWRC_RESOURCE_PROBLEM ||
         reason == KWRC_UNEXPECTED_ERROR;
}

// A block of the platform allocator owned for the duration of a call.
class Scratch {
 public:
  Scratch() = default;
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() {
    if (block_ != nullptr) xcsFreeMemFn(block_);
  }
  // Returns 0 or the storage reason.
  int32_t Allocate(size_t length) {
    const xcsRC rc = xcsGetMemFn(length, &block_);
    if (rc == xcsRC_OK) return KWRC_NONE;
    const int32_t reason = xcsStorageReason(rc);
    if (reason == KWRC_UNEXPECTED_ERROR) {
      xcsERDPFn(kComponent, __FILE__, kProbeUnexpectedAllocCode, rc, "Unexpected allocator code",
                nullptr, 0);
    }
    return reason;
  }
  uint8_t* data() const { return static_cast<uint8_t*>(block_); }

 private:
  void* block_ = nullptr;
};

// The result of one walk over the chain.
struct Walked {
  bool failed = false;         // the data is to be left as given
  int32_t reason = KWRC_NONE;  // 0 or 2079 when converted; else the failure
  size_t out_used = 0;
  bool first_copied = false;  // the first structure was left as given
};

// Where a header in the output describes what follows it.
struct NextFields {
  uint8_t* encoding = nullptr;
  uint8_t* ccsid = nullptr;
};

// Walks the chain from `in` into `out`. Returns 0, 2079 or a failure reason;
// on failure `out` holds whatever was written so far.
Walked Walk(const Message& m, const uint8_t* in, uint8_t* out, size_t out_length,
            bool no_user_exits) {
  Walked walked;
  char format[KW_FORMAT_LENGTH];
  std::memcpy(format, m.format, sizeof format);
  int32_t encoding = m.source_encoding;
  int32_t ccsid = m.source_ccsid;
  size_t in_at = 0;
  size_t out_at = 0;
  NextFields previous;
  bool first = true;
  for (;;) {
    Step step;
    step.source_encoding = encoding;
    step.source_ccsid = ccsid;
    step.target_encoding = m.target_encoding;
    step.target_ccsid = m.target_ccsid;
    std::memcpy(step.format, format, sizeof format);
    step.in = in + in_at;
    step.in_length = m.in_length - in_at;
    step.out = out + out_at;
    step.out_length = out_length - out_at;
    step.accept_truncation = m.accept_truncation;

    int32_t reason = KWRC_NONE;
    if (std::memcmp(format, kXmitFormat, sizeof format) == 0) {
      if (step.in_length >= KWXQH_LENGTH) {
        xtr_data_detail(kComponent, kFnWalk, "KWXQH Header", step.in, KWXQH_LENGTH);
      }
      reason = ConvertXQH(step);
    } else if (ConverterFn convert = FindConverter(format); convert != nullptr) {
      reason = convert(step);
    } else if (!m.user_exits) {
      reason = KWRC_FORMAT_ERROR;
    } else if (no_user_exits) {
      // Not built in and no exits wanted: the rest stays as it is.
      xtr_text_detail(kComponent, kFnWalk, "%s set: format '%.8s' left unconverted",
                      kNoUserExitsSwitch, format);
      reason = CopyWithoutConversion(step);
    } else {
      reason = CallUserExit(step, m.pending_comp_code, m.pending_reason);
      if (reason == kExitNotFound) {
        // One condition for a missing module or entry point; an earlier
        // reason of the get stands. The data is left as given either way.
        walked.failed = true;
        walked.reason = m.pending_reason != KWRC_NONE ? m.pending_reason : KWRC_FORMAT_ERROR;
        walked.out_used = out_at;
        return walked;
      }
    }
    xtr_text_detail(kComponent, kFnWalk, "Format '%.8s' at %u: reason %d, %u bytes in, %u out",
                    format, static_cast<unsigned>(in_at), static_cast<int>(reason),
                    static_cast<unsigned>(step.in_used), static_cast<unsigned>(step.out_used));
    if (reason != KWRC_NONE && reason != KWRC_TRUNCATED_MSG_ACCEPTED) {
      walked.failed = true;
      walked.reason = reason;
      walked.out_used = out_at;
      return walked;
    }
    // A converter that truncated has written the last of what fits.
    const bool ends = step.chain_ends || reason == KWRC_TRUNCATED_MSG_ACCEPTED;
    // A header that consumed nothing would be walked for ever; a converter
    // that claims more than it was given is wrong. Neither is trusted.
    if (step.in_used > step.in_length || step.out_used > step.out_length ||
        (!ends && step.in_used == 0)) {
      walked.failed = true;
      walked.reason = KWRC_NOT_CONVERTED;
      walked.out_used = out_at;
      return walked;
    }
    if (ends && step.copied) {
      // The structure in front describes data that kept its source form.
      if (first) walked.first_copied = true;
      if (previous.encoding != nullptr) StoreI32(previous.encoding, encoding, m.target_encoding);
      if (previous.ccsid != nullptr) StoreI32(previous.ccsid, ccsid, m.target_encoding);
    }
    in_at += step.in_used;
    out_at += step.out_used;
    if (ends) {
      walked.reason = reason;
      walked.out_used = out_at;
      return walked;
    }
    // A header: go on with what follows it. Every header consumes at least
    // its fixed part, so the walk ends.
    previous.encoding =
        step.next_encoding_at == Step::kNoOffset ? nullptr : step.out + step.next_encoding_at;
    previous.ccsid =
        step.next_ccsid_at == Step::kNoOffset ? nullptr : step.out + step.next_ccsid_at;
    std::memcpy(format, step.next_format, sizeof format);
    encoding = step.next_encoding;
    if (!InheritsCcsid(step.next_ccsid)) ccsid = step.next_ccsid;
    first = false;
  }
}

// Puts the data as given in the output.
void LeaveAsGiven(const Message& m, const uint8_t* in, Converted* result) {
  const size_t length = m.in_length < m.out_length ? m.in_length : m.out_length;
  if (length > 0 && m.out != in) std::memmove(m.out, in, length);
  result->length = length;
  result->encoding = m.source_encoding;
  result->ccsid = m.source_ccsid;
}

bool Overlaps(const Message& m) {
  const uintptr_t in = reinterpret_cast<uintptr_t>(m.in);
  const uintptr_t out = reinterpret_cast<uintptr_t>(m.out);
  return in < out + m.out_length && out < in + m.in_length;
}

}  // namespace

Converted ConvertMessage(const Message& m) {
  Converted result;
  const bool no_user_exits = m.user_exits && xcsGetEnv(kNoUserExitsSwitch) != nullptr;

  // Data converted in place is read from a copy, which is also what is
  // returned when the conversion fails.
  const uint8_t* in = m.in;
  Scratch in_copy;
  if (m.in_length > 0 && m.out_length > 0 && Overlaps(m)) {
    const int32_t reason = in_copy.Allocate(m.in_length);
    if (reason != KWRC_NONE) {
      result.comp_code = KWCC_FAILED;
      result.reason = reason;
      result.length = m.in_length < m.out_length ? m.in_length : m.out_length;
      result.encoding = m.source_encoding;
      result.ccsid = m.source_ccsid;
      return result;
    }
    std::memcpy(in_copy.data(), m.in, m.in_length);
    in = in_copy.data();
  }

  Walked walked = Walk(m, in, m.out, m.out_length, no_user_exits);
  if (walked.failed && walked.reason == KWRC_CONVERTED_MSG_TOO_BIG && m.accept_truncation) {
    // Convert the whole message aside and keep the part that fits.
    Scratch aside;
    const size_t room = m.in_length * kScratchGrowth + kScratchSlack;
    int32_t reason = aside.Allocate(room);
    if (reason == KWRC_NONE) {
      walked = Walk(m, in, aside.data(), room, no_user_exits);
      if (!walked.failed) {
        if (walked.out_used > m.out_length) {
          walked.out_used = m.out_length;
          walked.reason = KWRC_TRUNCATED_MSG_ACCEPTED;
        }
        if (walked.out_used > 0) std::memcpy(m.out, aside.data(), walked.out_used);
      }
    } else {
      walked.reason = reason;
    }
  }

  if (walked.failed) {
    result.comp_code = IsStorageReason(walked.reason) ? KWCC_FAILED : KWCC_WARNING;
    result.reason = walked.reason;
    LeaveAsGiven(m, in, &result);
    return result;
  }
  result.length = walked.out_used;
  result.encoding = walked.first_copied ? m.source_encoding : m.target_encoding;
  result.ccsid = walked.first_copied ? m.source_ccsid : m.target_ccsid;
  if (walked.reason == KWRC_TRUNCATED_MSG_ACCEPTED) {
    result.comp_code = KWCC_WARNING;
    result.reason = KWRC_TRUNCATED_MSG_ACCEPTED;
  } else {
    result.comp_code = m.pending_comp_code;
    result.reason = m.pending_reason;
  }
  return result;
}

namespace {

void DumpData(const uint8_t* data, KWLONG available) {
  if (available <= 0 || data == nullptr) {
    xtr_parms(kComponent, kFnConvertData, "Message Data - AvailableLength <= 0 ");
    return;
  }
  const size_t length = static_cast<size_t>(available);
  if (!xtr_active(XTR_LEVEL_FLOW)) return;
  if (length <= kDumpWhole) {
    xtrData(kComponent, kFnConvertData, "Message Data - all", data, length);
  } else {
    xtrData(kComponent, kFnConvertData, "Message Data - start", data, kDumpPart);
    xtrData(kComponent, kFnConvertData, "Message Data - end", data + length - kDumpPart, kDumpPart);
  }
}

}  // namespace
}  // namespace zxv::dataconv

extern "C" ZXV_API KWLONG vpiConvertData(VPICONVERTREQ* request) {
  using namespace zxv::dataconv;
  using zxv::kComponent;
  xtr_FNC_entry(kComponent, kFnConvertData);
  if (request == nullptr) {
    xtr_FNC_retcode(kComponent, kFnConvertData, KWRC_BUFFER_ERROR);
    return KWRC_BUFFER_ERROR;
  }
  // The switch is read once: the platform caches the environment.
  const bool trace_data = xcsGetEnv(kTraceSwitch) != nullptr;
  if (trace_data) {
    xtr_parms(kComponent, kFnConvertData,
              "Pre conversion - CompCode (%d) - Reason (%d) - Data Length (%d) - Available "
              "Length (%d) - Buffer Length (%d)",
              static_cast<int>(request->CompCode), static_cast<int>(request->Reason),
              static_cast<int>(request->DataLength), static_cast<int>(request->AvailableLength),
              static_cast<int>(request->BufferLength));
    DumpData(static_cast<const uint8_t*>(request->InBuffer), request->AvailableLength);
  }
  xtr_parms(kComponent, kFnConvertData, "Format '%.8s' from %d/%d to %d/%d", request->Format,
            static_cast<int>(request->SourceEncoding), static_cast<int>(request->SourceCCSID),
            static_cast<int>(request->TargetEncoding), static_cast<int>(request->TargetCCSID));

  int32_t refused = KWRC_NONE;
  if (request->AvailableLength < 0 || request->BufferLength < 0 || request->DataLength < 0) {
    refused = KWRC_BUFFER_LENGTH_ERROR;
  } else if ((request->AvailableLength > 0 && request->InBuffer == nullptr) ||
             (request->BufferLength > 0 && request->OutBuffer == nullptr)) {
    refused = KWRC_BUFFER_ERROR;
  }
  if (refused != KWRC_NONE) {
    request->CompCode = KWCC_FAILED;
    request->Reason = refused;
    xtr_FNC_retcode(kComponent, kFnConvertData, refused);
    return refused;
  }

  Message m;
  m.source_encoding = request->SourceEncoding;
  m.source_ccsid = request->SourceCCSID;
  m.target_encoding = request->TargetEncoding;
  m.target_ccsid = request->TargetCCSID;
  std::memcpy(m.format, request->Format, KW_FORMAT_LENGTH);
  m.in = static_cast<const uint8_t*>(request->InBuffer);
  m.in_length = static_cast<size_t>(request->AvailableLength);
  m.out = static_cast<uint8_t*>(request->OutBuffer);
  m.out_length = static_cast<size_t>(request->BufferLength);
  m.accept_truncation = (request->Options & KWGMO_ACCEPT_TRUNCATED_MSG) != 0;
  m.pending_comp_code = request->CompCode;
  m.pending_reason = request->Reason;
  m.user_exits = true;

  const Converted result = ConvertMessage(m);
  request->CompCode = result.comp_code;
  request->Reason = result.reason;
  request->DataLength = static_cast<KWLONG>(result.length);
  request->ResultEncoding = result.encoding;
  request->ResultCCSID = result.ccsid;
  if (trace_data) {
    xtr_parms(kComponent, kFnConvertData, "Post conversion - Data Length (%d)",
              static_cast<int>(request->DataLength));
  }
  xtr_FNC_retcode(kComponent, kFnConvertData, result.reason);
  return result.reason;
}
