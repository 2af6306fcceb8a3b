// `zxvu demo`: a narrated tour of what the library does, one section per
// capability. A section narrates its calls and checks each result against
// what it says; the tour exits 1 if any result differs. New capabilities add
// a function and a row to kSections.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "tools/zxvu/cli_common.h"
#include "tools/zxvu/pcf_json.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/message_handle.h"
#include "zxvxzu/names.h"
#include "zxvxzu/props_header.h"
#include "zxvxzu/topic.h"

namespace zxv::zxvu {
namespace {

// Prints the narration and counts results that differ from it.
class Tour {
 public:
  void say(std::string_view text) { fmt::print("  {}\n", text); }
  void call(std::string_view what, std::string_view result) {
    fmt::print("    {}\n      -> {}\n", what, result);
  }
  void expect(bool ok, std::string_view what) {
    if (ok) return;
    ++failures_;
    fmt::print("    !! unexpected result: {}\n", what);
  }
  int failures() const { return failures_; }

 private:
  int failures_ = 0;
};

std::string in_quotes(std::string_view s) { return fmt::format("'{}'", s); }

// Shows a field between bars so that its blanks are visible.
std::string barred(std::string_view field) { return fmt::format("|{}|", field); }

void section_fields(Tour& t) {
  t.say("Names cross the interface as fixed-width fields, padded on the right with blanks and");
  t.say("never NUL-terminated; inside a program they are often C strings.");
  char field[KW_Q_MGR_NAME_LENGTH];
  zutCvtKWNameFromStr("QM1", field, sizeof field);
  const std::string_view f(field, sizeof field);
  t.call("zutCvtKWNameFromStr(\"QM1\", field, 48)", barred(f) + "  ('QM1' and 45 blanks)");
  t.expect(f == std::string("QM1") + std::string(45, ' '), "field of QM1");

  char back[KW_Q_MGR_NAME_LENGTH + 1];
  zutCvtKWName2Str(field, back, sizeof field);
  t.call("zutCvtKWName2Str(field, out, 48)",
         in_quotes(back) + "  (the string ends at the first blank)");
  t.expect(std::string_view(back) == "QM1", "QM1 back from its field");

  const KWLONG len = zutGetLengthNoBlanks(field, sizeof field);
  t.call("zutGetLengthNoBlanks(field, 48)", std::to_string(len));
  t.expect(len == 3, "length of QM1");

  t.say("User identifiers may hold inner blanks; only trailing ones go, and an all-blank");
  t.say("identifier keeps one blank rather than becoming empty.");
  char user[KW_USER_ID_LENGTH + 1];
  zutCvtKWUser2Str("ab cd       ", user, KW_USER_ID_LENGTH);
  t.call("zutCvtKWUser2Str(\"ab cd\" + 7 blanks, out, 12)", in_quotes(user));
  t.expect(std::string_view(user) == "ab cd", "user id with an inner blank");
  zutCvtKWUser2Str("            ", user, KW_USER_ID_LENGTH);
  t.call("zutCvtKWUser2Str(12 blanks, out, 12)", in_quotes(user));
  t.expect(std::string_view(user) == " ", "all-blank user id");

  const std::string blanks(KW_Q_MGR_NAME_LENGTH, ' ');
  const KWLONG blank = zutIsItBlank(blanks.c_str());
  t.call("zutIsItBlank(48 blanks)", std::to_string(blank));
  t.expect(blank == 1, "48 blanks are blank");
}

enum class Kind { kObject, kQMgr, kInstallation, kProfile };

struct NameCase {
  Kind kind;
  KWLONG options;
  const char* name;
  bool valid;
  KWLONG asterisk;  // expected position under ZUT_NAME_ALLOW_GENERIC, else -1
  const char* why;
};

constexpr NameCase kNameCases[] = {
    {Kind::kObject, 0, "PAYROLL.IN/2024_%", true, -1,
     "letters, digits, '.', '/', '_' and '%' are name characters"},
    {Kind::kObject, 0, "PAY-ROLL", false, -1, "'-' is refused unless option 0x8 is given"},
    {Kind::kObject, ZUT_NAME_ALLOW_HYPHEN, "PAY-ROLL", true, -1, "accepted under 0x8"},
    {Kind::kObject, ZUT_NAME_ALLOW_HYPHEN, "-PAYROLL", false, -1,
     "but never as the first character"},
    {Kind::kObject, ZUT_NAME_NO_DOT_SLASH, "PAYROLL.IN", false, -1, "0x4 refuses '.' and '/'"},
    {Kind::kObject, ZUT_NAME_ALLOW_GENERIC, "PAYROLL.*", true, 8,
     "a generic name under 0x2: one '*' may end it"},
    {Kind::kObject, ZUT_NAME_ALLOW_GENERIC, "PAY*ROLL", false, -1,
     "a '*' must be the last character"},
    {Kind::kObject, 0, "", false, -1, "an all-blank name needs option 0x1"},
    {Kind::kQMgr, 0, "QM.EUROPE/1", true, -1, "'.' and '/' are always accepted"},
    {Kind::kQMgr, 0, "", true, -1, "all blank: the default queue manager"},
    {Kind::kQMgr, 0, "QM-1", false, -1, "'-' is always refused (reason 2058)"},
    {Kind::kInstallation, 0, "Installation1", true, -1, "letters and digits, up to 16"},
    {Kind::kInstallation, 0, "Inst_1", false, -1, "nothing else"},
    {Kind::kProfile, 0, "PAYROLL.**", true, -1, "one '**', after a '.'"},
    {Kind::kProfile, 0, "PAYROLL**", false, -1, "a '**' inside a word is refused"},
};

const char* kind_name(Kind k) {
  switch (k) {
    case Kind::kObject:
      return "object";
    case Kind::kQMgr:
      return "qmgr";
    case Kind::kInstallation:
      return "installation";
    case Kind::kProfile:
      return "profile";
  }
  return "?";
}

void section_name_checks(Tour& t) {
  t.say("Each kind of name has its character rules; a check says only valid or invalid.");
  t.say("Object names take option bits: 0x1 all-blank, 0x2 generic, 0x4 no '.' or '/', 0x8 '-'.");
  for (const NameCase& c : kNameCases) {
    const KWULONG width =
        c.kind == Kind::kInstallation ? KW_INSTALLATION_NAME_LENGTH : KW_OBJECT_NAME_LENGTH;
    char field[KW_OBJECT_NAME_LENGTH];
    zutCvtKWNameFromStr(c.name, field, width);
    bool valid = false;
    KWLONG asterisk = -1;
    std::string detail;
    switch (c.kind) {
      case Kind::kObject:
        valid = zutCheckValidName(field, c.options, &asterisk) == ZXVRC_OK;
        break;
      case Kind::kQMgr: {
        KWLONG cc = 0;
        KWLONG reason = 0;
        zutCheckQMName(field, &cc, &reason);
        valid = cc == KWCC_OK;
        if (!valid) detail = fmt::format(" reason {}", reason);
        t.expect(valid || reason == KWRC_Q_MGR_NAME_ERROR, "reason of a bad queue-manager name");
        break;
      }
      case Kind::kInstallation:
        valid = zutCheckValidInstallationName(field) == ZXVRC_OK;
        break;
      case Kind::kProfile:
        valid = zutCheckValidProfile(field) == ZXVRC_OK;
        break;
    }
    if (valid && c.asterisk >= 0) detail = fmt::format(" asterisk={}", asterisk);
    fmt::print("    {:<12} 0x{:x}  {:<20} {:<19} {}\n", kind_name(c.kind), c.options,
               in_quotes(c.name), (valid ? "valid" : "invalid") + detail, c.why);
    t.expect(valid == c.valid && (c.asterisk < 0 || asterisk == c.asterisk),
             fmt::format("{} name {}", kind_name(c.kind), in_quotes(c.name)));
  }
}

void section_map_rc(Tour& t) {
  t.say("Some callers have one byte for a return code. Codes 0x7001 to 0x70FE keep their low");
  t.say("byte; the library's own internal codes map through a table; anything else becomes 71.");
  struct {
    KWULONG code;
    KWULONG byte;
  } const kTo[] = {{0x40007072, 114}, {0x20803200, 23}, {0x7005, 5}, {0x12345678, 71}};
  for (const auto& c : kTo) {
    KWULONG v = c.code;
    zutMapRCTo8bit(&v);
    t.call(fmt::format("zutMapRCTo8bit(0x{:08x})", c.code), fmt::format("{} (0x{:02x})", v, v));
    t.expect(v == c.byte, fmt::format("one-byte form of 0x{:08x}", c.code));
  }
  t.say("And back: a byte that stands for an internal code gives the whole code.");
  struct {
    KWULONG byte;
    KWULONG code;
  } const kFrom[] = {{0x72, 0x40007072}, {0x03, 0x8106}, {0, 0}};
  for (const auto& c : kFrom) {
    KWULONG v = c.byte;
    zutMapRCFrom8bit(&v);
    t.call(fmt::format("zutMapRCFrom8bit(0x{:02x})", c.byte), fmt::format("0x{:08x}", v));
    t.expect(v == c.code, fmt::format("code of byte 0x{:02x}", c.byte));
  }
}

void section_topics(Tour& t) {
  t.say("In topic strings '*' and '?' are wildcards. When a subscriber asks for character-level");
  t.say("matching, a literal '%', '*' or '?' is written with the escape character '%' before it.");
  const std::string topic = "Offers/50%/Today?";
  KWULONG out_length = 0;
  char* out = nullptr;
  KWULONG allocated = 0;
  KWLONG cc = 0;
  KWLONG reason = 0;
  ZXVRC rc = zutEscapeTopicString(ZUT_TOPIC_ESCAPED, static_cast<KWULONG>(topic.size()),
                                  topic.data(), &out_length, &out, &allocated, &cc, &reason);
  const std::string escaped = rc == ZXVRC_OK && out != nullptr ? std::string(out, out_length) : "";
  if (allocated) xcsFreeMemFn(out);
  t.call("zutEscapeTopicString(" + in_quotes(topic) + ")",
         fmt::format("{}, in a new buffer (allocated {})", in_quotes(escaped), allocated));
  t.expect(rc == ZXVRC_OK && escaped == "Offers/50%%/Today%?" && allocated == 1, "escaped topic");

  const KWLONG ok = zutValidateTopicString(ZUT_TOPIC_ESCAPED, static_cast<KWULONG>(escaped.size()),
                                           escaped.data());
  t.call("zutValidateTopicString(" + in_quotes(escaped) + ")", std::to_string(ok));
  t.expect(ok == 1, "escaped topic validates");

  std::string work = escaped;
  KWLONG length = static_cast<KWLONG>(work.size());
  char* string = work.data();
  KWULONG buffer_length = static_cast<KWULONG>(work.size());
  KWLONG ccsid = KWCCSI_UTF8;
  rc = zutLiteralizeTopicString(&length, &string, &buffer_length, &ccsid, &allocated, &cc, &reason);
  const std::string literal = rc == ZXVRC_OK ? std::string(string, length) : "";
  if (allocated) xcsFreeMemFn(string);
  t.call("zutLiteralizeTopicString(" + in_quotes(escaped) + ")", in_quotes(literal));
  t.expect(rc == ZXVRC_OK && literal == topic, "literal topic");

  t.say("An escape must be followed by '%', '*' or '?'; anything else is refused.");
  const std::string bad = "Offers/%50";
  const KWLONG bad_ok =
      zutValidateTopicString(ZUT_TOPIC_ESCAPED, static_cast<KWULONG>(bad.size()), bad.data());
  t.call("zutValidateTopicString(" + in_quotes(bad) + ")", std::to_string(bad_ok));
  t.expect(bad_ok == 0, "invalid escape refused by validation");
  work = bad;
  length = static_cast<KWLONG>(work.size());
  string = work.data();
  buffer_length = static_cast<KWULONG>(work.size());
  ccsid = KWCCSI_UTF8;
  rc = zutLiteralizeTopicString(&length, &string, &buffer_length, &ccsid, &allocated, &cc, &reason);
  if (allocated) xcsFreeMemFn(string);
  t.call("zutLiteralizeTopicString(" + in_quotes(bad) + ")",
         fmt::format("completion code {}, reason {}", cc, reason));
  t.expect(cc == KWCC_FAILED && reason == KWRC_TOPIC_STRING_ERROR, "invalid escape refused");
}

void section_topic_ebcdic(Tour& t) {
  t.say("Literalizing first brings a topic string to UTF-8. An application on EBCDIC (CCSID 37)");
  t.say("sends 'Sport/Goals%?'; there '%' is byte 0x6c and '?' 0x6f.");
  std::string ebcdic = "\xE2\x97\x96\x99\xA3\x61\xC7\x96\x81\x93\xA2\x6C\x6F";
  KWLONG length = static_cast<KWLONG>(ebcdic.size());
  char* string = ebcdic.data();
  KWULONG buffer_length = static_cast<KWULONG>(ebcdic.size());
  KWLONG ccsid = KWCCSI_EBCDIC_US;
  KWULONG allocated = 0;
  KWLONG cc = 0;
  KWLONG reason = 0;
  const ZXVRC rc =
      zutLiteralizeTopicString(&length, &string, &buffer_length, &ccsid, &allocated, &cc, &reason);
  const std::string literal = rc == ZXVRC_OK ? std::string(string, length) : "";
  if (allocated) xcsFreeMemFn(string);
  t.call("zutLiteralizeTopicString(" + to_hex(ebcdic) + ", CCSID 37)",
         fmt::format("{} = {} in CCSID {}, buffer of {} bytes", to_hex(literal), in_quotes(literal),
                     ccsid, buffer_length));
  t.expect(
      rc == ZXVRC_OK && literal == "Sport/Goals?" && ccsid == KWCCSI_UTF8 && buffer_length == 10240,
      "EBCDIC topic literalized to UTF-8");
}

void section_pcf(Tour& t) {
  t.say("A command-format (PCF) message from a big-endian EBCDIC sender (encoding 273, CCSID 37)");
  t.say("is converted to this machine's encoding and CCSID, field by field: integers swapped,");
  t.say("strings converted, a group's members in turn. The greeting needs 3 more bytes in UTF-8,");
  t.say("so its structure grows by 4 to stay a multiple of 4.");
  std::string sent;
  // Big-endian integers.
  const auto put = [&sent](std::initializer_list<int64_t> values, int width = 4) {
    for (int64_t v : values) {
      for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
        sent.push_back(static_cast<char>(v >> shift));
      }
    }
  };
  put({1, 36, 1, 13, 1, 1, 0, 0, 3});  // header: command 13, three parameters
  put({4, 32, 2016, 37, 12});          // string: the queue name
  sent += "\xD7\xC1\xE8\xD9\xD6\xD3\xD3\x4B\xC9\xD5\x40\x40";  // "PAYROLL.IN  "
  put({5, 24, 1002, 2, 3, 4});                                 // integer list
  put({20, 16, 8000, 2});                                      // group of two
  put({4, 36, 3014, 0, 14});                                   // string in the message's CCSID
  sent += "\xC7\x99\xDC\x59\x85\x40\x81\xA4\xA2\x40\xD2\xCC\x93\x95";  // "Grüße aus Köln"
  sent += std::string(2, '\0');
  put({23, 24, 9000, 0});  // 64-bit integer
  put({1234567890123}, 8);
  t.call("the message as sent", fmt::format("{} bytes, header {}", sent.size(),
                                            to_hex(std::string_view(sent).substr(0, 36))));

