// The registry of page callbacks and the running of a callback when an answer names it.

#include "render_fixture.h"

class CallbackRegistry : public RenderFixture {
 protected:
  CallbackRegistry() : page(OpenPage()) {}

  void Register(xhav::inproc::Page& p, const std::string& key, const PageFunction& f,
                int isJsSdk = 0) {
    handler->AddJsFunCallback(p.browser(), key, f.value, p.context(), "", isJsSdk);
  }

  std::shared_ptr<xhav::inproc::Page> page;
};

TEST_F(CallbackRegistry, TheLastRegistrationOfAKeyWins) {
  PageFunction first, second;
  Register(*page, "a_b_1", first);
  EXPECT_EQ(log.Count("find the browser cache!"), 0);
  EXPECT_EQ(log.CountPrefix("jscallback wrapper"), 0);
  Register(*page, "a_b_2", first);
  EXPECT_EQ(log.Count("find the browser cache!", 1), 1);
  EXPECT_EQ(log.CountPrefix("jscallback wrapper [a_b_2][0x"), 1);
  Register(*page, "a_b_1", second);
  EXPECT_EQ(log.Count("js callback exist, need modify [a_b_1]", 1), 1);

  Deliver(*page, BusinessAnswer("a", "b", "1", 0, "d"));
  EXPECT_TRUE(first.calls->empty());
  EXPECT_EQ(second.calls->size(), 1u);
}

TEST_F(CallbackRegistry, BrowsersKeepSeparateEntries) {
  auto other = OpenPage();
  PageFunction mine, theirs;
  Register(*page, "k", mine);
  Register(*other, "k", theirs);
  Deliver(*other, PushNotify("k", 1, "e", "json", "{}", false));
  EXPECT_TRUE(mine.calls->empty());
  EXPECT_EQ(theirs.calls->size(), 1u);
  EXPECT_EQ(handler->FindJsCallback(nullptr, "k"), nullptr);
}

TEST_F(CallbackRegistry, EntriesStayAfterTheyAnswer) {
  PageFunction f;
  Register(*page, "a_b_0", f);
  Deliver(*page, BusinessAnswer("a", "b", "", 1, "one"));  // an empty id answers "0"
  Deliver(*page, BusinessAnswer("a", "b", "0", 2, "two"));
  ASSERT_EQ(f.calls->size(), 2u);
  EXPECT_EQ((*f.calls)[0][2]->GetStringValue().ToString(), "0");
  EXPECT_EQ((*f.calls)[1][0]->GetIntValue(), 2);
  EXPECT_EQ(log.Count("execute js callback success [1][a][b]\n", 1), 2);
}

TEST_F(CallbackRegistry, UnknownKeysAndBrokenEntriesAreLoggedAndSwallowed) {
  Deliver(*page, PushNotify("nobody", 0, "e", "json", "", false));
  EXPECT_EQ(
      log.Count("can not find the callback for nobody", 4, "CCefV8HandlerImpl::ExecuteCallback"),
      1);
  Deliver(*page, PushNotify("nobody", 0, "e", "pb", "", true));
  EXPECT_EQ(log.Count("can not find the callback for nobody", 4,
                      "CCefV8HandlerImpl::ExecuteCallbackWithBinary"),
            1);
  log.Clear();
  Deliver(*page, BusinessAnswer("a", "nobody", "1", 0, ""));  // silent
  EXPECT_EQ(log.Count("execute action callback, biz = a, action = nobody", 1), 1);
  EXPECT_EQ(log.CountPrefix("execute js callback"), 0);
  Deliver(*page, BusinessAnswer("", "b", "1", 0, ""));
  EXPECT_EQ(log.Count("ExecuteBusinessActionCallback business or action empty ", 1), 1);

  PageFunction f;
  handler->AddJsFunCallback(page->browser(), "no_context", f.value, nullptr, "", 0);
  Deliver(*page, PushNotify("no_context", 0, "e", "json", "", false));
  EXPECT_EQ(log.Count("js context is null", 4), 1);
  handler->ExecuteCallback(nullptr, "no_context", 0, "", "", "");
  EXPECT_EQ(log.Count("execute action callback, but the browser object is null", 4), 1);
  EXPECT_TRUE(f.calls->empty());
}

TEST_F(CallbackRegistry, BinaryPayloadIsACopyOwnedByThePage) {
  PageFunction f;
  Register(*page, "bin", f, 1);
  std::string payload(1000, 'x');
  payload[0] = '\0';
  Deliver(*page, PushNotify("bin", 0, "e", "binary", payload, true));
  Deliver(*page, PushNotify("bin", 0, "e", "binary", "", true));  // malloc(0)
  ASSERT_EQ(f.calls->size(), 2u);
  // The message and its bytes are gone; the page's buffer is its own.
  auto buffer = (*f.calls)[0][3];
  EXPECT_EQ(std::string(static_cast<char*>(buffer->GetArrayBufferData()), 1000), payload);
  EXPECT_TRUE(buffer->GetArrayBufferReleaseCallback() != nullptr);
  EXPECT_EQ((*f.calls)[1][3]->GetArrayBufferByteLength(), 0u);
}

