// `zxvu props decode` and `zxvu props encode`: a message's property headers
// as JSON, and JSON properties as the headers a put would carry.
//
// The JSON of both commands:
//   {"properties": [{"name": "color", "type": "string", "value": "red"},
//                   {"name": "n", "type": "int32", "value": 7, "support": 1048576}, ...],
//    "descriptor": {"Priority": 4, "MsgId": "4142...", ...},
//    "body_offset": 412}
// Types: string, boolean, bytes (lower-case hex), int8, int16, int32, int64,
// float32, float64 (numbers; "NaN", "INF", "-INF" as strings), null (value
// null). "context": "user", "support" and "copy" appear only when not the
// default. "descriptor" holds the descriptor fields that differ from a new
// handle's, keyed by field name; Format, Encoding and CodedCharSetId there
// are what the chain names for the body. Properties whose names stand for
// descriptor fields (jms.Pri, Root.KWMD.*, ...) land in "descriptor", which
// is therefore the canonical place for them: decode(encode(x)) gives x back
// when x keeps them there. "body_offset" (decode only; encode ignores it)
// is where the body starts in the file.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "tools/zxvu/cli_common.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/message_handle.h"
#include "zxvxzu/props_header.h"

namespace zxv::zxvu {
namespace {

using nlohmann::json;

constexpr KWHCONN kToolConn = 1;  // the tool's own connection
constexpr size_t kNameBuffer = 1024;
constexpr size_t kValueBuffer = 4096;
constexpr size_t kHeaderBuffer = 64 * 1024;

// ---------------------------------------------------------------------------
// Types and descriptor fields.

struct TypeName {
  KWLONG type;
  const char* name;
};
constexpr TypeName kTypes[] = {
    {KWTYPE_STRING, "string"}, {KWTYPE_BOOLEAN, "boolean"}, {KWTYPE_BYTE_STRING, "bytes"},
    {KWTYPE_INT8, "int8"},     {KWTYPE_INT16, "int16"},     {KWTYPE_INT32, "int32"},
    {KWTYPE_INT64, "int64"},   {KWTYPE_FLOAT32, "float32"}, {KWTYPE_FLOAT64, "float64"},
    {KWTYPE_NULL, "null"},
};

const char* type_name(KWLONG type) {
  for (const TypeName& t : kTypes) {
    if (t.type == type) return t.name;
  }
  return nullptr;
}

std::optional<KWLONG> type_of(std::string_view name) {
  for (const TypeName& t : kTypes) {
    if (name == t.name) return t.type;
  }
  return std::nullopt;
}

enum class FieldKind { kInt, kText, kBytes };
struct MdField {
  const char* name;
  FieldKind kind;
  bool chain;  // Format, Encoding, CodedCharSetId: what the chain names for the body
};
constexpr MdField kMdFields[] = {
    {"Report", FieldKind::kInt, false},
    {"MsgType", FieldKind::kInt, false},
    {"Expiry", FieldKind::kInt, false},
    {"Feedback", FieldKind::kInt, false},
    {"Encoding", FieldKind::kInt, true},
    {"CodedCharSetId", FieldKind::kInt, true},
    {"Format", FieldKind::kText, true},
    {"Priority", FieldKind::kInt, false},
    {"Persistence", FieldKind::kInt, false},
    {"MsgId", FieldKind::kBytes, false},
    {"CorrelId", FieldKind::kBytes, false},
    {"BackoutCount", FieldKind::kInt, false},
    {"ReplyToQ", FieldKind::kText, false},
    {"ReplyToQMgr", FieldKind::kText, false},
    {"UserIdentifier", FieldKind::kText, false},
    {"AccountingToken", FieldKind::kBytes, false},
    {"ApplIdentityData", FieldKind::kText, false},
    {"PutApplType", FieldKind::kInt, false},
    {"PutApplName", FieldKind::kText, false},
    {"PutDate", FieldKind::kText, false},
    {"PutTime", FieldKind::kText, false},
    {"ApplOriginData", FieldKind::kText, false},
    {"GroupId", FieldKind::kBytes, false},
    {"MsgSeqNumber", FieldKind::kInt, false},
    {"Offset", FieldKind::kInt, false},
    {"MsgFlags", FieldKind::kInt, false},
    {"OriginalLength", FieldKind::kInt, false},
};

const MdField* md_field(std::string_view name) {
  for (const MdField& f : kMdFields) {
    if (name == f.name) return &f;
  }
  return nullptr;
}

std::string md_property(const MdField& f) { return std::string("Root.KWMD.") + f.name; }

// ---------------------------------------------------------------------------
// A message handle of the tool's connection, deleted at the end.

class Handle {
 public:
  Handle() {
    KWCMHO cmho{{'C', 'M', 'H', 'O'}, KWCMHO_VERSION_1, KWCMHO_VALIDATE};
    KWLONG cc = 0;
    reason_ = zstCreateMessageHandle(nullptr, kToolConn, &cmho, &anchor_, &h_, &cc, &reason_);
  }
  ~Handle() {
    if (reason_ == KWRC_NONE) {
      KWLONG cc = 0;
      KWLONG reason = 0;
      zstDeleteMessageHandle(nullptr, kToolConn, &h_, nullptr, &anchor_, &cc, &reason);
    }
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  KWLONG reason() const { return reason_; }
  KWHMSG h() const { return h_; }
  MsgHandleAnchor* anchor() { return &anchor_; }

  KWLONG set(const std::string& name, KWLONG type, const void* value, size_t length,
             const KWPD* pd = nullptr) {
    KWCHARV n{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()), KWCCSI_UTF8};
    KWLONG cc = 0;
    KWLONG reason = 0;
    return zstSetMessageProperty(nullptr, kToolConn, h_, nullptr, &n, pd, type,
                                 static_cast<KWLONG>(length), value, &anchor_, &cc, &reason);
  }

