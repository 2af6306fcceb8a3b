// The express paths of set and inquire, taken while trace is off, against
// the general path, which every call takes while trace is on: the same
// random calls on two handles must give the same codes, outputs, lists,
// descriptors, cursors and lock fields. (Neither path writes a trace line
// while trace is off, so the traces agree by construction.) Between calls
// the list's header is also changed by hand, as no library function would
// tell the index of, so that a record the express paths keep of a list they
// checked must notice every such change.
#include <memory>
#include <random>

#include "tests/props/message_handle_test_util.h"
#include "tests/trace_lines.h"
#include "zxvxcs2/xcs_ccsid.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_trace.h"

namespace zxv::test {
namespace {

// Everything a property call can change in a handle.
struct HandleState {
  std::vector<uint8_t> list;
  uint32_t listSize;
  std::vector<uint8_t> descriptor;
  uint32_t fieldsSet;
  std::string cursorName;
  KWLONG cursorCcsid;
  KWULONG cursorOffset;
  uint32_t pid, tid, count;
  bool operator==(const HandleState&) const = default;
};

HandleState StateOf(KWHMSG hMsg) {
  const MsgHandle* h = HandleAt(hMsg);
  HandleState s{};
  const auto* list = reinterpret_cast<const uint8_t*>(h->pProps);
  s.list.assign(list, list + h->pProps->StrucLen);
  s.listSize = h->PropsSize;
  const auto* md = reinterpret_cast<const uint8_t*>(&h->MsgDesc);
  s.descriptor.assign(md, md + sizeof h->MsgDesc);
  s.fieldsSet = h->MsgDescFieldsSet;
  if (h->pCursor != nullptr && h->pCursor->pName != nullptr) {
    s.cursorName.assign(reinterpret_cast<const char*>(h->pCursor->pName), h->pCursor->NameLength);
    s.cursorCcsid = h->pCursor->NameCCSID;
    s.cursorOffset = h->pCursor->NodeOffset;
  }
  s.pid = h->OwningPid;
  s.tid = h->OwningTid;
  s.count = h->TidRecursionCount;
  return s;
}

// One call's results.
struct Outcome {
  KWLONG ret, cc, rc, type, length;
  std::vector<uint8_t> value;
  KWPD pd;
  KWLONG returnedEncoding, returnedCcsid, returnedNameLength;
  uint32_t records;
  bool operator==(const Outcome& o) const {
    return ret == o.ret && cc == o.cc && rc == o.rc && type == o.type && length == o.length &&
           value == o.value && std::memcmp(&pd, &o.pd, sizeof pd) == 0 &&
           returnedEncoding == o.returnedEncoding && returnedCcsid == o.returnedCcsid &&
           returnedNameLength == o.returnedNameLength && records == o.records;
  }
};

const char* const kNames[] = {"usr.order.1",
                              "usr.order.2",
                              "usr.customer.1",
                              "usr",
                              "usr.order",
                              "app.x",
                              "trace",
                              "x",
                              "a.b.c.d.e",
                              "a.b",
                              "Root.KWMD.Priority",
                              "JMSPriority",
                              "JMSCorrelationID",
                              "mcd.Type",
                              "a.",
                              "AND",
                              "usr.%",
                              "kwpsc.x",
                              "",
                              "p.q",
                              "averyveryverylongpropertyname.with.parts.and.more.x"};
// The length a value of `type` comes with: its size, 5 for the others.
KWLONG ValueLengthOf(KWLONG type) {
  switch (type) {
    case KWTYPE_INT8:
      return 1;
    case KWTYPE_INT16:
      return 2;
    case KWTYPE_BOOLEAN:
    case KWTYPE_INT32:
    case KWTYPE_FLOAT32:
      return 4;
    case KWTYPE_INT64:
    case KWTYPE_FLOAT64:
      return 8;
    default:
      return 5;
  }
}

const KWLONG kTypes[] = {KWTYPE_STRING,  KWTYPE_BOOLEAN, KWTYPE_BYTE_STRING, KWTYPE_INT8,
                         KWTYPE_INT16,   KWTYPE_INT32,   KWTYPE_INT64,       KWTYPE_FLOAT32,
                         KWTYPE_FLOAT64, KWTYPE_NULL,    KWTYPE_AS_SET,      3};
const KWLONG kCcsids[] = {KWCCSI_UTF8, KWCCSI_UTF8, KWCCSI_UTF8, 0, 819, KWCCSI_APPL};
const KWLONG kInquireOptions[] = {
    KWIMPO_INQ_FIRST, KWIMPO_INQ_FIRST,     KWIMPO_CONVERT_TYPE,         KWIMPO_QUERY_LENGTH,
    KWIMPO_INQ_NEXT,  KWIMPO_CONVERT_VALUE, KWIMPO_INQ_PROP_UNDER_CURSOR};

class ExpressDifferentialTest : public MessageHandleTest {
 protected:
  // Runs `seed`'s calls on a handle with trace off and on one with trace on.
  void Run(uint32_t seed, KWLONG createOptions) {
    MsgHandleAnchor other{};
    const KWCMHO cmho{{'C', 'M', 'H', 'O'}, KWCMHO_VERSION_1, createOptions};
    KWHMSG express = KWHM_NONE;
    KWHMSG general = KWHM_NONE;
    ASSERT_EQ(zstCreateMessageHandle(nullptr, kConn, &cmho, &anchor_, &express, &cc_, &rc_), 0);
    ASSERT_EQ(zstCreateMessageHandle(nullptr, kConn, &cmho, &other, &general, &cc_, &rc_), 0);
    std::mt19937 rng(seed);
    for (int step = 0; step < 600; ++step) {
      const uint32_t op = rng() % 17;
      const uint32_t pick = rng();
      const Outcome e = Call(op, pick, express, &anchor_, false);
      const Outcome g = Call(op, pick, general, &other, true);
      ASSERT_TRUE(e == g) << "seed " << seed << " step " << step << " op " << op << " rc " << e.rc
                          << " vs " << g.rc;
      ASSERT_TRUE(StateOf(express) == StateOf(general)) << "seed " << seed << " step " << step;
    }
    for (const KWHMSG h : {express, general}) {  // a list its owner can free
      if (HandleAt(h)->pProps->StrucId[0] != ZRFP_STRUC_ID[0]) ChangeHeader(HandleAt(h), 2 << 3);
    }
    while (HandleAt(general)->TidRecursionCount > 0) {
      zstReleaseMessageHandle(nullptr, HandleAt(general), ZST_LOCK_THREAD, KWHC_UNUSABLE_HCONN,
                              KWHO_UNUSABLE_HOBJ);
    }
    EXPECT_EQ(zstDeleteMessageHandle(nullptr, kConn, &general, nullptr, &other, &cc_, &rc_), 0);
  }

