// tnwebui-run: runs a light app against the module in Debian's Chromium, through the factory,
// with the title bar's view, the watermark and the JS SDK, the sample host and business core
// answering, and prints what the app does as it does it.

#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "../demo/demo.h"
#include "app_host.h"
#include "app_source.h"
#include "folder_watch.h"
#include "hav/handler_table.h"
#include "live_window.h"
#include "page_checks.h"
#include "report.h"
#include "script.h"
#include "step_runner.h"
#include "tnbase/logger.h"
#include "tnbase/task_queue.h"
#include "tnmainui/signature.h"
#include "watch.h"
#include "win/paint.h"
#include "win/user.h"

namespace {

constexpr char kUsage[] = R"(usage: tnwebui-run [options] PATH_OR_URL
       tnwebui-run sign [--secret SECRET | --host FILE] APP_ID NONCE TIMESTAMP ADDRESS

Runs a light app against the TnWebUI module in Debian's Chromium: in a light window of the
client with its title bar, the JS SDK and the desktop commands, the sample host and business
core answering. Prints one timed line for each step: the app's SDK calls and their answers,
business actions and results, events, desktop commands, transfers' progress, what the host
does for the app, the page's console, its uncaught errors and its policy's refusals.

PATH_OR_URL
  a folder        served as a site of its own, as a third-party light app is; its index.html
                  opens (https://tavrin5.frames.invalid/lightapp/index.html)
  a page          its folder is served the same way, and the page opens
  an address      https://..., http://..., or file://<root>/... of the client's own roots
  A folder or page that brings no tavrin-js-bridge.js finds the client's beside its pages.

options
  --host FILE         what the host and business core answer: the user, the choosers' files
                      and contacts, the config secret, the download server's port and files,
                      voice lengths, business actions' answers (JSON; its keys are declared in
                      types/tnwebui-run-host.d.ts among this program's pages, and checked when
                      read)
  --check             report the app's mistakes when the run ends and exit 3 if there are any:
                      an SDK name the client doesn't serve, a payload the declarations refuse,
                      a call never answered, an uncaught error or rejection, a content security
                      policy's refusal, a business action the rights rule refused, a page or a
                      file of it that failed to load or answered an error status
  --for SECONDS       run so long from when the window's page target is there, then close
                      the window (default: until the page closes its
                      window with ui.closeWindow, or Ctrl-C; with --check, 30 seconds at most)
  --screenshot FILE   save the whole window, title bar and page, as PNG when the run ends (an
                      app that closes its own window: as it was when it asked to close)
  --trace FILE        write every step as a JSON line (time, process, thread, kind, browser,
                      name, detail; see pages/tavrin5main/timeline.html, which draws it)
  --timeline FILE     after the run, draw its steps on the timeline page and save it as PNG
  --do STEP           a step of a person or of the client, after the page has loaded; steps
                      run in order, each when the one before is done (repeat --do for more):
                        after first-call     wait for the app's first call
                        after call NAME      wait for its next call of NAME (ui.closeWindow)
                        wait SECONDS         let it run so long
                        press back           the bar's back button (needs --framed)
                        close                the bar's close button
                        click SELECTOR       a mouse click on the page's element once enabled
                        cancel chooser       the next chooser is cancelled
                        pick FILE...         the next file dialog picks these files
                        answer JSON          the client's next answer to a host call
                        screenshot FILE      the whole window as PNG
                      Without --for, the run ends a second after the last step.
  --script FILE       steps from a file, one a line ("#" begins a comment; files are taken
                      beside it)
  --framed            open the app in the client's framed web window (its bar has back and
                      refresh; business actions are answered) instead of a light window
  --report json|junit FILE
                      with --check, also write the report for CI: JSON, or a JUnit test suite
                      with one failed test case a mistake
  --expect FILE       check the run's mistakes against an expected report (one "kind: detail"
                      line a mistake, as --check prints them; a line matches a mistake that
                      begins with it): exit 0 when they are the same, 3 saying what differs
  --headful           show the window on the display (DISPLAY) as the client does: its title
                      bar and the page, no browser chrome; clicks and typing reach the bar's
                      buttons and the page
  --watch             reload the page whenever a file of the app's folder changes, the lines
                      going on (until the window closes, --for, or Ctrl-C)
  --size WxH          the window's size (default 1000x720, a light app's window); presets:
                      narrow (500x760), light (1000x720), wide (1280x800)
  --devtools PORT     open Chromium's DevTools to the run at http://127.0.0.1:PORT (a page
                      there lists the app's page; chrome://inspect finds it too)
  --load-limit SECONDS
                      give up when the page has not loaded by then (default 30)
  --module FILE       the module to load (default: the one installed with this program)
  --quiet             print only the outcome (and the report)
  --help              this text