  std::string out(2 * sent.size(), '\0');
  VPICONVERTREQ req = {};
  req.SourceEncoding = 273;
  req.SourceCCSID = KWCCSI_EBCDIC_US;
  req.TargetEncoding = XCS_NATIVE_ENCODING;
  req.TargetCCSID = XCS_NATIVE_CCSID;
  std::memcpy(req.Format, KWFMT_ADMIN, KW_FORMAT_LENGTH);
  req.DataLength = req.AvailableLength = static_cast<KWLONG>(sent.size());
  req.BufferLength = static_cast<KWLONG>(out.size());
  req.InBuffer = sent.data();
  req.OutBuffer = out.data();
  const KWLONG reason = vpiConvertData(&req);
  t.call(fmt::format("vpiConvertData(273/37 -> {}/{}, \"KWADMIN \")", XCS_NATIVE_ENCODING,
                     XCS_NATIVE_CCSID),
         fmt::format("reason {}, {} bytes, header {}", reason, req.DataLength,
                     to_hex(std::string_view(out).substr(0, 36))));
  t.expect(reason == KWRC_NONE && req.DataLength == static_cast<KWLONG>(sent.size()) + 4,
           "PCF message converted, 4 bytes longer");
  out.resize(req.DataLength > 0 ? static_cast<size_t>(req.DataLength) : 0);

