// A window's page target: made after CreateBrowser has returned (the view hears
// OnBrowserCreated once it is there), or taken from the targets the engine keeps ready. A
// kept target has never shown a page: it was made in the cookie space's browser context,
// attached, its session set up and left on about:blank or on an empty document of the site
// its space showed last, so nothing of one window (its cookies, storage, history, document or
// key) reaches another.

#include <algorithm>

#include "cdp_engine_internal.h"
#include "cdp_render_side.h"
#include "hav/cdp_engine.h"
#include "hav/json_text.h"
#include "host_browser.h"
#include "window_news.h"

namespace xhav::cdp {

namespace {

// How long after a window's page has loaded the next window's target is made: its first
// paint comes first.
constexpr int kRefillAfterShownMs = 200;
// How long a target's empty document may take to load before the target is given up.
constexpr int kParkingLimitMs = 5000;

}  // namespace

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
    ++opening_;
    browser = new PageBrowser(this, nextId_++, notify, record);
    browser->context_ = context;
    browsers_.push_back(browser);
  }
  const int id = browser->id_;
  browser->hostBrowser_ =
      new inproc::HostBrowser(id, [this, browser, id](CefRefPtr<CefProcessMessage> m) {
        if (!browser->alive() || !m || !m->IsValid()) return false;
        trace_("send", PID_RENDERER, id, m);
        // The arguments move to the render side; the sender's message is left spent.
        ui_.PostTask([this, browser, m = m->Transfer()] {
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
      MakeTarget(context, bind, id);
      break;
  }
  return true;
}

void Engine::MakeTarget(const std::string& context, std::function<void(Target)> done, int browser,
                        const std::string& site) {
  struct Making {
    Target target;
    std::function<void(Target)> done;
    std::size_t answersDue = 0;
    bool failed = false;
  };
  auto making = std::make_shared<Making>();
  making->target.context = context;
  making->target.site = site;
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
  auto step = [this, browser](const char* what) {
    if (!stepTracing_) return;
    Step(browser, (std::string(browser ? "the target " : "a kept target ") + what).c_str());
  };
  // The site's renderer starts with an empty document; the target is ready once it has loaded
  // (or given up on after a while: a parked target that never loads is not kept).
  auto park = [this, making, fail, step] {
    if (!ok()) return fail();
    const std::string session = making->target.session;
    parking_[session] = Parking{[this, making, step] {
      step("parked");
      // The empty document is where the target starts, as about:blank is for a new one: the
      // about:blank before it is no entry of the next page's history.
      connection().Send("Page.resetNavigationHistory", Json::Value(), making->target.session,
                        nullptr);
      making->done(making->target);
    }};
    auto failParking = [this, session, fail] {
      if (parking_.erase(session)) fail();
    };
    PostDelayed(kParkingLimitMs, failParking);
    Json::Value params;
    params["url"] = making->target.site + kParkPath;
    connection().Send("Page.navigate", params, session,
                      [failParking](const Json::Value& result, const Json::Value& error) {
                        if (!error.isNull() || result.isMember("errorText")) failParking();
                      });
  };
  // Every step of the set-up is in force before the session's first document: all are sent
  // at once, in order; the target is set up with the last answer.
  // A window's own target is its window's once attached: the set-up's steps go first, the
  // window's navigation after them, and its documents wait for the last answer.
  const bool early = browser != 0;
  auto setUp = [this, making, fail, step, park, early](const Json::Value& attached,
                                                       const Json::Value&) {
    if (!ok() || !attached["sessionId"].isString()) return fail();
    step("attached");
    making->target.session = attached["sessionId"].asString();
    auto steps = SessionSetUp();
    making->answersDue = steps.size();
    if (early) settingUp_[making->target.session];
    for (auto& [method, params] : steps) {
      connection().Send(
          method, params, making->target.session,
          [this, making, fail, step, park, early](const Json::Value&, const Json::Value& error) {
            if (!error.isNull()) making->failed = true;
            if (--making->answersDue != 0) return;
            if (early) {
              step("set up");
              return SetUpAnswered(making->target.session, making->target.target, !making->failed);
            }
            if (making->failed) return fail();
            step("set up");
            if (making->target.site.empty()) return making->done(making->target);
            park();
          });
    }
    if (early) making->done(making->target);
  };
  auto attach = [this, making, fail, step, setUp](const Json::Value& created, const Json::Value&) {
    if (!ok() || !created["targetId"].isString()) return fail();
    step("made");
    making->target.target = created["targetId"].asString();
    Json::Value params;
    params["targetId"] = created["targetId"];
    params["flatten"] = true;
    connection().Send("Target.attachToTarget", params, "", setUp);
  };
  Json::Value create;
  create["url"] = "about:blank";
  if (!context.empty()) create["browserContextId"] = context;
  if (!ok() || connection().Send("Target.createTarget", create, "", attach) == 0)
    ui_.PostTask([making] { making->done(Target{}); });
}

void Engine::SetUpAnswered(const std::string& session, const std::string& target, bool ok) {
  auto held = settingUp_.find(session);
  if (held == settingUp_.end()) return;
  std::vector<std::function<void()>> requests = std::move(held->second);
  settingUp_.erase(held);
  if (ok) {
    for (auto& request : requests) request();
    return;
  }
  CloseTarget(target);
  if (PageBrowser* browser = PageOf(session)) CloseNotSetUp(browser);
}

void Engine::CloseNotSetUp(PageBrowser* browser) {
  // A window whose requests would not be served shows nothing: it closes.
  EngineLog(
      kTnLogError, "Engine::CreateBrowser",
      "browser " + std::to_string(browser->id_) + ": its page could not be set up, it is closed");
  browser->FinishClose();
}

void Engine::Bind(PageBrowser* browser, Target target, const std::string& url) {
  const int id = browser->id_;
  if (target.session.empty()) return CloseNotSetUp(browser);
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
  // Chromium's window takes the window's place and size (the page's outer size is the
  // window's) while the page's document is asked for.
  if (browser->alive_) browser->MatchChromiumWindow();
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

void Engine::Refill(const std::string& context, const std::string& site) {
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
      // A target of a space no longer wanted goes first, else the oldest.
      auto unwanted = std::find_if(warm_.begin(), warm_.end(), [this](const Target& t) {
        return std::none_of(wanted_.begin(), wanted_.end(),
                            [&](const auto& w) { return w.first == t.context; });
      });
      if (unwanted == warm_.end()) unwanted = warm_.begin();
      replaced = unwanted->target;
      warm_.erase(unwanted);
    }
    ++warmMaking_;
    makingContext_ = context;
  }
  if (!replaced.empty()) CloseTarget(replaced);
  MakeTarget(
      context,
      [this, context](Target made) {
        bool keep = false, stale = false;
        std::function<void(Target)> claim;
        {
          std::lock_guard<std::mutex> lock(mutex_);
          if (warmMaking_ > 0) --warmMaking_;  // none when Chromium went meanwhile
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
          keep = !made.session.empty() && !stale &&
                 warm_.size() < static_cast<std::size_t>(warmLimit_);
          if (keep) warm_.push_back(made);
        }
        if (!keep && !made.target.empty()) CloseTarget(made.target);
        // The next space that wants one (or this one again, when its set-up changed meanwhile).
        if (keep || (stale && !made.session.empty())) RefillWanted();
      },
      0, site);
}

void Engine::Shown(PageBrowser* browser, bool opened) {
  // The next window of this space most likely shows a page of this site.
  const std::string& origin = browser->mainOrigin_;
  const bool web = origin.rfind("https://", 0) == 0 || origin.rfind("http://", 0) == 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (opened) --opening_;
    if (browser->bound_) Want(browser->context_, web ? origin : std::string());
  }
  PostDelayed(kRefillAfterShownMs, [this] { RefillWanted(); });
}

