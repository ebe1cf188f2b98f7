#include "child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace xhav {

namespace {

bool Reaped(pid_t pid, int waitMs) {
  int status = 0;
  for (int i = 0; i <= waitMs / 10; ++i) {
    if (waitpid(pid, &status, WNOHANG) == pid) return true;
    if (i < waitMs / 10) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

// This process's environment with `overrides` in place of their names' entries.
std::vector<std::string> MergedEnvironment(const std::vector<std::string>& overrides) {
  auto nameOf = [](const std::string& entry) { return entry.substr(0, entry.find('=')); };
  std::vector<std::string> merged;
  for (char** e = environ; e && *e; ++e) {
    const std::string entry = *e;
    bool replaced = false;
    for (const auto& o : overrides) replaced = replaced || nameOf(o) == nameOf(entry);
    if (!replaced) merged.push_back(entry);
  }
  merged.insert(merged.end(), overrides.begin(), overrides.end());
  return merged;
}

}  // namespace

pid_t SpawnChild(const std::vector<std::string>& args, const std::vector<int>& fds, bool quiet,
                 std::string* error, const std::vector<std::string>& env) {
  // Everything the child needs is made before the fork: after it only async-signal-safe calls.
  std::vector<std::string> copy = args;
  std::vector<char*> argv;
  for (auto& a : copy) argv.push_back(a.data());
  argv.push_back(nullptr);
  std::vector<std::string> environment = MergedEnvironment(env);
  std::vector<char*> envp;
  for (auto& e : environment) envp.push_back(e.data());
  envp.push_back(nullptr);
  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid < 0) {
    if (error) *error = std::string("fork: ") + std::strerror(errno);
    return -1;
  }
  if (pid == 0) {
    setpgid(0, 0);                     // a process group of its own
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // ended with its parent
    if (getppid() != parent) _exit(1);
    // The descriptors move out of the way first, since any may already sit where another
    // goes; dup2 then clears their close-on-exec flag.
    std::vector<int> moved;
    for (int fd : fds)
      moved.push_back(fcntl(fd, F_DUPFD_CLOEXEC, 10 + static_cast<int>(fds.size())));
    for (std::size_t i = 0; i < moved.size(); ++i) {
      if (moved[i] < 0 || dup2(moved[i], 3 + static_cast<int>(i)) < 0) _exit(1);
    }
    if (quiet) {
      const int null = open("/dev/null", O_RDWR);
      if (null >= 0) {
        dup2(null, 1);
        dup2(null, 2);
      }
    }
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  setpgid(pid, pid);
  return pid;
}

void EndChild(pid_t pid, int graceMs) {
  if (pid <= 0) return;
  if (!Reaped(pid, graceMs)) {
    kill(-pid, SIGTERM);
    if (!Reaped(pid, 3000)) {
      kill(-pid, SIGKILL);
      int status = 0;
      waitpid(pid, &status, 0);
    }
  }
  kill(-pid, SIGKILL);  // whatever of the group is left
}

}  // namespace xhav