  const PcfJson dump = PcfToJson(out, XCS_NATIVE_ENCODING, XCS_NATIVE_CCSID);
  t.call("zxvu pcf dump of the result", dump.reason == KWRC_NONE ? dump.json : dump.why);
  t.expect(dump.json.find(R"("value":"PAYROLL.IN  ")") != std::string::npos &&
               dump.json.find(R"("value":"Grüße aus Köln")") != std::string::npos &&
               dump.json.find(R"("values":[3,4])") != std::string::npos &&
               dump.json.find(R"("value":1234567890123)") != std::string::npos,
           "converted parameters");
}

// Offset, hex and printable characters, 16 bytes a line.
void hex_dump(Tour& t, std::string_view bytes) {
  for (size_t at = 0; at < bytes.size(); at += 16) {
    const std::string_view line = bytes.substr(at, 16);
    std::string hex;
    std::string text;
    for (const char c : line) {
      hex += fmt::format("{:02x} ", static_cast<unsigned char>(c));
      text += c >= 0x20 && c < 0x7F ? c : '.';
    }
    t.say(fmt::format("  {:04x}  {:<48} {}", at, hex, text));
  }
}

void section_props_header(Tour& t) {
  t.say("A message handle's properties travel in front of the message data as a KWRFH2 header:");
  t.say("a fixed part, then folders of markup. jms and mcd names go to their folders, the");
  t.say("application's names to usr (a dotted name nests), values escaped, types as dt.");
  MsgHandleAnchor anchor{};
  const KWHCONN conn = 1;
  KWCMHO cmho{{'C', 'M', 'H', 'O'}, KWCMHO_VERSION_1, KWCMHO_VALIDATE};
  KWHMSG a = KWHM_NONE;
  KWHMSG b = KWHM_NONE;
  KWLONG cc = 0;
  KWLONG reason = 0;
  zstCreateMessageHandle(nullptr, conn, &cmho, &anchor, &a, &cc, &reason);
  zstCreateMessageHandle(nullptr, conn, &cmho, &anchor, &b, &cc, &reason);
  const auto set = [&](const std::string& name, KWLONG type, const void* value, KWLONG length,
                       const KWPD* pd, const std::string& shown) {
    KWCHARV n{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()), KWCCSI_UTF8};
    zstSetMessageProperty(nullptr, conn, a, nullptr, &n, pd, type, length, value, &anchor, &cc,
                          &reason);
    t.call(fmt::format("zstSetMessageProperty({}, {})", in_quotes(name), shown),
           fmt::format("reason {}", reason));
    t.expect(reason == KWRC_NONE, "property " + name + " set");
  };
  const std::string color = "red & <blue>";
  set("color", KWTYPE_STRING, color.data(), static_cast<KWLONG>(color.size()), nullptr,
      in_quotes(color));
  const int32_t qty = 3;
  set("order.qty", KWTYPE_INT32, &qty, sizeof qty, nullptr, "int32 3");
  const double price = 9.95;
  set("order.price", KWTYPE_FLOAT64, &price, sizeof price, nullptr, "float64 9.95");
  const std::string dst = "queue:///ORDERS";
  set("jms.Dst", KWTYPE_STRING, dst.data(), static_cast<KWLONG>(dst.size()), nullptr,
      in_quotes(dst));
  const KWPD user{{'P', 'D', ' ', ' '},  KWPD_VERSION_1,    KWPD_NONE,
                  KWPD_SUPPORT_OPTIONAL, KWPD_USER_CONTEXT, KWCOPY_DEFAULT};
  const int32_t yes = 1;
  set("vip", KWTYPE_BOOLEAN, &yes, sizeof yes, &user, "boolean true, user context");

