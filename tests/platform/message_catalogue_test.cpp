// Catalogue messages: lookup, inserts, truncation, the catalogue override
// and the error log.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_message.h"

namespace {

std::string Format(uint32_t number, const xcsINSERTS* inserts, xcsRC* rc = nullptr,
                   size_t size = 512) {
  std::string buffer(size, '\x7F');
  const xcsRC got = xcsFormatMessage(number, inserts, buffer.data(), size);
  if (rc != nullptr) *rc = got;
  EXPECT_NE(buffer.find('\0'), std::string::npos) << "not terminated";
  return buffer.c_str();
}

class MessageTest : public ::testing::Test {
 protected:
  void TearDown() override {
    ::unsetenv("ZXV_MSG_CATALOGUE");
    xcsClearEnvCache();
  }
};

// Inserts are filled in, missing ones print empty; a full message code
// names its message by the hex digits of its low half.
TEST_F(MessageTest, InsertsAndNumbers) {
  xcsINSERTS ins = {};
  ins.Numbers[0] = -7;
  ins.Strings[0] = "MyExit";
  ins.Strings[1] = "EntryFn";
  ins.Strings[2] = "/opt/exits/my.so";
  xcsRC rc = 1;
  EXPECT_EQ(Format(7217, &ins, &rc),
            "ZXV7217: The API exit 'MyExit' (function 'EntryFn' in module '/opt/exits/my.so') "
            "returned the response -7, which is not valid.");
  EXPECT_EQ(rc, xcsRC_OK);
  ins = {};
  ins.Strings[1] = "mod";
  EXPECT_EQ(Format(7214, &ins),
            "ZXV7214: The API exit '' could not be loaded from module 'mod' (return code ).");
  EXPECT_EQ(Format(7924, nullptr),
            "ZXV7924: A PCF header has the structure length 0, which is not valid.");
  ins.Strings[0] = "Q1";
  ins.Strings[1] = "QM1";
  EXPECT_EQ(Format(0x20009046u, &ins).rfind("ZXV9046: ", 0), 0u);
  EXPECT_NE(Format(0x20009046u, &ins).find("(queue 'Q1', queue manager 'QM1')"), std::string::npos);
  EXPECT_EQ(Format(0x20005036u, &ins).rfind("ZXV5036: ", 0), 0u);
}

TEST_F(MessageTest, EveryCatalogueMessageOfTheLibraryExists) {
  for (uint32_t number : {7214u, 7215u, 7216u, 7217u, 7924u, 7925u, 7926u, 7927u, 0x20009030u,
                          0x20009034u, 0x20009035u, 0x20009038u, 0x20009042u, 0x20009043u,
                          0x20009046u, 0x20009055u, 0x20005036u}) {
    xcsRC rc = 1;
    const std::string text = Format(number, nullptr, &rc);
    EXPECT_EQ(rc, xcsRC_OK) << number << ": " << text;
    EXPECT_EQ(text.find('&'), std::string::npos) << text;
  }
}

TEST_F(MessageTest, UnknownNumberSaysSoAndKeepsTheInserts) {
  xcsINSERTS ins = {};
  ins.Numbers[0] = 5;
  ins.Strings[0] = "abc";
  xcsRC rc = 0;
  const std::string text = Format(7999, &ins, &rc);
  EXPECT_EQ(rc, xcsRC_MESSAGE_NOT_FOUND);
  EXPECT_EQ(text.rfind("ZXV7999: ", 0), 0u) << text;
  EXPECT_NE(text.find("5"), std::string::npos);
  EXPECT_NE(text.find("'abc'"), std::string::npos);
}

TEST_F(MessageTest, CutToFitAndAlwaysTerminated) {
  xcsINSERTS ins = {};
  ins.Strings[0] = "AVeryLongExitNameThatWillNotFit";
  EXPECT_EQ(Format(7216, &ins, nullptr, 20), "ZXV7216: The API ex");
  EXPECT_EQ(Format(7216, &ins, nullptr, 1), "");
  EXPECT_EQ(xcsFormatMessage(7216, &ins, nullptr, 10), xcsRC_INVALID_PARAMETER);
}

TEST_F(MessageTest, CatalogueFileOverridesTheBuiltInOne) {
  const std::string path = testing::TempDir() + "zxv_catalogue_" + std::to_string(getpid());
  {
    std::ofstream file(path);
    file << "# test catalogue\n\n7214 Replaced &3 &4 &1&2 &8 &&3\r\n"
         << "9000 " << std::string(3000, 'x') << "\n"
         << "9001 after a long line\n"
         << "90AB hex-named\n";
  }
  ::setenv("ZXV_MSG_CATALOGUE", path.c_str(), 1);
  xcsClearEnvCache();
  xcsINSERTS ins = {};
  ins.Numbers[0] = 1;
  ins.Numbers[1] = 2;
  ins.Strings[0] = "A";
  ins.Strings[1] = "B";
  EXPECT_EQ(Format(7214, &ins), "ZXV7214: Replaced A B 12  &A");
  EXPECT_EQ(Format(9001, nullptr), "ZXV9001: after a long line");
  EXPECT_EQ(Format(0x200090ABu, nullptr), "ZXV90AB: hex-named");
  xcsRC rc = 0;
  Format(7215, nullptr, &rc);  // only in the built-in catalogue
  EXPECT_EQ(rc, xcsRC_MESSAGE_NOT_FOUND);
  std::remove(path.c_str());
  // An unreadable catalogue file finds nothing.
  ::setenv("ZXV_MSG_CATALOGUE", "/nonexistent/zxv.msg", 1);
  xcsClearEnvCache();
  rc = 0;
  Format(7214, nullptr, &rc);
  EXPECT_EQ(rc, xcsRC_MESSAGE_NOT_FOUND);
}

TEST_F(MessageTest, DisplayAppendsToTheErrorLog) {
  const uint32_t before = xcsDisplayedMessageCount();
  xcsINSERTS ins = {};
  ins.Strings[0] = "LoggedExit";
  EXPECT_EQ(xcsDisplayMessageForError(7216, 0x20006171u, &ins), xcsRC_OK);
  EXPECT_EQ(xcsDisplayedMessageCount(), before + 1);
  char last[256];
  xcsLastDisplayedMessage(last, sizeof last);
  EXPECT_EQ(std::string(last).rfind("ZXV7216: The API exit 'LoggedExit'", 0), 0u) << last;

  std::ifstream log(std::string(xcsErrorsDirectory()) + "/ZXVERR01.LOG");
  std::string line;
  std::string found;
  while (std::getline(log, line)) {
    if (line.find("'LoggedExit'") != std::string::npos) found = line;
  }
  EXPECT_NE(found.find(" " + std::to_string(getpid()) + "."), std::string::npos) << found;
  EXPECT_NE(found.find(std::string(last) + " [rc=0x20006171]"), std::string::npos) << found;

  EXPECT_EQ(xcsDisplayMessageForError(7999, 0, nullptr), xcsRC_MESSAGE_NOT_FOUND);
  EXPECT_EQ(xcsDisplayedMessageCount(), before + 2);
}

}  // namespace
