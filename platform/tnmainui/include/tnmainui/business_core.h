#pragma once

// A business core and a window shadow that tests and the demo script and inspect.

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tnbase/task_queue.h"
#include "tnbase/tn_string.h"
#include "tnwebui/view.h"

namespace tnmainui {

#define TNMAINUI_API __attribute__((visibility("default")))

// Records what the view does to the shadow of its window.
class TNMAINUI_API RecordingShadow final : public WindowShadow {
 public:
  HRESULT QueryInterface(const GUID& iid, void** out) override;
  uint32_t AddRef() override { return ++refs_; }
  uint32_t Release() override;
  void AttachWindow(HWND window) override;
  void Reserved5() override { Record("Reserved5"); }
  void UpdateShadow() override { Record("UpdateShadow"); }
  void ShowShadow(int32_t show) override { Record("ShowShadow(" + std::to_string(show) + ")"); }
  void DetachWindow() override { Record("DetachWindow"); }
  void SetShadowMode(int32_t mode) override {
    Record("SetShadowMode(" + std::to_string(mode) + ")");
  }

  std::vector<std::string> calls() const;
  HWND window() const { return window_; }
  static int Live() { return live_.load(); }

  RecordingShadow() { ++live_; }

 private:
  ~RecordingShadow() { --live_; }
  void Record(std::string call);

  std::atomic<uint32_t> refs_{0};
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  HWND window_ = nullptr;
  static inline std::atomic<int> live_{0};
};

struct BusinessCall {
  std::u16string business, action, param, json, callbackId;
  IBrowserViewCallback* callback = nullptr;
};

// A business core whose answers a test or the demo scripts.
class TNMAINUI_API ScriptedBusinessCore final : public BusinessCore {
 public:
  ScriptedBusinessCore(std::u16string orgKey, std::string accountKey);

  HRESULT QueryInterface(const GUID& iid, void** out) override;
  uint32_t AddRef() override { return ++refs_; }
  uint32_t Release() override;
  void NotifyCrash() override { ++crashes_; }
  HRESULT ExecuteBusinessAction(const char16_t* business, const char16_t* action,
                                const char16_t* param, const char16_t* json,
                                const char16_t* callbackId,
                                IBrowserViewCallback* callback) override;
  void OnViewClosed(IBrowserView*) override {}
  const char* GetAccountKey() override { return accountKey_.c_str(); }
  const char16_t* GetOrgKey() override;
  HRESULT QueryObject(const GUID& id, void** out) override;
  int32_t GetBusinessVersion() override { return version_; }
  TnString* GetChatInfo(const char* chatId) override;
  // The JSON that GetChatInfo gives for `chatId`.
  void SetChatInfo(const std::string& chatId, const std::string& json);
  HRESULT GetBrowserView(const char16_t* name, IBrowserView** out) override;
  // Keeps `view` (with a reference) under `name`; null forgets the name.
  void SetBrowserView(const std::u16string& name, IBrowserView* view);

  // Answers each call; without it calls are only recorded and answered with 0.
  void SetHandler(std::function<HRESULT(const BusinessCall&)> handler);
  // Answers every call at once, inside the call, with `code` and `data`, and keeps nothing of
  // it: a core that costs its caller no more than the answer (benchmarks). A handler set later
  // takes over.
  void AnswerAtOnce(int32_t code, std::u16string data);
  // Takes every call and answers it later on the core's own thread, with `code` and `data`.
  // `observer`, if given, runs on the core's thread just before each answer.
  void AnswerOnOwnThread(int32_t code, std::u16string data,
                         std::function<void(const BusinessCall&)> observer = nullptr);
  // Waits until the core's thread has answered everything it took so far.
  void FlushAnswers();
  // Whether QueryObject hands out a shadow.
  void SetGivesShadow(bool gives) { givesShadow_ = gives; }
  void SetBusinessVersion(int32_t version) { version_ = version; }
  // Runs inside each GetOrgKey, as a core that calls back into the module would.
  void SetOrgKeyHook(std::function<void()> hook);
  std::vector<BusinessCall> calls() const;
  // Whether calls are kept for calls(); on by default.
  void SetRecordCalls(bool record) { record_ = record; }
  int crashes() const { return crashes_; }
  uint32_t refs() const { return refs_; }

 private:
  ~ScriptedBusinessCore();

  std::atomic<uint32_t> refs_{1};  // the creator's reference
  std::u16string orgKey_;
  std::string accountKey_;
  std::atomic<int> crashes_{0};
  std::atomic<bool> givesShadow_{true};
  std::atomic<bool> record_{true};
  int32_t version_ = 0;
  mutable std::mutex mutex_;
  std::function<HRESULT(const BusinessCall&)> handler_;
  std::shared_ptr<const std::pair<int32_t, std::u16string>> atOnce_;  // AnswerAtOnce's answer
  std::function<void()> orgKeyHook_;
  std::vector<BusinessCall> calls_;
  std::map<std::string, std::string> chats_;
  std::map<std::u16string, IBrowserView*> views_;
  tnbase::TaskQueue worker_{"business core"};
};

}  // namespace tnmainui