  KWMD md{};
  md.Version = KWMD_VERSION_2;
  std::string headers(512, '\0');
  KWULONG length = 0;
  zstPropertiesToKWRFH2(nullptr, conn, a, nullptr, &md, headers.data(),
                        static_cast<KWULONG>(headers.size()), &anchor, &length, &cc, &reason);
  headers.resize(reason == KWRC_NONE ? length : 0);
  t.call("zstPropertiesToKWRFH2(hMsg, version 2 descriptor)",
         fmt::format("reason {}, {} bytes of headers, descriptor Format {}", reason, length,
                     barred(std::string_view(md.Format, KW_FORMAT_LENGTH))));
  t.expect(reason == KWRC_NONE && std::string_view(md.Format, KW_FORMAT_LENGTH) == "KWHRF2  ",
           "headers written");
  hex_dump(t, headers);
  t.expect(headers.find("<jms><Dst>queue:///ORDERS</Dst></jms>") != std::string::npos &&
               headers.find("<color>red &amp; &lt;blue></color>") != std::string::npos &&
               headers.find("<order><qty dt='i4'>3</qty><price dt='r8'>9.95</price></order>") !=
                   std::string::npos &&
               headers.find("<vip dt='boolean' context='user'>1</vip>") != std::string::npos,
           "folder text");

