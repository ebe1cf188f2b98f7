#pragma once

// The least work a correct implementation must do on this platform for a page's call and for
// an event, done with the platform's own calls and nothing of the module: the floors beside the
// in-process figures.
//
// A call: the page's script enters a native function with its arguments; their texts go into a
// process message (made once, never converted again); the message moves to the browser side,
// where each text is read as a platform string (one string object each, its text shared) and
// copied once into the wide texts the view's interface takes; the
// answer (callback id, code, data) goes back the same way, and the page's function is called
// with the code and the data. An in-process hop moves a message: nothing is copied on the way.
// An event: its text is converted once; each subscription's message is made, moved and read,
// and the page's function called with its four values. Every hop is handed to the other
// side's task queue, as a message between two threads must be.

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "base/json.h"
#include "cef/cef_process_message.h"
#include "cef/inproc_v8.h"
#include "hav/inproc_engine.h"
#include "tnbase/task_queue.h"
#include "tnbase/tn_string.h"

namespace platform_floor {

// Hands a moved message to the other side's queue and runs it there: one hop between threads.
inline CefRefPtr<CefProcessMessage> Hop(const CefRefPtr<CefProcessMessage>& message) {
  static tnbase::TaskQueue* const queue = new tnbase::TaskQueue("floor");
  CefRefPtr<CefProcessMessage> received;
  queue->PostTask([&received, sent = message->Transfer()] { received = sent; });
  queue->RunUntilIdle();
  return received;
}

// A page function that counts its calls.
inline CefRefPtr<CefV8Value> CountingFunction(const char* name, long* calls) {
  return cef_inproc::CreateScriptFunction(
      name, std::function<void(const CefV8ValueList&)>([calls](const CefV8ValueList& args) {
        ++*calls;
        benchmark::DoNotOptimize(args.data());
      }));
}

// Reads every text of a moved message as the browser side's strings, and hands them on as the
// view's interface takes them: wide texts, one copy each.
inline std::vector<std::u16string> ReadTexts(const CefRefPtr<CefProcessMessage>& message) {
  CefRefPtr<CefListValue> args = message->GetArgumentList();
  std::vector<std::u16string> texts;
  texts.reserve(args->GetSize());
  for (std::size_t i = 0; i < args->GetSize(); ++i) {
    tnbase::TnStringPtr text(allocStringFromText(args->GetString(i).text()));
    texts.emplace_back(text->GetData(), static_cast<std::size_t>(text->GetLength()));
  }
  return texts;
}

// A native function on a page of the in-process engine, which the page calls by its dotted
// name as its script would (the property lookups included); `body` runs inside it, as a
// handler's work would.
class NativeCall {
 public:
  using Body = std::function<void(const CefV8ValueList&)>;
  explicit NativeCall(Body body) : page_(engine_.OpenPage(false)) {
    engine_.RunUntilIdle();
    CefRefPtr<CefV8Value> object = CefV8Value::CreateObject(nullptr);
    object->SetValue("exebusinessaction",
                     CefV8Value::CreateFunction("exebusinessaction", new Handler(std::move(body))),
                     V8_PROPERTY_ATTRIBUTE_NONE);
    page_->global()->SetValue("tnpx", object, V8_PROPERTY_ATTRIBUTE_NONE);
  }
  ~NativeCall() { page_.reset(); }
  void CallFromPage(const CefV8ValueList& args) { page_->Call("tnpx.exebusinessaction", args); }
  CefRefPtr<CefV8Context> context() const { return page_->context(); }

 private:
  class Handler final : public CefV8Handler {
   public:
    explicit Handler(Body body) : body_(std::move(body)) {}
    bool Execute(const CefString&, CefRefPtr<CefV8Value>, const CefV8ValueList& arguments,
                 CefRefPtr<CefV8Value>&, CefString&) override {
      body_(arguments);
      return true;
    }

   private:
    Body body_;
    IMPLEMENT_REFCOUNTING(Handler);
  };

  xhav::inproc::Engine engine_{xhav::kProcessTypeRender};
  std::shared_ptr<xhav::inproc::Page> page_;
};

// The answer's way back: its message made, moved and read, and the page's function called.
inline void Answer(const CefRefPtr<CefV8Context>& context, const CefRefPtr<CefV8Value>& callback,
                   const CefString& id, const CefString& data) {
  static const CefString kName(u"answer");
  CefRefPtr<CefProcessMessage> answer = CefProcessMessage::Create(kName);
  CefRefPtr<CefListValue> result = CefListValue::Create();
  result->SetString(0, id);
  result->SetInt(1, 0);
  result->SetString(2, data);
  answer->GetArgumentList()->SetList(2, result);
  result = nullptr;
  CefRefPtr<CefProcessMessage> received = Hop(answer);
  CefRefPtr<CefListValue> got = received->GetArgumentList()->GetList(2);
  tnbase::TnStringPtr gotId(allocStringFromText(got->GetString(0).text()));
  tnbase::TnStringPtr gotData(allocStringFromText(got->GetString(2).text()));
  callback->ExecuteFunctionWithContext(
      context, nullptr,
      {CefV8Value::CreateInt(got->GetInt(1)), CefV8Value::CreateString(gotData->Text())});
}

// The call's way to the browser side: its message made from the page's texts, moved and read
// into the wide texts the core is given. A core that answers inside the call answers while
// they live: the caller keeps them until its answer is made.
inline std::vector<std::u16string> Call(const std::vector<CefString>& texts) {
  static const CefString kName(u"call");
  CefRefPtr<CefProcessMessage> call = CefProcessMessage::Create(kName);
  CefRefPtr<CefListValue> args = call->GetArgumentList();
  for (std::size_t i = 0; i < texts.size(); ++i) args->SetString(i, texts[i]);
  args = nullptr;
  return ReadTexts(Hop(call));
}

// One subscription's share of an event: its message made, moved and read, and the page's
// function called with the code, the name, the format and the text.
inline void Push(const CefRefPtr<CefV8Context>& context, const CefRefPtr<CefV8Value>& function,
                 const CefString& key, const CefString& name, const CefString& format,
                 const CefString& text) {
  static const CefString kName(u"push");
  CefRefPtr<CefProcessMessage> push = CefProcessMessage::Create(kName);
  CefRefPtr<CefListValue> args = push->GetArgumentList();
  args->SetString(0, key);
  args->SetInt(1, 3);
  args->SetString(2, name);
  args->SetString(3, format);
  args->SetString(4, text);
  args = nullptr;
  CefRefPtr<CefProcessMessage> received = Hop(push);
  CefRefPtr<CefListValue> got = received->GetArgumentList();
  tnbase::TnStringPtr gotKey(allocStringFromText(got->GetString(0).text()));
  tnbase::TnStringPtr gotName(allocStringFromText(got->GetString(2).text()));
  tnbase::TnStringPtr gotFormat(allocStringFromText(got->GetString(3).text()));
  tnbase::TnStringPtr gotText(allocStringFromText(got->GetString(4).text()));
  benchmark::DoNotOptimize(gotKey->GetData());
  function->ExecuteFunctionWithContext(
      context, nullptr,
      {CefV8Value::CreateInt(got->GetInt(1)), CefV8Value::CreateString(gotName->Text()),
       CefV8Value::CreateString(gotFormat->Text()), CefV8Value::CreateString(gotText->Text())});
}

}  // namespace platform_floor
