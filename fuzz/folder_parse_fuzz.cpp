// Fuzzes the folder parser: zrfParse over arbitrary messages and folders in
// every encoding family, with headers in either byte order in front.
//
// Input: byte 0 chooses the folder encoding (low three bits: 819, 500, 1208,
// 1200 least or most significant byte first) and, in bit 3, big-endian
// header integers; byte 1 the parse options; byte 2 the shape:
//  0  the rest is the message data itself (format "KWHRF2  ");
//  1  the rest is one folder, wrapped in a KWRFH2;
//  2  the rest is split in two folders of one KWRFH2;
//  3  the rest is one folder, in two chained KWRFH2s (and a body behind);
// and in bit 7 of byte 2, whether a descriptor is given for its fields.
// Every folder is also given to zrf_folder_parse on its own.
//
// Checked properties: no crash, leak or out-of-bounds read (ASan); the
// reason and completion code agree; the message that results lies inside
// the buffer and is no longer than before; a list left behind passes
// zrfVerifyPropertiesFn.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "zxvxzu/folder_parser.h"
#include "zxvxzu/kwmd.h"
#include "zxvxzu/properties.h"

namespace {

struct Encoding {
  int32_t ccsid;
  int32_t text_encoding;  // 273 for UCS-2 most significant byte first
};
constexpr Encoding kEncodings[] = {{819, 546}, {500, 546}, {1208, 546}, {1200, 546}, {1200, 273}};
constexpr size_t kEncodingCount = sizeof(kEncodings) / sizeof(kEncodings[0]);

void Require(bool condition) {
  if (!condition) std::abort();
}

void PutInt(std::string* out, int32_t v, bool big) {
  uint32_t u = static_cast<uint32_t>(v);
  if (big) u = __builtin_bswap32(u);
  out->append(reinterpret_cast<const char*>(&u), 4);
}

std::string Header(const std::vector<std::string>& folders, int32_t ccsid, int32_t encoding,
                   const char* next) {
  const bool big = (encoding & 0xF) == 1;
  std::string body;
  for (const std::string& f : folders) {
    PutInt(&body, static_cast<int32_t>(f.size()), big);
    body += f;
  }
  std::string h = "RFH ";
  PutInt(&h, 2, big);
  PutInt(&h, static_cast<int32_t>(36 + body.size()), big);
  PutInt(&h, encoding, big);
  PutInt(&h, 1208, big);
  h.append(next, 8);
  PutInt(&h, 0, big);
  PutInt(&h, ccsid, big);
  return h + body;
}

void CheckList(ZRFPAL* pal) {
  KWLONG cc = 0;
  KWLONG rc = 0;
  if (pal->pProps != nullptr) {
    Require(zrfVerifyPropertiesFn(pal, &cc, &rc) == 0);
    zrfFreePAL(pal, 0, &cc, &rc);
  }
}

void ParseMessage(std::string message, KWULONG options, int32_t encoding, bool withMd) {
  ZRFPAL pal{};
  KWMD md{};
  KWULONG fields = 0;
  KWULONG offset = 0;
  KWULONG length = 0;
  KWLONG cc = -1;
  KWLONG rc = -1;
  const size_t size = message.size();
  const KWLONG reason =
      zrfParse(options, message.empty() ? nullptr : message.data(), static_cast<KWULONG>(size),
               "KWHRF2  ", encoding, 1208, &pal, withMd ? &md : nullptr, withMd ? &fields : nullptr,
               &offset, &length, &cc, &rc);
  Require(reason == rc && (cc == 0) == (reason == 0));
  Require(uint64_t{offset} + length <= size);
  CheckList(&pal);
}

void ParseFolder(const std::string& folder, const Encoding& e, KWULONG options) {
  ZRFPAL pal{};
  ZRFFOLDERCTX ctx{};
  ctx.Options = options;
  std::memcpy(ctx.DataFormat, "KWSTR   ", 8);
  KWULONG action = 99;
  KWLONG cc = -1;
  KWLONG rc = -1;
  // An exact-size copy, so that a read past the folder's end is caught.
  std::vector<uint8_t> exact(folder.begin(), folder.end());
  const KWLONG reason =
      zrf_folder_parse(exact.empty() ? nullptr : exact.data(), static_cast<KWULONG>(exact.size()),
                       e.ccsid, e.text_encoding, &ctx, &pal, &action, &cc, &rc);
  Require(reason == rc && (cc == 0) == (reason == 0));
  Require(action == ZRF_FOLDER_KEEP || (reason == 0 && action == ZRF_FOLDER_REMOVE));
  CheckList(&pal);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const Encoding& e = kEncodings[(data[0] & 7) % kEncodingCount];
  // UCS-2 text in big-endian order travels behind big-endian integers.
  const int32_t encoding = (e.text_encoding == 273 || (data[0] & 8)) ? 273 : 546;
  const KWULONG options = data[1];
  const uint8_t shape = data[2] & 3;
  const bool withMd = (data[2] & 0x80) != 0;
  const std::string rest(reinterpret_cast<const char*>(data) + 3, size - 3);
  const Encoding textEncoding{e.ccsid, encoding};

  switch (shape) {
    case 0:
      ParseMessage(rest, options, encoding, withMd);
      break;
    case 1:
      ParseFolder(rest, textEncoding, options);
      ParseMessage(Header({rest}, e.ccsid, encoding, "KWSTR   "), options, encoding, withMd);
      break;
    case 2: {
      const std::string a = rest.substr(0, rest.size() / 2);
      const std::string b = rest.substr(rest.size() / 2);
      ParseFolder(a, textEncoding, options);
      ParseFolder(b, textEncoding, options);
      ParseMessage(Header({a, b}, e.ccsid, encoding, "KWSTR   ") + "body", options, encoding,
                   withMd);
      break;
    }
    default:
      ParseMessage(Header({rest}, e.ccsid, encoding, "KWHRF2  ") +
                       Header({rest}, e.ccsid, encoding, "KWSTR   ") + "body",
                   options, encoding, withMd);
      break;
  }
  return 0;
}
