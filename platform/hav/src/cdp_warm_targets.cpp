// A window's page target: made after CreateBrowser has returned (the view hears
// OnBrowserCreated once it is there), or taken from the targets the engine keeps ready. A
// kept target has never shown a page: it was made in the cookie space's browser context,
// attached, its session set up and left on the about:blank that every target starts on, so
// nothing of one window (its cookies, storage, history, document or key) reaches another.

#include "cdp_engine_internal.h"
#include "cdp_render_side.h"
#include "hav/cdp_engine.h"
#include "hav/json_text.h"
#include "host_browser.h"
#include "window_news.h"

namespace xhav::cdp {

bool Engine::CreateBrowser(const char* url, BrowserParam* param, BrowserNotify* notify,
                           Browser** out) {
  if (out) *out = nullptr;
  if (!ok() || !Reconnect()) return false;
  const inproc::BrowserParamRecord record = inproc::ReadBrowserParam(param);
  // Each cookie space is a browser context: two accounts never share cookies.
  const std::string context = ContextFor(record.cookieSpace);
  PageBrowser* browser;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    browser = new PageBrowser(this, nextId_++, notify, record);
    browser->context_ = context;
    browsers_.push_back(browser);
  }
  const int id = browser->id_;
  browser->hostBrowser_ =
      new inproc::HostBrowser(id, [this, browser, id](CefRefPtr<CefProcessMessage> m) {
        if (!browser->alive()) return false;
        trace_("send", PID_RENDERER, id, m);
        // The sender may change its message once this returns: the render side gets a copy.
        ui_.PostTask([this, browser, m = m->Copy()] {
          if (browser->alive()) renderSide_->Deliver(browser->id_, m);
        });
        return true;
      });
  static_cast<inproc::HostBrowser*>(browser->hostBrowser_.get())
      ->SetHostWindow(browser->hostWindow_);
  if (out) *out = browser;

  // The view learns of its window first; what it asks of the page until the target is there
  // (its initial cookies, set on this thread right after this call) waits and goes first.
  const std::string address = url ? url : "";
  auto bind = [this, browser, address](Target made) { Bind(browser, made, address); };
  Target warm;
  switch (TakeWarm(context, &warm, bind)) {
    case Taken::kKept:
      Step(id, "a kept target taken");
      ui_.PostTask([bind, warm] { bind(warm); });
      break;
    case Taken::kBeingMade:
      Step(id, "the target being made claimed");
      break;
    case Taken::kNone:
      Step(id, "a target asked for");
      MakeTarget(context, bind);
      break;
  }
  return true;
}

void Engine::MakeTarget(const std::string& context, std::function<void(Target)> done) {
  struct Making {
    Target target;
    std::function<void(Target)> done;
    std::size_t answersDue = 0;
    bool failed = false;
  };
  auto making = std::make_shared<Making>();
  making->target.context = context;
  making->done = std::move(done);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    making->target.setup = setup_;
  }
  // Each answer comes on the UI thread; a failed step ends the making, and a made target is
  // closed again.
  auto fail = [this, making] {
    if (!making->target.target.empty()) CloseTarget(making->target.target);
    making->done(Target{});
  };
  Json::Value create;
  create["url"] = "about:blank";
  if (!context.empty()) create["browserContextId"] = context;
  const int sent = connection().Send(
      "Target.createTarget", create, "",
      [this, making, fail](const Json::Value& created, const Json::Value&) {
        if (!ok() || !created["targetId"].isString()) return fail();
        making->target.target = created["targetId"].asString();
        Json::Value attach;
        attach["targetId"] = created["targetId"];
        attach["flatten"] = true;
        connection().Send("Target.attachToTarget", attach, "",
                          [this, making, fail](const Json::Value& attached, const Json::Value&) {
                            if (!ok() || !attached["sessionId"].isString()) return fail();
                            making->target.session = attached["sessionId"].asString();
                            // Every step is in force before the session's first document: all are
                            // sent at once, in order; the target is ready with the last answer.
                            auto steps = SessionSetUp();
                            making->answersDue = steps.size();
                            for (auto& [method, params] : steps) {
                              connection().Send(
                                  method, params, making->target.session,
                                  [making, fail](const Json::Value&, const Json::Value& error) {
                                    if (!error.isNull()) making->failed = true;
                                    if (--making->answersDue != 0) return;
                                    if (making->failed) return fail();
                                    making->done(making->target);
                                  });
                            }
                          });
      });
  if (sent == 0) ui_.PostTask([making] { making->done(Target{}); });
}

