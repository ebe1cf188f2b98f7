#include "step_runner.h"

#include "../demo/demo.h"
#include "hav/json_text.h"
#include "win/user.h"
#include "win/window.h"

namespace run {
namespace {

constexpr double kBackWait = 5;     // seconds
constexpr double kSettle = 0.5;     // seconds the window's address keeps before a back
constexpr double kElementWait = 5;  // seconds

}  // namespace

bool StepRunner::Advance(double now) {
  while (next_ < steps_.size()) {
    if (!begun_) Begin(now);
    if (!Take(steps_[next_], now)) return false;
    ++next_;
    begun_ = false;
  }
  if (finishedAt_ < 0) finishedAt_ = now;
  return true;
}

void StepRunner::Begin(double now) {
  begun_ = true;
  since_ = now;
  address_ = page_->url();
  settled_ = now;
  calls_ = watch_.Calls(steps_[next_].kind == Step::kCall ? steps_[next_].argument : "");
  watch_.OnStep(steps_[next_].text);
}

bool StepRunner::Take(const Step& step, double now) {
  switch (step.kind) {
    case Step::kFirstCall:
      return watch_.Calls() > 0;
    case Step::kCall:
      return watch_.Calls(step.argument) > calls_;
    case Step::kWait:
      return now - since_ >= step.seconds;
    case Step::kBack:
      // A person waits for the page to settle and the button to come on: the page's last entry
      // reaches the window's history (and its address) a moment after the page made it.
      if (page_->url() != address_) {
        address_ = page_->url();
        settled_ = now;
      }
      if ((!page_->CanGoBack() || now - settled_ < kSettle) && now - since_ < kBackWait)
        return false;
      if (!page_->CanGoBack()) {
        watch_.OnMistake("step failed",
                         "press back: the window's history has nothing to go back to");
        return true;
      }
      if (!demo::PressBackButton(page_->GetWindowHandle()))
        watch_.OnMistake("step failed", "press back: the window's bar has no back button");
      return true;
    case Step::kClose:
      // The bar's close button: the window is asked to close, and its view decides.
      win::PostMessageW(page_->GetWindowHandle(), win::WM_CLOSE, 0, 0);
      return true;
    case Step::kClick:
      // A person waits for the element to be shown and enabled (5 s at most).
      if (Click(step.argument)) return true;
      if (now - since_ < kElementWait) return false;
      watch_.OnMistake("step failed",
                       "click " + step.argument + ": no such element is shown and enabled");
      return true;
    case Step::kCancel:
      client_.CancelNextChooser();
      return true;
    case Step::kPick:
      client_.PickNext(step.files);
      return true;
    case Step::kAnswer:
      client_.AnswerNext(step.argument);
      return true;
    case Step::kShot:
      if (!demo::SaveWindowPng(page_, step.argument))
        watch_.OnMistake("step failed", "screenshot: cannot write " + step.argument);
      return true;
  }
  return true;
}

bool StepRunner::Click(const std::string& selector) {
  // The element's middle, in the viewport, after it is scrolled into sight.
  const std::string find =
      "(function (s) { var e = document.querySelector(s);"
      " if (!e || e.disabled) return null; e.scrollIntoView({block: 'center'});"
      " var r = e.getBoundingClientRect();"
      " if (!r.width || !r.height) return null;"
      " return [r.left + r.width / 2, r.top + r.height / 2]; })(" +
      xhav::WriteJson(Json::Value(selector)) + ")";
  Json::Value at;
  if (!page_->Evaluate(find, &at, 3000) || !at.isArray() || at.size() != 2 || !at[0].isNumeric() ||
      !at[1].isNumeric())
    return false;
  return page_->Click(at[0].asDouble(), at[1].asDouble());
}

}  // namespace run
