#include <cstring>
#include <memory>

#include "base/json.h"
#include "light/tavrin_browser_jssdk/function/choosers.h"
#include "tn_webui_module.h"
#include "win/window.h"

namespace tnwebui {
namespace {

constexpr char kChooseResultEvent[] = "tn.onchooseresult";

// A task of hav's runner: runs `body` once; dropping it unrun runs nothing.
class ClosureTask final : public CefTask {
 public:
  explicit ClosureTask(std::function<void()> body) : body_(std::move(body)) {}
  void Execute() override {
    if (body_) body_();
  }

 private:
  std::function<void()> body_;
  IMPLEMENT_REFCOUNTING(ClosureTask);
};

// The task's hold on its function: let go when the task goes, whether it ran or not.
struct TaskHold {
  explicit TaskHold(IBrowserViewCallback* held) : function(held) { function->AddRef(); }
  ~TaskHold() { function->Release(); }
  TaskHold(const TaskHold&) = delete;
  TaskHold& operator=(const TaskHold&) = delete;
  IBrowserViewCallback* function;
};

}  // namespace

JSChooseContacts::JSChooseContacts() {
  void* hav = win::GetModuleHandleW(xhav::kHavLibraryName);
  auto create =
      reinterpret_cast<xhav::CreateHavObjectFn>(win::GetProcAddress(hav, "CreateHavObject"));
  void* object = nullptr;
  if (create && create(xhav::kHavObjectTaskRunner, &object)) {
    runner = static_cast<xhav::TaskRunner*>(object);
  }
}

JSChooseContacts::~JSChooseContacts() {
  if (EventBus* bus = Bus()) bus->RemoveEventReceiver(this);
  if (runner) runner->Destroy();
}

EventBus* JSChooseContacts::Bus() { return QueryService<EventBus>(SID_EventBus); }

void JSChooseContacts::Execute(const std::string&, const Json::Value& params) {
  if (!runner) {
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));  // nothing runs; it stays
    return;
  }
  auto hold = std::make_shared<TaskHold>(this);
  const Json::Value copy = params;
  CefRefPtr<CefTask> task(new ClosureTask([this, hold, copy] { Run(copy); }));
  taskHandle = runner->PostTask(taskId, task);
  Hold();  // until its end
}

void JSChooseContacts::Run(const Json::Value& params) {
  xhav::BusinessChannel* channel = HostChannel();
  std::string json;
  if (const Json::Value* payload = PayloadOf(params)) {
    std::string text = WriteJson(*payload);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    Json::Value question;
    question["jssdk"] = text;
    question["id"] = appIdImplId;
    if (OnlySupportSector()) question["onlySupportSector"] = true;
    json = WriteJson(question);  // with its line feed
  }
  ExecuteBusiness(channel, u"common", u"choosecontacts", json, this);
  if (EventBus* bus = Bus()) bus->AddEventReceiver(this);
  runner->RemoveTask(taskId);
}

void JSChooseContacts::OnEvent(int32_t, const char* name, const char*, const char* data,
                               int32_t size) {
  // The first event of any name ends the chooser; only the picker's result is answered.
  if (ended.exchange(true)) return;
  if (name && std::strcmp(name, kChooseResultEvent) == 0 && size != 0) {
    // A host's negative count reads as no text.
    SendResponse(data && size > 0 ? std::string(data, static_cast<std::size_t>(size))
                                  : std::string());
  }
  if (EventBus* bus = Bus()) bus->RemoveEventReceiver(this);  // no event after this one
  DeleteLater();
}

}  // namespace tnwebui
