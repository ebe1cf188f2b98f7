#include "viewer_link.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace run {

ViewerLink::~ViewerLink() {
  if (toViewer_ >= 0) close(toViewer_);  // its input ends: it quits
  if (fromViewer_ >= 0) close(fromViewer_);
  if (pid_ > 0) {
    for (int i = 0; i < 50 && waitpid(pid_, nullptr, WNOHANG) == 0; ++i) usleep(20000);
    if (waitpid(pid_, nullptr, WNOHANG) == 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
}

bool ViewerLink::Start(const std::string& program, std::string* error) {
  int in[2], out[2];
  if (pipe2(in, O_CLOEXEC) != 0) {
    *error = std::strerror(errno);
    return false;
  }
  if (pipe2(out, O_CLOEXEC) != 0) {
    *error = std::strerror(errno);
    close(in[0]);
    close(in[1]);
    return false;
  }
  signal(SIGPIPE, SIG_IGN);  // a viewer that has gone is told by EPIPE
  pid_ = fork();
  if (pid_ == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  if (pid_ < 0) {
    *error = std::strerror(errno);
    close(in[1]);
    close(out[0]);
    return false;
  }
  toViewer_ = in[1];
  fromViewer_ = out[0];
  fcntl(fromViewer_, F_SETFL, fcntl(fromViewer_, F_GETFL) | O_NONBLOCK);
  usleep(100000);
  if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
    pid_ = -1;
    *error = "the viewer " + program + " did not start (no display it can open?)";
    return false;
  }
  return true;
}

void ViewerLink::Write(const std::string& bytes) {
  std::size_t done = 0;
  while (toViewer_ >= 0 && done < bytes.size()) {
    const ssize_t n = write(toViewer_, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      close(toViewer_);
      toViewer_ = -1;
      return;
    }
    done += static_cast<std::size_t>(n);
  }
}

void ViewerLink::SetTitle(const std::string& title) {
  std::string line = title;
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  Write("title " + line + "\n");
}

void ViewerLink::Show(const std::string& png) {
  if (png.empty() || png == shown_) return;
  shown_ = png;
  Write("frame " + std::to_string(png.size()) + "\n" + png);
}

std::vector<std::string> ViewerLink::Events() {
  char chunk[4096];
  ssize_t got;
  while (fromViewer_ >= 0 && (got = read(fromViewer_, chunk, sizeof chunk)) > 0)
    pending_.append(chunk, static_cast<std::size_t>(got));
  std::vector<std::string> events;
  for (std::size_t end; (end = pending_.find('\n')) != std::string::npos;) {
    events.push_back(pending_.substr(0, end));
    pending_.erase(0, end + 1);
  }
  return events;
}

}  // namespace run
