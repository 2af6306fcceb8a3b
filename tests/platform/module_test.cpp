// Module loading: by path, by exit search, and every failure.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "zxvxcs2/xcs_env.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_module.h"

#ifndef ZXV_TEST_MODULE_PATH
#error "the build passes the path of the test module"
#endif

namespace {

namespace fs = std::filesystem;

using EntryFn = int (*)(int);

class ModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    module_path_ = ZXV_TEST_MODULE_PATH;
    module_dir_ = fs::path(module_path_).parent_path().string();
    module_stem_ = fs::path(module_path_).stem().string();  // without ".so"
    scratch_ = fs::path(testing::TempDir()) / ("zxv_module_test_" + std::to_string(getpid()));
    fs::create_directories(scratch_);
  }
  void TearDown() override {
    ::unsetenv("ZXV_EXIT_PATH");
    xcsClearEnvCache();
    std::error_code ignored;
    fs::remove_all(scratch_, ignored);
  }
  void SetExitPath(const std::string& value) {
    ::setenv("ZXV_EXIT_PATH", value.c_str(), 1);
    xcsClearEnvCache();
  }
  // Checks that `handle` is the test module and frees it.
  static void ExpectTestModule(void* handle) {
    ASSERT_NE(handle, nullptr);
    void* entry = nullptr;
    ASSERT_EQ(xcsQueryProcAddr(handle, "ZxvTestEntry", &entry), xcsRC_OK);
    EXPECT_EQ(reinterpret_cast<EntryFn>(entry)(41), 42);
    EXPECT_EQ(xcsFreeLibrary(handle), xcsRC_OK);
  }
  std::string module_path_;
  std::string module_dir_;
  std::string module_stem_;
  fs::path scratch_;
};

TEST_F(ModuleTest, LoadsByPathAndFindsOnlyExistingEntryPoints) {
  void* handle = nullptr;
  ASSERT_EQ(xcsLoadFunction(module_path_.c_str(), 0, &handle), xcsRC_OK);
  void* entry = reinterpret_cast<void*>(1);
  EXPECT_EQ(xcsQueryProcAddr(handle, "NoSuchEntry", &entry), xcsRC_ENTRY_POINT_NOT_FOUND);
  EXPECT_EQ(entry, nullptr);
  EXPECT_EQ(xcsQueryProcAddr(handle, nullptr, &entry), xcsRC_ENTRY_POINT_NOT_FOUND);
  EXPECT_EQ(xcsQueryProcAddr(nullptr, "ZxvTestEntry", &entry), xcsRC_ENTRY_POINT_NOT_FOUND);
  EXPECT_EQ(xcsQueryProcAddr(handle, "ZxvTestEntry", nullptr), xcsRC_INVALID_PARAMETER);
  ExpectTestModule(handle);
}

TEST_F(ModuleTest, MissingModuleOrNotAModuleKeepsTheLoaderMessage) {
  void* handle = reinterpret_cast<void*>(1);
  const std::string missing = (scratch_ / "nothing_here.so").string();
  EXPECT_EQ(xcsLoadFunction(missing.c_str(), 0, &handle), xcsRC_MODULE_NOT_FOUND);
  EXPECT_EQ(handle, nullptr);
  EXPECT_NE(std::string(xcsLastLoadError()).find("nothing_here.so"), std::string::npos)
      << xcsLastLoadError();
  const fs::path text = scratch_ / "not_a_module.so";
  std::ofstream(text) << "plain text\n";
  EXPECT_EQ(xcsLoadFunction(text.c_str(), 0, &handle), xcsRC_MODULE_NOT_FOUND);
  EXPECT_NE(std::string(xcsLastLoadError()).find("not_a_module.so"), std::string::npos)
      << xcsLastLoadError();
  EXPECT_EQ(xcsLoadFunction("zxv_no_such_module_anywhere", 0, &handle), xcsRC_MODULE_NOT_FOUND);
  EXPECT_EQ(xcsLoadFunction(nullptr, 0, &handle), xcsRC_MODULE_NOT_FOUND);
  EXPECT_EQ(xcsLoadFunction("", XCS_LOAD_EXIT_SEARCH, &handle), xcsRC_MODULE_NOT_FOUND);
  EXPECT_EQ(xcsLoadFunction(module_path_.c_str(), 0, nullptr), xcsRC_INVALID_PARAMETER);
  EXPECT_EQ(xcsFreeLibrary(nullptr), xcsRC_INVALID_PARAMETER);
  // The message is the calling thread's.
  std::string other;
  std::thread([&] { other = xcsLastLoadError(); }).join();
  EXPECT_EQ(other, "");
  EXPECT_STRNE(xcsLastLoadError(), "");
}

TEST_F(ModuleTest, ExitSearchWalksTheExitPathWithAndWithoutSuffix) {
  SetExitPath(scratch_.string() + "::" + module_dir_);
  void* handle = nullptr;
  ASSERT_EQ(xcsLoadFunction(module_stem_.c_str(), XCS_LOAD_EXIT_SEARCH, &handle), xcsRC_OK)
      << xcsLastLoadError();
  ExpectTestModule(handle);
  const std::string full_name = module_stem_ + ".so";
  ASSERT_EQ(xcsLoadFunction(full_name.c_str(), XCS_LOAD_EXIT_SEARCH, &handle), xcsRC_OK);
  ExpectTestModule(handle);
}

TEST_F(ModuleTest, ExitSearchStopsAtABrokenNamesake) {
  std::ofstream(scratch_ / (module_stem_ + ".so")) << "not elf\n";
  SetExitPath(scratch_.string() + ":" + module_dir_);
  void* handle = nullptr;
  EXPECT_EQ(xcsLoadFunction(module_stem_.c_str(), XCS_LOAD_EXIT_SEARCH, &handle),
            xcsRC_MODULE_NOT_FOUND);
  EXPECT_NE(std::string(xcsLastLoadError()).find(scratch_.string()), std::string::npos)
      << xcsLastLoadError();
  // Without an exit path only the data directory's exits are searched, and
  // the message says where.
  ::unsetenv("ZXV_EXIT_PATH");
  xcsClearEnvCache();
  EXPECT_EQ(xcsLoadFunction("zxv_absent_exit", XCS_LOAD_EXIT_SEARCH, &handle),
            xcsRC_MODULE_NOT_FOUND);
  const std::string error = xcsLastLoadError();
  EXPECT_NE(error.find("zxv_absent_exit"), std::string::npos) << error;
  EXPECT_NE(error.find("/exits"), std::string::npos) << error;
}

TEST_F(ModuleTest, ExitSearchFallsBackToTheDataExitsDirectory) {
  const fs::path exits = fs::path(xcsDataDirectory()) / "exits";
  fs::create_directories(exits);
  const std::string name = "zxv_copied_exit_" + std::to_string(getpid());
  fs::copy_file(module_path_, exits / (name + ".so"), fs::copy_options::overwrite_existing);
  SetExitPath(scratch_.string());
  void* handle = nullptr;
  EXPECT_EQ(xcsLoadFunction(name.c_str(), XCS_LOAD_EXIT_SEARCH, &handle), xcsRC_OK)
      << xcsLastLoadError();
  ExpectTestModule(handle);
  fs::remove(exits / (name + ".so"));
}

}  // namespace
