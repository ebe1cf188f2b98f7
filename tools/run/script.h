#pragma once

// The steps a person and the client take while an app runs under tnwebui-run (--do STEP, or
// --script FILE with one step a line, "#" starting a comment). They run in order, each when the
// one before is done:
//
//   after first-call       wait for the app's first SDK call or tnpc call
//   after call NAME        wait for the app's next call of NAME ("ui.closeWindow", "closewnd")
//   wait SECONDS           let the app run so long
//   press back             the bar's back button (a framed window's: --framed)
//   close                  the bar's close button: the window is asked to close, as by the user
//   click SELECTOR         a mouse click at the middle of the page's element (CSS selector),
//                          once it is shown and enabled
//   cancel chooser         the next chooser (file dialog, contact chooser) is cancelled
//   pick FILE...           the next file dialog picks these files (beside the script file)
//   answer JSON            the client's next answer to the app's host call is this JSON text
//   screenshot FILE        the whole window, bar and page, as PNG
//
// Parsing is the only thing done here; run_main.cpp carries the steps out.

#include <string>
#include <vector>

namespace run {

struct Step {
  enum Kind { kFirstCall, kCall, kWait, kBack, kClose, kClick, kCancel, kPick, kAnswer, kShot };
  Kind kind;
  std::string text;                // the step as written, for the run's lines
  std::string argument;            // NAME, SELECTOR, JSON or FILE
  std::vector<std::string> files;  // pick
  double seconds = 0;              // wait
};

// Reads one step; false with `error` saying what is wrong with it. `folder` is where relative
// files are taken from.
bool ParseStep(const std::string& text, const std::string& folder, Step* step, std::string* error);
// Reads a script file's steps; false with `error` naming the file and the line.
bool ReadScript(const std::string& path, std::vector<Step>* steps, std::string* error);

}  // namespace run
