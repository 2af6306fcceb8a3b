// Character conversion between CCSIDs: vxtConvertCharsFn and the helpers the
// converters share (blank filling, names to the local form).
//
// Platform conversion codes map to reason codes as follows:
//   xcsRC_OK, xcsRC_CONV_DEFAULT_CHAR_USED      -> 0 (converted)
//   xcsRC_CONV_NOT_SUPPORTED                    -> 2115 when the target CCSID
//                                                  has no converter, else 2119
//   xcsRC_CONV_INVALID_SOURCE, _UNMAPPABLE,
//   _TRUNCATED_SOURCE                           -> 2119 (not converted)
//   xcsRC_CONV_BUFFER_TOO_SMALL                 -> 2190 for a fixed field,
//                                                  2079 when truncation is
//                                                  accepted, else 2120
//   allocator codes                             -> 2071 / 2102
//   anything else                               -> 2195, with a failure record
#include <cstring>

#include "dataconv/converter.h"
#include "dataconv/fn_numbers.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/dataconv.h"

namespace zxv::dataconv {
namespace {

constexpr uint32_t kProbeUnexpectedConvertCode = 1;
constexpr uint32_t kProbeUnexpectedAllocCode = 2;

constexpr uint8_t kAsciiBlank = 0x20;
constexpr uint8_t kEbcdicBlank = 0x40;

// Swap-in buffers up to this size live on the stack; larger ones come from
// the platform allocator.
constexpr size_t kStackSwapBytes = 512;

// Byte orders of two-byte data.
enum class Order { kBig, kLittle };

Order OrderOfEncoding(int32_t encoding) {
  return IntegerPart(encoding) == KWENC_INTEGER_NORMAL ? Order::kBig : Order::kLittle;
}

void SwapPairs(const uint8_t* in, uint8_t* out, size_t length) {
  for (size_t i = 0; i + 1 < length; i += 2) {
    const uint8_t first = in[i];
    out[i] = in[i + 1];
    out[i + 1] = first;
  }
}

Outcome Failed(int32_t reason) {
  Outcome o;
  o.fail(reason);
  return o;
}

int32_t StorageReason(xcsRC rc) {
  const int32_t reason = xcsStorageReason(rc);
  if (reason == KWRC_UNEXPECTED_ERROR) {
    xcsERDPFn(kComponent, __FILE__, kProbeUnexpectedAllocCode, rc, "Unexpected allocator code",
              nullptr, 0);
  }
  return reason;
}

bool IsStorageCode(xcsRC rc) {
  return rc == xcsRC_STORAGE_NOT_AVAILABLE || rc == xcsRC_STORAGE_NOT_AVAILABLE_2 ||
         rc == xcsRC_STORAGE_NOT_AVAILABLE_TRACE || rc == xcsRC_RESOURCE_PROBLEM;
}

// Maps a failure of the conversion service (other than "too small").
int32_t ConversionReason(xcsRC rc, int32_t source_ccsid, int32_t target_ccsid) {
  switch (rc) {
    case xcsRC_CONV_NOT_SUPPORTED:
      return xcsIsCCSIDSupported(target_ccsid) ? KWRC_NOT_CONVERTED : KWRC_TARGET_CCSID_ERROR;
    case xcsRC_CONV_INVALID_SOURCE:
    case xcsRC_CONV_UNMAPPABLE:
    case xcsRC_CONV_TRUNCATED_SOURCE:
      return KWRC_NOT_CONVERTED;
    default:
      break;
  }
  if (IsStorageCode(rc)) return StorageReason(rc);
  xcsERDPSFn(kComponent, __FILE__, kProbeUnexpectedConvertCode, rc, nullptr, 0,
             "Unexpected conversion code from CCSID %d to CCSID %d", static_cast<int>(source_ccsid),
             static_cast<int>(target_ccsid));
  return KWRC_UNEXPECTED_ERROR;
}

// The length of a prefix of `length` bytes of UTF-8 that ends on a character
// boundary, so a truncated copy does not split a character.
size_t Utf8Boundary(const uint8_t* data, size_t length) {
  size_t end = length;
  // Step back over continuation bytes; at most 3 of them precede a lead.
  size_t back = 0;
  while (end > 0 && back < 4 && (data[end - 1] & 0xC0) == 0x80) {
    --end;
    ++back;
  }
  if (end == 0) return 0;
  const uint8_t lead = data[end - 1];
  size_t need = 1;
  if (lead >= 0xF0) {
    need = 4;
  } else if (lead >= 0xE0) {
    need = 3;
  } else if (lead >= 0xC0) {
    need = 2;
  }
  // The last character is whole when its lead byte and all its continuation
  // bytes are inside the prefix.
  return back + 1 >= need ? length : end - 1;
}

// The room a result of `produced` bytes gets in an output of `room` bytes:
// the outcome for a result that did not fit.
Outcome TooSmall(uint32_t options, size_t fitted, size_t* out_used) {
  if ((options & VXT_CHARS_FIELD) != 0) return Failed(KWRC_CONVERTED_STRING_TOO_BIG);
  if ((options & VXT_CHARS_ACCEPT_TRUNCATION) != 0) {
    *out_used = fitted;
    Outcome o;
    o.comp_code = KWCC_WARNING;
    o.reason = KWRC_TRUNCATED_MSG_ACCEPTED;
    return o;
  }
  return Failed(KWRC_CONVERTED_MSG_TOO_BIG);
}

// Equal CCSIDs: a swap when two-byte orders differ, else a copy.
Outcome SameCcsid(int32_t ccsid, bool two_byte, Order source_order, Order target_order,
                  const uint8_t* in, size_t in_length, uint8_t* out, size_t out_length,
                  uint32_t options, size_t* out_used) {
  size_t length = in_length;
  bool fits = true;
  if (length > out_length) {
    fits = false;
    length = out_length;
    if (two_byte) {
      length &= ~static_cast<size_t>(1);
    } else if (ccsid == KWCCSI_UTF8) {
      length = Utf8Boundary(in, length);
    }
  }
  if (!fits &&
      (options & (VXT_CHARS_FIELD | VXT_CHARS_ACCEPT_TRUNCATION)) != VXT_CHARS_ACCEPT_TRUNCATION) {
    return TooSmall(options, 0, out_used);
  }
  if (two_byte && source_order != target_order) {
    xtr_text_detail(kComponent, kFnConvertChars, "Byte swap %u bytes (from CCSID %d to CCSID %d)",
                    static_cast<unsigned>(length), static_cast<int>(ccsid),
                    static_cast<int>(ccsid));
    SwapPairs(in, out, length);
  } else {
    xtr_text_detail(
        kComponent, kFnConvertChars, "Copy %u bytes without conversion (from CCSID %d to CCSID %d)",
        static_cast<unsigned>(length), static_cast<int>(ccsid), static_cast<int>(ccsid));
    if (length > 0) std::memmove(out, in, length);
  }
  *out_used = length;
  if (!fits) return TooSmall(options, length, out_used);
  return Outcome{};
}

// A buffer for the swapped-in source: the stack for small data, else the
// platform allocator.
class SwapBuffer {
 public:
  SwapBuffer() = default;
  SwapBuffer(const SwapBuffer&) = delete;
  SwapBuffer& operator=(const SwapBuffer&) = delete;
  ~SwapBuffer() {
    if (heap_ != nullptr) xcsFreeMemFn(heap_);
  }
  // Returns the allocator's code.
  xcsRC Reserve(size_t length) {
    if (length <= kStackSwapBytes) return xcsRC_OK;
    return xcsGetMemFn(length, &heap_);
  }
  uint8_t* data() { return heap_ != nullptr ? static_cast<uint8_t*>(heap_) : stack_; }

