// Desktop commands: a page's request to a path under the desktop origin is served by the
// handler of the window's own registrations or of the module's, which writes its Response
// into the request. Also the full page view around them: its registrations, its dispatcher of
// state changes and the order in which process messages are offered.

#include <gmock/gmock.h>

#include "auth.pb.h"
#include "jsapi.pb.h"
#include "light/desktop_origin.h"
#include "light/tavrin_browser_handler.h"
#include "open_fixture.h"
#include "presentation.pb.h"
#include "tnmainui/business_service.h"
#include "view_fixture.h"
#include "win/window.h"

using testing::ElementsAre;

namespace {

constexpr int kInvalidApi = interdata::InvalidAPI;
constexpr int kParamCount = interdata::ParamCount;

std::string Body(std::initializer_list<int> ints) {
  interdata::ParamList list;
  for (int i : ints) list.add_items()->set_intval(i);
  return list.SerializeAsString();
}

std::vector<int> Codes(const xhav::inproc::RequestResult& result) { return ResponseCodes(result); }

// A request made by hand, for handlers called directly.
class HandRequest final : public xhav::Request {
 public:
  explicit HandRequest(std::string path) : path_(std::move(path)) {}
  TnString* GetPath() override { return allocStringFromUTF8(path_.c_str()); }
  const xhav::PostElements* GetPostElements() override { return nullptr; }
  void Write(const void* data, std::size_t length) override {
    writes.emplace_back(static_cast<const char*>(data), length);
  }
  std::vector<std::string> writes;

 private:
  std::string path_;
};

struct StateListener final : xhav::EventListener<xhav::BrowserStateChange> {
  explicit StateListener(bool take) : take(take) {}
  void OnEvent(xhav::BrowserStateChange& change) override {
    seen.push_back(change.state);
    change.handled = take;
  }
  bool take;
  std::vector<int32_t> seen;
};

}  // namespace

class DesktopCommands : public ViewFixture {
 protected:
  DesktopCommands() {
    module->OnModuleLoaded(0);
    view = Create(Settings(u"Desk", 0, "{\"k\":1}"), "https://desk.test/page");
    browser = BrowserOf(view);
  }
  ~DesktopCommands() override { view->Release(); }
  xhav::inproc::RequestResult Send(const char* path,
                                   const std::vector<std::string>* body = nullptr) {
    return engine.SendRequest(browser->GetId(), tnwebui::DesktopAddress(path), body);
  }
  xhav::inproc::RequestResult Send(const char* path, const std::vector<std::string>& body) {
    return Send(path, &body);
  }

  IBrowserView* view = nullptr;
  xhav::inproc::BrowserImpl* browser = nullptr;
};

TEST_F(DesktopCommands, PathsAreLookedUpExactlyAndWindowCommandsWorkWithoutABody) {
  EXPECT_TRUE(Send("/window/min").writes.empty());
  EXPECT_EQ(Codes(Send("/window/min", {""})), std::vector<int>{});  // an empty body too
  EXPECT_TRUE(Send("/window/max").writes.empty());
  EXPECT_TRUE(Send("/window/restore").writes.empty());
  EXPECT_TRUE(Send("/window/min?x=1").writes.empty());  // the query isn't part of the path
  // Longer and shorter forms reach a handler (an address serves the addresses it begins) and
  // the handler refuses them.
  EXPECT_EQ(Codes(Send("/window/minimize")), std::vector<int>{kInvalidApi});
  EXPECT_EQ(Codes(Send("/window/opener")), std::vector<int>{kInvalidApi});
  EXPECT_FALSE(Send("/window/mi").served);  // nothing begins it: a network error
  EXPECT_FALSE(Send("/nothing").served);
  EXPECT_THAT(browser->calls(), testing::IsSupersetOf({"Minimize", "Maximize", "Restore"}));
  EXPECT_TRUE(Send("/window/close").writes.empty());
  EXPECT_THAT(browser->calls(), testing::Contains("Close(1)"));
}

TEST_F(DesktopCommands, OnlyABodyOfOneParamListIsRead) {
  EXPECT_TRUE(Send("/window/setwindowsize", {Body({10, 20, 300, 200})}).writes.empty());
  const win::WindowState moved = win::GetWindowState(browser->GetWindowHandle());
  EXPECT_EQ(std::vector<int>({moved.x, moved.y, moved.width, moved.height}),
            std::vector<int>({10, 20, 300, 200}));
  // Two elements aren't read at all: the command sees no items.
  EXPECT_EQ(Codes(Send("/window/setwindowsize", {Body({1, 2, 3, 4}), Body({1, 2, 3, 4})})),
            std::vector<int>{1});
  EXPECT_EQ(log.Count("the javascript param can not unmarshal."), 0);
  // A body that isn't a ParamList: the router's ParamCount, and the command still runs.
  EXPECT_EQ(Codes(Send("/window/setwindowsize", {"\xff\xff\xff"})),
            (std::vector<int>{kParamCount, 1}));
  EXPECT_EQ(log.Count("the javascript param can not unmarshal.", 4, "BrowserHandler::OnRequest"),
            1);
  EXPECT_EQ(log.records().back().source, "src\\light\\tavrin_browser_handler");
  // Items of another kind read as 0.
  interdata::ParamList odd;
  for (int i = 0; i < 5; ++i) odd.add_items()->set_stringval("9");
  Send("/window/animationstop", {odd.SerializeAsString()});
  Send("/window/animationstart", {Body({1, 2, 3})});
  EXPECT_THAT(browser->calls(),
              testing::IsSupersetOf({"Animate(0,0,0,0,0)", "Animate(1,2,3,0,0)"}));
  // The full page view has no always-on-top: nothing serves it.
  EXPECT_FALSE(Send("/window/setalwaysontop", {Body({7})}).served);
}