void Engine::Want(const std::string& context, const std::string& site) {
  for (auto it = wanted_.begin(); it != wanted_.end(); ++it) {
    if (it->first != context) continue;
    wanted_.erase(it);
    break;
  }
  wanted_.emplace_back(context, site);
  while (wanted_.size() > static_cast<std::size_t>(std::max(warmLimit_, 1))) wanted_.pop_front();
}

void Engine::RefillWanted() {
  std::pair<std::string, std::string> wanted;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    // The window that opens now asks again once shown.
    if (opening_ > 0) return;
    // The space shown last that has no target kept gets one (one target is made at a time;
    // the next space's follows).
    auto missing = std::find_if(wanted_.rbegin(), wanted_.rend(), [this](const auto& w) {
      return std::none_of(warm_.begin(), warm_.end(), [&](const Target& t) {
        return t.context == w.first && t.setup == setup_;
      });
    });
    if (missing == wanted_.rend()) return;
    wanted = *missing;
  }
  Refill(wanted.first, wanted.second);
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
  if (!kept.empty()) RefillWanted();
}

void Engine::ForgetWarmTargets() {
  std::lock_guard<std::mutex> lock(mutex_);
  warm_.clear();
  warmMaking_ = 0;
  claim_ = nullptr;  // its window closes with the others
  ++setup_;          // an answer that still comes for one being made finds it stale
  parking_.clear();
  settingUp_.clear();
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
  if (!ok()) return;
  const std::string context = ContextFor(cookieSpace);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    Want(context, std::string());
  }
  RefillWanted();
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

bool Engine::ServeParking(const std::string& session, const Json::Value& params,
                          const std::string& url) {
  if (params["resourceType"] != "Document" || !IsParkingUrl(url) || PageOf(session) || !ok())
    return false;
  Json::Value fulfil;
  fulfil["requestId"] = params["requestId"];
  fulfil["responseCode"] = 200;
  Json::Value type;
  type["name"] = "Content-Type";
  type["value"] = "text/html";
  fulfil["responseHeaders"].append(type);
  fulfil["body"] = "";  // an empty document
  connection().Send("Fetch.fulfillRequest", fulfil, session, nullptr);
  return true;
}

bool PageBrowser::Waits(std::function<void()> work) {
  if (bound_) return false;
  whenBound_.push_back(std::move(work));
  return true;
}

}  // namespace xhav::cdp