  t.say("Read back into a second handle: every property with its type and descriptor.");
  std::string data = headers + "order body";
  zstKWRFH2ToProperties(nullptr, conn, b, &md, data.data(), static_cast<KWULONG>(data.size()), 0,
                        &anchor, nullptr, nullptr, &cc, &reason);
  t.call("zstKWRFH2ToProperties(hMsg2, descriptor, data)", fmt::format("reason {}", reason));
  t.expect(reason == KWRC_NONE, "headers read");
  KWLONG options = KWIMPO_INQ_FIRST;
  int count = 0;
  for (;; options = KWIMPO_INQ_NEXT) {
    char name[64];
    char value[64];
    KWIMPO impo = KWIMPO_DEFAULT_INIT;
    impo.Options = options;
    impo.ReturnedName.VSPtr = name;
    impo.ReturnedName.VSBufSize = sizeof name;
    KWCHARV all{const_cast<char*>("%"), 0, 0, 1, KWCCSI_UTF8};
    KWPD pd{};
    KWLONG type = KWTYPE_AS_SET;
    KWLONG got = 0;
    zstInquireMessageProperty(nullptr, conn, b, &impo, &all, &pd, &type, sizeof value, value, &got,
                              &anchor, &cc, &reason);
    if (reason != KWRC_NONE) break;
    ++count;
    std::string shown;
    if (type == KWTYPE_STRING) {
      shown = in_quotes(std::string_view(value, static_cast<size_t>(got)));
    } else if (type == KWTYPE_INT32 || type == KWTYPE_BOOLEAN) {
      int32_t v;
      std::memcpy(&v, value, sizeof v);
      shown = std::to_string(v);
    } else if (type == KWTYPE_FLOAT64) {
      double v;
      std::memcpy(&v, value, sizeof v);
      shown = fmt::format("{}", v);
    }
    t.call(fmt::format("inquire '%' -> {}", std::string_view(name, impo.ReturnedName.VSLength)),
           fmt::format("type {} value {}{}", type, shown,
                       pd.Context == KWPD_USER_CONTEXT ? ", user context" : ""));
  }
  t.expect(count == 5, "five properties read back");
  zstDeleteMessageHandle(nullptr, conn, &a, nullptr, &anchor, &cc, &reason);
  zstDeleteMessageHandle(nullptr, conn, &b, nullptr, &anchor, &cc, &reason);
}

