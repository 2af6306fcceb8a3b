// Runs the built zxvu binary (ZXVU_PATH) as a child process and collects its
// standard output, standard error and exit status; temporary input files
// that go away with the test.
#pragma once

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"

extern char** environ;

namespace zxv::test {

struct ZxvuRun {
  std::string out;
  std::string err;
  int status = -1;  // exit status, or -1 when the child did not exit normally

  // The last non-empty line of stderr.
  std::string last_err_line() const {
    std::string line;
    std::istringstream in(err);
    for (std::string l; std::getline(in, l);) {
      if (!l.empty()) line = l;
    }
    return line;
  }
  // Whether stderr's last line starts with `prefix` ("reason 2119").
  bool err_starts(const std::string& prefix) const { return last_err_line().rfind(prefix, 0) == 0; }
};

inline std::string SlurpFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Runs zxvu with `args`, stdout and stderr going through temporary files.
inline ZxvuRun RunZxvu(std::vector<std::string> args) {
  char out_path[] = "/tmp/zxvu_test_out_XXXXXX";
  char err_path[] = "/tmp/zxvu_test_err_XXXXXX";
  const int out_fd = mkstemp(out_path);
  const int err_fd = mkstemp(err_path);
  ZxvuRun r;
  if (out_fd < 0 || err_fd < 0) {
    ADD_FAILURE() << "mkstemp failed";
    return r;
  }
  args.insert(args.begin(), ZXVU_PATH);
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out_fd, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err_fd, STDERR_FILENO);
  pid_t pid = 0;
  const int rc = posix_spawn(&pid, ZXVU_PATH, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(out_fd);
  close(err_fd);
  if (rc == 0) {
    int wstatus = 0;
    if (waitpid(pid, &wstatus, 0) == pid && WIFEXITED(wstatus)) r.status = WEXITSTATUS(wstatus);
  } else {
    ADD_FAILURE() << "posix_spawn failed: " << rc;
  }
  r.out = SlurpFile(out_path);
  r.err = SlurpFile(err_path);
  unlink(out_path);
  unlink(err_path);
  return r;
}

// A fixture whose File() writes bytes to a temporary file removed at the end
// of the test.
class ZxvuFileTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (const std::string& f : files_) unlink(f.c_str());
  }
  std::string File(const std::string& bytes) {
    char path[] = "/tmp/zxvu_test_in_XXXXXX";
    const int fd = mkstemp(path);
    EXPECT_GE(fd, 0);
    if (fd >= 0) {
      EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
      close(fd);
    }
    files_.emplace_back(path);
    return path;
  }
  std::vector<std::string> files_;
};

}  // namespace zxv::test
