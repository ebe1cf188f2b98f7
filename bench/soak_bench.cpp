// Fifty windows on Debian's Chromium for a long while (SOAK_MINUTES, ten unless told), the
// render side in a render host process and the UI thread on its own, as in the client:
// twenty-five honest windows (file://tavrin5main/steady.html) and twenty-five hostile ones
// that, one try after another, flood the engine (desktop requests, hellos, calls that prove
// nothing, a console message of millions of characters), bring frames of another site, open
// popups, reload, and close themselves; each hostile window, its try done, gives way to a new
// one with the next try.
//
// Prints, beside its floor: the worst wait of an honest window's synchronous call during the
// soak (and p50, p99) against the same call's p50 with nothing else running; the host's memory
// when the fifty are open at the start and at the end; Chromium's processes at the end, with
// the windows open and after they close (what pages made must not outlive them).

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "base/CommonFunc.h"
#include "chromium_client.h"
#include "processes.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kHonest = 25, kHostile = 25;

// The hostile tries, in turn; `clicks`: window.open clicks, `reloads`: reloads of the page.
struct Try {
  const char* url;
  int clicks = 0, reloads = 0;
};
const Try kTries[] = {
    {"file://tavrin5main/harm.html?do=desktop&n=2000"},
    {"file://tavrin5main/harm.html?do=frames&n=5"},
    {"file://tavrin5main/harm.html?do=hellos&n=3000"},
    {"file://tavrin5main/popup.html", 6},
    {"file://tavrin5main/harm.html?do=forged&n=5000"},
    {"file://tavrin5main/harm.html?do=console&n=5000000"},
    {"file://tavrin5main/harm.html?do=frames&n=3", 0, 5},
    {"file://tavrin5main/harm.html?do=close"},
};

class Soak : public ChromiumClient {
 public:
  Soak() : ChromiumClient(true) {
    if (ok()) engine->ui().StartThread();
  }
  ~Soak() {
    if (!ok()) return;
    OnUi([this] { Finish(); });
    engine->ui().Stop();
  }
  void OnUi(const std::function<void()>& task) {
    std::promise<void> done;
    engine->ui().PostTask([&] {
      task();
      done.set_value();
    });
    done.get_future().wait();
  }
  struct Window {
    xhav::cdp::PageBrowser* page = nullptr;
    IBrowserView* view = nullptr;
    std::size_t attempt = 0;
    Clock::time_point opened;
  };
  Window Open(const char* url) {
    Window w;
    OnUi([&] {
      const std::u16string name = u"soak-" + tnwebui::Utf8ToWide(std::to_string(++opened_));
      w.view = OpenView(name.c_str(), url);
      w.page = engine->browsers().back();
    });
    w.opened = Clock::now();
    return w;
  }
  void Close(Window& w) {
    OnUi([&] {
      if (w.page->alive()) w.page->Close(0);
    });
    for (int i = 0; i < 400; ++i) {
      bool gone = false;
      OnUi([&] { gone = !w.page->alive(); });
      if (gone) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    OnUi([&] { w.view->Release(); });
    w = Window();
  }
  bool Ready(xhav::cdp::PageBrowser* page) {
    Json::Value ready;
    return page->Evaluate("!!(window.results && window.results.ready)", &ready, 2000) &&
           ready.asBool();
  }
  // One synchronous call of an honest page, as the page measured it (ms); -1 without an answer.
  double Call(xhav::cdp::PageBrowser* page) {
    Json::Value took;
    if (!page->Evaluate("(function () { var s = performance.now(); tnpc.cangoback(); "
                        "return performance.now() - s; })()",
                        &took, 10000) ||
        !took.isNumeric())
      return -1;
    return took.asDouble();
  }
  int opened_ = 0;
};

long ChromiumProcesses(Soak& soak) {
  return static_cast<long>(Descendants(soak.engine->connection().pid()).size());
}

}  // namespace

