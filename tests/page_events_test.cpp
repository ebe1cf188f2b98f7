// Page events: subscriptions from a page, events raised on the client's bus in every format,
// and events that a page posts.

#include <gmock/gmock.h>

#include "presentation.pb.h"
#include "view_fixture.h"

namespace {

std::string ArgText(const CefRefPtr<CefV8Value>& v) { return v->GetStringValue().ToString(); }

}  // namespace

class PageEvents : public ViewFixture {
 protected:
  PageEvents() {
    view = Create(Settings(u"events"), "https://events.test/");
    browser = BrowserOf(view);
    page = browser->page();
    engine.SetTracer(
        [this](const char* hop, CefProcessId target, int, CefRefPtr<CefProcessMessage> m) {
          if (std::string(hop) == "send" && target == PID_RENDERER &&
              m->GetName().ToString() == "push_notify") {
            pushedKeys.push_back(m->GetArgumentList()->GetString(0).ToString());
          }
        });
  }
  ~PageEvents() override {
    engine.SetTracer(nullptr);
    view->Release();
  }
  void Register(const std::vector<std::string>& names, const PageFunction& f,
                const char* tag = nullptr) {
    CefRefPtr<CefV8Value> array = CefV8Value::CreateArray(static_cast<int>(names.size()));
    for (size_t i = 0; i < names.size(); ++i) array->SetValue(static_cast<int>(i), Str(names[i]));
    CefV8ValueList args{array, f.value};
    if (tag) args.push_back(Str(tag));
    EXPECT_TRUE(page->Call("tnpc.registerEvent", args).handled);
    engine.RunUntilIdle();
  }
  void Raise(const std::string& name, const std::string& format, const std::string& bytes,
             int type = 7) {
    eventBus.Raise(type, name, format, bytes);
    engine.RunUntilIdle();
  }
  const auto& Subscribers() { return Pb(view)->event_api()->pool()->subscribers(); }

  IBrowserView* view = nullptr;
  xhav::inproc::BrowserImpl* browser = nullptr;
  std::shared_ptr<xhav::inproc::Page> page;
  std::vector<std::string> pushedKeys;
};

TEST_F(PageEvents, OneCallSubscribesEveryNameUnderOneKey) {
  PageFunction f;
  Register({"a", "b"}, f, "t");
  ASSERT_EQ(Subscribers().count("a"), 1u);
  EXPECT_EQ(Subscribers().at("a")[0].key, Subscribers().at("b")[0].key);
  EXPECT_EQ(Subscribers().at("a")[0].tag, "t");
  Raise("b", "json", std::string("{\"n\":1}\0tail", 12));
  ASSERT_EQ(f.calls->size(), 1u);
  const auto& args = (*f.calls)[0];
  EXPECT_EQ(args[0]->GetIntValue(), 7);
  EXPECT_EQ(ArgText(args[1]), "b");
  EXPECT_EQ(ArgText(args[2]), "json");
  EXPECT_EQ(ArgText(args[3]), "{\"n\":1}");  // a NUL ends a json payload
}

TEST_F(PageEvents, ATakenTagKeepsItsFunctionAndEmptyTagsPileUp) {
  PageFunction f, g, h1, h2;
  Register({"a"}, f, "t");
  Register({"a"}, g, "t");
  Register({"c"}, h1);
  Register({"c"}, h2);
  Raise("a", "json", "1");
  Raise("c", "json", "2");
  EXPECT_EQ(f.calls->size(), 1u);
  EXPECT_TRUE(g.calls->empty());
  EXPECT_EQ(h1.calls->size(), 1u);
  EXPECT_EQ(h2.calls->size(), 1u);
  EXPECT_EQ(Subscribers().at("c").size(), 2u);
}

TEST_F(PageEvents, UnregisteringRemovesTheTagsSubscriptions) {
  PageFunction f, g;
  Register({"a"}, f, "t");
  Register({"a"}, g);
  page->Call("tnpc.unregisterEvent", {CefV8Value::CreateArray(0), Str("t")});
  CefRefPtr<CefV8Value> names = CefV8Value::CreateArray(1);
  names->SetValue(0, Str("a"));
  page->Call("tnpc.unregisterEvent", {names, Str("t")});
  engine.RunUntilIdle();
  Raise("a", "json", "x");
  EXPECT_TRUE(f.calls->empty());
  EXPECT_EQ(g.calls->size(), 1u);
  page->Call("tnpc.unregisterEvent", {names, Str("")});
  engine.RunUntilIdle();
  EXPECT_EQ(Subscribers().count("a"), 0u);
  Raise("a", "json", "x");
  EXPECT_EQ(g.calls->size(), 1u);
}

