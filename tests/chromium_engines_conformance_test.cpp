// One suite, both engines: what the window model and a page's own navigations cause, seen where
// a page and the client see it (the messages that reach the page, the core's calls, the bus's
// events, the view's address), must be the same on the in-process engine and on Chromium.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include "chromium_fixture.h"
#include "coretnmedia.pb.h"
#include "hav/inproc_engine.h"
#include "light/desktop_origin.h"
#include "scratch_dir.h"
#include "win/user.h"

namespace {

// A host with one engine, the module and its factory, a core and a bus; the browser-to-page
// messages it saw.
class World {
 public:
  virtual ~World() {
    tnwebui::TnWebUIModule::Install(previous_);
    for (auto* core : cores_) core->Release();
  }
  virtual bool ok() const = 0;
  // The page of `browser` goes to `url` by itself (a link, `location`).
  virtual void PageGoes(xhav::Browser* browser, const std::string& url) = 0;
  // The address the view's main frame shows, in the client's form.
  virtual std::string Url(xhav::Browser* browser) = 0;
  virtual void RunUi() = 0;
  // The page of `browser` asks the desktop origin for `path` with no body; what the handler
  // wrote, once it has answered.
  virtual std::vector<std::string> AskDesktop(xhav::Browser* browser, const char* path) = 0;
  // A person drags files from the desktop onto the page, and drops them or lets go elsewhere.
  virtual void DragFiles(xhav::Browser* browser, const std::vector<std::string>& files,
                         bool drop) = 0;
  virtual xhav::Browser* Newest() = 0;