 private:
  uint8_t stack_[kStackSwapBytes];
  void* heap_ = nullptr;
};

}  // namespace

void FillBlanks(uint8_t* out, size_t length, int32_t ccsid, int32_t encoding) {
  if (length == 0) return;
  if (xcsIsTwoByteCCSID(ccsid)) {
    const bool big = IntegerPart(encoding) == KWENC_INTEGER_NORMAL;
    for (size_t i = 0; i + 1 < length; i += 2) {
      out[i] = big ? 0x00 : kAsciiBlank;
      out[i + 1] = big ? kAsciiBlank : 0x00;
    }
    if ((length & 1) != 0) out[length - 1] = 0x00;
    return;
  }
  const bool ebcdic = xcsGetCCSIDType(ccsid, encoding) == XCS_CCSID_TYPE_EBCDIC;
  std::memset(out, ebcdic ? kEbcdicBlank : kAsciiBlank, length);
}

bool NameToLocal(const uint8_t* name, size_t length, int32_t ccsid, char* local) {
  const uint8_t type = xcsGetCCSIDType(ccsid, KWENC_NATIVE);
  if (type == XCS_CCSID_TYPE_ASCII || type == XCS_CCSID_TYPE_UTF8) {
    std::memcpy(local, name, length);
    return true;
  }
  uint32_t used = 0;
  const xcsRC rc =
      xcsConvertString(ccsid, KWENC_NATIVE, name, static_cast<uint32_t>(length), KWCCSI_ISO8859_1,
                       KWENC_NATIVE, local, static_cast<uint32_t>(length), &used);
  xtr_text_detail(kComponent, kFnNameToLocal, "Name of %u bytes from CCSID %d: rc %x",
                  static_cast<unsigned>(length), static_cast<int>(ccsid),
                  static_cast<unsigned>(rc));
  return rc == xcsRC_OK && used == length;
}

Outcome ConvertChars(int32_t source_ccsid, int32_t source_encoding, int32_t target_ccsid,
                     int32_t target_encoding, const void* in_data, size_t in_length, void* out_data,
                     size_t out_length, uint32_t options, size_t* out_used) {
  *out_used = 0;
  if (!IsValidIntegerEncoding(target_encoding)) return Failed(KWRC_TARGET_INTEGER_ENC_ERROR);
  const bool source_two = xcsIsTwoByteCCSID(source_ccsid) != 0;
  const bool target_two = xcsIsTwoByteCCSID(target_ccsid) != 0;
  if (source_two && !IsValidIntegerEncoding(source_encoding)) {
    return Failed(KWRC_SOURCE_INTEGER_ENC_ERROR);
  }
  const auto* in = static_cast<const uint8_t*>(in_data);
  auto* out = static_cast<uint8_t*>(out_data);
  // An empty output may come without a buffer; the service is always handed
  // one, if only of no bytes.
  uint8_t no_room = 0;
  if (out == nullptr) out = &no_room;

  // A two-byte source of odd length loses its last byte; the caller hears
  // of it through the result.
  bool shortened = false;
  Order source_order = Order::kLittle;
  if (source_two) {
    if ((in_length & 1) != 0) {
      --in_length;
      shortened = true;
    }
    source_order = OrderOfEncoding(source_encoding);
    if (in_length >= 2) {
      if (in[0] == 0xFE && in[1] == 0xFF) {
        source_order = Order::kBig;
      } else if (in[0] == 0xFF && in[1] == 0xFE) {
        source_order = Order::kLittle;
      }
    }
  }
  const Order target_order = target_two ? OrderOfEncoding(target_encoding) : Order::kLittle;

  Outcome result;
  if (in_length == 0) {
    // Nothing to convert: no service call, whatever the CCSIDs.
    *out_used = 0;
  } else if (source_ccsid == target_ccsid) {
    result = SameCcsid(source_ccsid, source_two, source_order, target_order, in, in_length, out,
                       out_length, options, out_used);
  } else {
    // The service converts native-order two-byte data; other orders are
    // swapped on the way in and out.
    const uint8_t* source = in;
    SwapBuffer swapped;
    if (source_two && source_order == Order::kBig && in_length > 0) {
      const xcsRC rc = swapped.Reserve(in_length);
      if (rc != xcsRC_OK) return Failed(StorageReason(rc));
      xtr_text_detail(kComponent, kFnConvertChars,
                      "Byte swap in-coming %ld bytes (from CCSID %ld to CCSID %ld)",
                      static_cast<long>(in_length), static_cast<long>(source_ccsid),
                      static_cast<long>(target_ccsid));
      SwapPairs(in, swapped.data(), in_length);
      source = swapped.data();
    }
    uint32_t used = 0;
    const xcsRC rc =
        xcsConvertString(source_ccsid, KWENC_NATIVE, source, static_cast<uint32_t>(in_length),
                         target_ccsid, KWENC_NATIVE, out, static_cast<uint32_t>(out_length), &used);
    if (rc == xcsRC_OK || rc == xcsRC_CONV_DEFAULT_CHAR_USED) {
      *out_used = used;
    } else if (rc == xcsRC_CONV_BUFFER_TOO_SMALL) {
      result = TooSmall(options, used, out_used);
    } else {
      return Failed(ConversionReason(rc, source_ccsid, target_ccsid));
    }
    if (result.comp_code != KWCC_FAILED && target_two && target_order == Order::kBig &&
        *out_used > 0) {
      xtr_text_detail(kComponent, kFnConvertChars,
                      "Byte swap out-going %u bytes (from CCSID %d to CCSID %d)",
                      static_cast<unsigned>(*out_used), static_cast<int>(source_ccsid),
                      static_cast<int>(target_ccsid));
      SwapPairs(out, out, *out_used);
    }
  }
  if (result.comp_code == KWCC_FAILED) {
    *out_used = 0;
    return result;
  }
  if ((options & VXT_CHARS_FIELD) != 0) {
    FillBlanks(out + *out_used, out_length - *out_used, target_ccsid, target_encoding);
    *out_used = out_length;
  }
  if (shortened && result.comp_code == KWCC_OK) {
    result.comp_code = KWCC_WARNING;
    result.reason = KWRC_DBCS_ERROR;
  }
  return result;
}

}  // namespace zxv::dataconv

