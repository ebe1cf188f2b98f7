// tnwebui-run: runs a light app against the module in Debian's Chromium, through the factory,
// with the title bar's view, the watermark and the JS SDK, the sample host and business core
// answering, and prints what the app does as it does it.

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "../demo/demo.h"
#include "app_source.h"
#include "tnmainui/business_service.h"
#include "tnmainui/event_bus.h"
#include "tnmainui/inproc_host.h"

namespace {

constexpr char kUsage[] = R"(usage: tnwebui-run [options] PATH_OR_URL

Runs a light app against the TnWebUI module in Debian's Chromium and prints, as they happen,
the messages between the page and the module, its desktop commands and the scripts the
module runs in it.

PATH_OR_URL
  a folder        served as a site of its own, as a third-party light app is; its index.html
                  opens (https://tavrin5.frames.invalid/lightapp/index.html)
  a page          its folder is served the same way, and the page opens
  an address      https://..., http://..., or file://<root>/... of the client's own roots
  A folder or page that brings no tavrin-js-bridge.js finds the client's beside its pages.

options
  --for SECONDS       run so long, then close the window (default: until the page closes its
                      window with ui.closeWindow, or Ctrl-C)
  --screenshot FILE   save the page as PNG when the run ends (while its window is open)
  --trace FILE        write every step as a JSON line (time, process, thread, kind, browser,
                      name, detail; see pages/tavrin5main/timeline.html, which draws it)
  --timeline FILE     after the run, draw its steps on the timeline page and save it as PNG
  --load-limit SECONDS
                      give up when the page has not loaded by then (default 30)
  --module FILE       the module to load (default: the one this program was built with)
  --quiet             print only the outcome
  --help              this text

exit status
  0  the app ran to its end
  1  the app could not run: no Chromium, a page that never loaded
  2  a usage error: an unknown option, a missing value, no such file or folder
)";

std::atomic<bool> g_stop{false};

void OnSignal(int) { g_stop = true; }

int Usage(const std::string& error) {
  std::fprintf(stderr, "tnwebui-run: %s\nRun 'tnwebui-run --help' for the options.\n",
               error.c_str());
  return 2;
}

bool ParseSeconds(const char* text, double* out) {
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (end == text || *end != '\0' || !(value > 0) || value > 86400) return false;
  *out = value;
  return true;
}

struct Options {
  std::string app;
  std::string screenshot;
  std::string trace;
  std::string timeline;
  std::string module = TNWEBUI_MODULE;
  double seconds = 0;  // 0: until the page closes its window
  double loadLimit = 30;
  bool quiet = false;
};

// Saves the page's screenshot at `path`; false when it can't.
bool SavePng(xhav::cdp::PageBrowser* page, const std::string& path) {
  std::string png;
  if (!page->CaptureScreenshot(&png)) return false;
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  const bool written = std::fwrite(png.data(), 1, png.size(), f) == png.size();
  return std::fclose(f) == 0 && written;
}

void ClosePage(xhav::cdp::Engine& engine, xhav::cdp::PageBrowser* page) {
  if (!page->alive()) return;
  page->Close(0);
  demo::WaitFor([&] {
    engine.ui().RunUntilIdle();
    return !page->alive();
  });
}

// A scratch folder, gone with the run.
class Scratch {
 public:
  Scratch() {
    char pattern[] = "/tmp/tnwebui-run-XXXXXX";
    if (mkdtemp(pattern)) path_ = pattern;
  }
  ~Scratch() {
    if (!path_.empty()) std::system(("rm -rf '" + path_ + "'").c_str());
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

int Run(const Options& options) {
  using namespace demo;
  Scratch scratch;
  const run::AppSource app = run::ResolveApp(options.app, TNWEBUI_PAGES_DIR, scratch.path());
  if (!app.error.empty()) return Usage(app.error);
  if (access(g_library, R_OK) != 0) return Usage(std::string("no module at ") + g_library);
  if (options.quiet) std::freopen("/dev/null", "w", stdout);
  // The timeline draws the trace: without a trace file of the user's, one in the scratch folder.
  const std::string tracePath = !options.trace.empty()      ? options.trace
                                : !options.timeline.empty() ? scratch.path() + "/trace.jsonl"
                                                            : std::string();
  if (!tracePath.empty()) {
    if (!StartSessionTrace(tracePath)) return Usage("cannot write the trace " + tracePath);
    SetTracePart("tnwebui-run");
  }
  g_who = "";
  ShowLog(4);
  Module m = Load();
  xhav::cdp::EngineOptions engineOptions = ChromiumOptions();
  engineOptions.pagesDir = app.pagesDir;
  xhav::cdp::Engine engine(engineOptions);
  if (!ChromiumReady(engine, "the light app could not run")) {
    std::fprintf(stderr, "tnwebui-run: Chromium is not available: %s\n", engine.error().c_str());
    return 1;
  }
  TraceRequests(engine);
  TraceScripts(engine, true);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  tnmainui::ScriptedBusinessService service;
  service.SetScript(SampleIdentityCore);
  host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
  tnmainui::InProcessEventBus bus([&](std::function<void()> task) { engine.ui().PostTask(task); });
  host.SetService(SID_EventBus, static_cast<EventBus*>(&bus));
  ITnWebUI* factory = StartModule(m, &host);
  auto* core = new tnmainui::ScriptedBusinessCore(u"7", "account-42");
  AnswerEveryAction(core, "business action %s: answered 0 {}");

  Say("== tnwebui-run: %s opens as %s", options.app.c_str(), app.address.c_str());
  IBrowserView* view = nullptr;
  OpenView(factory, u"LightApp", app.address.c_str(), core, "{}", &view);
  xhav::cdp::PageBrowser* page = engine.browsers().back();
  using Clock = std::chrono::steady_clock;
  const auto started = Clock::now();
  auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - started).count(); };
  bool loaded = false;
  const char* outcome = "stopped";
  while (!g_stop) {
    engine.ui().RunUntilIdle();
    if (!page->alive()) {
      outcome = "the page closed its window";
      break;
    }
    if (!loaded && page->url() == app.address) loaded = true;
    if (!loaded && elapsed() > options.loadLimit) {
      outcome = nullptr;
      break;
    }
    if (options.seconds > 0 && elapsed() >= options.seconds) {
      outcome = "its time is up";
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  int status = 0;
  if (!outcome) {
    std::fprintf(stderr, "tnwebui-run: the page did not load within %g s: %s\n", options.loadLimit,
                 app.address.c_str());
    status = 1;
  }
  if (page->alive() && !options.screenshot.empty()) {
    if (SavePng(page, options.screenshot)) {
      Say("screenshot: %s", options.screenshot.c_str());
    } else {
      std::fprintf(stderr, "tnwebui-run: cannot write %s\n", options.screenshot.c_str());
      status = 1;
    }
  }
  ClosePage(engine, page);
  view->Release();
  if (!options.timeline.empty() && !g_stop) {
    std::stringstream steps;
    steps << std::ifstream(tracePath).rdbuf();
    IBrowserView* timelineView = nullptr;
    Json::Value drawn;
    xhav::cdp::PageBrowser* timeline =
        DrawTimeline(engine, factory, core, steps.str(), "tnwebui-run", &timelineView, &drawn);
    if (drawn["rendered"].asBool() && SavePng(timeline, options.timeline)) {
      Say("timeline: %s (%s)", options.timeline.c_str(), Compact(drawn["shown"]).c_str());
    } else {
      std::fprintf(stderr, "tnwebui-run: cannot draw the timeline into %s\n",
                   options.timeline.c_str());
      status = 1;
    }
    ClosePage(engine, timeline);
    timelineView->Release();
  }
  factory->Release();
  core->Release();
  if (outcome) {
    std::fprintf(stderr, "tnwebui-run: the run ended after %.1f s: %s\n", elapsed(),
                 g_stop ? "stopped" : outcome);
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  setvbuf(stdout, nullptr, _IOLBF, 0);
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto value = [&]() -> const char* { return i + 1 < argc ? argv[++i] : nullptr; };
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    } else if (arg == "--for" || arg == "--load-limit") {
      const char* text = value();
      double* out = arg == "--for" ? &options.seconds : &options.loadLimit;
      if (!text) return Usage(arg + " needs a number of seconds");
      if (!ParseSeconds(text, out)) return Usage(arg + ": not a number of seconds: " + text);
    } else if (std::string* file = arg == "--screenshot" ? &options.screenshot
                                   : arg == "--trace"    ? &options.trace
                                   : arg == "--timeline" ? &options.timeline
                                   : arg == "--module"   ? &options.module
                                                         : nullptr) {
      const char* text = value();
      if (!text) return Usage(arg + " needs a file");
      *file = text;
    } else if (arg == "--quiet") {
      options.quiet = true;
    } else if (arg.rfind("-", 0) == 0) {
      return Usage("unknown option " + arg);
    } else if (options.app.empty()) {
      options.app = arg;
    } else {
      return Usage("one light app at a time: " + options.app + " and " + arg);
    }
  }
  if (options.app.empty()) return Usage("no light app given");
  demo::g_library = options.module.c_str();
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  return Run(options);
}