  bool Pump(const std::function<bool()>& done, int ms = 10000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (std::chrono::steady_clock::now() < end) {
      RunUi();
      if (done()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
  }
  xhav::Browser* Open(const char* url, const std::function<void(IBrowserViewSetting*)>& tweak) {
    auto* core = new tnmainui::ScriptedBusinessCore(u"org-1", "account");
    cores_.push_back(core);
    IBrowserViewSetting* settings = nullptr;
    factory_->CreateBrowserViewSetting(&settings);
    settings->SetName((u"view" + std::u16string(1, char16_t(u'0' + views_.size()))).c_str());
    settings->SetBusinessCore(core);
    settings->SetInitData("{}");
    if (tweak) tweak(settings);
    IBrowserView* view = nullptr;
    EXPECT_EQ(factory_->CreateBrowserView(url, settings, &view), S_OK);
    settings->Release();
    if (!view) return nullptr;
    views_.emplace_back(view, [](IBrowserView* v) { v->Release(); });
    xhav::Browser* browser = Newest();
    Pump([&] { return Url(browser) == url; });
    return browser;
  }
  xhav::Browser* OpenLight(const char* url) {
    void* made = nullptr;
    CreateHavObject(xhav::kHavObjectBrowserParam, &made);
    auto* param = static_cast<xhav::BrowserParam*>(made);
    param->SetShowTitleBar(true);
    param->SetViewType(4);
    param->SetWidth(800);
    param->SetHeight(600);
    factory_->CreateLightBrowser(9, "light", url, param, nullptr);
    param->Destroy();
    xhav::Browser* browser = Newest();
    Pump([&] { return Url(browser) == url; });
    return browser;
  }
  std::vector<std::u16string> OpenUrlTargets() const {
    std::vector<std::u16string> targets;
    for (auto* core : cores_) {
      for (const auto& call : core->calls()) {
        if (call.business == u"OpenUrl") targets.push_back(call.json);
      }
    }
    return targets;
  }
  // The activation results that went to the page of `browserId`, in order.
  std::vector<std::string> ActivationsOf(int browserId) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> found;
    for (const auto& [id, state] : activations_) {
      if (id == browserId) found.push_back(state);
    }
    return found;
  }
  // The file lists the client was told of as "tn.ondragfile".
  std::vector<interdata::CoreMediaInfoList> Drops() const {
    std::vector<interdata::CoreMediaInfoList> found;
    for (const auto& e : bus_.posted()) {
      if (e.name != "tn.ondragfile") continue;
      found.emplace_back();
      found.back().ParseFromString(e.data);
    }
    return found;
  }
  std::vector<std::string> WindowChanges() const {
    std::vector<std::string> found;
    for (const auto& e : bus_.posted()) {
      if (e.name == "tn.onwindowChange") found.push_back(e.data);
    }
    return found;
  }
  void CloseAll() {
    for (auto& view : views_) {
      if (auto* b = static_cast<tnwebui::TnBrowserPbUI*>(view.get())->browser()) b->Close(1);
    }
    Pump([&] { return factory_->size() == 0; });
    views_.clear();
  }

 protected:
  template <typename Engine>
  void Start(Engine& engine, tnmainui::InProcessHost& host, tnwebui::TnWebUIModule& module) {
    host.SetService(SID_EventBus, static_cast<EventBus*>(&bus_));
    previous_ = tnwebui::TnWebUIModule::Install(&module);
    module.OnModuleLoaded(0);
    factory_ = module.GetOrCreateFactory();
    engine.SetTracer(
        [this](const char* hop, CefProcessId, int id, CefRefPtr<CefProcessMessage> message) {
          if (std::string(hop) != "send" || message->GetName() != "ExeBusinessActionCallback")
            return;
          CefRefPtr<CefListValue> args = message->GetArgumentList();
          if (args->GetString(1).ToString() != "updateactivestate") return;
          std::lock_guard<std::mutex> lock(mutex_);
          activations_.emplace_back(id, args->GetList(2)->GetString(2).ToString());
        });
  }
  virtual void Post(std::function<void()> task) = 0;

  tnmainui::InProcessEventBus bus_{[this](std::function<void()> t) { Post(std::move(t)); }};
  tnwebui::TnWebUIModule* previous_ = nullptr;
  tnwebui::TnBrowserFactory* factory_ = nullptr;
  std::vector<tnmainui::ScriptedBusinessCore*> cores_;
  std::vector<std::unique_ptr<IBrowserView, void (*)(IBrowserView*)>> views_;
  std::mutex mutex_;
  std::vector<std::pair<int, std::string>> activations_;
};

class InProcessWorld final : public World {
 public:
  InProcessWorld() {
    engine_.ui().BindCurrentThread();
    engine_.SetClientWebDomain(tnmainui::kDefaultWebDomain);
    Start(engine_, host_, module_);
    render_.RegisterNativeExtension();
    engine_.render_host()->SetRenderNotify(&render_);
  }
  ~InProcessWorld() override {
    CloseAll();
    engine_.RunUntilIdle();
    engine_.render_host()->SetRenderNotify(nullptr);
  }
  bool ok() const override { return true; }
  void PageGoes(xhav::Browser* b, const std::string& url) override { Impl(b)->Navigate(url); }
  std::string Url(xhav::Browser* b) override { return Impl(b)->url(); }
  void RunUi() override { engine_.RunUntilIdle(); }
  std::vector<std::string> AskDesktop(xhav::Browser* b, const char* path) override {
    return engine_.SendRequest(b->GetId(), tnwebui::DesktopAddress(path), nullptr).writes;
  }
  void DragFiles(xhav::Browser* b, const std::vector<std::string>& files, bool drop) override {
    xhav::FileList wide;
    for (const std::string& f : files) wide.push_back(tnbase::TnStringPtr::FromUTF8(f)->GetData());
    Impl(b)->DragFiles(wide, drop);
  }
  xhav::Browser* Newest() override { return engine_.browsers().back(); }

