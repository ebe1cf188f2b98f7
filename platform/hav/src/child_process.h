#pragma once

// Programs that the engine starts: each in a process group of its own, ended with this process.

#include <sys/types.h>

#include <string>
#include <vector>

namespace xhav {

// Starts `args` (the program's path first). `fds` become descriptors 3, 4, ... of the child;
// `quiet` sends its output to /dev/null; `env` ("NAME=value") is set in the child's environment
// over this process's. -1, with `error` set, when it cannot start.
pid_t SpawnChild(const std::vector<std::string>& args, const std::vector<int>& fds, bool quiet,
                 std::string* error, const std::vector<std::string>& env = {});

// Ends the child's group and reaps the child: it has `graceMs` to leave by itself, then is
// asked (SIGTERM) and at last made (SIGKILL) to, with whatever is left of its group.
void EndChild(pid_t pid, int graceMs);

}  // namespace xhav