TEST_F(CallbackRegistry, AStaleContextMakesTheCallFail) {
  PageFunction f;
  EXPECT_TRUE(
      Call(*page, "exebusinessaction", {Str("a"), Str("b"), Str(""), Str(""), Str("1"), f.value})
          .handled);
  page->Reload();  // a new document: the old context is gone, its callback stays
  engine.RunUntilIdle();
  Deliver(*page, BusinessAnswer("a", "b", "1", 0, ""));
  EXPECT_TRUE(f.calls->empty());
  EXPECT_EQ(log.Count("execute js callback fail [1][a][b]\n", 1), 1);
}

TEST_F(CallbackRegistry, ACallbackMayCallBackIntoTheHandler) {
  PageFunction f;
  int depth = 0;
  *f.onCall = [&](const CefV8ValueList&) {
    if (depth++ > 0) return;
    // Inside its answer the page asks again, with the same key.
    Call(*page, "exebusinessaction", {Str("a"), Str("b"), Str(""), Str(""), Str("1"), f.value});
    Call(*page, "minwnd");
  };
  Call(*page, "exebusinessaction", {Str("a"), Str("b"), Str(""), Str(""), Str("1"), f.value});
  Deliver(*page, BusinessAnswer("a", "b", "1", 0, ""));
  EXPECT_EQ(f.calls->size(), 1u);
  const auto sent = Sent();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(sent[2].message->GetName().ToString(), "minwnd");
  Deliver(*page, BusinessAnswer("a", "b", "1", 0, ""));
  EXPECT_EQ(f.calls->size(), 2u);
}

TEST_F(CallbackRegistry, ACallbackThatRegistersItsOwnKeyLeavesTheContextStackAsItWas) {
  // Inside its run, the function is registered again under its own key with another context:
  // the run must leave the context it entered, not the new entry's.
  auto other = OpenPage();
  PageFunction f, g;
  *f.onCall = [&](const CefV8ValueList&) {
    handler->AddJsFunCallback(page->browser(), "k", g.value, other->context(), "", 1);
  };
  for (bool binary : {false, true}) {
    Register(*page, "k", f, 1);
    ASSERT_FALSE(CefV8Context::InContext());
    Deliver(*page, PushNotify("k", 0, "e", binary ? "pb" : "json", "x", binary));
    EXPECT_FALSE(CefV8Context::InContext()) << (binary ? "binary" : "text");
    while (CefV8Context::InContext()) CefV8Context::GetCurrentContext()->Exit();
  }
  EXPECT_EQ(f.calls->size(), 2u);
  EXPECT_TRUE(g.calls->empty());
}

namespace {

class NumberedFrame final : public CefFrame {
 public:
  explicit NumberedFrame(int64_t id) : id_(id) {}
  bool IsMain() override { return id_ == 1; }
  int64_t GetIdentifier() override { return id_; }
  CefString GetURL() override { return CefString(); }

 private:
  const int64_t id_;
  IMPLEMENT_REFCOUNTING(NumberedFrame);
};

}  // namespace

// One registry serves every document of a browser. A key that a document waits on an answer
// for stays its own against another frame's document, by a call or a parked callback alike; a
// later document of the same frame, or anyone once the answer came or the document ended, takes it.
TEST_F(CallbackRegistry, AKeyWaitingForAnAnswerStaysWithItsDocument) {
  CefRefPtr<CefFrame> main = new NumberedFrame(1), widget = new NumberedFrame(2);
  CefRefPtr<CefV8Context> app = cef_inproc::CreateContext(page->browser(), main);
  CefRefPtr<CefV8Context> frame = cef_inproc::CreateContext(page->browser(), widget);
  PageFunction mine, theirs;
  auto asks = [&](CefRefPtr<CefV8Context> context, const PageFunction& f, bool call = true) {
    return handler->AddJsFunCallback(page->browser(), "a_b_p", f.value, context, "", 0, call);
  };
  EXPECT_TRUE(asks(app, mine));
  EXPECT_FALSE(asks(frame, theirs));
  EXPECT_FALSE(asks(frame, theirs, false));
  Deliver(*page, BusinessAnswer("a", "b", "p", 0, "profile"));
  EXPECT_EQ(mine.calls->size(), 1u);
  EXPECT_TRUE(theirs.calls->empty());
  EXPECT_EQ(log.Count("the callback [a_b_p] waits for another document's answer, not replaced", 4,
                      "CCefV8HandlerImpl::AddJsFunCallback"),
            2);

  EXPECT_TRUE(asks(frame, theirs));  // answered: the last registration wins again
  EXPECT_FALSE(asks(app, mine));
  CefRefPtr<CefV8Context> reloaded = cef_inproc::CreateContext(page->browser(), widget);
  EXPECT_TRUE(asks(reloaded, theirs));  // the frame's next document
  cef_inproc::InvalidateContext(reloaded);
  EXPECT_TRUE(asks(app, mine));  // a document that ended waits for nothing
  Deliver(*page, BusinessAnswer("a", "b", "p", 0, "again"));
  EXPECT_EQ(mine.calls->size(), 2u);
  for (auto& context : {app, frame}) cef_inproc::InvalidateContext(context);
}
