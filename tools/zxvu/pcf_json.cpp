// A PCF message as one line of JSON.
#include "tools/zxvu/pcf_json.h"

#include <fmt/core.h>

#include <cstddef>
#include <vector>

#include "tools/zxvu/cli_common.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxzu/pcf.h"

namespace zxv::zxvu {
namespace {

const char* TypeName(int32_t type) {
  switch (type) {
    case KWCFT_INTEGER:
      return "integer";
    case KWCFT_STRING:
      return "string";
    case KWCFT_INTEGER_LIST:
      return "integer-list";
    case KWCFT_STRING_LIST:
      return "string-list";
    case KWCFT_BYTE_STRING:
      return "bytes";
    case KWCFT_INTEGER_FILTER:
      return "integer-filter";
    case KWCFT_STRING_FILTER:
      return "string-filter";
    case KWCFT_BYTE_STRING_FILTER:
      return "bytes-filter";
    case KWCFT_GROUP:
      return "group";
    case KWCFT_INTEGER64:
      return "integer64";
    case KWCFT_INTEGER64_LIST:
      return "integer64-list";
    default:
      return nullptr;
  }
}

// Smallest structure length of a known type (8 for any other).
size_t MinimumLength(int32_t type) {
  switch (type) {
    case KWCFT_INTEGER:
      return KWCFIN_STRUC_LENGTH;
    case KWCFT_STRING:
      return KWCFST_STRUC_LENGTH_FIXED;
    case KWCFT_INTEGER_LIST:
      return KWCFIL_STRUC_LENGTH_FIXED;
    case KWCFT_STRING_LIST:
      return KWCFSL_STRUC_LENGTH_FIXED;
    case KWCFT_BYTE_STRING:
      return KWCFBS_STRUC_LENGTH_FIXED;
    case KWCFT_INTEGER_FILTER:
      return KWCFIF_STRUC_LENGTH;
    case KWCFT_STRING_FILTER:
      return KWCFSF_STRUC_LENGTH_FIXED;
    case KWCFT_BYTE_STRING_FILTER:
      return KWCFBF_STRUC_LENGTH_FIXED;
    case KWCFT_GROUP:
      return KWCFGR_STRUC_LENGTH;
    case KWCFT_INTEGER64:
      return KWCFIN64_STRUC_LENGTH;
    case KWCFT_INTEGER64_LIST:
      return KWCFIL64_STRUC_LENGTH_FIXED;
    default:
      return 8;
  }
}

// Well-formed UTF-8: no stray continuation bytes, no overlong forms, no
// surrogates, nothing above U+10FFFF. The conversion service copies a
// string whose CCSID is already UTF-8 without looking at it.
bool IsUtf8(std::string_view s) {
  size_t i = 0;
  while (i < s.size()) {
    const auto b = static_cast<unsigned char>(s[i]);
    size_t more = 0;
    uint32_t cp = 0;
    uint32_t least = 0;
    if (b < 0x80) {
      ++i;
      continue;
    } else if ((b & 0xE0) == 0xC0) {
      more = 1, cp = b & 0x1F, least = 0x80;
    } else if ((b & 0xF0) == 0xE0) {
      more = 2, cp = b & 0x0F, least = 0x800;
    } else if ((b & 0xF8) == 0xF0) {
      more = 3, cp = b & 0x07, least = 0x10000;
    } else {
      return false;
    }
    if (s.size() - i <= more) return false;
    for (size_t k = 1; k <= more; ++k) {
      const auto c = static_cast<unsigned char>(s[i + k]);
      if ((c & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (c & 0x3F);
    }
    if (cp < least || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += more + 1;
  }
  return true;
}

void AppendJsonString(std::string& out, std::string_view utf8) {
  out.push_back('"');
  for (char c : utf8) {
    const auto b = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(c);
    } else if (b < 0x20) {
      out += fmt::format("\\u{:04x}", b);
    } else {
      out.push_back(c);
    }
  }
  out.push_back('"');
}

class Dump {
 public:
  Dump(std::string_view message, KWLONG encoding, KWLONG ccsid)
      : m_(message), encoding_(encoding), ccsid_(ccsid) {}
  PcfJson Run();

 private:
  // A group whose members are still being written.
  struct Open {
    int64_t left;
    bool first;
  };

  int32_t I32(size_t at) const {
    const auto* p = reinterpret_cast<const unsigned char*>(m_.data() + at);
    uint32_t v = 0;
    for (int k = 0; k < 4; ++k) v = (v << 8) | p[big_ ? k : 3 - k];
    return static_cast<int32_t>(v);
  }
  int64_t I64(size_t at) const {
    const auto* p = reinterpret_cast<const unsigned char*>(m_.data() + at);
    uint64_t v = 0;
    for (int k = 0; k < 8; ++k) v = (v << 8) | p[big_ ? k : 7 - k];
    return static_cast<int64_t>(v);
  }
  bool Fail(std::string why) {
    why_ = std::move(why);
    return false;
  }
  bool Malformed(std::string_view what) {
    return Fail(fmt::format("parameter {} at offset {}: {}", index_, pos_, what));
  }
  // Appends `n` bytes of string at `at` (CCSID `ccsid`, 0 the message's) as
  // a JSON string in UTF-8.
  bool AppendString(int32_t ccsid, size_t at, size_t n);
  void AppendHex(size_t at, size_t n) { out_ += '"' + to_hex(m_.substr(at, n)) + '"'; }
  void AppendCcsid(int32_t ccsid) {
    out_ += fmt::format(",\"ccsid\":{}", ccsid == 0 ? ccsid_ : ccsid);
  }
  // Checks the parameter at pos_ and appends it; a group opens a level.
  bool Parameter(std::vector<Open>& open);

  std::string_view m_;
  KWLONG encoding_;
  KWLONG ccsid_;
  bool big_ = false;
  size_t pos_ = 0;
  int64_t index_ = 0;
  std::string out_;
  std::string why_;
};

bool Dump::AppendString(int32_t ccsid, size_t at, size_t n) {
  const int32_t from = ccsid == 0 ? ccsid_ : ccsid;
  std::string utf8;
  if (n > 0) {
    // No character grows to more than four bytes of UTF-8.
    utf8.resize(4 * n + 16);
    uint32_t used = 0;
    const xcsRC rc =
        xcsConvertString(from, encoding_, m_.data() + at, static_cast<uint32_t>(n), KWCCSI_UTF8,
                         KWENC_NATIVE, utf8.data(), static_cast<uint32_t>(utf8.size()), &used);
    if (rc != xcsRC_OK && rc != xcsRC_CONV_DEFAULT_CHAR_USED) {
      return Malformed(
          fmt::format("its string does not convert from CCSID {} to UTF-8 (0x{:08x})", from, rc));
    }
    utf8.resize(used);
    if (!IsUtf8(utf8)) {
      return Malformed(fmt::format("its string in CCSID {} is not valid", from));
    }
  }
  AppendJsonString(out_, utf8);
  return true;
}

bool Dump::Parameter(std::vector<Open>& open) {
  const size_t left = m_.size() - pos_;
  if (left < 8) return Malformed("the message ends inside the structure");
  const int32_t type = I32(pos_);
  const int32_t length = I32(pos_ + 4);
  if (length < 0 || static_cast<size_t>(length) < MinimumLength(type)) {
    return Malformed(fmt::format("the structure length {} is not valid", length));
  }
  const size_t len = static_cast<size_t>(length);
  if (len > left) {
    return Malformed(
        fmt::format("the structure length {} runs past the end of the message", length));
  }
  const char* name = TypeName(type);
  if (name == nullptr) return Malformed(fmt::format("the type {} is not valid", type));
  const int32_t id = I32(pos_ + 8);
  out_ += fmt::format("{{\"type\":\"{}\",\"id\":{}", name, id);
  const auto bad_length = [&] {
    return Malformed(fmt::format("the structure length {} does not hold its contents", length));
  };
  switch (type) {
    case KWCFT_INTEGER:
      out_ += fmt::format(",\"value\":{}}}", I32(pos_ + 12));
      break;
    case KWCFT_INTEGER_FILTER:
      out_ += fmt::format(",\"operator\":{},\"value\":{}}}", I32(pos_ + 12), I32(pos_ + 16));
      break;
    case KWCFT_INTEGER64:
      out_ += fmt::format(",\"value\":{}}}", I64(pos_ + offsetof(KWCFIN64, Value)));
      break;
    case KWCFT_STRING:
    case KWCFT_STRING_FILTER: {
      const bool filter = type == KWCFT_STRING_FILTER;
      const size_t fixed = filter ? KWCFSF_STRUC_LENGTH_FIXED : KWCFST_STRUC_LENGTH_FIXED;
      const int32_t ccsid = I32(
          pos_ + (filter ? offsetof(KWCFSF, CodedCharSetId) : offsetof(KWCFST, CodedCharSetId)));
      const int32_t n = I32(pos_ + fixed - 4);
      if (n < 0 || static_cast<size_t>(n) > len - fixed) return bad_length();
      if (filter) out_ += fmt::format(",\"operator\":{}", I32(pos_ + offsetof(KWCFSF, Operator)));
      AppendCcsid(ccsid);
      out_ += ",\"value\":";
      if (!AppendString(ccsid, pos_ + fixed, static_cast<size_t>(n))) return false;
      out_ += '}';
      break;
    }
    case KWCFT_BYTE_STRING:
    case KWCFT_BYTE_STRING_FILTER: {
      const bool filter = type == KWCFT_BYTE_STRING_FILTER;
      const size_t fixed = filter ? KWCFBF_STRUC_LENGTH_FIXED : KWCFBS_STRUC_LENGTH_FIXED;
      const int32_t n = I32(pos_ + fixed - 4);
      if (n < 0 || static_cast<size_t>(n) > len - fixed) return bad_length();
      if (filter) out_ += fmt::format(",\"operator\":{}", I32(pos_ + offsetof(KWCFBF, Operator)));
      out_ += ",\"value\":";
      AppendHex(pos_ + fixed, static_cast<size_t>(n));
      out_ += '}';
      break;
    }
    case KWCFT_INTEGER_LIST:
    case KWCFT_INTEGER64_LIST: {
      const size_t size = type == KWCFT_INTEGER_LIST ? 4 : 8;
      const int32_t count = I32(pos_ + offsetof(KWCFIL, Count));
      if (count < 0 || static_cast<uint64_t>(count) * size > len - KWCFIL_STRUC_LENGTH_FIXED) {
        return bad_length();
      }
      out_ += ",\"values\":[";
      for (int32_t k = 0; k < count; ++k) {
        const size_t at = pos_ + KWCFIL_STRUC_LENGTH_FIXED + static_cast<size_t>(k) * size;
        if (k > 0) out_ += ',';
        out_ += size == 4 ? std::to_string(I32(at)) : std::to_string(I64(at));
      }
      out_ += "]}";
      break;
    }
    case KWCFT_STRING_LIST: {
      const int32_t ccsid = I32(pos_ + offsetof(KWCFSL, CodedCharSetId));
      const int32_t count = I32(pos_ + offsetof(KWCFSL, Count));
      const int32_t width = I32(pos_ + offsetof(KWCFSL, StringLength));
      if (count < 0 || width < 0 ||
          static_cast<uint64_t>(count) * static_cast<uint64_t>(width) >
              len - KWCFSL_STRUC_LENGTH_FIXED) {
        return bad_length();
      }
      // Nothing in the structure bounds a count of empty strings; the tool
      // prints no more of them than the structure has bytes.
      if (width == 0 && static_cast<size_t>(count) > len - KWCFSL_STRUC_LENGTH_FIXED) {
        return Malformed(fmt::format("{} empty strings are more than the tool prints", count));
      }
      AppendCcsid(ccsid);
      out_ += ",\"values\":[";
      for (int32_t k = 0; k < count; ++k) {
        if (k > 0) out_ += ',';
        const size_t at =
            pos_ + KWCFSL_STRUC_LENGTH_FIXED + static_cast<size_t>(k) * static_cast<size_t>(width);
        if (!AppendString(ccsid, at, static_cast<size_t>(width))) return false;
      }
      out_ += "]}";
      break;
    }
    case KWCFT_GROUP: {
      const int32_t members = I32(pos_ + offsetof(KWCFGR, ParameterCount));
      if (members < 0) return bad_length();
      // Closed (with "]}") when its last member has been written.
      out_ += ",\"parameters\":[";
      open.push_back({members, true});
      break;
    }
    default:
      break;
  }
  pos_ += len;
  return true;
}

PcfJson Dump::Run() {
  PcfJson result;
  const auto refuse = [&](KWLONG reason) {
    result.reason = reason;
    result.why = why_;
    return result;
  };
  const int32_t order = encoding_ & KWENC_INTEGER_MASK;
  if (order != KWENC_INTEGER_NORMAL && order != KWENC_INTEGER_REVERSED) {
    Fail(fmt::format("the encoding {} gives no integer byte order", encoding_));
    return refuse(KWRC_SOURCE_INTEGER_ENC_ERROR);
  }
  big_ = order == KWENC_INTEGER_NORMAL;
  if (m_.size() < KWCFH_STRUC_LENGTH) {
    Fail(fmt::format("the message has {} bytes, fewer than the 36 of a PCF header", m_.size()));
    return refuse(KWRC_NOT_CONVERTED);
  }
  const int32_t length = I32(offsetof(KWCFH, StrucLength));
  const int32_t count = I32(offsetof(KWCFH, ParameterCount));
  if (length != KWCFH_STRUC_LENGTH) {
    Fail(fmt::format("the header's structure length is {}, not 36", length));
    return refuse(KWRC_NOT_CONVERTED);
  }
  if (count < 0) {
    Fail(fmt::format("the header's parameter count {} is negative", count));
    return refuse(KWRC_NOT_CONVERTED);
  }
  out_ = fmt::format(
      "{{\"header\":{{\"type\":{},\"length\":{},\"version\":{},\"command\":{},\"msgseq\":{},"
      "\"control\":{},\"compcode\":{},\"reason\":{},\"count\":{}}},\"parameters\":[",
      I32(offsetof(KWCFH, Type)), length, I32(offsetof(KWCFH, Version)),
      I32(offsetof(KWCFH, Command)), I32(offsetof(KWCFH, MsgSeqNumber)),
      I32(offsetof(KWCFH, Control)), I32(offsetof(KWCFH, CompCode)), I32(offsetof(KWCFH, Reason)),
      count);
  pos_ = KWCFH_STRUC_LENGTH;
  std::vector<Open> open{{count, true}};
  while (!open.empty()) {
    Open& level = open.back();
    if (level.left == 0) {
      // Ends the parameters of a group and the group, or of the message
      // and the message.
      open.pop_back();
      out_ += "]}";
      continue;
    }
    --level.left;
    if (!level.first) out_ += ',';
    level.first = false;
    if (!Parameter(open)) return refuse(KWRC_NOT_CONVERTED);
    ++index_;
  }
  result.json = std::move(out_);
  return result;
}

}  // namespace

PcfJson PcfToJson(std::string_view message, KWLONG encoding, KWLONG ccsid) {
  return Dump(message, encoding, ccsid).Run();
}

}  // namespace zxv::zxvu