 private:
  static xhav::inproc::BrowserImpl* Impl(xhav::Browser* b) {
    return static_cast<xhav::inproc::BrowserImpl*>(b);
  }
  void Post(std::function<void()> task) override { engine_.ui().PostTask(std::move(task)); }
  xhav::inproc::Engine engine_{xhav::kProcessTypeBrowser};
  tnmainui::InProcessHost host_{engine_.core(), engine_.render_host()};
  tnwebui::TnWebUIModule module_{&host_};
  tnwebui::RenderProcess render_{&module_};
};

class ChromiumWorld final : public World {
 public:
  ChromiumWorld() {
    if (!engine_.ok()) return;
    engine_.ui().BindCurrentThread();
    Start(engine_, host_, module_);
  }
  ~ChromiumWorld() override {
    if (engine_.ok()) CloseAll();
  }
  bool ok() const override { return engine_.ok(); }
  void PageGoes(xhav::Browser* b, const std::string& url) override {
    Json::Value params;
    params["expression"] = "location.href = '" + xhav::cdp::Engine::ToEngineUrl(url) + "'";
    engine_.connection().Send("Runtime.evaluate", params, Page(b)->session(), nullptr);
  }
  std::string Url(xhav::Browser* b) override { return Page(b)->url(); }
  void RunUi() override { engine_.ui().RunUntilIdle(); }
  void DragFiles(xhav::Browser* b, const std::vector<std::string>& files, bool drop) override {
    Page(b)->DragFiles(files, drop);
  }
  std::vector<std::string> AskDesktop(xhav::Browser* b, const char* path) override {
    auto answer = std::make_shared<std::optional<std::vector<std::string>>>();
    engine_.SetRequestTracer([answer](int, const std::string&, const std::vector<std::string>& w,
                                      double) { *answer = w; });
    Json::Value params;
    params["expression"] = "fetch('" + tnwebui::DesktopAddress(path) + "', {method: 'POST'}); 0";
    engine_.connection().Send("Runtime.evaluate", params, Page(b)->session(), nullptr);
    Pump([&] { return answer->has_value(); });
    engine_.SetRequestTracer(nullptr);
    return answer->value_or(std::vector<std::string>());
  }
  xhav::Browser* Newest() override { return engine_.browsers().back(); }

 private:
  static xhav::cdp::PageBrowser* Page(xhav::Browser* b) {
    return static_cast<xhav::cdp::PageBrowser*>(b);
  }
  void Post(std::function<void()> task) override { engine_.ui().PostTask(std::move(task)); }
  xhav::cdp::Engine engine_{ChromiumOptions(false)};
  tnmainui::InProcessHost host_{engine_.core(), nullptr};
  tnwebui::TnWebUIModule module_{&host_};
};

class BothEngines : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "chromium") {
      if (access(xhav::cdp::LaunchOptions().executable.c_str(), X_OK) != 0)
        GTEST_SKIP() << "Chromium is not available";
      world = std::make_unique<ChromiumWorld>();
    } else {
      world = std::make_unique<InProcessWorld>();
    }
    ASSERT_TRUE(world->ok());
  }
  void TearDown() override { world.reset(); }
  std::unique_ptr<World> world;
};

constexpr char kPage[] = "file://tavrin5main/notices.html";
constexpr char kForeign[] = "https://tavrin5main.frames.invalid/landed.html";

// The page's own navigations: the company's addresses and the client's scheme go to the client
// and the view stays; a filtering view (the default) stays on its page, one that doesn't
// filter goes. The host's own load isn't filtered.
TEST_P(BothEngines, APagesNavigationsFollowTheViewsRule) {
  xhav::Browser* filtered = world->Open(kPage, {});
  ASSERT_NE(filtered, nullptr);
  world->PageGoes(filtered, "https://intra.example.com/docs?id=7");
  ASSERT_TRUE(world->Pump([&] { return world->OpenUrlTargets().size() == 1; }));
  world->PageGoes(filtered, "zd480courier://chat/9");
  ASSERT_TRUE(world->Pump([&] { return world->OpenUrlTargets().size() == 2; }));
  world->PageGoes(filtered, kForeign);
  EXPECT_EQ(world->OpenUrlTargets(),
            (std::vector<std::u16string>{u"zd480courier://docs?id=7", u"zd480courier://chat/9"}));
  world->Pump([] { return false; }, 500);
  EXPECT_EQ(world->Url(filtered), kPage);

  xhav::Browser* open = world->Open(kPage, [](IBrowserViewSetting* s) { s->SetFilterUrl(0); });
  world->PageGoes(open, kForeign);
  EXPECT_TRUE(world->Pump([&] { return world->Url(open) == kForeign; })) << world->Url(open);
  filtered->LoadUrl(kForeign);
  EXPECT_TRUE(world->Pump([&] { return world->Url(filtered) == kForeign; }));
}

