// Build-time generator of the property-name character table.
//
// Property names follow the identifier rules of the JMS message-selector
// language, whose characters are those of Java identifiers. This tool asks
// ICU for the Java identifier classes (u_isJavaIDStart / u_isJavaIDPart) and
// writes them as static bit sets into a C++ source file, so that the library
// needs no Unicode library at run time:
//
//   name_char_tables_gen <output.cpp>
//
// * The four Unicode CCSIDs share one pair of 65,536-bit sets indexed by
//   UCS-2 code point.
// * Every single-byte CCSID gets a pair of 256-bit sets: byte b is in a set
//   when the code page maps b alone to exactly one BMP character of that
//   class. Unmapped bytes (and the lead bytes of the mixed code pages used as
//   substitutes below) are in neither set. Rows whose pairs are equal share
//   one pair.
// * Each single-byte row also records whether its full stop is 0x2E (ASCII
//   based) or 0x4B (EBCDIC); the generator fails when a row has neither.
// * Every row also gets a 256-entry byte table of the same sets (for the
//   Unicode rows: of the code points below 256), its full stop counted as a
//   character that may follow, so that a check reads one byte per character
//   instead of testing bits. Rows with equal tables share one.
//
// Code pages are opened by CCSID number (ucnv_openCCSID),
// except the rows in kRowSources: the Mac code pages, which ICU knows only by
// their "macos-*" names, and the code pages ICU has no table for, which take
// the sets of the nearest related code page that ICU does have. The choice is
// written into the generated file as well.
#include <unicode/uchar.h>
#include <unicode/uclean.h>
#include <unicode/ucnv.h>
#include <unicode/uversion.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

// The CCSIDs in search order.
constexpr int32_t kCcsids[] = {
    1208, 1200, 13488, 17584, 37,   273,  277,  278,  280,  284,   285,  290,  297,  420,
    424,  425,  437,   500,   720,  737,  775,  806,  813,  819,   833,  836,  838,  850,
    852,  855,  856,   857,   860,  863,  864,  865,  866,  867,   868,  869,  870,  871,
    874,  875,  878,   880,   891,  897,  903,  904,  912,  913,   915,  916,  918,  921,
    923,  924,  1006,  1025,  1026, 1027, 1040, 1041, 1042, 1043,  1046, 1047, 1051, 1089,
    1097, 1098, 1112,  1115,  1129, 1130, 1132, 1133, 1137, 1250,  1251, 1252, 1253, 1255,
    1256, 1257, 1258,  1275,  1280, 1281, 1282, 1283, 4899, 4909,  4971, 5346, 5347, 5348,
    5349, 5350, 5351,  5352,  5353, 5354, 8612, 9048, 9061, 12712, 1140};
static_assert(sizeof(kCcsids) / sizeof(kCcsids[0]) == 109, "109 rows");

constexpr int32_t kUnicodeCcsids[] = {1208, 1200, 13488, 17584};

// How a row's sets are computed when not from the CCSID's own table.
enum class Transform {
  kNone,
  // ICU's table of `source`, then the eight code points in which ISO 8859-15
  // differs from ISO 8859-1 replaced by their 8859-15 characters: this turns
  // an EBCDIC Latin-1 layout into its Latin-9 counterpart.
  kLatin9,
};

struct RowSource {
  int32_t ccsid;
  int32_t source_ccsid;     // the code page whose table is used, or 0 ...
  const char* source_name;  // ... ICU's converter name when it has no number
  Transform transform;
  const char* why;
};

// ICU's platform of numbered code pages: value 0 of UConverterPlatform, the
// only one ucnv_openCCSID accepts.
constexpr UConverterPlatform kNumberedCodePages = static_cast<UConverterPlatform>(0);

UConverter* OpenSource(int32_t ccsid, const RowSource* src, UErrorCode* err) {
  if (src == nullptr) return ucnv_openCCSID(ccsid, kNumberedCodePages, err);
  if (src->source_name != nullptr) return ucnv_open(src->source_name, err);
  return ucnv_openCCSID(src->source_ccsid, kNumberedCodePages, err);
}