  // One inquiry of `name` with `options`; the name found goes to *found.
  struct Got {
    KWLONG reason = 0;
    KWLONG type = 0;
    std::string value;
    std::string name;
    KWPD pd{};
  };
  Got inquire(const std::string& name, KWLONG options) {
    Got g;
    std::vector<char> names(kNameBuffer);
    std::vector<char> value(kValueBuffer);
    for (;;) {
      KWIMPO impo = KWIMPO_DEFAULT_INIT;
      impo.Options = options | KWIMPO_CONVERT_VALUE;
      impo.RequestedCCSID = KWCCSI_UTF8;
      impo.ReturnedName.VSPtr = names.data();
      impo.ReturnedName.VSBufSize = static_cast<KWLONG>(names.size());
      impo.ReturnedName.VSCCSID = KWCCSI_UTF8;
      KWCHARV n{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()),
                KWCCSI_UTF8};
      KWLONG length = 0;
      KWLONG cc = 0;
      g.type = KWTYPE_AS_SET;
      zstInquireMessageProperty(nullptr, kToolConn, h_, &impo, &n, &g.pd, &g.type,
                                static_cast<KWLONG>(value.size()), value.data(), &length, &anchor_,
                                &cc, &g.reason);
      // A buffer too small: the inquiry said how much is needed; ask again
      // for the same property.
      if (g.reason == KWRC_PROPERTY_VALUE_TOO_BIG && static_cast<size_t>(length) > value.size()) {
        value.resize(static_cast<size_t>(length));
        options = (options & ~KWIMPO_INQ_NEXT) | KWIMPO_INQ_PROP_UNDER_CURSOR;
        continue;
      }
      if (g.reason == KWRC_PROPERTY_NAME_TOO_BIG &&
          static_cast<size_t>(impo.ReturnedName.VSLength) > names.size()) {
        names.resize(static_cast<size_t>(impo.ReturnedName.VSLength));
        options = (options & ~KWIMPO_INQ_NEXT) | KWIMPO_INQ_PROP_UNDER_CURSOR;
        continue;
      }
      if (g.reason == KWRC_NONE) {
        g.value.assign(value.data(), static_cast<size_t>(length));
        g.name.assign(names.data(), static_cast<size_t>(impo.ReturnedName.VSLength));
      }
      return g;
    }
  }

