// Properties to and from the header, inside the library: trace function
// numbers, the growable output of the converters, the text of typed
// values, the choice of a property's folder and the converters that the
// exported shells of include/zxvxzu/props_header.h map onto.
//
//   ZRFHDRBUF out{};
//   ZRFMARKS marks{};
//   KWLONG reason = ConvertAllToRfh2(&pal, opts, &out, &marks, kFnConvertAllPropertiesToKWRFH2);
//   ... out.pBuffer holds one KWRFH2 of out.Length bytes ...
//   xcsFreeMemFn(out.pBuffer);
#pragma once

#include <cstdint>
#include <string_view>

#include "props/message_handle.h"
#include "props/property_store.h"
#include "props/rfh2_chain.h"
#include "zxvxcs2/xcs_thread.h"
#include "zxvxzu/folder_parser.h"
#include "zxvxzu/props_header.h"

namespace zxv::props {

// Two lower-case hex digits per byte value, in text order (bin.hex values).
inline constexpr auto kHexPairs = [] {
  struct Table {
    char pair[256][2];
  } t{};
  constexpr char kDigits[] = "0123456789abcdef";
  for (uint32_t b = 0; b < 256; ++b) {
    t.pair[b][0] = kDigits[b >> 4];
    t.pair[b][1] = kDigits[b & 0xF];
  }
  return t;
}();

// Two decimal digits per value, "00" to "99" (integer and exponent text).
inline constexpr auto kDigitPairs = [] {
  struct Table {
    char pair[100][2];
  } t{};
  for (uint32_t i = 0; i < 100; ++i) {
    t.pair[i][0] = static_cast<char>('0' + i / 10);
    t.pair[i][1] = static_cast<char>('0' + i % 10);
  }
  return t;
}();

// The type attribute of each type code, whole: dt for the typed values,
// xsi:nil for null; none for a string.
inline constexpr std::string_view kTypeAttributes[ZRF_TYPE_COUNT] = {
    /* string      */ {},
    /* boolean     */ " dt='boolean'",
    /* byte string */ " dt='bin.hex'",
    /* int8        */ " dt='i1'",
    /* int16       */ " dt='i2'",
    /* int32       */ " dt='i4'",
    /* int64       */ " dt='i8'",
    /* float32     */ " dt='r4'",
    /* float64     */ " dt='r8'",
    /* null        */ " xsi:nil='true'",
    /* name only   */ {},
    /* as stored   */ " dt='bin.hex'",
};

// The type attributes in blocks of 16 bytes, for writers whose markup is
// ASCII: a block is stored whole (the room of an element leaves slack for
// it) and the position advanced by the attribute's length.
struct AttributeBlock {
  char text[16];
  uint32_t length;
};
inline constexpr AttributeBlock BlockOf(std::string_view attribute) {
  AttributeBlock b{};
  for (size_t i = 0; i < attribute.size(); ++i) b.text[i] = attribute[i];
  b.length = static_cast<uint32_t>(attribute.size());
  return b;
}
inline constexpr auto kTypeBlocks = [] {
  struct Blocks {
    AttributeBlock block[ZRF_TYPE_COUNT];
  } t{};
  for (uint32_t code = 0; code < ZRF_TYPE_COUNT; ++code)
    t.block[code] = BlockOf(kTypeAttributes[code]);
  return t;
}();
inline constexpr AttributeBlock kStringBlock = BlockOf(" dt='string'");

// ---------------------------------------------------------------------------
// Trace function numbers.
inline constexpr uint32_t kFnPropsHeaderBase = kFnRfh2Base + 0x60;
inline constexpr uint32_t kFnPropertiesToKWRFH2 = kFnPropsHeaderBase + 0x00;
inline constexpr uint32_t kFnKWRFH2ToProperties = kFnPropsHeaderBase + 0x01;
inline constexpr uint32_t kFnPrepareMsgForBackLevel = kFnPropsHeaderBase + 0x02;
inline constexpr uint32_t kFnConvertAllPropertiesToKWRFH2 = kFnPropsHeaderBase + 0x03;
inline constexpr uint32_t kFnConvertPropertyToKWRFH2 = kFnPropsHeaderBase + 0x04;
inline constexpr uint32_t kFnConvertPropertyToKWRFH1 = kFnPropsHeaderBase + 0x05;
inline constexpr uint32_t kFnCalculatePropsLength = kFnPropsHeaderBase + 0x06;
inline constexpr uint32_t kFnProcessMarkedNodes = kFnPropsHeaderBase + 0x07;
inline constexpr uint32_t kFnGetApplicationCCSID = kFnPropsHeaderBase + 0x08;

// Bytes of the work buffer the handle's headers are built in; it grows
// when they need more.
inline constexpr uint32_t kWorkBufferSize = 4096;

// ---------------------------------------------------------------------------
// Output (props_out_buffer.cpp).

// Makes room for `more` bytes behind out->Length: allocates or re-allocates
// (keeping the content) to at least twice the size. 2071/2102/2195 (with a
// failure record, probe `probe` of `file`) when it cannot; the buffer is
// then as it was.
KWLONG ReserveOut(ZRFHDRBUF* out, uint64_t more, const char* file, uint32_t probe);

// A growable scratch block from the platform allocator with room inside the
// object for short contents.
class ScratchBytes {
 public:
  ScratchBytes() = default;
  ~ScratchBytes();
  ScratchBytes(const ScratchBytes&) = delete;
  ScratchBytes& operator=(const ScratchBytes&) = delete;