int main() {
  const char* given = std::getenv("SOAK_MINUTES");
  const double minutes = given ? std::atof(given) : 10.0;
  Soak soak;
  if (!soak.ok()) {
    std::printf("soak: Chromium could not start: %s\n", soak.engine->error().c_str());
    return 1;
  }
  std::vector<Soak::Window> honest, hostile;
  for (int i = 0; i < kHonest; ++i) honest.push_back(soak.Open("file://tavrin5main/steady.html"));
  for (Soak::Window& w : honest) {
    for (int i = 0; i < 200 && !soak.Ready(w.page); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
  }
  // The floor: an honest call with nothing else running.
  std::vector<double> idle;
  for (int i = 0; i < 200; ++i) idle.push_back(soak.Call(honest[i % kHonest].page));
  const double idleP50 = Percentile(idle, 50);

  std::size_t tries = 0;
  for (int i = 0; i < kHostile; ++i) {
    hostile.push_back(soak.Open(kTries[tries % std::size(kTries)].url));
    hostile.back().attempt = tries++;
  }
  const long startKiB = KiB(getpid(), "status", "VmRSS:");
  const long startProcesses = ChromiumProcesses(soak);
  std::printf(
      "soak: %d honest and %d hostile windows for %.1f minutes; host %.1f MiB, %ld "
      "Chromium processes\n",
      kHonest, kHostile, minutes, startKiB / 1024.0, startProcesses);
  std::fflush(stdout);

  std::vector<double> calls;
  int unanswered = 0, starts = 1;  // Chromium's starts: the engine starts it anew when it goes
  pid_t chromium = soak.engine->connection().pid();
  const Clock::time_point start = Clock::now();
  const Clock::time_point end = start + std::chrono::duration_cast<Clock::duration>(
                                            std::chrono::duration<double>(minutes * 60));
  auto report = start;
  for (std::size_t round = 0; Clock::now() < end; ++round) {
    if (soak.engine->connection().pid() != chromium) {
      chromium = soak.engine->connection().pid();
      ++starts;
    }
    const double took = soak.Call(honest[round % kHonest].page);
    if (took < 0) {
      ++unanswered;
    } else {
      calls.push_back(took);
    }
    // A hostile window whose try is done (or that has had its twenty seconds) gives way.
    Soak::Window& w = hostile[round % kHostile];
    const Try& t = kTries[w.attempt % std::size(kTries)];
    const double age = std::chrono::duration<double>(Clock::now() - w.opened).count();
    Json::Value done;
    bool finished = false;
    soak.OnUi([&] { finished = !w.page->alive(); });
    if (!finished) {
      finished =
          age > 20 || (w.page->Evaluate("!!(window.results && window.results.done)", &done, 200) &&
                       done.asBool() && age > 1);
    }
    if (finished) {
      for (int c = 0; c < t.clicks; ++c) {
        soak.OnUi([&] { w.page->Click(50, 50); });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
      }
      for (int r = 0; r < t.reloads; ++r) {
        soak.OnUi([&] { w.page->Reload(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
      }
      soak.Close(w);
      w = soak.Open(kTries[tries % std::size(kTries)].url);
      w.attempt = tries++;
    }
    if (Clock::now() - report > std::chrono::seconds(30)) {
      report = Clock::now();
      std::printf(
          "soak: %.1f min: %zu honest calls, worst %.1f ms; %zu hostile windows; host "
          "%.1f MiB\n",
          std::chrono::duration<double>(report - start).count() / 60, calls.size(),
          calls.empty() ? 0.0 : Percentile(calls, 100), tries,
          KiB(getpid(), "status", "VmRSS:") / 1024.0);
      std::fflush(stdout);
    }
  }
  const long endKiB = KiB(getpid(), "status", "VmRSS:");
  const long openProcesses = ChromiumProcesses(soak);
  for (Soak::Window& w : hostile) soak.Close(w);
  for (Soak::Window& w : honest) soak.Close(w);
  std::this_thread::sleep_for(std::chrono::seconds(2));
  const long closedProcesses = ChromiumProcesses(soak);

  const double worst = calls.empty() ? 0 : Percentile(calls, 100);
  std::printf(
      "soak: an honest window's call during the soak, worst: %.1f ms (p50 %.2f ms, p99 "
      "%.1f ms, %zu calls, %d unanswered); floor: p50 with nothing else running %.2f ms; "
      "ratio %.1f\n",
      worst, Percentile(calls, 50), Percentile(calls, 99), calls.size(), unanswered, idleP50,
      idleP50 > 0 ? worst / idleP50 : 0.0);
  std::printf(
      "soak: host memory with the fifty windows open: %.1f MiB at the start, %.1f MiB at "
      "the end (%zu hostile windows came and went)\n",
      startKiB / 1024.0, endKiB / 1024.0, tries);
  std::printf(
      "soak: Chromium's processes: %ld at the start, %ld at the end with the windows "
      "open, %ld once they closed; Chromium started %d time(s)\n",
      startProcesses, openProcesses, closedProcesses, starts);
  std::fflush(stdout);
  return unanswered == 0 ? 0 : 1;
}