// Rows not opened by their own CCSID. Keep in step with the comment block that
// WriteTable emits (it is printed from this table).
constexpr RowSource kRowSources[] = {
    // The Mac code pages: present in ICU under their Apple names only.
    {1275, 0, "macos-0_2-10.2", Transform::kNone, "Mac Roman, ICU's Apple name"},
    {1280, 0, "macos-6_2-10.4", Transform::kNone, "Mac Greek, ICU's Apple name"},
    {1281, 0, "macos-35-10.2", Transform::kNone, "Mac Turkish, ICU's Apple name"},
    {1282, 0, "macos-29-10.2", Transform::kNone, "Mac Central European, ICU's Apple name"},
    {1283, 0, "macos-7_3-10.2", Transform::kNone, "Mac Cyrillic, ICU's Apple name"},
    // Code pages without an ICU table: the nearest related one.
    {425, 420, nullptr, Transform::kNone, "EBCDIC Arabic variant -> EBCDIC Arabic 420"},
    {806, 0, "ISCII,version=0", Transform::kNone,
     "PC ISCII-91 Devanagari -> ICU's ISCII converter, Devanagari"},
    {833, 933, nullptr, Transform::kNone,
     "EBCDIC Korean single byte -> single-byte part of EBCDIC Korean mixed 933"},
    {836, 935, nullptr, Transform::kNone,
     "EBCDIC Simplified Chinese single byte -> single-byte part of mixed 935"},
    {880, 1025, nullptr, Transform::kNone, "EBCDIC Cyrillic (old) -> its successor 1025"},
    {891, 949, nullptr, Transform::kNone,
     "Korean PC single byte -> single-byte part of Korean PC 949"},
    {897, 943, nullptr, Transform::kNone,
     "Japanese PC single byte -> single-byte part of Japanese PC 943"},
    {903, 1386, nullptr, Transform::kNone,
     "Simplified Chinese PC single byte -> single-byte part of GBK 1386"},
    {904, 950, nullptr, Transform::kNone,
     "Traditional Chinese PC single byte -> single-byte part of Big5 950"},
    {924, 1047, nullptr, Transform::kLatin9,
     "EBCDIC Latin-9 -> 1047 layout with the Latin-9 replacements"},
    {1027, 939, nullptr, Transform::kNone,
     "EBCDIC Japanese Latin single byte -> single-byte part of mixed 939"},
    {1040, 949, nullptr, Transform::kNone,
     "Korean PC extended single byte -> single-byte part of Korean PC 949"},
    {1041, 942, nullptr, Transform::kNone,
     "Japanese PC extended single byte -> single-byte part of Japanese PC 942"},
    {1042, 1386, nullptr, Transform::kNone,
     "Simplified Chinese PC extended single byte -> single-byte part of GBK 1386"},
    {1043, 950, nullptr, Transform::kNone,
     "Traditional Chinese PC extended single byte -> single-byte part of Big5 950"},
    {1046, 1089, nullptr, Transform::kNone,
     "Arabic PC extended -> ISO Arabic 1089, its base layout"},
    {1115, 1386, nullptr, Transform::kNone,
     "Simplified Chinese PC single byte -> single-byte part of GBK 1386"},
    {8612, 420, nullptr, Transform::kNone, "EBCDIC Arabic extended -> EBCDIC Arabic 420"},
    {9048, 856, nullptr, Transform::kNone, "Hebrew PC with euro -> Hebrew PC 856"},
    {9061, 869, nullptr, Transform::kNone, "Greek PC with euro -> Greek PC 869"},
};

constexpr size_t kUnicodeWords = 65536 / 64;
constexpr size_t kByteWords = 256 / 64;

using ByteSet = std::array<uint64_t, kByteWords>;
using BytePair = std::pair<ByteSet, ByteSet>;

enum class Form { kAscii, kEbcdic };

struct Row {
  int32_t ccsid;
  bool unicode;
  Form form;
  size_t pair;     // index into the shared byte pairs
  size_t classes;  // index into the shared byte tables
};

void SetBit(uint64_t* set, uint32_t index) { set[index >> 6] |= uint64_t{1} << (index & 63u); }

bool TestBit(const uint64_t* set, uint32_t index) {
  return ((set[index >> 6] >> (index & 63u)) & 1u) != 0;
}

// The values of NameCharClass in name_char_table.h.
constexpr uint8_t kClassStart = 1;
constexpr uint8_t kClassFollow = 2;

using ClassTable = std::array<uint8_t, 256>;

// The byte table of a pair of sets whose first 256 bits are read, with the
// full stop `fullStop` added to the characters that may follow.
ClassTable ClassesOf(const uint64_t* start, const uint64_t* part, uint32_t fullStop) {
  ClassTable t{};
  for (uint32_t b = 0; b < 256; ++b) {
    t[b] = static_cast<uint8_t>((TestBit(start, b) ? kClassStart : 0) |
                                (TestBit(part, b) || b == fullStop ? kClassFollow : 0));
  }
  return t;
}

const RowSource* FindSource(int32_t ccsid) {
  for (const RowSource& s : kRowSources)
    if (s.ccsid == ccsid) return &s;
  return nullptr;
}

bool IsUnicodeCcsid(int32_t ccsid) {
  for (int32_t u : kUnicodeCcsids)
    if (u == ccsid) return true;
  return false;
}

