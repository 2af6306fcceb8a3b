// Configuration files: browse order and codes, instructions, deletes, and
// key comparison.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "zxvxcs2/xcs_ini.h"
#include "zxvxcs2/xcs_memory.h"

namespace {

constexpr const char* kSample =
    "# machine-wide configuration\n"
    "AllQueueManagers:\n"
    "   DefaultPrefix=/var/kws\n"
    "\n"
    "QueueManager:\n"
    "   Name = QM1 \n"
    "   ; a comment line\n"
    "   Prefix=/var/kws\n"
    "   Directory=QM1\n"
    "DefaultQueueManager:\r\n"
    "   Name=QM1\r\n"
    "queuemanager :\n"
    "   Name=QM2\n"
    "   NoEqualsHere\n"
    "   Empty=\n"
    "   =orphan\n";

struct Seen {
  std::string stanza;
  uint32_t index;
  std::string key;
  std::string value;
  int32_t code;
  bool operator==(const Seen&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Seen& s) {
  return os << "{" << s.stanza << "#" << s.index << " " << s.key << "=" << s.value << " code "
            << s.code << "}";
}

class IniBrowseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = testing::TempDir() + "zxv_ini_" + std::to_string(getpid()) + ".ini";
    Write(kSample);
    outstanding_ = xcsOutstandingBlocks();
  }
  void TearDown() override {
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(xcsOutstandingBlocks(), outstanding_);
    std::remove(path_.c_str());
  }
  void Write(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }
  std::string Read() const {
    std::ifstream file(path_, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
  }
  // Browses, recording each callback and answering through `answer`.
  int32_t Browse(const char* stanza, std::function<int32_t(const Seen&)> answer = nullptr) {
    seen_.clear();
    answer_ = std::move(answer);
    return xcsBrowseIniFile(path_.c_str(), stanza, &IniBrowseTest::Callback, this);
  }
  static int32_t Callback(void* context, const char* stanza, uint32_t index, const char* key,
                          const char* value, int32_t code) {
    auto* self = static_cast<IniBrowseTest*>(context);
    Seen s{stanza != nullptr ? stanza : "(null)", index, key != nullptr ? key : "(null)",
           value != nullptr ? value : "(null)", code};
    self->seen_.push_back(s);
    if (self->answer_) return self->answer_(s);
    return code == xusEENDOFFILE ? xusIFINISHBROWSE : xusICONTINUEBROWSE;
  }
  std::string path_;
  std::vector<Seen> seen_;
  std::function<int32_t(const Seen&)> answer_;
  int64_t outstanding_ = 0;
};

TEST_F(IniBrowseTest, AllStanzasInFileOrder) {
  EXPECT_EQ(Browse(nullptr), xusSUCCESS);
  const std::vector<Seen> expected = {
      {"AllQueueManagers", 0, "DefaultPrefix", "/var/kws", xusSUCCESS},
      {"QueueManager", 1, "Name", "QM1", xusSUCCESS},
      {"QueueManager", 1, "Prefix", "/var/kws", xusSUCCESS},
      {"QueueManager", 1, "Directory", "QM1", xusSUCCESS},
      {"DefaultQueueManager", 2, "Name", "QM1", xusSUCCESS},
      {"queuemanager", 3, "Name", "QM2", xusSUCCESS},
      {"queuemanager", 3, "NoEqualsHere", "", xusENOATTRIBUTE},
      {"queuemanager", 3, "Empty", "", xusENOVALUE},
      {"queuemanager", 3, "", "", xusENOATTRIBUTE},
      {"(null)", 4, "(null)", "(null)", xusEENDOFFILE},
  };
  EXPECT_EQ(seen_, expected);
}

TEST_F(IniBrowseTest, StanzaNameMatchesLikeKeys) {
  EXPECT_EQ(Browse(" QUEUEMANAGER "), xusSUCCESS);
  ASSERT_EQ(seen_.size(), 8u);
  EXPECT_EQ(seen_[0], (Seen{"QueueManager", 0, "Name", "QM1", xusSUCCESS}));
  EXPECT_EQ(seen_[3], (Seen{"queuemanager", 1, "Name", "QM2", xusSUCCESS}));
  EXPECT_EQ(seen_.back().code, xusEENDOFFILE);
  EXPECT_EQ(Browse("NoSuchStanza"), xusSUCCESS);
  ASSERT_EQ(seen_.size(), 1u);
  EXPECT_EQ(seen_[0].code, xusEENDOFFILE);
}

TEST_F(IniBrowseTest, FinishCancelAndAnswersThatAreNoInstruction) {
  EXPECT_EQ(Browse(nullptr, [](const Seen&) { return xusIFINISHBROWSE; }), xusSUCCESS);
  EXPECT_EQ(seen_.size(), 1u);  // no end-of-file call after finishing
  EXPECT_EQ(Browse(nullptr, [](const Seen&) { return xusICANCELBROWSE; }), xusECANCEL);
  EXPECT_EQ(seen_.size(), 1u);
  EXPECT_EQ(Browse("NoSuchStanza", [](const Seen&) { return xusICANCELBROWSE; }), xusECANCEL);
  // An answer that is not an instruction fails the browse.
  EXPECT_EQ(Browse(nullptr, [](const Seen&) { return xusSUCCESS; }), xusEBROWSEFAILED);
  EXPECT_EQ(Browse("NoSuchStanza", [](const Seen&) { return 999; }), xusEBROWSEFAILED);
}

TEST_F(IniBrowseTest, DeleteAndContinueRewritesWithoutThoseLines) {
  const auto answer = [](const Seen& s) {
    if (s.code == xusEENDOFFILE) return xusIFINISHBROWSE;
    return s.key == "Name" ? xusIDELETE_AND_CONTINUE : xusICONTINUEBROWSE;
  };
  ASSERT_EQ(::chmod(path_.c_str(), 0640), 0);
  EXPECT_EQ(Browse("QueueManager", answer), xusSUCCESS);
  EXPECT_EQ(seen_.size(), 8u);  // deleting does not stop the browse
  std::string expected = kSample;
  for (const char* gone : {"   Name = QM1 \n", "   Name=QM2\n"}) {
    expected.erase(expected.find(gone), std::string(gone).size());
  }
  EXPECT_EQ(Read(), expected);
  struct stat st;
  ASSERT_EQ(::stat(path_.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
}

TEST_F(IniBrowseTest, DeleteAndFinishCancelAfterDeleteAndADeletedLastLine) {
  // Delete and finish stops after the delete.
  EXPECT_EQ(Browse("DefaultQueueManager", [](const Seen&) { return xusIDELETE_AND_FINISH; }),
            xusSUCCESS);
  EXPECT_EQ(seen_.size(), 1u);
  std::string expected = kSample;
  expected.erase(expected.find("   Name=QM1\r\n"), 13);
  EXPECT_EQ(Read(), expected);

  // A cancel after a delete leaves the file alone.
  Write(kSample);
  int calls = 0;
  EXPECT_EQ(Browse(nullptr,
                   [&calls](const Seen&) {
                     return ++calls == 1 ? xusIDELETE_AND_CONTINUE : xusICANCELBROWSE;
                   }),
            xusECANCEL);
  EXPECT_EQ(Read(), kSample);

  // A last line without a newline can go.
  Write("S:\n  A=1\n  B=2");
  EXPECT_EQ(Browse("S",
                   [](const Seen& s) {
                     return s.key == "B" ? xusIDELETE_AND_CONTINUE : xusICONTINUEBROWSE;
                   }),
            xusSUCCESS);
  EXPECT_EQ(Read(), "S:\n  A=1\n");
}

TEST_F(IniBrowseTest, KeysBeforeAnyStanzaAndUnindentedKeys) {
  Write("Stray=1\nS:\nUnindented=2\n  Indented = 3\n");
  EXPECT_EQ(Browse(nullptr), xusSUCCESS);
  const std::vector<Seen> expected = {
      {"S", 0, "Unindented", "2", xusSUCCESS},
      {"S", 0, "Indented", "3", xusSUCCESS},
      {"(null)", 1, "(null)", "(null)", xusEENDOFFILE},
  };
  EXPECT_EQ(seen_, expected);
}

TEST_F(IniBrowseTest, FileProblems) {
  EXPECT_EQ(xcsBrowseIniFile("/nonexistent/kws.ini", nullptr, &IniBrowseTest::Callback, this),
            xusEFILEERROR);
  EXPECT_EQ(xcsBrowseIniFile(testing::TempDir().c_str(), nullptr, &IniBrowseTest::Callback, this),
            xusEFILEERROR);  // a directory
  EXPECT_EQ(xcsBrowseIniFile(nullptr, nullptr, &IniBrowseTest::Callback, this), xusEBROWSEFAILED);
  EXPECT_EQ(xcsBrowseIniFile(path_.c_str(), nullptr, nullptr, nullptr), xusEBROWSEFAILED);
  Write("");
  EXPECT_EQ(Browse(nullptr), xusSUCCESS);
  EXPECT_EQ(seen_.size(), 1u);
}

TEST_F(IniBrowseTest, RewriteFailureIsAFileError) {
  // A directory squatting on the name of the rewrite's temporary file makes
  // the rewrite fail, whatever the privileges.
  const std::string squatter = path_ + "." + std::to_string(getpid()) + ".tmp";
  ASSERT_EQ(::mkdir(squatter.c_str(), 0755), 0);
  EXPECT_EQ(Browse(nullptr,
                   [](const Seen& s) {
                     return s.code == xusEENDOFFILE ? xusIFINISHBROWSE : xusIDELETE_AND_CONTINUE;
                   }),
            xusEFILEERROR);
  EXPECT_EQ(Read(), kSample);
  ::rmdir(squatter.c_str());
}

TEST_F(IniBrowseTest, StorageFailuresFailTheBrowse) {
  const auto delete_all = [](const Seen& s) {
    return s.code == xusEENDOFFILE ? xusIFINISHBROWSE : xusIDELETE_AND_CONTINUE;
  };
  // File text, scratch, stanza name, then the list of deleted lines.
  for (uint32_t nth : {1u, 2u, 3u, 4u}) {
    xcsInjectAllocFailure(nth, xcsRC_STORAGE_NOT_AVAILABLE, 0);
    EXPECT_EQ(Browse(nullptr, delete_all), xusEBROWSEFAILED) << nth;
    xcsInjectAllocFailure(0, 0, 0);
    EXPECT_EQ(Read(), kSample) << nth;
  }
}

TEST(CompareKeyStringsTest, CaseAndOuterBlanksIgnored) {
  struct {
    const char* a;
    const char* b;
    int sign;
  } cases[] = {
      {"Name", "name", 0},        {"  Name\t", "NAME", 0}, {"Na me", "Name", -1},
      {"Prefix", "Prefixes", -1}, {"b", "A", 1},           {"", "   ", 0},
      {nullptr, "", 0},           {"a", nullptr, 1},
  };
  for (const auto& c : cases) {
    const int got = xcsCompareKeyStrings(c.a, c.b);
    EXPECT_EQ((got > 0) - (got < 0), c.sign)
        << (c.a ? c.a : "null") << " vs " << (c.b ? c.b : "null");
  }
}

}  // namespace