TEST_F(DesktopCommands, InitGivesTheWindowsDataWithItsSessionsUser) {
  tnmainui::ScriptedBusinessService service;
  service.SetScript([](const tnmainui::GoCall& call) {
    interdata::CoreSession session;
    session.set_uid(call.orgId == 1 ? 4242 : 1);
    tnmainui::GoAnswer answer;
    answer.data = session.SerializeAsString();
    return answer;
  });
  host.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service));
  // A window of organisation 1.
  auto* orgCore = new tnmainui::ScriptedBusinessCore(u"1", "account-1");
  IBrowserViewSetting* settings = Settings(u"Desk1", 0, "{\"k\":1}", false);
  settings->SetBusinessCore(orgCore);
  IBrowserView* orgView = Create(settings, "https://desk.test/page");
  auto result = engine.SendRequest(BrowserOf(orgView)->GetId(),
                                   tnwebui::DesktopAddress("/window/init"), nullptr);
  ASSERT_EQ(Codes(result), std::vector<int>{0});
  interdata::Response response;
  response.ParseFromString(result.writes[0]);
  interdata::TavrinWindowData data;
  ASSERT_TRUE(data.ParseFromString(response.data()));
  EXPECT_EQ(data.id(), BrowserOf(orgView)->GetId());
  EXPECT_EQ(data.name(), "Desk1");
  EXPECT_EQ(data.openurl(), "https://desk.test/page");
  EXPECT_EQ(data.oid(), 1);
  EXPECT_EQ(data.uid(), 4242);
  EXPECT_EQ(data.extra_params().at("json").stringval().rfind("{\"k\":1", 0), 0u);
  // Without the service the user is 0.
  host.SetService(SID_BusinessCoreService, nullptr);
  response.ParseFromString(Send("/window/init").writes.at(0));
  data.ParseFromString(response.data());
  EXPECT_EQ(data.uid(), 0);
  EXPECT_EQ(data.name(), "Desk");
  orgView->Release();
  orgCore->Release();
}

TEST_F(DesktopCommands, TheOpenRouterAlwaysEndsAnOpenWithInvalidApi) {
  EXPECT_EQ(Codes(Send("/window/open")), (std::vector<int>{kParamCount, kInvalidApi}));
  interdata::ParamList list;
  list.add_items()->set_stringval("https://x.test/");
  list.add_items()->set_bytesval("\xff\xff");
  EXPECT_EQ(Codes(Send("/window/open", {list.SerializeAsString()})),
            (std::vector<int>{interdata::ParamUnmarshal, kInvalidApi}));
  EXPECT_EQ(Codes(Send("/window/open", {"\xff"})),
            (std::vector<int>{kParamCount, kParamCount, kInvalidApi}));
  EXPECT_EQ(
      log.Count("the javascript param can not unmarshal.", 4, "OpenBrowserHandler::OnRequest"), 1);
}

TEST_F(DesktopCommands, AHandlerWithoutAWindowOrARequestAnswersSafely) {
  tnwebui::BrowserHandler lonely(nullptr);
  HandRequest min("/window/min");
  lonely.OnRequest(&min);
  ASSERT_EQ(min.writes.size(), 1u);
  interdata::Response response;
  response.ParseFromString(min.writes[0]);
  EXPECT_EQ(response.code(), kInvalidApi);
  lonely.OnRequest(nullptr);
  tnwebui::BrowserHandler handler(Pb(view)->tavrin_browser());
  handler.OnRequest(nullptr);
  auto open = std::make_shared<tnwebui::OpenBrowserHandler>();
  open->OnRequest(nullptr);
}

