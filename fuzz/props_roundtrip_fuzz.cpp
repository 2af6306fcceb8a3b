// Round trip of message properties through the header: random properties
// are set on a handle, written as a KWRFH2 (zstPropertiesToKWRFH2) and read
// into a second handle (zstKWRFH2ToProperties); the two handles must hold
// the same properties, with the same types, values, context, Support and
// CopyOptions, in every folder encoding.
//
// Input: byte 0 chooses the folder CCSID (and the byte order of the header
// and of UCS-2 text); then records, each:
//   name byte   - a name from the pool (low 5 bits) and how many suffix
//                 parts follow (high 3 bits); each suffix part takes one
//                 byte, mapped to a short identifier
//   type byte   - the property type (low 4 bits), context, Support and
//                 CopyOptions (high 4 bits)
//   length byte - value bytes that follow (for strings and byte strings;
//                 fixed-size types take their own size)
//   value bytes - string characters are mapped onto a set every folder
//                 CCSID can hold, markup characters included
// A property the name rules refuse is skipped. The check aborts on any
// difference.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "zxvxzu/message_handle.h"
#include "zxvxzu/props_header.h"

namespace {

constexpr KWHCONN kConn = 9;

struct Folder {
  KWLONG ccsid;
  KWLONG encoding;
};
constexpr Folder kFolders[] = {{1208, 546}, {819, 546}, {500, 546},   {1200, 546}, {1200, 273},
                               {37, 273},   {850, 546}, {13488, 273}, {1252, 546}, {1047, 546}};

constexpr const char* kNamePool[] = {
    "color",    "order",       "jms.Dst",  "jms.Rto", "mcd.Msd", "mcd.Type",    "mcd.Set",
    "mcd.Fmt",  "usr",         "usr.kept", "a",       "a.b",     "kw.Aui",      "psc.Command",
    "kwps.Top", "kwpse",       "zol_rfp",  "jms.Dlv", "jms.Exp", "deep.er.est", "x_y",
    "$money",   "caf\xC3\xA9", "q1",       "elt",     "n",       "Z",           "jms",
    "mcd",      "line.item",   "big",      "f"};
constexpr size_t kPoolSize = sizeof kNamePool / sizeof kNamePool[0];

constexpr const char* kSuffixes[] = {"a",   "b",   "item", "qty", "x1",  "_",   "usr", "jms",
                                     "Dst", "sub", "y$",   "z9",  "elt", "Dlv", "v",   "w"};

// Characters of string values: every folder CCSID above holds them (the
// zero character and controls included).
using std::literals::string_view_literals::operator""sv;
constexpr std::string_view kTextChars[] = {"a"sv, "Z"sv,  "0"sv,  "9"sv,        " "sv,   "<"sv,
                                           ">"sv, "&"sv,  "'"sv,  "\""sv,       ";"sv,   "="sv,
                                           "/"sv, "\n"sv, "\t"sv, "\xC3\xA9"sv, "amp"sv, "&lt;"sv,
                                           "%"sv, "."sv,  "\r"sv, "\x01"sv,     "\0"sv};

constexpr KWLONG kTypes[] = {KWTYPE_STRING,  KWTYPE_BOOLEAN, KWTYPE_BYTE_STRING, KWTYPE_INT8,
                             KWTYPE_INT16,   KWTYPE_INT32,   KWTYPE_INT64,       KWTYPE_FLOAT32,
                             KWTYPE_FLOAT64, KWTYPE_NULL};
constexpr size_t kTypeCount = sizeof kTypes / sizeof kTypes[0];

constexpr KWLONG kSupports[] = {KWPD_SUPPORT_OPTIONAL, 0x00100000, 0x00000400, 0x00000003};
constexpr KWLONG kCopies[] = {KWCOPY_DEFAULT, KWCOPY_ALL, KWCOPY_NONE,
                              KWCOPY_REPLY | KWCOPY_FORWARD};

void Require(bool condition) {
  if (!condition) std::abort();
}

struct Prop {
  std::string name;
  KWLONG type;
  std::string value;
  KWLONG support;
  KWLONG context;
  KWLONG copy;
  bool operator<(const Prop& o) const { return name < o.name; }
};

class Handle {
 public:
  Handle() {
    KWCMHO cmho{{'C', 'M', 'H', 'O'}, KWCMHO_VERSION_1, KWCMHO_VALIDATE};
    KWLONG cc;
    KWLONG rc;
    Require(zstCreateMessageHandle(nullptr, kConn, &cmho, &anchor_, &h_, &cc, &rc) == KWRC_NONE);
  }
  ~Handle() {
    KWLONG cc;
    KWLONG rc;
    zstDeleteMessageHandle(nullptr, kConn, &h_, nullptr, &anchor_, &cc, &rc);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  KWHMSG h() const { return h_; }
  MsgHandleAnchor* anchor() { return &anchor_; }

  KWLONG Set(const std::string& name, KWLONG type, const void* v, size_t length, const KWPD* pd) {
    KWCHARV n{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()), 1208};
    KWLONG cc;
    KWLONG rc;
    return zstSetMessageProperty(nullptr, kConn, h_, nullptr, &n, pd, type,
                                 static_cast<KWLONG>(length), v, &anchor_, &cc, &rc);
  }

