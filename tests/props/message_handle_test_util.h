// Test helpers for message handles: a fixture with a connection anchor and a
// private unassociated anchor that deletes what a test leaves and checks for
// leaked blocks, and short forms of the property calls.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "props/message_handle.h"
#include "tests/props/property_test_util.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_mutex.h"
#include "zxvxzu/message_handle.h"

namespace zxv::test {

inline constexpr KWHCONN kConn = 7;  // some connection
inline constexpr KWHCONN kUnassoc = KWHC_UNASSOCIATED_HCONN;

// A name descriptor for bytes that outlive it: a string literal or a named
// string (a temporary string would leave it dangling).
inline KWCHARV NameOf(const std::string& name, KWLONG ccsid = KWCCSI_UTF8) {
  return KWCHARV{const_cast<char*>(name.data()), 0, 0, static_cast<KWLONG>(name.size()), ccsid};
}
inline KWCHARV NameOf(const char* name, KWLONG ccsid = KWCCSI_UTF8) {
  return KWCHARV{const_cast<char*>(name), 0, 0, static_cast<KWLONG>(std::strlen(name)), ccsid};
}
KWCHARV NameOf(std::string&& name, KWLONG ccsid = KWCCSI_UTF8) = delete;

inline MsgHandle* HandleAt(KWHMSG hMsg) { return zxv::props::HandleOf(hMsg); }

// A property as an inquiry returned it.
struct Inquired {
  KWLONG reason = -1;
  KWLONG cc = -1;
  KWLONG type = KWTYPE_AS_SET;
  std::vector<uint8_t> value;
  KWLONG length = -1;
  KWPD pd{};
  std::string name;  // when a name buffer was given
  KWIMPO impo{};
};

class MessageHandleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    blocks_ = xcsOutstandingBlocks();
    records_ = xcsFailureRecordCount();
  }
  void TearDown() override {
    xcsInjectAllocFailure(0, 0, 0);
    xcsInjectMutexFailure(0, 0, 0);
    for (MsgHandleAnchor* anchor : {&anchor_, &unassoc_}) {
      while (anchor->pHead != nullptr) {
        zstDeleteMessageHandleResources(nullptr, anchor, anchor->pHead, 0, nullptr, nullptr);
      }
    }
    if (unassoc_.hMutex != nullptr) {
      EXPECT_EQ(xcsDestroyMutex(unassoc_.hMutex), xcsRC_OK);
      unassoc_.hMutex = nullptr;
    }
    EXPECT_EQ(xcsOutstandingBlocks(), blocks_) << "blocks leaked";
  }

  MsgHandleAnchor* AnchorOf(KWHCONN hConn) { return hConn == kUnassoc ? &unassoc_ : &anchor_; }

  // A new handle, validating names unless asked otherwise.
  KWHMSG Create(KWHCONN hConn = kConn, KWLONG options = KWCMHO_VALIDATE) {
    KWCMHO cmho{{'C', 'M', 'H', 'O'}, KWCMHO_VERSION_1, options};
    KWHMSG hMsg = KWHM_NONE;
    EXPECT_EQ(zstCreateMessageHandle(nullptr, hConn, &cmho, AnchorOf(hConn), &hMsg, &cc_, &rc_),
              KWRC_NONE);
    return hMsg;
  }
  KWLONG Delete(KWHMSG* hMsg, KWHCONN hConn = kConn) {
    return zstDeleteMessageHandle(nullptr, hConn, hMsg, nullptr, AnchorOf(hConn), &cc_, &rc_);
  }

  KWLONG Set(KWHMSG hMsg, const std::string& name, KWLONG type, const void* value, KWLONG length,
             const KWPD* pd = nullptr, KWHCONN hConn = kConn, KWLONG ccsid = KWCCSI_UTF8) {
    const KWCHARV n = NameOf(name, ccsid);
    return zstSetMessageProperty(nullptr, hConn, hMsg, nullptr, &n, pd, type, length, value,
                                 AnchorOf(hConn), &cc_, &rc_);
  }
  KWLONG SetInt32(KWHMSG hMsg, const std::string& name, int32_t v, KWHCONN hConn = kConn) {
    return Set(hMsg, name, KWTYPE_INT32, &v, sizeof v, nullptr, hConn);
  }
  KWLONG SetString(KWHMSG hMsg, const std::string& name, const std::string& v,
                   KWHCONN hConn = kConn) {
    return Set(hMsg, name, KWTYPE_STRING, v.data(), static_cast<KWLONG>(v.size()), nullptr, hConn);
  }

  // Inquires `name` with `options`; `type` is the type asked for under
  // KWIMPO_CONVERT_TYPE; a name buffer of `nameBuffer` bytes when positive.
  Inquired Inquire(KWHMSG hMsg, const std::string& name, KWLONG options = KWIMPO_INQ_FIRST,
                   KWLONG type = KWTYPE_AS_SET, KWLONG bufferSize = 256, KWLONG nameBuffer = 0,
                   KWHCONN hConn = kConn) {
    Inquired r;
    const KWIMPO init = KWIMPO_DEFAULT_INIT;
    r.impo = init;
    r.impo.Options = options;
    std::vector<char> nameBytes(static_cast<size_t>(nameBuffer > 0 ? nameBuffer : 1));
    if (nameBuffer > 0) {
      r.impo.ReturnedName.VSPtr = nameBytes.data();
      r.impo.ReturnedName.VSBufSize = nameBuffer;
    }
    r.value.assign(static_cast<size_t>(bufferSize > 0 ? bufferSize : 1), 0xEE);
    r.type = type;
    const KWCHARV n = NameOf(name);
    r.reason =
        zstInquireMessageProperty(nullptr, hConn, hMsg, &r.impo, &n, &r.pd, &r.type, bufferSize,
                                  r.value.data(), &r.length, AnchorOf(hConn), &r.cc, &rc_);
    if (r.length >= 0 && static_cast<size_t>(r.length) <= r.value.size()) {
      r.value.resize(static_cast<size_t>(r.length));
    }
    if (nameBuffer > 0 && r.impo.ReturnedName.VSLength >= 0) {
      r.name.assign(nameBytes.data(),
                    std::min<size_t>(static_cast<size_t>(r.impo.ReturnedName.VSLength),
                                     static_cast<size_t>(nameBuffer)));
    }
    return r;
  }
  KWLONG DeleteProperty(KWHMSG hMsg, const std::string& name, KWLONG options = KWDMPO_DEL_FIRST,
                        KWHCONN hConn = kConn) {
    const KWDMPO dmpo{{'D', 'M', 'P', 'O'}, KWDMPO_VERSION_1, options};
    const KWCHARV n = NameOf(name);
    return zstDeleteMessageProperty(nullptr, hConn, hMsg, &dmpo, &n, AnchorOf(hConn), &cc_, &rc_);
  }

  // Names of the handle's list, in order.
  static std::vector<std::string> ListNames(KWHMSG hMsg) {
    ZRFPAL pal{};
    pal.pProps = HandleAt(hMsg)->pProps;
    pal.Size = HandleAt(hMsg)->PropsSize;
    return PropNames(pal);
  }
  // The list's bytes in use and its allocated size.
  static std::vector<uint8_t> ListBytes(KWHMSG hMsg) {
    const MsgHandle* h = HandleAt(hMsg);
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(h->pProps);
    std::vector<uint8_t> out(bytes, bytes + h->pProps->StrucLen);
    const uint32_t size = h->PropsSize;
    out.insert(out.end(), reinterpret_cast<const uint8_t*>(&size),
               reinterpret_cast<const uint8_t*>(&size) + sizeof size);
    return out;
  }

  template <typename T>
  static T ValueAs(const Inquired& r) {
    T v{};
    EXPECT_EQ(r.value.size(), sizeof v);
    if (r.value.size() == sizeof v) std::memcpy(&v, r.value.data(), sizeof v);
    return v;
  }
  static std::string TextOf(const Inquired& r) {
    return std::string(r.value.begin(), r.value.end());
  }

  MsgHandleAnchor anchor_{};
  MsgHandleAnchor unassoc_{};
  KWLONG cc_ = -1;
  KWLONG rc_ = -1;
  int64_t blocks_ = 0;
  uint32_t records_ = 0;
};

}  // namespace zxv::test