TEST_F(DesktopCommands, RegistrationsComeAndGoInOrderAndTwoAnimationPathsStayBehind) {
  using tnwebui::DesktopAddress;
  std::vector<std::string> module;
  for (const auto& [address, creator] : engine.registrations()) module.push_back(address);
  EXPECT_THAT(module, ElementsAre(DesktopAddress("/window/open"),
                                  DesktopAddress("/biz/common/choosecontacts"),
                                  DesktopAddress("/window/havewindow")));
  std::vector<std::string> added;
  for (const std::string& call : browser->calls()) {
    if (call.rfind("AddHandler(", 0) == 0) added.push_back(call.substr(11, call.size() - 12));
  }
  std::vector<std::string> twelve;
  for (const char* path : tnwebui::kPbViewPaths) twelve.push_back(DesktopAddress(path));
  EXPECT_EQ(added, twelve);
  EXPECT_EQ(twelve.size(), 12u);

  browser->FinishClose();  // the view removes its own twelve, in the same order
  std::vector<std::string> removed;
  for (const std::string& call : browser->calls()) {
    if (call.rfind("RemoveHandler(", 0) == 0) removed.push_back(call.substr(14, call.size() - 15));
  }
  EXPECT_EQ(removed, twelve);

  // A light window's lists: what it registers and what it removes when it ends.
  const std::size_t before = browser->calls().size();
  tnwebui::BrowserHandlerCreator creator(Pb(view)->tavrin_browser());
  tnwebui::AddDesktopHandlers(browser, tnwebui::kLightBrowserPaths, &creator);
  tnwebui::RemoveDesktopHandlers(browser, tnwebui::kLightBrowserRemovedPaths);
  const auto calls = browser->calls();
  std::vector<std::string> left;
  for (auto it = calls.begin() + static_cast<long>(before); it != calls.end(); ++it) {
    const std::string& call = *it;
    if (call.rfind("AddHandler(", 0) == 0) left.push_back(call.substr(11, call.size() - 12));
    if (call.rfind("RemoveHandler(", 0) == 0) {
      left.erase(std::remove(left.begin(), left.end(), call.substr(14, call.size() - 15)),
                 left.end());
    }
  }
  EXPECT_THAT(left, ElementsAre(DesktopAddress("/window/animationstart"),
                                DesktopAddress("/window/animationstop")));
}

TEST_F(DesktopCommands, StateChangesGoToTheDispatchersListenersFirst) {
  // A framed window lays its title bar out on state 3, unless a listener took the change.
  IBrowserView* framed = Create(Settings(u"Framed", 4), "https://framed.test/");
  HWND hwnd = framed->GetHwnd();
  win::SetWindowPos(hwnd, nullptr, 0, 0, 900, 700, win::SWP_NOZORDER);
  auto titleWidth = [hwnd] {
    for (HWND child : win::GetChildren(hwnd)) {
      const auto state = win::GetWindowState(child);
      if (state.className == "TN_WEB_TITLE") return state.width;
    }
    return -1;
  };
  Pb(framed)->OnStateChanged(3);  // no dispatcher yet: the base's handling
  EXPECT_EQ(titleWidth(), 900);

  std::shared_ptr<xhav::tnEventDispatcher> dispatcher, again;
  Pb(framed)->GetEventDispatcher(&dispatcher);
  Pb(framed)->GetEventDispatcher(&again);
  EXPECT_EQ(dispatcher, again);
  auto watcher = std::make_shared<StateListener>(false);
  auto taker = std::make_shared<StateListener>(true);
  dispatcher->AddListener<xhav::BrowserStateChange>(watcher);
  dispatcher->AddListener<xhav::BrowserStateChange>(taker);
  // The window's change of size tells the view by itself.
  win::SetWindowPos(hwnd, nullptr, 0, 0, 1000, 700, win::SWP_NOZORDER);
  EXPECT_EQ(watcher->seen, std::vector<int32_t>{3});
  EXPECT_EQ(taker->seen, std::vector<int32_t>{3});
  EXPECT_EQ(titleWidth(), 900);  // taken: the base didn't lay out
  framed->Release();
}

TEST_F(DesktopCommands, EventMessagesStopAtTheEventApiAndInitTwiceChangesNothing) {
  auto* pool = Pb(view)->event_api()->pool();
  ASSERT_NE(pool, nullptr);
  Pb(view)->OnBrowserCreated();  // after SetBrowser: the pool stays
  EXPECT_EQ(Pb(view)->event_api()->pool(), pool);

  CefRefPtr<CefProcessMessage> message = CefProcessMessage::Create("registerEvent");
  message->GetArgumentList()->SetString(0, "havFetchJSMessage");
  tnbase::TnStringPtr name(allocStringFromUTF8("registerEvent"));
  EXPECT_TRUE(Pb(view)->OnProcessMessage(name.get(), message));
  EXPECT_FALSE(Pb(view)->js_sdk()->fetched());  // the SDK never saw it
  tnbase::TnStringPtr other(allocStringFromUTF8("somethingElse"));
  EXPECT_FALSE(Pb(view)->OnProcessMessage(other.get(), message));
  EXPECT_FALSE(Pb(view)->OnProcessMessage(nullptr, message));
  EXPECT_FALSE(Pb(view)->OnDragEnter());
}