  Outcome Call(uint32_t op, uint32_t pick, KWHMSG hMsg, MsgHandleAnchor* anchor, bool traced) {
    std::unique_ptr<TraceLines> trace;
    if (traced) trace = std::make_unique<TraceLines>(XTR_LEVEL_FLOW);
    const uint32_t recordsBefore = xcsFailureRecordCount();
    Outcome o{};
    o.type = o.length = o.returnedEncoding = o.returnedCcsid = o.returnedNameLength = -7;
    const std::string name = kNames[pick % std::size(kNames)];
    const KWCHARV n = NameOf(name, kCcsids[(pick >> 5) % std::size(kCcsids)]);
    if (op < 8) {  // set
      const KWLONG type = kTypes[(pick >> 8) % std::size(kTypes)];
      const uint8_t value[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
      KWLONG length = ValueLengthOf(type);
      if ((pick >> 12) % 8 == 0) length = static_cast<KWLONG>((pick >> 15) % 17);
      KWPD pd{{'P', 'D', ' ', ' '},
              KWPD_VERSION_1,
              0,
              static_cast<KWLONG>((pick >> 20) % 3),
              static_cast<KWLONG>((pick >> 22) % 5 == 0 ? 2 : (pick >> 22) % 2),
              (pick >> 25) % 7 == 0 ? 32 : static_cast<KWLONG>((pick >> 25) % 32)};
      const bool noPd = (pick >> 30) % 2 == 0;
      o.ret = zstSetMessageProperty(nullptr, kConn, hMsg, nullptr, &n, noPd ? nullptr : &pd, type,
                                    length, (pick >> 13) % 16 == 0 ? nullptr : value, anchor, &o.cc,
                                    &o.rc);
    } else if (op < 13) {  // inquire
      KWIMPO impo = KWIMPO_DEFAULT_INIT;
      impo.Options = kInquireOptions[(pick >> 8) % std::size(kInquireOptions)];
      char nameBuffer[64];
      if ((pick >> 12) % 6 == 0) {
        impo.ReturnedName.VSPtr = nameBuffer;
        impo.ReturnedName.VSBufSize = sizeof nameBuffer;
      }
      o.type = kTypes[(pick >> 15) % std::size(kTypes)];
      o.value.assign(16, 0xEE);
      const KWLONG size = (pick >> 19) % 5 == 0 ? 2 : 16;
      const bool noImpo = (pick >> 22) % 8 == 0;
      const bool noPd = (pick >> 25) % 4 == 0;
      const bool noType = (pick >> 27) % 8 == 0;
      o.ret = zstInquireMessageProperty(nullptr, kConn, hMsg, noImpo ? nullptr : &impo, &n,
                                        noPd ? nullptr : &o.pd, noType ? nullptr : &o.type, size,
                                        o.value.data(), &o.length, anchor, &o.cc, &o.rc);
      o.returnedEncoding = impo.ReturnedEncoding;
      o.returnedCcsid = impo.ReturnedCCSID;
      o.returnedNameLength = impo.ReturnedName.VSLength;
    } else if (op == 13) {
      const KWDMPO dmpo{{'D', 'M', 'P', 'O'}, KWDMPO_VERSION_1, KWDMPO_DEL_FIRST};
      o.ret = zstDeleteMessageProperty(nullptr, kConn, hMsg, &dmpo, &n, anchor, &o.cc, &o.rc);
    } else if (op == 14) {
      o.ret = zstResetMessageHandle(nullptr, HandleAt(hMsg), static_cast<KWLONG>(pick % 2));
    } else if (op == 16) {
      o.ret = static_cast<KWLONG>(ChangeHeader(HandleAt(hMsg), pick));
    } else {  // the calling thread takes or gives back a lock of its own
      MsgHandle* h = HandleAt(hMsg);
      o.ret = h->TidRecursionCount < 2 && pick % 2 == 0
                  ? zstLockMessageHandle(nullptr, h, ZST_LOCK_THREAD, KWHC_UNUSABLE_HCONN,
                                         KWHO_UNUSABLE_HOBJ, 0, &o.cc, &o.rc)
              : h->TidRecursionCount > 0
                  ? static_cast<KWLONG>(zstReleaseMessageHandle(
                        nullptr, h, ZST_LOCK_THREAD, KWHC_UNUSABLE_HCONN, KWHO_UNUSABLE_HOBJ))
                  : 0;
    }
    o.records = xcsFailureRecordCount() - recordsBefore;
    return o;
  }

  // Changes the handle's list behind the library's back, each change undone
  // by the next of its kind: the verify flag, the list's CCSID, its eye
  // catcher, a reserved byte, or the list moved to a block of its exact
  // length (same bytes, another address and size). Returns the kind.
  static uint32_t ChangeHeader(MsgHandle* h, uint32_t pick) {
    const uint32_t kind = (pick >> 3) % 5;
    ZRFPROPS* list = h->pProps;
    switch (kind) {
      case 0:
        list->VersionFlags ^= ZRFP_FLAG_VERIFY;
        break;
      case 1:
        if (list->CCSID == KWCCSI_UTF8) {
          list->CCSID = 819;
          list->CCSIDType = XCS_CCSID_TYPE_ASCII;
        } else if (list->CCSID == 819) {
          list->CCSID = KWCCSI_UTF8;
          list->CCSIDType = XCS_CCSID_TYPE_UTF8;
        }
        break;
      case 2:
        list->StrucId[0] ^= 0x20;
        break;
      case 3:
        list->Reserved[1] ^= 1;
        break;
      default: {
        void* block = nullptr;
        EXPECT_EQ(xcsGetMemFn(list->StrucLen, &block), xcsRC_OK);
        std::memcpy(block, list, list->StrucLen);
        h->PropsSize = list->StrucLen;
        h->pProps = static_cast<ZRFPROPS*>(block);
        xcsFreeMemFn(list);
        break;
      }
    }
    return kind;
  }
};

TEST_F(ExpressDifferentialTest, RandomCallsAgreeOnANonValidatingHandle) {
  for (uint32_t seed = 1; seed <= 6; ++seed) Run(seed, KWCMHO_DEFAULT_VALIDATION);
}

TEST_F(ExpressDifferentialTest, RandomCallsAgreeOnAValidatingHandle) {
  for (uint32_t seed = 11; seed <= 16; ++seed) Run(seed, KWCMHO_VALIDATE);
}

// A set whose list cannot grow fails with the allocator's reason and leaves
// the list as it was, on the express path as on the general one.
TEST_F(ExpressDifferentialTest, GrowthFailureLeavesTheListAlone) {
  const KWHMSG hMsg = Create(kConn, KWCMHO_DEFAULT_VALIDATION);
  const std::string big(3000, 'v');
  ASSERT_EQ(SetString(hMsg, "usr.big", big), KWRC_NONE);
  ASSERT_EQ(SetInt32(hMsg, "usr.small", 1), KWRC_NONE);  // the index is current
  const std::vector<uint8_t> before = ListBytes(hMsg);
  xcsInjectAllocFailure(1, xcsRC_STORAGE_NOT_AVAILABLE, 0);
  EXPECT_EQ(SetString(hMsg, "usr.big2", big), KWRC_STORAGE_NOT_AVAILABLE);
  xcsInjectAllocFailure(0, 0, 0);
  EXPECT_EQ(ListBytes(hMsg), before);
  EXPECT_EQ(SetString(hMsg, "usr.big2", big), KWRC_NONE);
  EXPECT_EQ(ListNames(hMsg), (std::vector<std::string>{"usr.big", "usr.small", "usr.big2"}));
}

}  // namespace
}  // namespace zxv::test
