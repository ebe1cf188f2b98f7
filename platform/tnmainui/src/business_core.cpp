#include "tnmainui/business_core.h"

namespace tnmainui {

HRESULT RecordingShadow::QueryInterface(const GUID& iid, void** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  if (iid != IID_IUnknown && iid != IID_WindowShadow) return E_NOINTERFACE;
  *out = static_cast<WindowShadow*>(this);
  AddRef();
  return S_OK;
}

uint32_t RecordingShadow::Release() {
  const uint32_t left = --refs_;
  if (left == 0) delete this;
  return left;
}

void RecordingShadow::AttachWindow(HWND window) {
  Record("AttachWindow");
  std::lock_guard<std::mutex> lock(mutex_);
  window_ = window;
}

void RecordingShadow::Record(std::string call) {
  std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(std::move(call));
}

std::vector<std::string> RecordingShadow::calls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

ScriptedBusinessCore::ScriptedBusinessCore(std::u16string orgKey, std::string accountKey)
    : orgKey_(std::move(orgKey)), accountKey_(std::move(accountKey)) {}

ScriptedBusinessCore::~ScriptedBusinessCore() {
  worker_.Stop();
  for (const auto& [name, view] : views_) view->Release();
}

void ScriptedBusinessCore::AnswerOnOwnThread(int32_t code, std::u16string data,
                                             std::function<void(const BusinessCall&)> observer) {
  worker_.StartThread();
  SetHandler([this, code, data, observer](const BusinessCall& call) {
    if (!call.callback) return S_OK;
    call.callback->AddRef();  // the queued answer holds the callback
    worker_.PostTask([call, code, data, observer] {
      if (observer) observer(call);
      call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                      call.callbackId.c_str(), code, data.c_str());
      call.callback->Release();
    });
    return S_OK;
  });
}

TnString* ScriptedBusinessCore::GetChatInfo(const char* chatId) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = chats_.find(chatId ? chatId : "");
  if (it == chats_.end()) return nullptr;
  return allocStringFromUTF8(it->second.data(), static_cast<int32_t>(it->second.size()));
}

void ScriptedBusinessCore::SetChatInfo(const std::string& chatId, const std::string& json) {
  std::lock_guard<std::mutex> lock(mutex_);
  chats_[chatId] = json;
}

HRESULT ScriptedBusinessCore::GetBrowserView(const char16_t* name, IBrowserView** out) {
  if (!out) return E_INVALIDARG;
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = views_.find(name ? name : u"");
  *out = it == views_.end() ? nullptr : it->second;
  if (!*out) return E_FAIL;
  (*out)->AddRef();
  return S_OK;
}

void ScriptedBusinessCore::SetBrowserView(const std::u16string& name, IBrowserView* view) {
  if (view) view->AddRef();
  IBrowserView* previous = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    IBrowserView*& slot = views_[name];
    previous = slot;
    slot = view;
    if (!view) views_.erase(name);
  }
  if (previous) previous->Release();
}

void ScriptedBusinessCore::FlushAnswers() { worker_.Flush(); }

HRESULT ScriptedBusinessCore::QueryInterface(const GUID& iid, void** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  if (iid != IID_IUnknown) return E_NOINTERFACE;
  *out = static_cast<BusinessCore*>(this);
  AddRef();
  return S_OK;
}

uint32_t ScriptedBusinessCore::Release() {
  const uint32_t left = --refs_;
  if (left == 0) delete this;
  return left;
}

HRESULT ScriptedBusinessCore::ExecuteBusinessAction(const char16_t* business,
                                                    const char16_t* action, const char16_t* param,
                                                    const char16_t* json,
                                                    const char16_t* callbackId,
                                                    IBrowserViewCallback* callback) {
  std::shared_ptr<const std::pair<int32_t, std::u16string>> atOnce;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    atOnce = atOnce_;
  }
  if (atOnce) {
    if (callback) {
      callback->OnBusinessResult(business, action, callbackId, atOnce->first,
                                 atOnce->second.c_str());
    }
    return S_OK;
  }
  BusinessCall call{business ? business : u"", action ? action : u"",         param ? param : u"",
                    json ? json : u"",         callbackId ? callbackId : u"", callback};
  std::function<HRESULT(const BusinessCall&)> handler;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (record_) calls_.push_back(call);
    handler = handler_;
  }
  return handler ? handler(call) : S_OK;
}

HRESULT ScriptedBusinessCore::QueryObject(const GUID& id, void** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  if (id != IID_WindowShadow || !givesShadow_) return E_NOINTERFACE;
  auto* shadow = new RecordingShadow();
  shadow->AddRef();
  *out = static_cast<WindowShadow*>(shadow);
  return S_OK;
}

const char16_t* ScriptedBusinessCore::GetOrgKey() {
  std::function<void()> hook;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    hook = orgKeyHook_;
  }
  if (hook) hook();
  return orgKey_.c_str();
}

void ScriptedBusinessCore::SetOrgKeyHook(std::function<void()> hook) {
  std::lock_guard<std::mutex> lock(mutex_);
  orgKeyHook_ = std::move(hook);
}

void ScriptedBusinessCore::SetHandler(std::function<HRESULT(const BusinessCall&)> handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  handler_ = std::move(handler);
  atOnce_.reset();
}

void ScriptedBusinessCore::AnswerAtOnce(int32_t code, std::u16string data) {
  std::lock_guard<std::mutex> lock(mutex_);
  atOnce_ = std::make_shared<const std::pair<int32_t, std::u16string>>(code, std::move(data));
}

std::vector<BusinessCall> ScriptedBusinessCore::calls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

}  // namespace tnmainui