  uint8_t* data() { return data_; }
  uint32_t capacity() const { return capacity_; }
  // At least `size` bytes (content not kept); 2071/2102/2195 when not.
  KWLONG Reserve(uint64_t size);

 private:
  static constexpr uint32_t kInline = 256;
  uint8_t inline_[kInline];
  uint8_t* data_ = inline_;
  uint32_t capacity_ = kInline;
};

// Text in one CCSID turned into another: the CCSIDs with the encodings
// that give the byte order of UCS-2.
struct TextCodes {
  int32_t ccsid;
  int32_t encoding;
};

// Converts `length` bytes from `from` into `to`, into `scratch`; *out and
// *outLength receive the result. Reasons: 2119 a character that cannot be
// converted (traced "Value failed to be converted into CCSID %d" unless
// `quiet`), 2111 a CCSID without a converter, 2071/2102/2195.
KWLONG ConvertText(TextCodes from, TextCodes to, const uint8_t* text, uint32_t length,
                   ScratchBytes* scratch, const uint8_t** out, uint32_t* outLength, uint32_t fn,
                   bool quiet);

// ---------------------------------------------------------------------------
// The text of typed values (props_value_text.cpp). Texts are ASCII, whose
// characters (digits, signs, point, exponent, hex digits, INF, NaN) every
// family writes alike.

// Room for any text below.
inline constexpr uint32_t kMaxValueText = 48;

// The decimal text of a fixed-size value of internal type `code` (boolean
// "1"/"0", integers, floats in the shortest form that reads back as the same
// value; "INF", "-INF", "NaN"), `value` in the machine's order. Returns its
// length; 0 for a code that is no fixed-size value.
uint32_t FormatFixedValue(uint32_t code, const uint8_t* value, char* out);

// ---------------------------------------------------------------------------
// Folders (props_folder_choice.cpp).

// The folders a writer writes, in the order it writes them.
enum class FolderId : uint32_t {
  kMcd,
  kJms,
  kUsr,
  kPsc,
  kKwps,
  kKwpse,
  kKwpsi,
  kKwext,
  kZolRfp,
};
inline constexpr uint32_t kFolderCount = 9;

// The folder's name (ASCII).
std::string_view FolderNameOf(FolderId folder);

// True for the folders that hold no groups.
bool FolderHoldsNoGroups(FolderId folder);

// Where a property goes: its folder, whether its name is written whole in
// an elt element (a name that is no markup name), and where its first and
// last full stops are (byte offsets in the name as placed; the name's
// length when it has none).
// (Sixteen bytes of 32-bit fields, so that it is returned in registers.)
struct Placement {
  FolderId folder;
  uint32_t elt;  // 0 or 1
  uint32_t first_stop;
  uint32_t last_stop;
};

// Most name parts written as nested elements in the user folder: the
// parser's nesting limit of 64 holds the folder, the groups and the leaf.
inline constexpr uint32_t kMaxNestedParts = 62;
// Longest name part written as a tag (the parser cuts longer tags).
inline constexpr uint32_t kMaxTagBytes = 255;

// The placement of a name of the list's encoding family `family`
// (XCS_CCSID_TYPE_*); see "Which folder a property goes to" in
// props_header.h.
Placement PlaceName(uint8_t family, const uint8_t* name, uint32_t length);

// True when Support is in the accept range: the property is compatible.
inline bool IsCompatibleSupport(uint32_t support) {
  return (support & ~uint32_t{ZRF_SUPPORT_ACCEPT_MASK}) == 0;
}

// True when a node is selected by a copy purpose (ZSTHDROPTS.CopyPurpose).
inline bool SelectedByPurpose(const NodeView& node, int32_t purpose) {
  if (purpose == 0 || purpose == KWCOPY_ALL) return true;
  return (node.copy_options & (KWCOPY_ALL | static_cast<uint32_t>(purpose))) != 0;
}

// ---------------------------------------------------------------------------
// Converters (props_folder_writer.cpp, props_rfh1_writer.cpp,
// props_marked_nodes.cpp).

// The work of zrfConvertAllPropertiesToKWRFH2 on checked arguments (`opts`
// complete, NameValueCCSID resolved).
KWLONG ConvertAllToRfh2(const ZRFPAL* pal, const ZRFHDROPTS& opts, ZRFHDRBUF* out, ZRFMARKS* marks,
                        uint32_t fn);

// The work of zrfConvertPropertyToKWRFH2 on checked arguments.
KWLONG ConvertOneToRfh2(const ZRFPAL* pal, uint32_t nodeOffset, const ZRFHDROPTS& opts,
                        ZRFHDRBUF* out, uint32_t fn);

// The work of zrfConvertPropertyToKWRFH1 on checked arguments.
KWLONG ConvertOneToRfh1(const ZRFPAL* pal, uint32_t nodeOffset, int32_t ccsid, int32_t encoding,
                        ZRFHDRBUF* out, bool* written, uint32_t fn);

// The work of zrfProcessMarkedNodes on checked arguments.
KWLONG ProcessMarkedNodes(const ZRFPAL* pal, const ZRFMARKS& marks, uint32_t options, uint32_t fn);

// True when `offset` is the start of a node of the list (walked from the
// first node); the node is decoded into *view.
bool NodeAtOffset(const ZRFPROPS* list, uint32_t offset, NodeView* view);

// The encoding family of the list's text; XCS_CCSID_TYPE_UNKNOWN when it
// has none.
uint8_t ListFamilyOf(const ZRFPROPS* list);

// The CCSID and UCS-2 byte order of the list's text.
TextCodes ListCodesOf(const ZRFPROPS* list);

// Which writers ConvertAllToRfh2 may use: any (the plain writer below when
// the list suits it), or the general writer alone (for tests that compare
// the two).
enum class WriterPaths { kAny, kGeneralOnly };

// The buffer a header built in `out` is copied into when the call
// succeeds (the caller's), at the same offsets. A writer that has finished
// without a failure left may put the rest of the header there itself when
// the whole header fits in `size` bytes: `placed_from` (0 when none was)
// is then the offset from which the bytes are in place, and out's bytes
// from there on are not the header's.
struct HeaderDestination {
  uint8_t* bytes = nullptr;
  uint32_t size = 0;
  uint32_t placed_from = 0;
};

// ConvertAllToRfh2 choosing its writers, with the header's destination
// when the caller copies the header out on success (nullptr otherwise).
KWLONG ConvertAllToRfh2(const ZRFPAL* pal, const ZRFHDROPTS& opts, ZRFHDRBUF* out, ZRFMARKS* marks,
                        uint32_t fn, WriterPaths paths, HeaderDestination* destination = nullptr);

// Makes room for `more` bytes behind out->Length for the folder writers, as
// ReserveOut with the failure record of the folder writer.
KWLONG ReserveFolderOut(ZRFHDRBUF* out, uint64_t more);

// ---------------------------------------------------------------------------
// The plain writer (props_plain_writer.cpp): the common case of
// ConvertAllToRfh2 in a writer of its own. It takes a list whose folder
// text is the list's own text in an ASCII-based or UTF-8 CCSID, and whose
// selected properties (at most kMaxPlainNodes) all have Support optional,
// default copy options and no user context, a type other than "as stored"
// and no text form, and a name of at most kMaxPlainName bytes whose parts
// are bytes above 0x40 and digits (none first), none of them elt. It writes
// what the general writer writes, byte for byte, reserving room at the same
// points with the same sizes.

// Most nodes and longest name that the plain writer takes.
inline constexpr uint32_t kMaxPlainNodes = 256;
inline constexpr uint32_t kMaxPlainName = 64;

// A selected node as the plan keeps it (offsets in the list and the node).
struct PlainSlot {
  uint32_t offset;
  uint32_t value_length;
  uint8_t name_at;
  uint8_t name_length;
  uint8_t value_at;
  uint8_t code;
  uint8_t parts_start;  // where the parts written as tags begin
  uint8_t leaf_start;   // the last part
  uint16_t next;        // the folder's next slot
};

struct PlainPlan {
  static constexpr uint16_t kEnd = 0xFFFF;
  PlainSlot slots[kMaxPlainNodes];
  uint16_t head[kFolderCount];
  uint16_t tail[kFolderCount];
  uint32_t count;
  uint32_t folders;  // bit per FolderId with properties
  uint32_t skipped;  // nodes not selected
};

// Classifies the nodes of `list` (decodable, ASCII-based or UTF-8 text)
// into *plan. False when a node is one the plain writer does not take, or
// cannot be decoded; *plan is then of no use.
bool PlanPlainFolders(const ZRFPROPS* list, int32_t copyPurpose, PlainPlan* plan);

// Writes the folders of a plan with properties (folders != 0) of family
// `family` (XCS_CCSID_TYPE_ASCII or _UTF8) behind out->Length, integers
// reversed when `reversed`. Reasons: those of ReserveFolderOut; out->Length
// then lies somewhere behind where it was.
KWLONG WritePlainFolders(const PlainPlan& plan, const ZRFPROPS* list, uint8_t family, bool reversed,
                         ZRFHDRBUF* out);

// How the list-order writer below fared.
enum class PlainOutcome {
  kWritten,    // the folders are written
  kNeedsPlan,  // the list is plain, but its folders need the plan above
  kNotPlain,   // the list needs the general writer (or has nothing to write)
  kFailed,     // the buffer could not grow
};

// The plain writer without a plan, for an output with room behind
// out->Length: writes the folders as the nodes come, moving folders that
// came out of their order into place at the end. kWritten: out->Length
// lies behind the folders, *written and *skipped count the nodes written
// and not selected. kFailed: the output could not grow as the general
// writer makes it grow (ReserveFolderOut's reason in *failure; the buffer
// as it was then). Otherwise out->Length is as it was (the bytes behind it
// are not). A list too large for the room left is staged apart and the
// buffer grown at the end, when every growth of the general writer would
// double it; where that is not so, and where the folders of a plain list
// do not each come in one run of nodes, it gives kNeedsPlan without having
// allocated. A staged list written (kWritten) goes to `destination` as
// HeaderDestination says, when one is given and the header fits there.
PlainOutcome WritePlainInListOrder(const ZRFPROPS* list, int32_t copyPurpose, uint8_t family,
                                   bool reversed, ZRFHDRBUF* out, uint32_t* written,
                                   uint32_t* skipped, KWLONG* failure,
                                   HeaderDestination* destination = nullptr);

// ---------------------------------------------------------------------------
// The application's CCSID (props_app_ccsid.cpp).
int32_t ApplicationCcsid();

// ---------------------------------------------------------------------------
// The thread lock of a header conversion on a handle: lock type 0, no
// object owner, the anchor released after locking; released whatever the
// outcome.
class HandleCallLock {
 public:
  HandleCallLock(xihTHREAD* thread, KWHCONN hConn, KWHMSG hMsg, MsgHandleAnchor* anchor,
                 const char* description, uint32_t fn);
  ~HandleCallLock();
  HandleCallLock(const HandleCallLock&) = delete;
  HandleCallLock& operator=(const HandleCallLock&) = delete;

  KWLONG reason() const { return reason_; }
  MsgHandle* handle() const { return handle_; }

 private:
  xihTHREAD* thread_;
  MsgHandle* handle_ = nullptr;
  KWLONG reason_;
};

}  // namespace zxv::props