// The ISO 8859-15 replacements of ISO 8859-1 code points.
UChar Latin9(UChar c) {
  switch (c) {
    case 0x00A4:
      return 0x20AC;  // euro sign
    case 0x00A6:
      return 0x0160;  // S caron
    case 0x00A8:
      return 0x0161;  // s caron
    case 0x00B4:
      return 0x017D;  // Z caron
    case 0x00B8:
      return 0x017E;  // z caron
    case 0x00BC:
      return 0x0152;  // OE
    case 0x00BD:
      return 0x0153;  // oe
    case 0x00BE:
      return 0x0178;  // Y diaeresis
    default:
      return c;
  }
}

// Maps every byte of a code page to its character, or -1 when the byte
// alone does not give exactly one BMP character.
struct CodePage {
  std::array<int32_t, 256> chars{};
  std::string icuName;
};

bool LoadCodePage(int32_t ccsid, CodePage* page) {
  const RowSource* src = FindSource(ccsid);
  UErrorCode err = U_ZERO_ERROR;
  UConverter* cnv = OpenSource(ccsid, src, &err);
  if (U_FAILURE(err)) {
    std::fprintf(stderr, "name_char_tables_gen: no converter for CCSID %d (%s): %s\n", ccsid,
                 src != nullptr && src->source_name != nullptr ? src->source_name : "numbered",
                 u_errorName(err));
    return false;
  }
  page->icuName = ucnv_getName(cnv, &err);
  ucnv_setToUCallBack(cnv, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  for (int b = 0; b < 256; ++b) {
    ucnv_reset(cnv);
    err = U_ZERO_ERROR;
    const char in = static_cast<char>(b);
    UChar out[4];
    int32_t n = ucnv_toUChars(cnv, out, 4, &in, 1, &err);
    if (U_FAILURE(err) || n != 1 || U_IS_SURROGATE(out[0])) {
      page->chars[b] = -1;
      continue;
    }
    UChar c = out[0];
    if (src != nullptr && src->transform == Transform::kLatin9) c = Latin9(c);
    page->chars[b] = c;
  }
  ucnv_close(cnv);
  return true;
}

void WriteWords(FILE* f, const uint64_t* words, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    std::fprintf(f, "%s0x%016llxULL,", i % 4 == 0 ? "\n    " : " ",
                 static_cast<unsigned long long>(words[i]));
  }
  std::fprintf(f, "\n");
}

