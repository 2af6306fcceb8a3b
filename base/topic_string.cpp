// Escaping, literalizing and validating topic strings.
#include "base/topic_string.h"

#include <cstring>
#include <memory>

#include "base/trace_ids.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/topic.h"

namespace zxv::base {
namespace {

constexpr uint32_t kFnEscapeTopicString = kFnBaseTopic + 0x00;
constexpr uint32_t kFnLiteralizeTopicString = kFnBaseTopic + 0x01;
constexpr uint32_t kFnValidateTopicString = kFnBaseTopic + 0x02;

// Failure-record probes.
constexpr uint32_t kProbeEscapeAlloc = 1;
constexpr uint32_t kProbeLiteralAlloc = 2;
constexpr uint32_t kProbeConvert = 3;
constexpr uint32_t kProbeCopyAlloc = 4;

constexpr char kEscape = ZUT_TOPIC_ESCAPE_CHAR;
constexpr uint32_t kConvertBufferLength = ZUT_TOPIC_CONVERT_BUFFER_LENGTH;

// Conversion-service codes that mean the text cannot be brought to UTF-8:
// unknown CCSID or pair, invalid or truncated source, no mapping, no room,
// and the service's lock and table failures.
constexpr xcsRC kUnconvertibleCodes[] = {
    xcsRC_CONV_NOT_SUPPORTED,
    xcsRC_CONV_INVALID_SOURCE,
    xcsRC_CONV_UNMAPPABLE,
    xcsRC_CONV_BUFFER_TOO_SMALL,
    xcsRC_MUTEX_TIMEOUT,
    0x20006317u,
    0x20006318u,
    xcsRC_CONV_TRUNCATED_SOURCE,
    0x20806197u,
    0x20806198u,
    0x10806199u,
};

// Frees a block of the platform allocator.
struct PlatformFree {
  void operator()(char* p) const { xcsFreeMemFn(p); }
};
using OwnedBuffer = std::unique_ptr<char, PlatformFree>;

// Allocates `length` bytes; on failure fills the outcome from the
// allocator's code and writes a failure record for an unexpected one.
Rc Allocate(size_t length, uint32_t probe, OwnedBuffer* buffer, Outcome* outcome) {
  void* block = nullptr;
  const xcsRC rc = xcsGetMemFn(length, &block);
  if (rc != xcsRC_OK) {
    const int32_t reason = xcsStorageReason(rc);
    if (reason == KWRC_UNEXPECTED_ERROR) {
      xcsERDPFn(kComponent, __FILE__, probe, rc, "Unexpected allocator code", nullptr, 0);
    }
    outcome->fail(reason);
    return rc;
  }
  buffer->reset(static_cast<char*>(block));
  return ZXVRC_OK;
}

int32_t ConversionReason(xcsRC rc) {
  if (rc == xcsRC_CONV_DEFAULT_CHAR_USED) return KWRC_TOPIC_STRING_CONVERSION;
  for (xcsRC code : kUnconvertibleCodes) {
    if (rc == code) return KWRC_TOPIC_STRING_ERROR;
  }
  return KWRC_UNEXPECTED_ERROR;
}

// Checks the escape at data[at]; traces and returns false when it is
// dangling or escapes a byte that needs no escape.
bool EscapeIsValid(const char* data, size_t at, size_t length, uint32_t fn) {
  if (at + 1 == length) {
    xtr_text_detail(kComponent, fn, "Escape character found at end of topic string");
    return false;
  }
  const uint8_t next = static_cast<uint8_t>(data[at + 1]);
  if (!IsTopicEscapable(next)) {
    xtr_text_detail(kComponent, fn, "Invalid char following escape: 0x%2X", next);
    return false;
  }
  return true;
}

// Index of the first '%', '*' or '?' in data[0, length), or length. Most
// topic strings hold none, so whole words are tested first.
size_t FirstEscapable(const char* data, size_t length) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHighs = 0x8080808080808080ull;
  // Non-zero when some byte of `word` equals `b` (no false positives).
  auto has_byte = [](uint64_t word, char b) {
    const uint64_t x = word ^ (kOnes * static_cast<uint8_t>(b));
    return (x - kOnes) & ~x & kHighs;
  };
  size_t i = 0;
  for (; i + sizeof(uint64_t) <= length; i += sizeof(uint64_t)) {
    uint64_t word;
    std::memcpy(&word, data + i, sizeof word);
    if (has_byte(word, '%') | has_byte(word, '*') | has_byte(word, '?')) break;
  }
  while (i < length && !IsTopicEscapable(static_cast<uint8_t>(data[i]))) ++i;
  return i;
}

}  // namespace