  // Every property of the list, in list order.
  std::vector<Got> browse() {
    std::vector<Got> all;
    KWLONG options = KWIMPO_INQ_FIRST;
    for (;;) {
      Got g = inquire("%", options);
      if (g.reason != KWRC_NONE) break;
      all.push_back(std::move(g));
      options = KWIMPO_INQ_NEXT;
    }
    return all;
  }

 private:
  MsgHandleAnchor anchor_{};
  KWHMSG h_ = KWHM_NONE;
  KWLONG reason_ = KWRC_NONE;
};

std::string_view props_reason_text(KWLONG reason) {
  switch (reason) {
    case KWRC_MD_ERROR:
      return "descriptor not valid";
    case KWRC_HEADER_ERROR:
      return "header truncated or its StrucId wrong";
    case KWRC_RFH_ERROR:
      return "KWRFH2 version not 2";
    case KWRC_RFH_FORMAT_ERROR:
      return "folder malformed";
    case KWRC_RFH2_STRUC_LENGTH_SHORT:
      return "KWRFH2 StrucLength below 36";
    case KWRC_PROPERTY_NAME_ERROR:
      return "property name not valid";
    case KWRC_PROPERTY_TYPE_ERROR:
      return "property value does not suit its type";
    case KWRC_PD_ERROR:
      return "property descriptor not valid";
    case KWRC_NOT_CONVERTED:
      return "text cannot be converted";
    case KWRC_SOURCE_CCSID_ERROR:
      return "CCSID not supported";
    case 2443:
      return "a property needs support this level lacks";
    case 2490:
      return "allowed only to a transmission queue";
    default:
      return reason_text(reason);
  }
}

int refuse_props(KWLONG reason, std::string_view what) {
  const std::string_view text = props_reason_text(reason);
  return refuse_reason(reason,
                       text.empty() ? std::string(what) : fmt::format("{}: {}", what, text));
}

// ---------------------------------------------------------------------------
// JSON text out. Numbers are written by hand so that floats come out in the
// shortest form that reads back as the same value.

std::string json_string(std::string_view s) {
  return json(std::string(s)).dump(-1, ' ', false, json::error_handler_t::replace);
}

template <typename F>
std::string float_text(F v) {
  if (std::isnan(v)) return "\"NaN\"";
  if (std::isinf(v)) return v < 0 ? "\"-INF\"" : "\"INF\"";
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  std::string text(buf, r.ptr);
  if constexpr (std::is_same_v<F, float>) {
    // JSON readers parse a double and narrow it: keep the short form only
    // when that gives the same float.
    if (static_cast<float>(std::strtod(text.c_str(), nullptr)) != v) {
      r = std::to_chars(buf, buf + sizeof buf, static_cast<double>(v));
      text.assign(buf, r.ptr);
    }
  }
  return text;
}

template <typename T>
T load(const std::string& bytes) {
  T v{};
  std::memcpy(&v, bytes.data(), std::min(sizeof v, bytes.size()));
  return v;
}

std::string value_text(KWLONG type, const std::string& v) {
  switch (type) {
    case KWTYPE_STRING:
      return json_string(v);
    case KWTYPE_BOOLEAN:
      return load<int32_t>(v) != 0 ? "true" : "false";
    case KWTYPE_BYTE_STRING:
      return json_string(to_hex(v));
    case KWTYPE_INT8:
      return std::to_string(load<int8_t>(v));
    case KWTYPE_INT16:
      return std::to_string(load<int16_t>(v));
    case KWTYPE_INT32:
      return std::to_string(load<int32_t>(v));
    case KWTYPE_INT64:
      return std::to_string(load<int64_t>(v));
    case KWTYPE_FLOAT32:
      return float_text(load<float>(v));
    case KWTYPE_FLOAT64:
      return float_text(load<double>(v));
    default:
      return "null";
  }
}

// ---------------------------------------------------------------------------
// decode

struct DecodeOptions {
  std::string file;
  std::string format = KWFMT_RF_HEADER_2;
  std::string encoding;
  std::string ccsid;
  bool md = false;
};

std::string trimmed(const char* field, size_t n) {
  std::string s(field, n);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\0')) s.pop_back();
  return s;
}

// The descriptor of a new handle.
KWMD default_descriptor() {
  Handle fresh;
  KWMD md{};
  md.Version = KWMD_VERSION_2;
  KWULONG length = 0;
  KWLONG cc = 0;
  KWLONG reason = 0;
  zstPropertiesToKWRFH2(nullptr, kToolConn, fresh.h(), nullptr, &md, nullptr, 0, fresh.anchor(),
                        &length, &cc, &reason);
  return md;
}

// The JSON value of a descriptor field as an inquiry of its property gives
// it; empty when it has none.
std::string md_value(Handle& h, const MdField& f) {
  const Handle::Got g = h.inquire(md_property(f), KWIMPO_INQ_FIRST);
  if (g.reason != KWRC_NONE) return "";
  switch (f.kind) {
    case FieldKind::kInt:
      return std::to_string(load<int32_t>(g.value));
    case FieldKind::kText:
      return json_string(g.value);
    case FieldKind::kBytes:
      return json_string(to_hex(g.value));
  }
  return "";
}

// A chain field's JSON value from a structure's Format, Encoding and CCSID.
std::string chain_value(const MdField& f, const char* format, KWLONG encoding, KWLONG ccsid) {
  if (std::strcmp(f.name, "Format") == 0) return json_string(trimmed(format, KW_FORMAT_LENGTH));
  return std::to_string(std::strcmp(f.name, "Encoding") == 0 ? encoding : ccsid);
}

int run_decode(const DecodeOptions& o) {
  std::ifstream in(o.file, std::ios::binary);
  if (!in) return usage_error(fmt::format("cannot read {}", o.file));
  std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

  KWMD md = default_descriptor();
  size_t data_at = 0;
  if (o.md) {
    if (file.size() < KWMD_LENGTH_1) {
      return usage_error(fmt::format("{} is shorter than a descriptor", o.file));
    }
    KWLONG version = 0;
    std::memcpy(&version, file.data() + offsetof(KWMD, Version), sizeof version);
    const size_t length = version == KWMD_VERSION_1 ? KWMD_LENGTH_1 : KWMD_LENGTH_2;
    if (version != KWMD_VERSION_1 && version != KWMD_VERSION_2) {
      return usage_error(fmt::format("the descriptor's version is {}, not 1 or 2", version));
    }
    if (file.size() < length) {
      return usage_error(
          fmt::format("{} is shorter than a version {} descriptor", o.file, version));
    }
    std::memcpy(&md, file.data(), length);
    data_at = length;
  }
  if (!o.md || !o.encoding.empty()) {
    md.Encoding = static_cast<KWLONG>(*parse_u32(o.encoding.empty() ? "546" : o.encoding));
  }
  if (!o.md || !o.ccsid.empty()) {
    md.CodedCharSetId = static_cast<KWLONG>(*parse_u32(o.ccsid.empty() ? "1208" : o.ccsid));
  }
  if (!o.md || o.format != KWFMT_RF_HEADER_2) {
    if (o.format.size() > KW_FORMAT_LENGTH)
      return usage_error("--format takes at most 8 characters");
    std::memset(md.Format, ' ', KW_FORMAT_LENGTH);
    std::memcpy(md.Format, o.format.data(), o.format.size());
  }
  std::vector<uint8_t> data(file.begin() + static_cast<std::ptrdiff_t>(data_at), file.end());

  // Where the body starts, and what the chain names for it. The walk
  // resolves the "as before" CCSIDs (0, -1, -2); the body's CCSID is shown
  // as the structure in front of it names it.
  ZRFLOC loc{};
  KWLONG body_ccsid = md.CodedCharSetId;
  {
    ZRFLOC last{};
    bool found = false;
    KWULONG start = 0;
    char format[KW_FORMAT_LENGTH];
    std::memcpy(format, md.Format, sizeof format);
    KWLONG encoding = md.Encoding;
    KWLONG ccsid = md.CodedCharSetId;
    KWLONG cc = 0;
    KWLONG reason = 0;
    while (zrfLocateKWRFH2(data.data(), static_cast<KWULONG>(data.size()), format, encoding, ccsid,
                           start, &loc, nullptr, &cc, &reason) == KWRC_NONE) {
      std::memcpy(format, loc.NextFormat, sizeof format);
      encoding = loc.NextEncoding;
      ccsid = loc.NextCCSID;
      start = loc.NextOffset;
      last = loc;
      found = true;
    }
    if (reason != KWRC_PROPERTY_NOT_AVAILABLE) return refuse_props(reason, "the header chain");
    if (found && last.NextOffset == loc.Offset) {
      uint32_t raw = 0;
      std::memcpy(&raw, data.data() + last.Offset + offsetof(KWRFH2, CodedCharSetId), sizeof raw);
      const KWLONG integers = last.Encoding & KWENC_INTEGER_MASK;
      if (integers != 0 && integers != KWENC_INTEGER_REVERSED) raw = __builtin_bswap32(raw);
      body_ccsid = static_cast<KWLONG>(raw);
    } else if (found) {
      body_ccsid = loc.CodedCharSetId;
    }
  }

  Handle h;
  if (h.reason() != KWRC_NONE) return refuse_props(h.reason(), "creating a message handle");
  KWLONG cc = 0;
  KWLONG reason = 0;
  zstKWRFH2ToProperties(nullptr, kToolConn, h.h(), &md, data.data(),
                        static_cast<KWULONG>(data.size()), 0, h.anchor(), nullptr, nullptr, &cc,
                        &reason);
  if (reason != KWRC_NONE) return refuse_props(reason, "reading the properties");

  std::string out = "{\"properties\":[";
  bool first = true;
  for (const Handle::Got& g : h.browse()) {
    const char* type = type_name(g.type);
    if (type == nullptr) continue;  // a group marker has no value
    out += first ? "" : ",";
    first = false;
    out += fmt::format("{{\"name\":{},\"type\":\"{}\",\"value\":{}", json_string(g.name), type,
                       value_text(g.type, g.value));
    if (g.pd.Context == KWPD_USER_CONTEXT) out += ",\"context\":\"user\"";
    if (g.pd.Support != KWPD_SUPPORT_OPTIONAL) out += fmt::format(",\"support\":{}", g.pd.Support);
    if (g.pd.CopyOptions != KWCOPY_DEFAULT) out += fmt::format(",\"copy\":{}", g.pd.CopyOptions);
    out += "}";
  }
  out += "]";

  // The descriptor fields that differ from a new handle's. A chain field
  // that no property changed is reported as the chain names it for the
  // body.
  Handle fresh;
  std::string fields;
  for (const MdField& f : kMdFields) {
    std::string value = md_value(h, f);
    if (f.chain && value == chain_value(f, md.Format, md.Encoding, md.CodedCharSetId)) {
      value = chain_value(f, loc.Format, loc.Encoding, body_ccsid);
    }
    if (value.empty() || value == md_value(fresh, f)) continue;
    fields += fmt::format("{}\"{}\":{}", fields.empty() ? "" : ",", f.name, value);
  }
  if (!fields.empty()) out += ",\"descriptor\":{" + fields + "}";
  out += fmt::format(",\"body_offset\":{}}}\n", data_at + loc.Offset);
  std::fwrite(out.data(), 1, out.size(), stdout);
  return kExitOk;
}

// ---------------------------------------------------------------------------
// encode

struct EncodeOptions {
  std::string props_file;
  std::string body_file;
  std::string md_version;
  std::string nv_ccsid;
};

// The value bytes of a JSON property; an error text when it does not suit
// the type.
std::string value_bytes(KWLONG type, const json& v, std::string* bytes) {
  const auto integer = [&](int64_t lo, int64_t hi, size_t size) -> std::string {
    if (!v.is_number_integer()) return "needs an integer";
    const int64_t n = v.get<int64_t>();
    if (v.is_number_unsigned() && v.get<uint64_t>() > static_cast<uint64_t>(hi)) {
      return "is out of range";
    }
    if (n < lo || n > hi) return "is out of range";
    bytes->assign(reinterpret_cast<const char*>(&n), size);  // little-endian machine
    return "";
  };
  const auto floating = [&](double* d) -> std::string {
    if (v.is_number()) {
      *d = v.get<double>();
      return "";
    }
    if (v.is_string()) {
      const std::string s = v.get<std::string>();
      if (s == "NaN")
        *d = std::numeric_limits<double>::quiet_NaN();
      else if (s == "INF")
        *d = std::numeric_limits<double>::infinity();
      else if (s == "-INF")
        *d = -std::numeric_limits<double>::infinity();
      else
        return "needs a number, \"NaN\", \"INF\" or \"-INF\"";
      return "";
    }
    return "needs a number";
  };
  switch (type) {
    case KWTYPE_STRING:
      if (!v.is_string()) return "needs a string";
      *bytes = v.get<std::string>();
      return "";
    case KWTYPE_BOOLEAN: {
      if (!v.is_boolean()) return "needs true or false";
      const int32_t b = v.get<bool>() ? 1 : 0;
      bytes->assign(reinterpret_cast<const char*>(&b), sizeof b);
      return "";
    }
    case KWTYPE_BYTE_STRING: {
      if (!v.is_string()) return "needs hex digits";
      const auto hex = parse_hex(v.get<std::string>());
      if (!hex) return "needs hex digits, two per byte";
      bytes->assign(hex->begin(), hex->end());
      return "";
    }
    case KWTYPE_INT8:
      return integer(INT8_MIN, INT8_MAX, 1);
    case KWTYPE_INT16:
      return integer(INT16_MIN, INT16_MAX, 2);
    case KWTYPE_INT32:
      return integer(INT32_MIN, INT32_MAX, 4);
    case KWTYPE_INT64:
      return integer(INT64_MIN, INT64_MAX, 8);
    case KWTYPE_FLOAT32: {
      double d = 0;
      if (std::string e = floating(&d); !e.empty()) return e;
      const auto f = static_cast<float>(d);
      bytes->assign(reinterpret_cast<const char*>(&f), sizeof f);
      return "";
    }
    case KWTYPE_FLOAT64: {
      double d = 0;
      if (std::string e = floating(&d); !e.empty()) return e;
      bytes->assign(reinterpret_cast<const char*>(&d), sizeof d);
      return "";
    }
    default:
      if (!v.is_null()) return "needs null";
      bytes->clear();
      return "";
  }
}

int run_encode(const EncodeOptions& o) {
  std::ifstream in(o.props_file, std::ios::binary);
  if (!in) return usage_error(fmt::format("cannot read {}", o.props_file));
  const json doc = json::parse(in, nullptr, false);
  if (doc.is_discarded() || !doc.is_object()) {
    return usage_error(fmt::format("{} is not a JSON object", o.props_file));
  }
  for (const auto& [key, value] : doc.items()) {
    if (key != "properties" && key != "descriptor" && key != "body_offset") {
      return usage_error(fmt::format("unknown key \"{}\"", key));
    }
  }
  const json props = doc.value("properties", json::array());
  const json descriptor = doc.value("descriptor", json::object());
  if (!props.is_array()) return usage_error("\"properties\" must be an array");
  if (!descriptor.is_object()) return usage_error("\"descriptor\" must be an object");
  if (o.md_version.empty() && !descriptor.empty()) {
    return usage_error("a \"descriptor\" travels only with --md-version");
  }
  std::string body;
  if (!o.body_file.empty()) {
    std::ifstream b(o.body_file, std::ios::binary);
    if (!b) return usage_error(fmt::format("cannot read {}", o.body_file));
    body.assign((std::istreambuf_iterator<char>(b)), std::istreambuf_iterator<char>());
  }

  Handle h;
  if (h.reason() != KWRC_NONE) return refuse_props(h.reason(), "creating a message handle");
  std::set<std::string> names;
  for (const json& p : props) {
    if (!p.is_object() || !p.contains("name") || !p["name"].is_string() || !p.contains("type") ||
        !p["type"].is_string()) {
      return usage_error("each property needs a \"name\" and a \"type\"");
    }
    const std::string name = p["name"].get<std::string>();
    const auto type = type_of(p["type"].get<std::string>());
    if (!type) return usage_error(fmt::format("property {}: unknown type", name));
    std::string bytes;
    if (const std::string e = value_bytes(*type, p.value("value", json()), &bytes); !e.empty()) {
      return usage_error(fmt::format("property {}: the value {}", name, e));
    }
    KWPD pd{{'P', 'D', ' ', ' '},  KWPD_VERSION_1,  KWPD_NONE,
            KWPD_SUPPORT_OPTIONAL, KWPD_NO_CONTEXT, KWCOPY_DEFAULT};
    if (p.contains("context")) {
      const json& c = p["context"];
      if (c == "user") {
        pd.Context = KWPD_USER_CONTEXT;
      } else if (c != "none") {
        return usage_error(fmt::format("property {}: context is \"user\" or \"none\"", name));
      }
    }
    const std::pair<const char*, KWLONG*> numbers[] = {{"support", &pd.Support},
                                                       {"copy", &pd.CopyOptions}};
    for (const auto& [key, field] : numbers) {
      if (!p.contains(key)) continue;
      if (!p[key].is_number_integer() || p[key].get<int64_t>() < INT32_MIN ||
          p[key].get<int64_t>() > UINT32_MAX) {
        return usage_error(fmt::format("property {}: {} needs an integer", name, key));
      }
      *field = static_cast<KWLONG>(p[key].get<int64_t>());
    }
    const KWLONG reason = h.set(name, *type, bytes.data(), bytes.size(), &pd);
    if (reason != KWRC_NONE) return refuse_props(reason, fmt::format("property {}", name));
    names.insert(name);
  }
  for (const auto& [key, value] : descriptor.items()) {
    const MdField* f = md_field(key);
    if (f == nullptr) return usage_error(fmt::format("descriptor: unknown field {}", key));
    std::string bytes;
    const KWLONG type = f->kind == FieldKind::kInt    ? KWTYPE_INT32
                        : f->kind == FieldKind::kText ? KWTYPE_STRING
                                                      : KWTYPE_BYTE_STRING;
    if (const std::string e = value_bytes(type, value, &bytes); !e.empty()) {
      return usage_error(fmt::format("descriptor {}: the value {}", key, e));
    }
    const KWLONG reason = h.set(md_property(*f), type, bytes.data(), bytes.size());
    if (reason != KWRC_NONE) return refuse_props(reason, fmt::format("descriptor {}", key));
  }
  if (o.md_version.empty()) {
    // Without a descriptor, properties that landed in it would be lost.
    for (const Handle::Got& g : h.browse()) names.erase(g.name);
    if (!names.empty()) {
      return usage_error(fmt::format(
          "property {} stands for a descriptor field: it travels only with --md-version",
          *names.begin()));
    }
  }

  ZSTHDROPTS opts{};
  if (!o.nv_ccsid.empty()) opts.NameValueCCSID = static_cast<KWLONG>(*parse_u32(o.nv_ccsid));
  KWMD md{};
  md.Version = o.md_version == "1" ? KWMD_VERSION_1 : KWMD_VERSION_2;
  std::vector<uint8_t> headers(kHeaderBuffer);
  KWULONG length = 0;
  KWLONG cc = 0;
  KWLONG reason = 0;
  for (;;) {
    zstPropertiesToKWRFH2(nullptr, kToolConn, h.h(), &opts, &md, headers.data(),
                          static_cast<KWULONG>(headers.size()), h.anchor(), &length, &cc, &reason);
    if (reason != KWRC_HEADERS_TOO_BIG) break;
    headers.resize(length);
  }
  if (reason != KWRC_NONE) return refuse_props(reason, "writing the headers");
  if (!o.md_version.empty()) {
    std::fwrite(&md, 1, md.Version == KWMD_VERSION_1 ? KWMD_LENGTH_1 : KWMD_LENGTH_2, stdout);
  }
  std::fwrite(headers.data(), 1, length, stdout);
  std::fwrite(body.data(), 1, body.size(), stdout);
  return std::fflush(stdout) == 0 ? kExitOk : usage_error("cannot write standard output");
}

}  // namespace

