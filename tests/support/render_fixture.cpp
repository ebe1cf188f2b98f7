#include "render_fixture.h"

PageFunction::PageFunction(const std::string& name) {
  auto record = calls;
  auto hook = onCall;
  value = cef_inproc::CreateScriptFunction(
      name, std::function<void(const CefV8ValueList&)>([record, hook](const CefV8ValueList& args) {
        record->push_back(args);
        if (*hook) (*hook)(args);
      }));
}

CefRefPtr<CefV8Value> Str(const std::string& s) { return CefV8Value::CreateString(s); }
CefRefPtr<CefV8Value> Int(int v) { return CefV8Value::CreateInt(v); }

RenderFixture::RenderFixture() {
  render.RegisterNativeExtension();
  engine.render_host()->SetRenderNotify(&render);
  handler = render.handler();
}

RenderFixture::~RenderFixture() { engine.RunUntilIdle(); }

std::shared_ptr<xhav::inproc::Page> RenderFixture::OpenPage(bool enableBusiness) {
  auto page = engine.OpenPage(enableBusiness);
  engine.RunUntilIdle();
  return page;
}

cef_inproc::ScriptCallResult RenderFixture::Call(xhav::inproc::Page& page, const std::string& name,
                                                 const CefV8ValueList& args) {
  return page.Call("tnpc." + name, args);
}

std::vector<xhav::inproc::RecordedMessage> RenderFixture::Sent() {
  engine.RunUntilIdle();
  return engine.TakeBrowserMessages();
}

void RenderFixture::Deliver(xhav::inproc::Page& page, CefRefPtr<CefProcessMessage> message) {
  engine.SendToRenderer(page.id(), message);
  engine.RunUntilIdle();
}

CefRefPtr<CefProcessMessage> RenderFixture::BusinessAnswer(const std::string& business,
                                                           const std::string& action,
                                                           const std::string& id, int code,
                                                           const std::string& data) {
  auto message = CefProcessMessage::Create("ExeBusinessActionCallback");
  auto result = CefListValue::Create();
  result->SetString(0, id);
  result->SetInt(1, code);
  result->SetString(2, data);
  auto args = message->GetArgumentList();
  args->SetString(0, business);
  args->SetString(1, action);
  args->SetList(2, result);
  return message;
}

CefRefPtr<CefProcessMessage> RenderFixture::PushNotify(const std::string& key, int code,
                                                       const std::string& event,
                                                       const std::string& format,
                                                       const std::string& payload, bool binary) {
  auto message = CefProcessMessage::Create("push_notify");
  auto args = message->GetArgumentList();
  args->SetString(0, key);
  args->SetInt(1, code);
  args->SetString(2, event);
  args->SetString(3, format);
  if (binary) {
    args->SetBinary(4, CefBinaryValue::Create(payload.data(), payload.size()));
  } else {
    args->SetString(4, payload);
  }
  return message;
}