exit status
  0  the app ran to its end (and, with --check, made no mistake)
  1  the app could not run: no Chromium, no display, a port in use, a page that never loaded
  2  a usage error: an unknown option, a missing value, no such file or folder, a host file
     that can't be read or has a wrong key or value
  3  --check found mistakes
  130  interrupted (Ctrl-C; 143 for SIGTERM): no verdict

sign
  prints the signature that "config" must carry: HMAC-SHA256 under the app's secret of
  "APP_ID|NONCE|TIMESTAMP|ADDRESS", in lower-case hex. APP_ID is "oid-id" (the organisation and
  the app, as config's appId), TIMESTAMP the number config passes, ADDRESS the page's address
  as the client sees it (https://tavrin5.frames.invalid/lightapp/index.html for a folder). The
  secret is the host file's ("secret"), else the default one, "sample-app-secret". An app's
  server signs the same way with the secret it shares with the client.

the manual
  docs/workbench.md, installed as share/doc/tnwebui/workbench.md beside this program: writing
  a light app, the host file, the steps, each kind of mistake, the app's CI

examples
  tnwebui-run examples/hello
  tnwebui-run --host host.json --screenshot app.png --for 10 ./my-app
  tnwebui-run --check --host host.json ./my-app     # in the app's CI
)";

std::atomic<int> g_stop{0};  // the signal that stops the run

void OnSignal(int signal) { g_stop = signal; }

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
  std::string host;
  std::string screenshot;
  std::string trace;
  std::string timeline;
  std::string module;
  std::string reportFormat, reportFile, expect;
  double seconds = 0;  // 0: until the page closes its window
  double loadLimit = 30;
  int devtools = 0;                // the DevTools port, 0 for none
  int width = 1000, height = 720;  // the window's
  std::vector<run::Step> steps;
  bool check = false;
  bool framed = false;
  bool watch = false;
  bool headful = false;
  bool quiet = false;
};

// Where the module, the client's pages and the render host are: beside this program when it
// is installed (bin/, lib/, share/tnwebui/pages, libexec/tnwebui/), else in the build tree.
struct Layout {
  std::string module = TNWEBUI_MODULE;
  std::string pages = TNWEBUI_PAGES_DIR;
  std::string renderHost = TNWEBUI_RENDER_HOST;
  std::string viewer = TNWEBUI_VIEWER;
};