Rc EscapeTopic(int32_t options, uint32_t length, const char* string, TopicText* out,
               Outcome* outcome) {
  *outcome = Outcome{};
  *out = TopicText{const_cast<char*>(string), length, false};
  if (!(options & ZUT_TOPIC_ESCAPED)) return ZXVRC_OK;
  if (length == 0 || string == nullptr) {
    *out = TopicText{};
    return ZXVRC_OK;
  }

  const size_t first = FirstEscapable(string, length);
  if (first == length) return ZXVRC_OK;  // nothing to escape: the input is the result

  // Every byte escaped doubles the string; no result is longer.
  OwnedBuffer buffer;
  if (const Rc rc = Allocate(2 * size_t{length}, kProbeEscapeAlloc, &buffer, outcome);
      rc != ZXVRC_OK) {
    *out = TopicText{};
    return rc;
  }
  char* dst = buffer.get();
  std::memcpy(dst, string, first);
  size_t w = first;
  for (size_t r = first; r < length; ++r) {
    const char c = string[r];
    if (IsTopicEscapable(static_cast<uint8_t>(c))) dst[w++] = kEscape;
    dst[w++] = c;
  }
  *out = TopicText{buffer.release(), static_cast<uint32_t>(w), true};
  return ZXVRC_OK;
}

Rc LiteralizeTopic(LiteralTopic* topic, Outcome* outcome) {
  *outcome = Outcome{};
  topic->allocated = false;
  if (topic->length < 1 || topic->data == nullptr) {
    topic->length = 0;
    topic->data = nullptr;
    return ZXVRC_OK;
  }

  // Work on copies so that a failure leaves the caller's description as it was.
  char* data = topic->data;
  size_t length = static_cast<size_t>(topic->length);
  uint32_t buffer_length = topic->buffer_length;
  int32_t ccsid = topic->ccsid;
  OwnedBuffer buffer;

  if (ccsid != KWCCSI_UTF8) {
    ZXV_RETURN_IF_ERROR(Allocate(kConvertBufferLength, kProbeLiteralAlloc, &buffer, outcome));
    uint32_t used = 0;
    const xcsRC rc =
        xcsConvertString(ccsid, KWENC_NATIVE, data, static_cast<uint32_t>(length), KWCCSI_UTF8,
                         KWENC_NATIVE, buffer.get(), kConvertBufferLength, &used);
    if (rc != xcsRC_OK) {
      const int32_t reason = ConversionReason(rc);
      if (reason == KWRC_UNEXPECTED_ERROR) {
        xcsERDPFn(kComponent, __FILE__, kProbeConvert, rc, "Unexpected conversion code", nullptr,
                  0);
      }
      outcome->fail(reason);
      return rc;
    }
    data = buffer.get();
    length = used;
    buffer_length = kConvertBufferLength;
    ccsid = KWCCSI_UTF8;
  }

  const void* found = std::memchr(data, kEscape, length);
  if (found != nullptr) {
    size_t r = static_cast<size_t>(static_cast<const char*>(found) - data);
    if (!EscapeIsValid(data, r, length, kFnLiteralizeTopicString)) {
      outcome->fail(KWRC_TOPIC_STRING_ERROR);
      return ZXVRC_TOPIC_STRING_INVALID;
    }
    if (!buffer) {
      // The caller's bytes are never changed: unescape a copy.
      ZXV_RETURN_IF_ERROR(Allocate(length, kProbeCopyAlloc, &buffer, outcome));
      std::memcpy(buffer.get(), data, length);
      data = buffer.get();
      buffer_length = static_cast<uint32_t>(length);
    }
    // Compact in place: each valid escape drops its '%' and keeps the byte
    // after it, which is not looked at again ("%%" gives one '%').
    size_t w = r;
    while (r < length) {
      if (data[r] == kEscape) {
        if (!EscapeIsValid(data, r, length, kFnLiteralizeTopicString)) {
          outcome->fail(KWRC_TOPIC_STRING_ERROR);
          return ZXVRC_TOPIC_STRING_INVALID;
        }
        ++r;
      }
      data[w++] = data[r++];
    }
    length = w;
  }

  topic->data = data;
  topic->length = static_cast<int32_t>(length);
  topic->buffer_length = buffer_length;
  topic->ccsid = ccsid;
  topic->allocated = buffer != nullptr;
  buffer.release();  // ownership passes to the caller
  return ZXVRC_OK;
}

