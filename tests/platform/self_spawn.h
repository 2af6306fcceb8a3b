// Runs one test of this binary in a fresh process, for behaviour fixed at
// load time (environment read once, directories chosen once).
//
//   if (IsSpawnedChild()) { ...checks...; return; }
//   EXPECT_EQ(RunThisTestInChild({{"ZXV_TRACE", "2"}}), 0);
#pragma once

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

extern char** environ;

namespace zxv_test {

inline constexpr const char* kChildMarker = "ZXV_PLATFORM_TEST_CHILD";

inline bool IsSpawnedChild() { return std::getenv(kChildMarker) != nullptr; }

// Runs the current test in a child with `overrides` added to (or, with an
// empty value meaning "unset", removed from) the environment. Returns the
// child's exit status, 128 + the signal number when a signal ended it, or
// -1 when it could not run.
inline int RunThisTestInChild(const std::map<std::string, std::string>& overrides) {
  const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string filter =
      std::string("--gtest_filter=") + info->test_suite_name() + "." + info->name();
  std::vector<std::string> env;
  for (char** e = environ; *e != nullptr; ++e) {
    const std::string entry = *e;
    const std::string name = entry.substr(0, entry.find('='));
    if (overrides.count(name) == 0 && name != kChildMarker) env.push_back(entry);
  }
  for (const auto& [name, value] : overrides) {
    if (!value.empty()) env.push_back(name + "=" + value);
  }
  env.push_back(std::string(kChildMarker) + "=1");
  std::vector<char*> envp;
  for (std::string& e : env) envp.push_back(e.data());
  envp.push_back(nullptr);
  std::string self = "/proc/self/exe";
  std::vector<char*> argv = {self.data(), filter.data(), nullptr};
  pid_t pid = 0;
  if (posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv.data(), envp.data()) != 0) {
    return -1;
  }
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace zxv_test