void add_props_commands(CLI::App& parent, Action& action) {
  CLI::App* props = parent.add_subcommand(
      "props", "A message's property headers (KWRFH2) as JSON, and JSON properties as headers");
  props->require_subcommand(1);
  props->footer(
      "JSON: {\"properties\":[{\"name\":N,\"type\":T,\"value\":V[,\"context\":\"user\"]"
      "[,\"support\":S][,\"copy\":C]},...],\"descriptor\":{Field:V,...},\"body_offset\":N}; "
      "types string, boolean, bytes (hex), int8, int16, int32, int64, float32, float64, null. "
      "Properties naming descriptor fields (jms.Pri, Root.KWMD.*) belong in \"descriptor\".");

  auto d = std::make_shared<DecodeOptions>();
  CLI::App* decode = props->add_subcommand(
      "decode", "Print the properties of a message's headers as one JSON object");
  decode->add_option("FILE", d->file, "The message data (with --md: a descriptor in front)")
      ->required()
      ->check(CLI::ExistingFile);
  decode->add_option("--format", d->format, "Format of the first structure (default KWHRF2)")
      ->type_name("F");
  decode->add_option("--encoding", d->encoding, "Encoding of the first structure (default 546)")
      ->type_name("E")
      ->check(number_validator());
  decode->add_option("--ccsid", d->ccsid, "CCSID of the first structure (default 1208)")
      ->type_name("C")
      ->check(number_validator());
  decode->add_flag("--md", d->md,
                   "FILE starts with a message descriptor (version 2: 364 bytes, version 1: 324) "
                   "whose Format, Encoding and CodedCharSetId start the walk");
  decode->callback([&action, d] { action = [d] { return run_decode(*d); }; });

  auto e = std::make_shared<EncodeOptions>();
  CLI::App* encode = props->add_subcommand(
      "encode", "Write what a put would carry: [descriptor] [extension] headers [body]");
  encode->add_option("PROPS", e->props_file, "JSON properties (as decode prints them)")
      ->required()
      ->check(CLI::ExistingFile);
  encode->add_option("BODY", e->body_file, "The message body")->check(CLI::ExistingFile);
  encode
      ->add_option("--md-version", e->md_version,
                   "Write a descriptor of this version first (1: group fields in an extension)")
      ->type_name("1|2")
      ->check(CLI::IsMember({"1", "2"}));
  encode->add_option("--nv-ccsid", e->nv_ccsid, "CCSID of the folder text (default 1208)")
      ->type_name("C")
      ->check(number_validator());
  encode->callback([&action, e] { action = [e] { return run_encode(*e); }; });
}

}  // namespace zxv::zxvu
