// Fuzzes the name checks and blank-field conversions on exact-size heap
// buffers, so that a read or write past a field's width is caught by ASan.
// Input: byte 0 the check options, byte 1 a width selector, then up to 48
// field bytes (blank-padded when shorter) and, beyond them, a source string
// for zutCvtKWNameFromStr. Checked properties relate the conversions to each
// other and keep the asterisk position inside the name.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "zxvxzu/names.h"

namespace {

constexpr size_t kWidth = KW_OBJECT_NAME_LENGTH;

void Require(bool condition) {
  if (!condition) std::abort();
}

std::unique_ptr<char[]> Exact(const char* bytes, size_t n) {
  std::unique_ptr<char[]> p(new char[n == 0 ? 1 : n]);
  if (bytes != nullptr && n > 0) std::memcpy(p.get(), bytes, n);
  return p;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const KWLONG options = data[0] & 0xF;
  const size_t width = data[1] % (kWidth + 1);
  std::string raw(reinterpret_cast<const char*>(data) + 2, size - 2);
  std::string field_bytes = raw.substr(0, kWidth);
  field_bytes.resize(kWidth, ' ');
  const std::string rest = raw.size() > kWidth ? raw.substr(kWidth) : std::string();

  auto field = Exact(field_bytes.data(), kWidth);

  KWLONG star = -7;
  const ZXVRC name_rc = zutCheckValidName(field.get(), options, &star);
  Require(name_rc == ZXVRC_OK || name_rc == ZXVRC_INVALID_NAME);
  if (name_rc == ZXVRC_OK && (options & ZUT_NAME_ALLOW_GENERIC)) {
    Require(star == -1 || (star >= 0 && star < static_cast<KWLONG>(kWidth) &&
                           field[static_cast<size_t>(star)] == '*'));
  }
  KWLONG cc = -1, reason = -1;
  const KWLONG qm = zutCheckQMName(field.get(), &cc, &reason);
  Require(qm == cc && (cc == KWCC_OK ? reason == 0 : reason == KWRC_Q_MGR_NAME_ERROR));
  // The queue-manager rule is the object rule with blank names allowed.
  Require((cc == KWCC_OK) ==
          (zutCheckValidName(field.get(), ZUT_NAME_ALLOW_BLANK, nullptr) == ZXVRC_OK));
  auto installation = Exact(field_bytes.data(), KW_INSTALLATION_NAME_LENGTH);
  zutCheckValidInstallationName(installation.get());
  const ZXVRC profile_rc = zutCheckValidProfile(field.get());
  Require(profile_rc == ZXVRC_OK || profile_rc == ZXVRC_INVALID_NAME);
  zutIsItBlank(field.get());

  // Object-name string: ends at the first blank or NUL.
  auto out = Exact(nullptr, kWidth + 1);
  zutCvtKWName2Str(field.get(), out.get(), static_cast<KWULONG>(kWidth));
  const size_t name_len = std::strlen(out.get());
  Require(static_cast<KWLONG>(name_len) ==
          zutGetLengthNoBlanks(field.get(), static_cast<KWLONG>(kWidth)));

  // User identifier of `width` bytes: keeps byte 0, drops trailing blanks.
  auto user_field = Exact(field_bytes.data(), width);
  auto user_out = Exact(nullptr, width + 1);
  zutCvtKWUser2Str(user_field.get(), user_out.get(), static_cast<KWLONG>(width));
  Require(user_out[width] == '\0');
  if (width > 0) Require(user_out[0] == user_field[0]);

  // Padding an arbitrary string into a `width` field and back.
  const std::string src = rest.substr(0, rest.find('\0'));
  auto padded = Exact(nullptr, width);
  zutCvtKWNameFromStr(src.c_str(), padded.get(), static_cast<KWULONG>(width));
  for (size_t i = 0; i < width; ++i) {
    Require(i < src.size() ? padded[i] == src[i] : padded[i] == ' ');
  }
  auto pad_copy = Exact(field_bytes.data(), width);
  zutBlankPad(pad_copy.get(), static_cast<KWULONG>(width));
  Require(std::memchr(pad_copy.get(), '\0', width) == nullptr);

  // One-byte return codes: the bytes of the field taken as a code.
  KWULONG code = 0;
  std::memcpy(&code, field_bytes.data(), sizeof code);
  KWULONG byte = code;
  zutMapRCTo8bit(&byte);
  Require(byte <= 0x2D8);
  zutMapRCFrom8bit(&byte);
  zutMapRCFrom8bit(&code);
  return 0;
}