  std::vector<Prop> All() {
    std::vector<Prop> all;
    std::vector<char> name(4096);
    std::vector<char> value(64 * 1024);
    for (KWLONG options = KWIMPO_INQ_FIRST;; options = KWIMPO_INQ_NEXT) {
      KWIMPO impo = KWIMPO_DEFAULT_INIT;
      impo.Options = options;
      impo.ReturnedName.VSPtr = name.data();
      impo.ReturnedName.VSBufSize = static_cast<KWLONG>(name.size());
      KWCHARV all_names{const_cast<char*>("%"), 0, 0, 1, 1208};
      KWPD pd{};
      KWLONG type = KWTYPE_AS_SET;
      KWLONG length = 0;
      KWLONG cc;
      KWLONG rc;
      zstInquireMessageProperty(nullptr, kConn, h_, &impo, &all_names, &pd, &type,
                                static_cast<KWLONG>(value.size()), value.data(), &length, &anchor_,
                                &cc, &rc);
      if (rc == KWRC_PROPERTY_NOT_AVAILABLE) break;
      Require(rc == KWRC_NONE);
      all.push_back(Prop{std::string(name.data(), static_cast<size_t>(impo.ReturnedName.VSLength)),
                         type, std::string(value.data(), static_cast<size_t>(length)), pd.Support,
                         pd.Context, pd.CopyOptions});
    }
    std::sort(all.begin(), all.end());
    return all;
  }

 private:
  MsgHandleAnchor anchor_{};
  KWHMSG h_ = KWHM_NONE;
};

bool SameValue(const Prop& a, const Prop& b) {
  if (a.type == KWTYPE_FLOAT32 && a.value.size() == 4 && b.value.size() == 4) {
    float x;
    float y;
    std::memcpy(&x, a.value.data(), 4);
    std::memcpy(&y, b.value.data(), 4);
    if (std::isnan(x) || std::isnan(y)) return std::isnan(x) && std::isnan(y);
  }
  if (a.type == KWTYPE_FLOAT64 && a.value.size() == 8 && b.value.size() == 8) {
    double x;
    double y;
    std::memcpy(&x, a.value.data(), 8);
    std::memcpy(&y, b.value.data(), 8);
    if (std::isnan(x) || std::isnan(y)) return std::isnan(x) && std::isnan(y);
  }
  return a.value == b.value;
}

size_t FixedSize(KWLONG type) {
  switch (type) {
    case KWTYPE_BOOLEAN:
    case KWTYPE_INT32:
    case KWTYPE_FLOAT32:
      return 4;
    case KWTYPE_INT8:
      return 1;
    case KWTYPE_INT16:
      return 2;
    case KWTYPE_INT64:
    case KWTYPE_FLOAT64:
      return 8;
    default:
      return 0;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const Folder folder = kFolders[data[0] % (sizeof kFolders / sizeof kFolders[0])];
  size_t at = 1;

  Handle a;
  if (folder.encoding != 546) {
    const int32_t encoding = folder.encoding;
    Require(a.Set("Root.KWMD.Encoding", KWTYPE_INT32, &encoding, 4, nullptr) == KWRC_NONE);
  }
  while (at + 3 <= size) {
    const uint8_t nameByte = data[at++];
    const uint8_t typeByte = data[at++];
    size_t length = data[at++];
    std::string name = kNamePool[nameByte % kPoolSize];
    for (int parts = nameByte >> 5; parts > 0 && at < size; --parts) {
      name += ".";
      name += kSuffixes[data[at++] % (sizeof kSuffixes / sizeof kSuffixes[0])];
    }
    const KWLONG type = kTypes[(typeByte & 0xF) % kTypeCount];
    std::string value;
    if (type == KWTYPE_STRING) {
      for (; length > 0 && at < size; --length) {
        value += kTextChars[data[at++] % (sizeof kTextChars / sizeof kTextChars[0])];
      }
    } else if (type == KWTYPE_BYTE_STRING) {
      length = std::min(length, size - at);
      value.assign(reinterpret_cast<const char*>(data + at), length);
      at += length;
    } else if (type == KWTYPE_BOOLEAN) {
      const int32_t b = length & 1;
      value.assign(reinterpret_cast<const char*>(&b), 4);
    } else {
      const size_t fixed = FixedSize(type);
      if (at + fixed > size) break;
      value.assign(reinterpret_cast<const char*>(data + at), fixed);
      at += fixed;
    }
    KWPD pd{{'P', 'D', ' ', ' '},           KWPD_VERSION_1,      KWPD_NONE,
            kSupports[(typeByte >> 4) & 3], (typeByte >> 6) & 1, kCopies[(typeByte >> 6) & 3]};
    a.Set(name, type, value.data(), value.size(), &pd);  // refused names are skipped
  }

  // Handle to header.
  ZSTHDROPTS opts{};
  opts.NameValueCCSID = folder.ccsid;
  KWMD md{};
  md.Version = KWMD_VERSION_2;
  std::vector<uint8_t> headers(256 * 1024);
  KWULONG length = 0;
  KWLONG cc;
  KWLONG rc;
  zstPropertiesToKWRFH2(nullptr, kConn, a.h(), &opts, &md, headers.data(),
                        static_cast<KWULONG>(headers.size()), a.anchor(), &length, &cc, &rc);
  Require(rc == KWRC_NONE);
  headers.resize(length);
  headers.push_back('!');  // a body

  // Header to a new handle: the same properties.
  Handle b;
  zstKWRFH2ToProperties(nullptr, kConn, b.h(), &md, headers.data(),
                        static_cast<KWULONG>(headers.size()), 0, b.anchor(), nullptr, nullptr, &cc,
                        &rc);
  Require(rc == KWRC_NONE);
  const std::vector<Prop> before = a.All();
  const std::vector<Prop> after = b.All();
  Require(before.size() == after.size());
  for (size_t i = 0; i < before.size(); ++i) {
    const Prop& x = before[i];
    const Prop& y = after[i];
    Require(x.name == y.name && x.type == y.type && SameValue(x, y) && x.support == y.support &&
            x.context == y.context && x.copy == y.copy);
  }
  return 0;
}
