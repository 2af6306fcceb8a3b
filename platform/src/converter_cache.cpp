// ICU converters by CCSID, opened once per thread and closed at thread exit.
#include "converter_cache.h"

#include <algorithm>
#include <iterator>

namespace zxv::platform {
namespace {

// ICU's platform of numbered code pages: value 0 of UConverterPlatform, the
// only one ucnv_openCCSID accepts.
constexpr UConverterPlatform kNumberedCodePages = static_cast<UConverterPlatform>(0);

constexpr int32_t kCcsidUtf8 = 1208;
constexpr int32_t kCcsidLatin1 = 819;
constexpr int32_t kTwoByteSets[] = {1200, 1201, 1202, 13488, 13490, 17584};
// No ICU table exists for these; converting them is refused, never guessed.
constexpr int32_t kWithoutTable[] = {425,  806,  833,  836,  880,  891,  897,  903,  904,  924,
                                     1027, 1040, 1041, 1042, 1043, 1046, 1115, 8612, 9048, 9061};

// The Mac code pages are known to ICU only under their own names.
struct NamedTable {
  int32_t ccsid;
  const char* name;
};
constexpr NamedTable kNamedTables[] = {
    {kCcsidUtf8, "UTF-8"},    {kCcsidLatin1, "ISO-8859-1"}, {1275, "macos-0_2-10.2"},  // Roman
    {1280, "macos-6_2-10.4"},                                                          // Greek
    {1281, "macos-35-10.2"},                                                           // Turkish
    {1282, "macos-29-10.2"},   // Central European
    {1283, "macos-7_3-10.2"},  // Cyrillic
};

// Cache keys: the CCSID itself, or one of these for the two-byte sets,
// which all share the UTF-16 converter of their byte order.
constexpr int32_t kKeyUtf16Big = -1;
constexpr int32_t kKeyUtf16Little = -2;
constexpr int32_t kKeyEmpty = 0;

UConverter* Open(int32_t key) {
  UErrorCode err = U_ZERO_ERROR;
  UConverter* converter = nullptr;
  if (key == kKeyUtf16Big) {
    converter = ucnv_open("UTF-16BE", &err);
  } else if (key == kKeyUtf16Little) {
    converter = ucnv_open("UTF-16LE", &err);
  } else {
    const auto named = std::find_if(std::begin(kNamedTables), std::end(kNamedTables),
                                    [key](const NamedTable& t) { return t.ccsid == key; });
    converter = named != std::end(kNamedTables) ? ucnv_open(named->name, &err)
                                                : ucnv_openCCSID(key, kNumberedCodePages, &err);
  }
  if (U_FAILURE(err)) {
    if (converter != nullptr) ucnv_close(converter);
    return nullptr;
  }
  // Stop at the first problem so that the caller sees it, in both directions.
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  if (U_FAILURE(err)) {
    ucnv_close(converter);
    return nullptr;
  }
  return converter;
}

// A small per-thread cache. A thread rarely uses more than a handful of
// CCSIDs; when it does, the least recently used converter is closed.
class ConverterCache {
 public:
  ConverterCache() = default;
  ConverterCache(const ConverterCache&) = delete;
  ConverterCache& operator=(const ConverterCache&) = delete;
  ~ConverterCache() {
    for (Entry& e : entries_) {
      if (e.converter != nullptr) ucnv_close(e.converter);
    }
  }

  UConverter* Get(int32_t key) {
    ++clock_;
    Entry* victim = &entries_[0];
    for (Entry& e : entries_) {
      if (e.key == key && e.converter != nullptr) {
        e.last_used = clock_;
        return e.converter;
      }
      if (e.last_used < victim->last_used) victim = &e;
    }
    UConverter* converter = Open(key);
    // Failed opens are not cached: they are rare and cheap to repeat.
    if (converter == nullptr) return nullptr;
    if (victim->converter != nullptr) ucnv_close(victim->converter);
    *victim = Entry{key, converter, clock_};
    return converter;
  }

 private:
  struct Entry {
    int32_t key = kKeyEmpty;
    UConverter* converter = nullptr;
    uint64_t last_used = 0;
  };
  static constexpr size_t kSize = 16;
  Entry entries_[kSize];
  uint64_t clock_ = 0;
};

thread_local ConverterCache t_cache;

}  // namespace

bool IsTwoByteSet(int32_t ccsid) {
  return std::find(std::begin(kTwoByteSets), std::end(kTwoByteSets), ccsid) !=
         std::end(kTwoByteSets);
}

bool LacksConverterTable(int32_t ccsid) {
  return std::find(std::begin(kWithoutTable), std::end(kWithoutTable), ccsid) !=
         std::end(kWithoutTable);
}

ByteOrder OrderFromEncoding(int32_t encoding) {
  return (encoding & 0x0F) == 1 ? ByteOrder::kBig : ByteOrder::kLittle;
}

UConverter* ThreadConverter(int32_t ccsid, ByteOrder order) {
  int32_t key = ccsid;
  if (IsTwoByteSet(ccsid)) {
    key = order == ByteOrder::kBig ? kKeyUtf16Big : kKeyUtf16Little;
  } else if (ccsid <= 0 || ccsid > 0xFFFF || LacksConverterTable(ccsid)) {
    return nullptr;
  }
  UConverter* converter = t_cache.Get(key);
  if (converter != nullptr) ucnv_reset(converter);
  return converter;
}

}  // namespace zxv::platform