// The window model's news: a light window's maximise, restore and minimise (its title bar's
// commands) reach its page as "tn.onwindowChange" with 2, 0 and 1; activation moving between
// two windows reaches each page as "updateactivestate".
TEST_P(BothEngines, WindowStateAndActivationReachThePages) {
  xhav::Browser* light = world->OpenLight("file://tavrin5main/light.html");
  ASSERT_NE(light, nullptr);
  for (win::WPARAM command : {win::SC_MAXIMIZE, win::SC_RESTORE, win::SC_MINIMIZE})
    win::SendMessageW(light->GetWindowHandle(), win::WM_SYSCOMMAND, command, 0);
  EXPECT_TRUE(world->Pump([&] { return world->WindowChanges().size() == 3; }));
  EXPECT_EQ(world->WindowChanges(), (std::vector<std::string>{"2", "0", "1"}));

  xhav::Browser* a = world->Open(kPage, {});
  xhav::Browser* b = world->Open(kPage, {});
  ASSERT_TRUE(a && b);
  win::SetForegroundWindow(a->GetWindowHandle());
  world->Pump([&] { return world->ActivationsOf(a->GetId()).size() >= 1; });
  const std::size_t before = world->ActivationsOf(a->GetId()).size();
  win::SetForegroundWindow(b->GetWindowHandle());
  win::SetForegroundWindow(a->GetWindowHandle());
  ASSERT_TRUE(world->Pump([&] { return world->ActivationsOf(a->GetId()).size() == before + 2; }));
  const auto heard = world->ActivationsOf(a->GetId());
  EXPECT_EQ(heard[before], "inactive");
  EXPECT_EQ(heard[before + 1], "active");
  EXPECT_EQ(world->ActivationsOf(b->GetId()).back(), "inactive");
  light->Close(1);
  world->Pump([&] { return !win::IsWindow(light->GetWindowHandle()); });
}

// Files and a folder dropped on a client page reach the client with their paths, sizes and
// kinds; a drag let go elsewhere tells nothing; a page that takes drops itself (one that speaks
// the light-app bridge) keeps them from the client.
TEST_P(BothEngines, DroppedFilesReachTheClient) {
  ScratchDir dir("drop");
  const std::string file = dir.path() + "/a.txt";
  std::ofstream(file) << "abc";
  const std::string folder = dir.path() + "/folder";
  std::filesystem::create_directory(folder);
  xhav::Browser* page = world->Open(kPage, {});
  ASSERT_NE(page, nullptr);
  world->Pump([] { return false; }, 300);  // the page's script has run
  world->DragFiles(page, {file}, false);
  world->DragFiles(page, {file, folder}, true);
  ASSERT_TRUE(world->Pump([&] { return world->Drops().size() == 1; }));
  world->Pump([] { return false; }, 300);
  ASSERT_EQ(world->Drops().size(), 1u);
  const interdata::CoreMediaInfoList list = world->Drops()[0];
  ASSERT_EQ(list.infos_size(), 2);
  EXPECT_EQ(list.infos(0).localpath(), file);
  EXPECT_EQ(list.infos(0).size(), 3);
  EXPECT_EQ(list.infos(1).localpath(), folder);
  EXPECT_EQ(list.infos(1).type(), interdata::DIR);
}

INSTANTIATE_TEST_SUITE_P(Engines, BothEngines, ::testing::Values("inprocess", "chromium"),
                         [](const auto& info) { return info.param; });

// The desktop origin answers a window's page the same, byte for byte, on either engine.
TEST(BothEnginesAlike, TheDesktopOriginAnswersAPageTheSame) {
  if (access(xhav::cdp::LaunchOptions().executable.c_str(), X_OK) != 0)
    GTEST_SKIP() << "Chromium is not available";
  auto answers = [](World& world) {
    std::vector<std::vector<std::string>> all;
    xhav::Browser* page = world.Open(kPage, {});
    if (!page) return all;
    for (const char* path : {"/window/init", "/window/getwindowtemp"})
      all.push_back(world.AskDesktop(page, path));
    return all;
  };
  std::vector<std::vector<std::string>> inProcess, chromium;
  {
    InProcessWorld world;
    inProcess = answers(world);
  }
  {
    ChromiumWorld world;
    ASSERT_TRUE(world.ok());
    chromium = answers(world);
  }
  ASSERT_EQ(inProcess.size(), 2u);
  EXPECT_FALSE(inProcess[0].empty());
  EXPECT_EQ(chromium, inProcess);
}

}  // namespace