Layout FindLayout() {
  Layout layout;
  char self[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return layout;
  self[length] = '\0';
  const std::string prefix = std::string(self).substr(0, std::string(self).rfind('/')) + "/..";
  const std::string pages = prefix + "/" TNWEBUI_INSTALL_DATADIR "/tnwebui/pages";
  if (access(pages.c_str(), R_OK) != 0) return layout;
  layout.pages = pages;
  layout.module = prefix + "/" TNWEBUI_INSTALL_LIBDIR "/libTnWebUI.so";
  layout.renderHost = prefix + "/" TNWEBUI_INSTALL_LIBEXECDIR "/tnwebui/tnwebui_render_host";
  layout.viewer = prefix + "/" TNWEBUI_INSTALL_LIBEXECDIR "/tnwebui/tnwebui_viewer";
  return layout;
}

// The page's whole document as PNG (the timeline: as long as its rows).
bool SavePng(xhav::cdp::PageBrowser* page, const std::string& path) {
  std::string png;
  if (!page->CaptureScreenshot(&png, true)) return false;
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

// Every step the watch sees, and the session's trace when one is written.
void WatchEngine(xhav::cdp::Engine& engine, run::Watch& watch) {
  engine.SetTracer(
      [&watch](const char* hop, CefProcessId target, int id, CefRefPtr<CefProcessMessage> message) {
        demo::TraceProcessMessage(hop, target, id, message);
        const bool toHost = std::strcmp(hop, "send") != 0 && target == PID_BROWSER;
        const bool toPage = std::strcmp(hop, "send") == 0 && target == PID_RENDERER;
        if (toHost || toPage) {
          watch.OnMessage(toHost, id, message->GetName().ToString(),
                          run::ArgsOf(message->GetArgumentList()));
        }
      });
  engine.SetScriptTracer([&watch](int id, const std::string& script) {
    demo::TraceStep("script", id, "ExecuteJavaScript", script);
    watch.OnScript(id, script);
  });
  engine.SetRequestTracer([&watch](int id, const std::string& address,
                                   const std::vector<std::string>& writes, double ms) {
    const std::string codes = demo::ResponseCodes(writes);
    demo::TraceStep("request", id, xhav::PathOf(address), codes, ms);
    watch.OnRequest(id, xhav::PathOf(address), codes);
  });
  engine.SetPageMessageTracer([&watch](int id, const char* kind, const std::string& level,
                                       const std::string& text, const std::string& where) {
    demo::TraceStep(kind, id, level, text + (where.empty() ? "" : " " + where));
    watch.OnPageMessage(id, kind, level, text, where);
  });
  tnbase::SetLogSink(
      [&watch](const tnbase::LogRecord& r) { watch.OnLog(r.level, r.function, r.message); });
}

// Opens the app in a light window with its title bar; the window's page, or null.
xhav::cdp::PageBrowser* OpenLightWindow(xhav::cdp::Engine& engine, ITnWebUI* factory, int32_t orgId,
                                        const run::AppSource& app, int width, int height) {
  const std::size_t before = engine.browsers().size();
  demo::OpenLightWindow(factory, orgId, "tnwebui-run", app.address.c_str(), app.title.c_str(),
                        width, height);
  const std::vector<xhav::cdp::PageBrowser*> browsers = engine.browsers();
  return browsers.size() > before ? browsers.back() : nullptr;
}

// The check's report, its file for CI and the comparison with the expected one; the exit status.
int Verdict(const Options& options, const run::Watch& watch, const char* outcome, int status) {
  std::printf("tnwebui-run --check: %s", watch.Report().c_str());
  const std::vector<run::Counted> mistakes = watch.Counts();
  if (!options.reportFile.empty()) {
    const std::string ended = outcome ? outcome : "the page did not load";
    const std::string text = options.reportFormat == "json"
                                 ? run::JsonReport(mistakes, ended, watch.Seconds())
                                 : run::JunitReport(mistakes, ended, watch.Seconds());
    std::ofstream file(options.reportFile);
    if (!(file << text)) {
      std::fprintf(stderr, "tnwebui-run: cannot write the report %s\n", options.reportFile.c_str());
      return 1;
    }
  }
  if (options.expect.empty()) return status == 0 && !mistakes.empty() ? 3 : status;
  std::ifstream in(options.expect);
  std::stringstream expected;
  if (!in || !(expected << in.rdbuf())) {
    std::fprintf(stderr, "tnwebui-run: cannot read the expected report %s\n",
                 options.expect.c_str());
    return 2;
  }
  std::vector<std::string> differences;
  if (run::CompareWithExpected(mistakes, expected.str(), &differences)) {
    std::printf("tnwebui-run --expect: the mistakes are the expected ones (%s)\n",
                options.expect.c_str());
    return status == 3 ? 0 : status;
  }
  std::printf("tnwebui-run --expect: %zu differences from %s\n", differences.size(),
              options.expect.c_str());
  for (const std::string& line : differences) std::printf("  %s\n", line.c_str());
  return status == 0 ? 3 : status;
}

int Run(const Options& options, const Layout& layout) {
  using namespace demo;
  Scratch scratch;
  run::HostFile hostFile;
  std::string error;
  if (!options.host.empty() && !run::ReadHostFile(options.host, &hostFile, &error))
    return Usage("the host file " + error);
  const run::AppSource app = run::ResolveApp(options.app, layout.pages, scratch.path());
  if (!app.error.empty()) return Usage(app.error);
  if (options.watch && app.folder.empty())
    return Usage("--watch needs the app's folder or page, not an address");
  if (access(g_library, R_OK) != 0) return Usage(std::string("no module at ") + g_library);
  const char* display = getenv("DISPLAY");
  if (options.headful && (!display || !*display)) {
    std::fprintf(stderr, "tnwebui-run: --headful needs a display, and DISPLAY is not set\n");
    return 1;
  }
  std::FILE* out = stdout;
  if (options.quiet) out = std::fopen("/dev/null", "w");
  // The timeline draws the trace: without a trace file of the user's, one in the scratch folder.
  const std::string tracePath = !options.trace.empty()      ? options.trace
                                : !options.timeline.empty() ? scratch.path() + "/trace.jsonl"
                                                            : std::string();
  if (!tracePath.empty()) {
    if (!StartSessionTrace(tracePath)) return Usage("cannot write the trace " + tracePath);
    // Only a trace the user asked for is named: the timeline's own goes with the run.
    if (!options.trace.empty()) std::fprintf(out, "tnwebui-run: trace %s\n", tracePath.c_str());
    SetTracePart("tnwebui-run");
  }
  run::Watch watch([out](const std::string& line) { std::fprintf(out, "%s\n", line.c_str()); });
  Module m = Load();
  xhav::cdp::EngineOptions engineOptions = ChromiumOptions();
  engineOptions.pagesDir = app.pagesDir;
  engineOptions.clientWebDomain = hostFile.webDomain;
  engineOptions.toolScripts = {run::kPageChecks};
  engineOptions.renderHost[0] = layout.renderHost;
  engineOptions.renderHost[2] = "--log=4";
  // Chromium draws off screen always: --headful shows the client's window through the viewer.
  engineOptions.launch.headless = true;
  if (options.devtools) {
    engineOptions.launch.extraArgs.push_back("--remote-debugging-port=" +
                                             std::to_string(options.devtools));
    engineOptions.launch.extraArgs.push_back("--remote-allow-origins=*");
  }
  xhav::cdp::Engine engine(engineOptions);
  if (!engine.ok()) {
    std::fprintf(stderr, "tnwebui-run: Chromium is not available: %s\n", engine.error().c_str());
    return 1;
  }
  engine.ui().BindCurrentThread();
  demo::TraceCalls(engine);
  WatchEngine(engine, watch);
  // The window model's painting thread owns Qt's application: it starts before the host makes
  // its sample pictures on this thread.
  win::StartPainting();
  const std::string folder = scratch.path() + "/host";
  mkdir(folder.c_str(), 0700);
  run::AppHost client(engine, hostFile, folder, watch);
  if (!client.error().empty()) {
    std::fprintf(stderr, "tnwebui-run: %s\n", client.error().c_str());
    return 1;
  }
  ITnWebUI* factory = StartModule(m, client.host());

  std::fprintf(out, "tnwebui-run: %s opens as %s (module %s)\n", options.app.c_str(),
               app.address.c_str(), g_library);
  watch.SetMainAddress(app.address);
  watch.SetSourceFinder([&app](const std::string& address, const std::string& text) {
    return run::LineInAppFile(app, address, text);
  });
  watch.SetLightWindow(!options.framed);
  // A framed window is a view the host holds; a light window is the factory's own.
  IBrowserView* framedView = nullptr;
  xhav::cdp::PageBrowser* page =
      options.framed
          ? demo::OpenFramedPage(engine, factory, u"tnwebui-run", app.address.c_str(),
                                 client.core(), {60, 40, 60 + options.width, 40 + options.height},
                                 &framedView)
          : OpenLightWindow(engine, factory, hostFile.orgId, app, options.width, options.height);
  // The host shows the view it made, as the client shows a web window.
  if (page && framedView) win::ShowWindow(page->GetWindowHandle(), win::SW_SHOWWINDOW);
  if (!page) {
    std::fprintf(stderr, "tnwebui-run: the module opened no window for %s\n", app.address.c_str());
    factory->Release();
    return 1;
  }
  // The run's times all count from the watch's start, as its lines do.
  auto elapsed = [&] { return watch.Seconds(); };
  const double limit = options.seconds > 0 ? options.seconds : options.check ? 30 : 0;
  bool loaded = false;
  double boundAt = -1;  // when the page's target came
  bool shot = false;
  // The last picture is taken as the window closes, whoever closes it.
  engine.SetCloseTracer([&](xhav::cdp::PageBrowser* closing) {
    if (closing == page && loaded && !options.screenshot.empty())
      shot = demo::SaveWindowPng(page, options.screenshot) || shot;
  });
  run::StepRunner steps(options.steps, page, client, watch);
  run::Display screen(page, scratch.path() + "/window.png");
  if (options.headful) {
    std::string error;
    if (!screen.Start(layout.viewer, app.title, &error)) {
      std::fprintf(stderr, "tnwebui-run: --headful: %s\n", error.c_str());
      ClosePage(engine, page);
      if (framedView) framedView->Release();
      factory->Release();
      return 1;
    }
  }
  if (options.devtools) {
    std::fprintf(out, "tnwebui-run: DevTools at http://127.0.0.1:%d (its page lists the app)\n",
                 options.devtools);
  }
  std::unique_ptr<run::FolderWatch> files;
  double nextLook = 0;
  if (options.watch && !app.folder.empty()) files = std::make_unique<run::FolderWatch>(app.folder);
  const char* outcome = "stopped";
  while (!g_stop) {
    engine.ui().RunUntilIdle();
    if (!page->alive()) {
      outcome = "the page closed its window";
      break;
    }
    if (watch.MainFailed()) {
      outcome = nullptr;
      break;
    }
    if (!loaded && page->url() == app.address) {
      loaded = true;
      // Placed as a user would: the view lays out the bar, and the page's viewport below it.
      page->MoveWindow(60, 40, options.width, options.height);
    }
    if (!loaded && elapsed() > options.loadLimit) {
      outcome = nullptr;
      break;
    }
    // The time is the app's: it counts from the moment the window's page target is there (the
    // engine makes it after the window opens); a page whose target never comes is judged by
    // the load limit, so a run never ends as if a page it never saw had no mistakes.
    if (boundAt < 0 && page->bound()) boundAt = elapsed();
    if (limit > 0 && boundAt >= 0 && elapsed() - boundAt >= limit) {
      outcome = "its time is up";
      break;
    }
    // --watch: a changed file of the app reloads its page; the run goes on.
    if (files && loaded && elapsed() >= nextLook) {
      nextLook = elapsed() + 0.5;
      const std::string changed = files->Changed();
      if (!changed.empty()) {
        std::fprintf(out, "tnwebui-run: %s changed: the page reloads\n", changed.c_str());
        page->Reload();
      }
    }
    if (options.headful && loaded && !screen.Tick(elapsed())) {
      outcome = "the window was closed on the display";
      break;
    }
    // The script's steps; without --for the run ends a second after the last (its answers and
    // their lines come in that second).
    if (loaded && !steps.empty() && steps.Advance(elapsed()) && options.seconds <= 0 &&
        elapsed() - steps.finishedAt() >= 1.0) {
      outcome = "its script ended";
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  int status = 0;
  if (!outcome) {
    if (watch.MainFailed()) {
      std::fprintf(stderr, "tnwebui-run: the page could not be loaded: %s\n", app.address.c_str());
    } else {
      std::fprintf(stderr, "tnwebui-run: the page did not load within %g s: %s\n",
                   options.loadLimit, app.address.c_str());
      char limit[64];
      std::snprintf(limit, sizeof limit, "it did not load within %g s (--load-limit)",
                    options.loadLimit);
      watch.OnMistake("not loaded", app.address + ": " + limit);
    }
    status = 1;
  }
  engine.SetCloseTracer(nullptr);
  if (!options.screenshot.empty()) {
    if (page->alive()) shot = demo::SaveWindowPng(page, options.screenshot);
    if (shot) {
      std::fprintf(out, "tnwebui-run: screenshot %s\n", options.screenshot.c_str());
    } else {
      std::fprintf(stderr, "tnwebui-run: cannot write %s\n", options.screenshot.c_str());
      status = 1;
    }
  }
  ClosePage(engine, page);
  if (framedView) framedView->Release();
  if (!options.timeline.empty() && !g_stop) {
    std::stringstream steps;
    steps << std::ifstream(tracePath).rdbuf();
    IBrowserView* timelineView = nullptr;
    Json::Value drawn;
    xhav::cdp::PageBrowser* timeline = DrawTimeline(engine, factory, client.core(), steps.str(),
                                                    "tnwebui-run", &timelineView, &drawn);
    if (drawn["rendered"].asBool() && SavePng(timeline, options.timeline)) {
      std::fprintf(out, "tnwebui-run: timeline %s (%s)\n", options.timeline.c_str(),
                   Compact(drawn["shown"]).c_str());
    } else {
      std::fprintf(stderr, "tnwebui-run: cannot draw the timeline into %s\n",
                   options.timeline.c_str());
      status = 1;
    }
    ClosePage(engine, timeline);
    timelineView->Release();
  }
  factory->Release();
  tnbase::SetLogSink(nullptr);
  watch.Finish();
  if (g_stop) {
    // Stopped by the user: neither a pass nor a finding.
    std::fprintf(stderr, "tnwebui-run: interrupted after %.1f s\n", elapsed());
    status = 128 + g_stop;
  } else if (outcome) {
    std::fprintf(stderr, "tnwebui-run: the run ended after %.1f s: %s\n", elapsed(), outcome);
  }
  if (options.check && !g_stop) status = Verdict(options, watch, outcome, status);
  if (out != stdout) std::fclose(out);
  return status;
}

}  // namespace

// tnwebui-run sign ...: the signature of config's fields under the secret.
int Sign(int argc, char** argv) {
  run::HostFile host;
  std::vector<std::string> fields;
  for (int i = 2; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--secret" || arg == "--host") {
      if (i + 1 >= argc) return Usage("sign: " + arg + " needs a value");
      std::string error;
      if (arg == "--secret") {
        host.secret = argv[++i];
      } else if (!run::ReadHostFile(argv[++i], &host, &error)) {
        return Usage("the host file " + error);
      }
    } else if (arg.rfind("--", 0) == 0) {
      return Usage("sign: unknown option " + arg);
    } else {
      fields.push_back(arg);
    }
  }
  if (fields.size() != 4)
    return Usage("sign needs APP_ID NONCE TIMESTAMP ADDRESS (" + std::to_string(fields.size()) +
                 " given)");
  const tnmainui::SignedFields signed_{fields[0], fields[1], fields[2], fields[3], ""};
  std::fprintf(stderr, "tnwebui-run: HMAC-SHA256 of \"%s\"\n",
               tnmainui::SignedText(signed_).c_str());
  std::printf(
      "%s\n",
      tnmainui::SignFields(host.secret, fields[0], fields[1], fields[2], fields[3]).c_str());
  return 0;
}

int main(int argc, char** argv) {
  setvbuf(stdout, nullptr, _IOLBF, 0);
  if (argc > 1 && std::string(argv[1]) == "sign") return Sign(argc, argv);
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
                                   : arg == "--host"     ? &options.host
                                                         : nullptr) {
      const char* text = value();
      if (!text) return Usage(arg + " needs a file");
      *file = text;
    } else if (arg == "--size") {
      const char* text = value();
      if (!text) return Usage("--size needs WIDTHxHEIGHT or a preset (narrow, light, wide)");
      const std::string size = text;
      char x = 0, rest = 0;
      if (size == "narrow") {
        options.width = 500, options.height = 760;
      } else if (size == "light") {
        options.width = 1000, options.height = 720;
      } else if (size == "wide") {
        options.width = 1280, options.height = 800;
      } else if (std::sscanf(text, "%d%c%d%c", &options.width, &x, &options.height, &rest) != 3 ||
                 x != 'x' || options.width < 500 || options.height < 300 || options.width > 3840 ||
                 options.height > 2160) {
        return Usage("--size: not WIDTHxHEIGHT from 500x300 to 3840x2160, nor a preset: " + size);
      }
    } else if (arg == "--devtools") {
      const char* text = value();
      char* end = nullptr;
      const long port = text ? std::strtol(text, &end, 10) : 0;
      if (!text || *end != '\0' || port < 1 || port > 65535)
        return Usage("--devtools needs a port from 1 to 65535");
      options.devtools = static_cast<int>(port);
    } else if (arg == "--report") {
      const char* format = value();
      const char* file = format ? value() : nullptr;
      if (!file) return Usage("--report needs a format (json or junit) and a file");
      if (std::string(format) != "json" && std::string(format) != "junit")
        return Usage(std::string("--report: no format ") + format + " (json or junit)");
      options.reportFormat = format;
      options.reportFile = file;
      options.check = true;
    } else if (arg == "--expect") {
      const char* text = value();
      if (!text) return Usage("--expect needs a file");
      options.expect = text;
      options.check = true;
    } else if (arg == "--do") {
      const char* text = value();
      if (!text) return Usage("--do needs a step");
      run::Step step;
      std::string error;
      if (!run::ParseStep(text, ".", &step, &error)) return Usage(error);
      options.steps.push_back(std::move(step));
    } else if (arg == "--script") {
      const char* text = value();
      if (!text) return Usage("--script needs a file");
      std::string error;
      if (!run::ReadScript(text, &options.steps, &error)) return Usage("the script " + error);
    } else if (arg == "--watch") {
      options.watch = true;
    } else if (arg == "--quiet" || arg == "--check" || arg == "--headful" || arg == "--framed") {
      (arg == "--quiet"    ? options.quiet
       : arg == "--check"  ? options.check
       : arg == "--framed" ? options.framed
                           : options.headful) = true;
    } else if (arg.rfind("-", 0) == 0) {
      return Usage("unknown option " + arg);
    } else if (options.app.empty()) {
      options.app = arg;
    } else {
      return Usage("one light app at a time: " + options.app + " and " + arg);
    }
  }
  if (options.app.empty()) return Usage("no light app given");
  for (const run::Step& step : options.steps) {
    if (step.kind == run::Step::kBack && !options.framed)
      return Usage("'press back' needs --framed: a light window's bar has no back button");
  }
  const Layout layout = FindLayout();
  if (options.module.empty()) options.module = layout.module;
  demo::g_library = options.module.c_str();
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  const int status = Run(options, layout);
  // What the module left for later (the deletion of an SDK function that a download's end
  // finished) is done before the process ends.
  tnbase::globalTaskQueue(0)->Flush();
  return status;
}
