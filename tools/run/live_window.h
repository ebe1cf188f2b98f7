#pragma once

// The window of a run on the person's display (--headful).

#include <memory>
#include <string>

#include "hav/cdp_engine.h"
#include "viewer_link.h"

namespace run {

// The window on the person's display (--headful): the viewer shows the window's picture a few
// times a second, and the person's clicks and keys go to the bar's buttons or to the page.
class Display {
 public:
  // `picture`: a scratch file for the window's picture.
  Display(xhav::cdp::PageBrowser* page, std::string picture)
      : page_(page), picture_(std::move(picture)) {}

  bool Start(const std::string& viewer, const std::string& title, std::string* error);
  // Shows the window now and then, and acts on what the person did; false once the person
  // closed the viewer.
  bool Tick(double now);

 private:
  // A click on the bar goes to the button under it; below the bar, to the page.
  void Click(int x, int y);

  xhav::cdp::PageBrowser* page_;
  std::string picture_;
  ViewerLink link_;
  double nextFrame_ = 0;
  std::shared_ptr<bool> asking_ = std::make_shared<bool>(false);
};

}  // namespace run