bool ValidateTopic(int32_t options, uint32_t length, const char* string) {
  if (!(options & ZUT_TOPIC_ESCAPED) || length == 0 || string == nullptr) return true;
  size_t i = 0;
  while (i < length) {
    const void* found = std::memchr(string + i, kEscape, length - i);
    if (found == nullptr) break;
    i = static_cast<size_t>(static_cast<const char*>(found) - string);
    if (!EscapeIsValid(string, i, length, kFnValidateTopicString)) return false;
    i += 2;  // the escaped byte is taken as it stands
  }
  return true;
}

}  // namespace zxv::base

namespace zb = zxv::base;

namespace {

template <typename T>
void Store(T* target, T value) {
  if (target != nullptr) *target = value;
}

}  // namespace

extern "C" {

ZXV_API ZXVRC zutEscapeTopicString(KWLONG options, KWULONG length, const char* string,
                                   KWULONG* outLength, char** outString, KWULONG* allocated,
                                   KWLONG* compCode, KWLONG* reason) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnEscapeTopicString);
  zb::TopicText out;
  zxv::Outcome outcome;
  const ZXVRC rc = zb::EscapeTopic(options, length, string, &out, &outcome);
  if (out.allocated && outString == nullptr) {
    xcsFreeMemFn(out.data);  // nowhere to hand the buffer to
    out = zb::TopicText{};
  }
  Store(outLength, KWULONG{out.length});
  Store(outString, out.data);
  Store(allocated, KWULONG{out.allocated ? 1u : 0u});
  Store(compCode, outcome.comp_code);
  Store(reason, outcome.reason);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnEscapeTopicString, rc);
  return rc;
}

ZXV_API ZXVRC zutLiteralizeTopicString(KWLONG* length, char** string, KWULONG* bufferLength,
                                       KWLONG* ccsid, KWULONG* allocated, KWLONG* compCode,
                                       KWLONG* reason) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnLiteralizeTopicString);
  zb::LiteralTopic topic;
  // Without somewhere to write the result the string counts as missing.
  if (length != nullptr && string != nullptr) {
    topic.data = *string;
    topic.length = *length;
  }
  topic.buffer_length = bufferLength != nullptr ? *bufferLength : 0;
  topic.ccsid = ccsid != nullptr ? *ccsid : KWCCSI_UTF8;
  zxv::Outcome outcome;
  const ZXVRC rc = zb::LiteralizeTopic(&topic, &outcome);
  if (rc == ZXVRC_OK) {
    Store(length, KWLONG{topic.length});
    Store(string, topic.data);
    Store(bufferLength, KWULONG{topic.buffer_length});
    Store(ccsid, KWLONG{topic.ccsid});
  }
  Store(allocated, KWULONG{topic.allocated ? 1u : 0u});
  Store(compCode, outcome.comp_code);
  Store(reason, outcome.reason);
  xtr_FNC_retcode(zxv::kComponent, zb::kFnLiteralizeTopicString, rc);
  return rc;
}

ZXV_API KWLONG zutValidateTopicString(KWLONG options, KWULONG length, const char* string) {
  xtr_FNC_entry(zxv::kComponent, zb::kFnValidateTopicString);
  const KWLONG ok = zb::ValidateTopic(options, length, string) ? 1 : 0;
  xtr_FNC_retcode(zxv::kComponent, zb::kFnValidateTopicString, ok);
  return ok;
}

}  // extern "C"
