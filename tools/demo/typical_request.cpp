// Demo part: one typical request, from a page in a render process through the view in the host
// process to the business core and back; the two processes talk over a socket.

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>

#include "demo.h"
#include "hav/inproc_engine.h"
#include "tnmainui/inproc_host.h"

namespace demo {

namespace {

void HostProcess(int fd) {
  g_who = "[host]   ";
  ShowLog(1);
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeBrowser, xhav::inproc::Engine::Sides::kBrowserOnly);
  engine.ui().StartThread();
  engine.SetTransport(xhav::inproc::CreateSocketTransport(fd, PID_BROWSER, &engine.ui(), nullptr));
  TraceMessages(engine);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  auto* core = new tnmainui::ScriptedBusinessCore(u"org-7", "account-42");
  core->AnswerOnOwnThread(
      0, u"{\"name\":\"Ann\",\"uid\":7}", [](const tnmainui::BusinessCall& call) {
        Say("  the business core answers %s on a thread of its own", DescribeCall(call).c_str());
      });

  TavrinModule* module = m.createModule(&host);
  module->OnModuleLoaded(0);
  module->OnProcessInited(0);  // the host process: nothing to start
  ITnWebUI* factory = nullptr;
  m.createInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory));

  auto openAndWait = [&](const char16_t* name, const char* url) {
    Say("== the host opens %s", url);
    IBrowserView* view = nullptr;
    int id = 0;
    auto onUi = [&](std::function<void()> task) {
      engine.ui().PostTask(std::move(task));
      engine.ui().Flush();
    };
    onUi([&] {
      OpenView(factory, name, url, core, nullptr, &view);
      id = engine.browsers().back()->GetId();
    });
    // The page closes its window when it is done.
    WaitFor([&] { return !engine.FindBrowser(id)->alive(); });
    onUi([&] { view->Release(); });
  };
  openAndWait(u"TnMain", "file://tavrin5main/index.html");
  openAndWait(u"Foreign", "https://foreign.example.org/app");

  engine.ui().PostTask([&] { factory->Release(); });
  engine.ui().Flush();
  core->FlushAnswers();
  core->Release();
}

void RenderProcess(int fd) {
  g_who = "[render] ";
  ShowLog(1);
  Module m = Load();
  xhav::inproc::Engine engine(xhav::kProcessTypeRender, xhav::inproc::Engine::Sides::kRenderOnly);
  std::mutex mutex;
  std::condition_variable cv;
  bool hostGone = false;
  engine.renderer().StartThread();
  engine.SetTransport(
      xhav::inproc::CreateSocketTransport(fd, PID_RENDERER, &engine.renderer(), [&] {
        std::lock_guard<std::mutex> lock(mutex);
        hostGone = true;
        cv.notify_all();
      }));
  TraceMessages(engine);
  tnmainui::InProcessHost host(engine.core(), engine.render_host());
  TavrinModule* module = m.createModule(&host);
  module->OnModuleLoaded(0);
  module->OnProcessInited(0);

  // The pages' own script.
  engine.SetPageObserver([](std::shared_ptr<xhav::inproc::Page> page) {
    const bool client = page->url().rfind("file://tavrin5main/", 0) == 0;
    std::weak_ptr<xhav::inproc::Page> weak = page;
    auto onUser = ScriptFunction("onUser", [weak](const CefV8ValueList& args) {
      Say("  page function onUser(code=%s, data=%s, id=%s) runs; the page closes its window",
          Describe(args[0]).c_str(), Describe(args[1]).c_str(), Describe(args[2]).c_str());
      if (auto p = weak.lock()) p->Call("tnpc.closewnd");
    });
    Say("== the page %s calls tnpc.exebusinessaction('Contact', 'GetUserInfo', '', "
        "'{\"uid\":7}', 1, onUser)",
        page->url().c_str());
    page->Call("tnpc.exebusinessaction",
               {CefV8Value::CreateString("Contact"), CefV8Value::CreateString("GetUserInfo"),
                CefV8Value::CreateString(""), CefV8Value::CreateString("{\"uid\":7}"),
                CefV8Value::CreateInt(1), onUser});
    if (!client) {
      Say("  no answer is coming for a foreign page; it closes its window");
      page->Call("tnpc.closewnd");
    }
  });

  std::unique_lock<std::mutex> lock(mutex);
  cv.wait_for(lock, std::chrono::seconds(30), [&] { return hostGone; });
}

}  // namespace

void TypicalRequest() {
  int fds[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) return;
  std::fflush(stdout);
  const pid_t render = fork();
  if (render == 0) {
    close(fds[0]);
    RenderProcess(fds[1]);
    std::fflush(stdout);
    std::_Exit(0);
  }
  close(fds[1]);
  InChild([&] { HostProcess(fds[0]); });
  close(fds[0]);
  int status = 0;
  waitpid(render, &status, 0);
}

}  // namespace demo
