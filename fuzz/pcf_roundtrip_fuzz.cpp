// Round trips of PCF messages through the converter. The input is a recipe:
// byte 0 picks the pair of forms, the rest drives a generator that builds a
// well-formed message of every parameter type, groups nested as the bytes
// say, with string bytes taken from the input. The message is converted to
// the other form and back, which must give the original bytes:
//  - mode 0: big-endian CCSID 37 <-> little-endian CCSID 500 (both spell the
//    same 256 characters, so every byte maps one to one);
//  - mode 1: little-endian CCSID 819 <-> big-endian UTF-8 with strings
//    restricted to ASCII (one byte each in both).
// Each conversion must succeed, and the converted message must keep the
// original's length.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/dataconv/pcf_message_builder.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/kwrfh2.h"
#include "zxvxzu/pcf.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

// Hands out the recipe's bytes; zeros once it is used up.
class Recipe {
 public:
  Recipe(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool empty() const { return at_ >= size_; }
  uint8_t Byte() { return at_ < size_ ? data_[at_++] : 0; }
  int32_t Int() {
    uint32_t v = 0;
    for (int k = 0; k < 4; ++k) v = (v << 8) | Byte();
    return static_cast<int32_t>(v);
  }
  std::string Text(size_t n, bool ascii) {
    std::string s;
    for (size_t k = 0; k < n; ++k) {
      const uint8_t b = Byte();
      s.push_back(static_cast<char>(ascii ? b & 0x7F : b));
    }
    return s;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

struct Form {
  bool big;
  KWLONG encoding;
  KWLONG ccsid;
};

bool Convert(const std::string& in, const Form& from, const Form& to, std::string* out) {
  out->assign(in.size() + 64, '\0');
  VPICONVERTREQ req = {};
  req.SourceEncoding = from.encoding;
  req.SourceCCSID = from.ccsid;
  req.TargetEncoding = to.encoding;
  req.TargetCCSID = to.ccsid;
  std::memcpy(req.Format, KWFMT_PCF, KW_FORMAT_LENGTH);
  req.DataLength = req.AvailableLength = static_cast<KWLONG>(in.size());
  req.BufferLength = static_cast<KWLONG>(out->size());
  req.InBuffer = in.data();
  req.OutBuffer = out->data();
  if (vpiConvertData(&req) != KWRC_NONE) return false;
  out->resize(static_cast<size_t>(req.DataLength));
  return true;
}

std::string Build(Recipe& r, const Form& form, bool ascii) {
  zxv::testing::PcfMessage m(form.big);
  m.Header(r.Int());
  // A string's own CCSID: the message's (0) or named.
  const auto ccsid = [&](uint8_t b) { return (b & 1) != 0 ? form.ccsid : 0; };
  for (int items = 0; !r.empty() && m.size() < 20000; ++items) {
    const uint8_t op = r.Byte();
    const int32_t id = r.Byte();
    const size_t n = r.Byte() % 24;
    switch (op % 11) {
      case 0:
        m.Integer(id, r.Int());
        break;
      case 1:
        m.String(id, ccsid(op >> 4), r.Text(n, ascii), static_cast<char>(r.Byte()));
        break;
      case 2: {
        std::vector<int32_t> values;
        for (size_t k = 0; k < n; ++k) values.push_back(r.Int());
        m.IntegerList(id, values);
        break;
      }
      case 3: {
        const size_t width = r.Byte() % 9;
        std::vector<std::string> strings;
        for (size_t k = 0; k < n % 6; ++k) strings.push_back(r.Text(width, ascii));
        m.StringList(id, ccsid(op >> 4), static_cast<int32_t>(width), strings);
        break;
      }
      case 4:
        m.Bytes(id, r.Text(n, false), static_cast<char>(r.Byte()));
        break;
      case 5:
        m.IntegerFilter(id, r.Byte(), r.Int());
        break;
      case 6:
        m.StringFilter(id, r.Byte(), ccsid(op >> 4), r.Text(n, ascii));
        break;
      case 7:
        m.BytesFilter(id, r.Byte(), r.Text(n, false));
        break;
      case 8:
        m.Group(id, static_cast<int32_t>(n % 5));
        break;
      case 9:
        m.Integer64(
            id, static_cast<int64_t>(static_cast<uint64_t>(static_cast<uint32_t>(r.Int())) << 32 |
                                     static_cast<uint32_t>(r.Int())));
        break;
      default: {
        std::vector<int64_t> values;
        for (size_t k = 0; k < n % 8; ++k) {
          values.push_back(static_cast<int64_t>(static_cast<uint64_t>(r.Int()) * 0x9E3779B9u));
        }
        m.Integer64List(id, values);
        break;
      }
    }
  }
  while (m.pending_members() > 0) m.Integer(0, 0);
  return m.bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > 20000) return 0;
  const int64_t outstanding = xcsOutstandingBlocks();
  const bool ascii = (data[0] & 1) != 0;
  const Form kForms[2][2] = {
      {{true, 273, KWCCSI_EBCDIC_US}, {false, 546, KWCCSI_EBCDIC_INTL}},
      {{false, 546, KWCCSI_ISO8859_1}, {true, 273, KWCCSI_UTF8}},
  };
  const Form& here = kForms[ascii][0];
  const Form& there = kForms[ascii][1];
  Recipe recipe(data + 1, size - 1);
  const std::string original = Build(recipe, here, ascii);

  std::string converted;
  std::string back;
  Require(Convert(original, here, there, &converted));
  Require(converted.size() == original.size());
  Require(Convert(converted, there, here, &back));
  Require(back == original);
  Require(xcsOutstandingBlocks() == outstanding);
  return 0;
}