TEST_F(PageEvents, EveryFormatArrivesAsItsRaiserChose) {
  PageFunction f;
  Register({"e"}, f);
  const std::string bytes("\x01\x00\xff", 3);
  for (const char* format : {"binary", "pb", "base64", "pbtext", "other"})
    Raise("e", format, bytes, 5);
  ASSERT_EQ(f.calls->size(), 4u);
  for (int i = 0; i < 2; ++i) {
    const auto& args = (*f.calls)[i];
    ASSERT_TRUE(args[3]->IsArrayBuffer());
    EXPECT_EQ(std::string(static_cast<char*>(args[3]->GetArrayBufferData()),
                          args[3]->GetArrayBufferByteLength()),
              bytes);
  }
  EXPECT_EQ(ArgText((*f.calls)[1][2]), "pb");
  EXPECT_EQ(ArgText((*f.calls)[2][3]), "AQD/");
  // "pbtext" is the UnifyEvent's wire form as a text: its NUL byte ends it.
  interdata::UnifyEvent event;
  event.set_oid(5);
  event.set_event_type("e");
  event.set_data_buf(bytes);
  const std::string wire = event.SerializeAsString();
  EXPECT_EQ(ArgText((*f.calls)[3][3]), CefString(std::string(wire.c_str())).ToString());
  EXPECT_LT(ArgText((*f.calls)[3][3]).size(), wire.size());
}

TEST_F(PageEvents, NothingGoesWithoutDataSubscribersOrPool) {
  PageFunction f;
  Register({"a"}, f);
  eventBus.RaiseWithoutData(1, "a", "json");
  Raise("nobody", "json", "x");
  engine.RunUntilIdle();
  EXPECT_TRUE(pushedKeys.empty());
  EXPECT_TRUE(f.calls->empty());

  EXPECT_EQ(eventBus.receivers(), 1u);
  browser->FinishClose();  // the view detaches its events before it closes
  EXPECT_EQ(eventBus.receivers(), 0u);
  Raise("a", "json", "x");
  EXPECT_TRUE(pushedKeys.empty());
}

TEST_F(PageEvents, AReloadKeepsTheOldSubscription) {
  PageFunction f, g;
  Register({"a"}, f, "t");
  const std::string oldKey = Subscribers().at("a")[0].key;
  page->Reload();
  engine.RunUntilIdle();
  Register({"a"}, g, "t");  // ignored: the tag is taken
  Raise("a", "json", "x");
  EXPECT_EQ(pushedKeys, std::vector<std::string>{oldKey});
  EXPECT_TRUE(g.calls->empty());
  // The old function is looked up and tried; its document is gone.
  EXPECT_EQ(log.CountPrefix("can not find the callback"), 0);
}

TEST_F(PageEvents, APageSendsOnlyJsonThrough) {
  for (const char* format : {"json", "text", "pb", "pbtext", "base64"}) {
    EXPECT_TRUE(
        page->Call("tnpc.sendEvent", {Int(3), Str("tn.x"), Str(format), Str("{\"v\":1}")}).handled);
  }
  EXPECT_TRUE(page->Call("tnpc.sendEvent", {Int(3), Str("tn.two")}).handled);
  engine.RunUntilIdle();
  const auto posted = eventBus.posted();
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0].kind, "json");
  EXPECT_EQ(posted[0].type, 3);
  EXPECT_EQ(posted[0].name, "tn.x");
  EXPECT_EQ(posted[0].data, "{\"v\":1}");
}

TEST_F(PageEvents, BadMessagesAreLoggedAndAGoneRenderProcessToo) {
  auto* api = Pb(view)->event_api();
  auto message = [](const char* name, std::function<void(CefRefPtr<CefListValue>)> fill) {
    auto m = CefProcessMessage::Create(name);
    fill(m->GetArgumentList());
    return m;
  };
  auto name = [](const char* s) { return tnbase::TnStringPtr::FromUTF8(s); };
  EXPECT_TRUE(api->OnBrowserCall(name("REGISTEREVENT").get(),
                                 message("registerEvent", [](auto l) { l->SetString(0, "a"); })));
  EXPECT_TRUE(api->OnBrowserCall(name("registerEvent").get(), message("registerEvent", [](auto l) {
                                   l->SetString(0, "a");
                                   l->SetString(1, "k");
                                 })));
  EXPECT_TRUE(
      api->OnBrowserCall(name("unregisterEvent").get(), message("unregisterEvent", [](auto l) {
                           l->SetList(0, CefListValue::Create());
                           l->SetString(1, "t");
                           l->SetString(2, "x");
                         })));
  EXPECT_FALSE(api->OnBrowserCall(name("havFetchJSMessage").get(), message("x", [](auto) {})));
  EXPECT_EQ(log.Count("registerEvent, function param error", 4, "BrowserEventApi::OnBrowserCall"),
            3);

  PageFunction f;
  Register({"a"}, f);
  page->SetGone(true);
  Raise("a", "base64", "x");
  EXPECT_EQ(log.Count("send render process message error;", 4,
                      "BrowserFunctionNotify::executeBase64JsCallback"),
            1);
  page->SetGone(false);
}
