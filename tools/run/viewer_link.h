#pragma once

// tnwebui-run's end of its viewer (tnwebui_viewer, see viewer_main.cpp): a child process that
// shows the window's pictures on the display and tells the person's clicks and keys.

#include <sys/types.h>

#include <string>
#include <vector>

namespace run {

class ViewerLink {
 public:
  ViewerLink() = default;
  ~ViewerLink();
  ViewerLink(const ViewerLink&) = delete;
  ViewerLink& operator=(const ViewerLink&) = delete;

  // Starts `program`; false with `error` when it can't.
  bool Start(const std::string& program, std::string* error);
  bool running() const { return pid_ > 0; }
  void SetTitle(const std::string& title);
  // Shows a PNG picture of the window (sent only when it differs from the last).
  void Show(const std::string& png);
  // The lines the viewer wrote since the last call ("click X Y", "text HEX", "key NAME",
  // "closed").
  std::vector<std::string> Events();

 private:
  void Write(const std::string& bytes);

  pid_t pid_ = -1;
  int toViewer_ = -1, fromViewer_ = -1;
  std::string shown_, pending_;
};

}  // namespace run