extern "C" ZXV_API KWLONG vxtConvertCharsFn(KWLONG sourceCCSID, KWLONG targetCCSID,
                                            const void* input, KWLONG inputLength, void* output,
                                            KWLONG outputLength, KWLONG sourceEncoding,
                                            KWLONG targetEncoding, KWLONG options,
                                            KWLONG* dataLength, KWLONG* compCode, KWLONG* reason) {
  using namespace zxv::dataconv;
  xtr_FNC_entry(zxv::kComponent, kFnConvertCharsFn);
  xtr_parms(zxv::kComponent, kFnConvertCharsFn,
            "from CCSID %d enc %d to CCSID %d enc %d, %d bytes into %d, options %x",
            static_cast<int>(sourceCCSID), static_cast<int>(sourceEncoding),
            static_cast<int>(targetCCSID), static_cast<int>(targetEncoding),
            static_cast<int>(inputLength), static_cast<int>(outputLength),
            static_cast<unsigned>(options));
  zxv::Outcome result;
  size_t used = 0;
  if (inputLength < 0 || outputLength < 0) {
    result.fail(KWRC_BUFFER_LENGTH_ERROR);
  } else if ((inputLength > 0 && input == nullptr) || (outputLength > 0 && output == nullptr)) {
    result.fail(KWRC_BUFFER_ERROR);
  } else {
    result = ConvertChars(sourceCCSID, sourceEncoding, targetCCSID, targetEncoding, input,
                          static_cast<size_t>(inputLength), output,
                          static_cast<size_t>(outputLength), static_cast<uint32_t>(options), &used);
  }
  if (dataLength != nullptr) *dataLength = static_cast<KWLONG>(used);
  if (compCode != nullptr) *compCode = result.comp_code;
  if (reason != nullptr) *reason = result.reason;
  xtr_FNC_retcode(zxv::kComponent, kFnConvertCharsFn, result.reason);
  return result.reason;
}
