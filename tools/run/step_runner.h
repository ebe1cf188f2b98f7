#pragma once

// Carries out a script's steps (script.h) in a running app's window, one at a time, from the
// run's loop on the engine's user-interface thread.

#include <string>
#include <vector>

#include "app_host.h"
#include "hav/cdp_engine.h"
#include "script.h"
#include "watch.h"

namespace run {

class StepRunner {
 public:
  StepRunner(std::vector<Step> steps, xhav::cdp::PageBrowser* page, AppHost& client, Watch& watch)
      : steps_(std::move(steps)), page_(page), client_(client), watch_(watch) {}

  // Takes the steps that can be taken now (`now`: seconds since the run began); true when there
  // are none left.
  bool Advance(double now);
  bool empty() const { return steps_.empty(); }
  // When the last step was done (seconds since the run began), or -1.
  double finishedAt() const { return finishedAt_; }

 private:
  // Starts the next step: what it waits from.
  void Begin(double now);
  // Whether the step is done (a step that acts, acts here).
  bool Take(const Step& step, double now);
  bool Click(const std::string& selector);

  std::vector<Step> steps_;
  xhav::cdp::PageBrowser* page_;
  AppHost& client_;
  Watch& watch_;
  std::size_t next_ = 0;
  bool begun_ = false;
  double since_ = 0;     // when the step began
  int calls_ = 0;        // the calls of its name when it began
  std::string address_;  // the window's address, and since when it is so (press back)
  double settled_ = 0;
  double finishedAt_ = -1;
};

}  // namespace run