int Generate(const char* outPath) {
  // Unicode sets.
  std::vector<uint64_t> uniStart(kUnicodeWords, 0), uniPart(kUnicodeWords, 0);
  for (UChar32 c = 0; c < 0x10000; ++c) {
    if (u_isJavaIDStart(c)) SetBit(uniStart.data(), static_cast<uint32_t>(c));
    if (u_isJavaIDPart(c)) SetBit(uniPart.data(), static_cast<uint32_t>(c));
  }

  // Single-byte rows and their shared pairs.
  std::vector<BytePair> pairs;
  std::map<BytePair, size_t> pairIndex;
  std::vector<Row> rows;
  std::map<int32_t, std::string> icuNames;
  std::vector<ClassTable> classTables;
  std::map<ClassTable, size_t> classIndex;
  auto classesFor = [&](const ClassTable& t) {
    auto [it, inserted] = classIndex.emplace(t, classTables.size());
    if (inserted) classTables.push_back(t);
    return it->second;
  };
  const size_t unicodeClasses = classesFor(ClassesOf(uniStart.data(), uniPart.data(), 0x2E));
  for (int32_t ccsid : kCcsids) {
    if (IsUnicodeCcsid(ccsid)) {
      rows.push_back(Row{ccsid, true, Form::kAscii, 0, unicodeClasses});
      continue;
    }
    CodePage page;
    if (!LoadCodePage(ccsid, &page)) return 1;
    icuNames[ccsid] = page.icuName;
    BytePair pair{};
    for (uint32_t b = 0; b < 256; ++b) {
      const int32_t c = page.chars[b];
      if (c < 0) continue;
      if (u_isJavaIDStart(c)) SetBit(pair.first.data(), b);
      if (u_isJavaIDPart(c)) SetBit(pair.second.data(), b);
    }
    Form form;
    if (page.chars[0x2E] == '.') {
      form = Form::kAscii;
    } else if (page.chars[0x4B] == '.') {
      form = Form::kEbcdic;
    } else {
      std::fprintf(stderr, "name_char_tables_gen: CCSID %d has no full stop at 0x2E or 0x4B\n",
                   ccsid);
      return 1;
    }
    auto [it, inserted] = pairIndex.emplace(pair, pairs.size());
    if (inserted) pairs.push_back(pair);
    const size_t classes = classesFor(
        ClassesOf(pair.first.data(), pair.second.data(), form == Form::kAscii ? 0x2E : 0x4B));
    rows.push_back(Row{ccsid, false, form, it->second, classes});
  }

  // Written beside the target and renamed, so a failed run never leaves a
  // half-written table that the build would take as up to date.
  const std::string tmpPath = std::string(outPath) + ".tmp";
  FILE* f = std::fopen(tmpPath.c_str(), "w");
  if (f == nullptr) {
    std::perror(tmpPath.c_str());
    return 1;
  }
  std::fprintf(f,
               "// Generated by props/gen/name_char_tables_gen.cpp from the Unicode data of ICU "
               "%s.\n// Do not edit; change the generator instead.\n//\n"
               "// Start set: u_isJavaIDStart; part set: u_isJavaIDPart. Single-byte rows map\n"
               "// each byte through the code page; unmapped bytes are in neither set.\n//\n"
               "// Rows not taken from their own CCSID's table:\n",
               U_ICU_VERSION);
  for (const RowSource& s : kRowSources) {
    std::fprintf(f, "//   %5d <- %-24s %s\n", s.ccsid, icuNames[s.ccsid].c_str(), s.why);
  }
  std::fprintf(f, "//\n// %zu single-byte rows share %zu distinct pairs of sets.\n\n",
               rows.size() - 4, pairs.size());
  std::fprintf(f,
               "#include \"props/name_char_table.h\"\n\n"
               "namespace zxv::props {\n\nnamespace {\n\n");
  std::fprintf(f, "alignas(64) constexpr uint64_t kUnicodeStart[%zu] = {", kUnicodeWords);
  WriteWords(f, uniStart.data(), kUnicodeWords);
  std::fprintf(f, "};\n\nalignas(64) constexpr uint64_t kUnicodePart[%zu] = {", kUnicodeWords);
  WriteWords(f, uniPart.data(), kUnicodeWords);
  std::fprintf(
      f, "};\n\n// [pair][0 start, 1 part][word]\nconstexpr uint64_t kByteSets[%zu][2][%zu] = {\n",
      pairs.size(), kByteWords);
  for (const BytePair& p : pairs) {
    std::fprintf(
        f, "    {{0x%016llxULL, 0x%016llxULL, 0x%016llxULL, 0x%016llxULL},\n",
        static_cast<unsigned long long>(p.first[0]), static_cast<unsigned long long>(p.first[1]),
        static_cast<unsigned long long>(p.first[2]), static_cast<unsigned long long>(p.first[3]));
    std::fprintf(
        f, "     {0x%016llxULL, 0x%016llxULL, 0x%016llxULL, 0x%016llxULL}},\n",
        static_cast<unsigned long long>(p.second[0]), static_cast<unsigned long long>(p.second[1]),
        static_cast<unsigned long long>(p.second[2]), static_cast<unsigned long long>(p.second[3]));
  }
  std::fprintf(f,
               "};\n\n// [table][byte]: 1 may start a name, 2 may follow (the full stop "
               "included)\nalignas(64) constexpr uint8_t kByteClasses[%zu][256] = {\n",
               classTables.size());
  for (const ClassTable& t : classTables) {
    std::fprintf(f, "    {");
    for (size_t b = 0; b < 256; ++b) {
      std::fprintf(f, "%s%u", b == 0 ? "" : (b % 32 == 0 ? ",\n     " : ","), t[b]);
    }
    std::fprintf(f, "},\n");
  }
  std::fprintf(f, "};\n\n}  // namespace\n\n");
  std::fprintf(f, "extern const size_t kNameCharByteSetPairs = %zu;\n\n", pairs.size());
  std::fprintf(f, "extern const NameCharRow kNameCharTable[kNameCharRowCount + 1] = {\n");
  for (const Row& r : rows) {
    if (r.unicode) {
      std::fprintf(f,
                   "    {%d, NameCharForm::%s, kUnicodeStart, kUnicodePart, kByteClasses[%zu]},\n",
                   r.ccsid, r.ccsid == 1208 ? "kUtf8" : "kUcs2", r.classes);
    } else {
      std::fprintf(f,
                   "    {%d, NameCharForm::%s, kByteSets[%zu][0], kByteSets[%zu][1], "
                   "kByteClasses[%zu]},\n",
                   r.ccsid, r.form == Form::kAscii ? "kAsciiByte" : "kEbcdicByte", r.pair, r.pair,
                   r.classes);
    }
  }
  std::fprintf(f, "    {0, NameCharForm::kAsciiByte, nullptr, nullptr, nullptr},\n};\n\n");
  std::fprintf(f, "}  // namespace zxv::props\n");
  if (std::fclose(f) != 0 || std::rename(tmpPath.c_str(), outPath) != 0) {
    std::perror(outPath);
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: name_char_tables_gen <output.cpp>\n");
    return 2;
  }
  const int rc = Generate(argv[1]);
  u_cleanup();
  return rc;
}