void Engine::Bind(PageBrowser* browser, Target target, const std::string& url) {
  const int id = browser->id_;
  if (target.session.empty()) {
    // A window whose requests would not be served shows nothing: it closes.
    EngineLog(kTnLogError, "Engine::CreateBrowser",
              "browser " + std::to_string(id) + ": its page could not be set up, it is closed");
    browser->FinishClose();
    return;
  }
  if (!browser->alive_ || !ok()) {
    CloseTarget(target.target);
    return;
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    browser->target_ = target.target;
    browser->session_ = target.session;
    bySession_[target.session] = browser;
  }
  Step(id, "the target is the page's");
  bool stale;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stale = target.setup != setup_;
  }
  // A set-up that changed while the target was made (a host whose requests are served here
  // from now on, a tracer): the steps that changed are sent again, before the navigation.
  if (stale) {
    for (auto& [method, params] : SessionSetUp()) {
      if (method == "Fetch.enable" || method == "Log.enable" ||
          method == "Page.setLifecycleEventsEnabled")
        connection().Send(method, params, target.session, nullptr);
    }
  }
  browser->bound_ = true;
  // Chromium's window takes the window's place and size: the page's outer size is the window's.
  browser->MatchChromiumWindow();
  std::vector<std::function<void()>> waiting;
  waiting.swap(browser->whenBound_);
  for (auto& work : waiting) work();
  if (!browser->alive_) return;
  if (browser->notify_) {
    browser->notify_->OnBrowserCreated();
    if (browser->alive_) browser->news_->Created(browser->notify_, browser->hwnd_);
  }
  if (!url.empty() && browser->alive_ && !browser->closing_) {
    browser->LoadUrl(url.c_str());
    Step(id, "the navigation sent");
  }
}

Engine::Taken Engine::TakeWarm(const std::string& context, Target* out,
                               std::function<void(Target)> bind) {
  std::vector<std::string> stale;
  bool taken = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    // A target being made for this space goes to the window that asks first.
    if (warmMaking_ > 0 && makingContext_ == context && !claim_) {
      claim_ = std::move(bind);
      return Taken::kBeingMade;
    }
    for (auto it = warm_.begin(); it != warm_.end();) {
      if (it->setup != setup_) {
        stale.push_back(it->target);
        it = warm_.erase(it);
      } else if (!taken && it->context == context) {
        *out = *it;
        taken = true;
        it = warm_.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (const std::string& target : stale) CloseTarget(target);
  return taken ? Taken::kKept : Taken::kNone;
}

void Engine::Refill(const std::string& context) {
  std::string replaced;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (warmLimit_ <= 0 || warmMaking_ > 0 || !ok() || lost_) return;
    // One target a cookie space: the windows shown last say whose windows come next, and a
    // target of the space shown longest ago makes room for this one.
    for (const Target& t : warm_) {
      if (t.context == context && t.setup == setup_) return;
    }
    if (warm_.size() >= static_cast<std::size_t>(warmLimit_)) {
      for (auto it = warm_.begin(); it != warm_.end(); ++it) {
        if (it->context == context && it->setup == setup_) continue;
        replaced = it->target;
        warm_.erase(it);
        break;
      }
      if (replaced.empty()) return;
    }
    ++warmMaking_;
    makingContext_ = context;
  }
  if (!replaced.empty()) CloseTarget(replaced);
  MakeTarget(context, [this, context](Target made) {
    bool keep = false, stale = false;
    std::function<void(Target)> claim;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      --warmMaking_;
      claim.swap(claim_);
      stale = made.setup != setup_;
    }
    if (claim) {
      // A window asked for it while it was made: it is that window's (or, when it could not
      // be made or its set-up is old, a new one is made for it).
      if (!made.session.empty() && !stale) {
        claim(made);
      } else {
        CloseTarget(made.target);
        MakeTarget(context, claim);
      }
      return;
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      keep = !made.session.empty() && !stale && warm_.size() < static_cast<std::size_t>(warmLimit_);
      if (keep) warm_.push_back(made);
    }
    if (!keep && !made.target.empty()) CloseTarget(made.target);
    // One made with a set-up that has since changed is made again.
    if (stale && !made.session.empty()) Refill(context);
  });
}

void Engine::CloseTarget(const std::string& target) {
  if (target.empty() || !ok()) return;
  Json::Value close;
  close["targetId"] = target;
  connection().Send("Target.closeTarget", close, "", nullptr);
}

void Engine::SetUpChanged() {
  std::deque<Target> kept;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ++setup_;
    kept.swap(warm_);
  }
  for (const Target& t : kept) CloseTarget(t.target);
  // Targets with the new set-up take their place.
  if (!kept.empty()) Refill(kept.front().context);
}

void Engine::SetWarmTargets(int count) {
  std::deque<Target> over;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    warmLimit_ = std::max(0, count);
    while (warm_.size() > static_cast<std::size_t>(warmLimit_)) {
      over.push_back(warm_.front());
      warm_.pop_front();
    }
  }
  for (const Target& t : over) CloseTarget(t.target);
}

int Engine::warm_targets() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(warm_.size());
}

void Engine::KeepWarm(const std::string& cookieSpace) {
  if (ok()) Refill(ContextFor(cookieSpace));
}

void Engine::SetStepTracer(StepTracer tracer) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stepTracer_ = std::move(tracer);
    stepTracing_ = static_cast<bool>(stepTracer_);
  }
  SetUpChanged();  // a session tells its paints only for a tracer
}

void Engine::Step(int browser, const char* step) {
  if (!stepTracing_) return;
  StepTracer tracer;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tracer = stepTracer_;
  }
  if (tracer) tracer(browser, step);
}

bool PageBrowser::Waits(std::function<void()> work) {
  if (bound_) return false;
  whenBound_.push_back(std::move(work));
  return true;
}

}  // namespace xhav::cdp