struct Section {
  const char* title;
  void (*run)(Tour&);
};

constexpr Section kSections[] = {
    {"Blank-padded name fields", section_fields},
    {"Judging names", section_name_checks},
    {"Return codes in one byte", section_map_rc},
    {"Topic strings and their escapes", section_topics},
    {"A topic string from an EBCDIC application", section_topic_ebcdic},
    {"A command message from a big-endian EBCDIC sender", section_pcf},
    {"Message properties in a header and back", section_props_header},
};

int run_demo() {
  fmt::print("zxvu demo: a tour of the zxvxzu library as it stands\n");
  Tour tour;
  int n = 0;
  for (const Section& s : kSections) {
    fmt::print("\n== {}. {}\n", ++n, s.title);
    s.run(tour);
  }
  if (tour.failures() != 0) {
    std::fflush(stdout);
    fmt::print(stderr, "demo: {} result(s) differed from the narration\n", tour.failures());
    return kExitRefused;
  }
  fmt::print("\nEvery result matched the narration.\n");
  return kExitOk;
}

}  // namespace

void add_demo_command(CLI::App& parent, Action& action) {
  CLI::App* demo = parent.add_subcommand("demo", "A narrated tour of what the library does");
  demo->callback([&action] { action = run_demo; });
}

}  // namespace zxv::zxvu
