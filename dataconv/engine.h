// The conversion engine behind vpiConvertData and vxKWXDX: walks the chain of
// structures of a message and converts each by its format.
#pragma once

#include <cstddef>
#include <cstdint>

#include "dataconv/converter.h"

namespace zxv::dataconv {

// One message to convert.
struct Message {
  int32_t source_encoding = 0;
  int32_t source_ccsid = 0;
  int32_t target_encoding = 0;
  int32_t target_ccsid = 0;
  char format[KW_FORMAT_LENGTH] = {};  // of the first structure, local form
  const uint8_t* in = nullptr;         // the available data
  size_t in_length = 0;
  uint8_t* out = nullptr;  // may be `in` itself
  size_t out_length = 0;
  bool accept_truncation = false;
  // The get's result so far (2079 when it truncated the message).
  int32_t pending_comp_code = KWCC_OK;
  int32_t pending_reason = KWRC_NONE;
  // Formats that are not built in go to user exits (vpiConvertData), or
  // give 2110 (vxKWXDX).
  bool user_exits = false;
};

// What became of it.
struct Converted {
  int32_t comp_code = KWCC_OK;
  int32_t reason = KWRC_NONE;
  size_t length = 0;  // bytes in out
  // What the first structure in out is in: the target values, or the source
  // values when it was left as given.
  int32_t encoding = 0;
  int32_t ccsid = 0;
};

// Converts `message`. On failure out holds the data as given (its first
// min(in_length, out_length) bytes). Never fails to fill `result`.
Converted ConvertMessage(const Message& message);

}  // namespace zxv::dataconv
