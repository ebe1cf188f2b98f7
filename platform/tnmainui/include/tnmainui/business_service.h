#pragma once

// The host's business channel (a browser's property 21) and the business core's service, as a
// test or the demo scripts them. Both answer later and elsewhere, as the real ones do: the
// channel on the browser's UI thread, the core's objects on a thread of their own.

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "hav/hav.h"
#include "tnbase/task_queue.h"
#include "tnmainui/http_client.h"
#include "tnwebui/business_service.h"
#include "tnwebui/view.h"

namespace tnmainui {

#define TNMAINUI_API __attribute__((visibility("default")))

// One answer of the host to a business call.
struct ChannelAnswer {
  ChannelAnswer() = default;
  ChannelAnswer(int32_t code, std::u16string result, bool nullResult = false)
      : code(code), result(std::move(result)), nullResult(nullResult) {}

  int32_t code = 0;
  std::u16string result;
  bool nullResult = false;  // the result pointer is null
  // The action the answer names, when it isn't the call's own (a player's timer message).
  std::u16string action;
};

struct ChannelCall {
  xhav::BusinessParams params;
  bool hasCallback = false;
};

class TNMAINUI_API ScriptedBusinessChannel final : public xhav::BusinessChannel {
 public:
  // `post` runs a task on the browser's UI thread.
  explicit ScriptedBusinessChannel(std::function<void(std::function<void()>)> post);
  ~ScriptedBusinessChannel() override;

  void ExecuteBusiness(const xhav::BusinessParams& params, IBrowserViewCallback* callback) override;

  // The answers to each call, in order; the callback's reference goes after the last. Without a
  // script a call is recorded and its callback kept until ReleaseHeld.
  using Script = std::function<std::vector<ChannelAnswer>(const ChannelCall&)>;
  void SetScript(Script script);
  // A part of the host that answers some calls itself, over time: true when it took `call`
  // (it holds `callback` for as long as it answers). Asked before the script.
  using Taker = std::function<bool(const ChannelCall&, IBrowserViewCallback*)>;
  void SetTaker(Taker taker);
  std::vector<ChannelCall> calls() const;
  void ClearCalls();
  // Drops the callbacks of unanswered calls, as a host that gives up on them.
  void ReleaseHeld();
  // Answers the oldest unanswered call with `code` and `result` on the calling thread, then
  // lets go of its callback. False when no call waits.
  bool AnswerHeld(int32_t code, const std::u16string& result);
  std::size_t held() const;

 private:
  std::function<void(std::function<void()>)> post_;
  mutable std::mutex mutex_;
  Script script_;
  Taker taker_;
  std::vector<ChannelCall> calls_;
  std::vector<std::pair<ChannelCall, IBrowserViewCallback*>> held_;
};

// A value the core hands to a responder: bytes, or none.
struct GoAnswer {
  bool hasData = true;
  std::string data;
  int32_t subCode = 0;
  int32_t code = 0;
  std::string message;
};

// One request as the core took it: the operation's name, the organisation, the bytes of its
// data and text arguments in order, and its number argument (for a download: the flags in
// `orgId`, the time limit in `number`).
struct GoCall {
  std::string operation;
  int32_t orgId = 0;
  std::vector<std::string> args;
  int32_t number = 0;
};

class TNMAINUI_API ScriptedBusinessService final : public BusinessCoreService,
                                                   public tnbusiness::CoreObject,
                                                   public tnbusiness::NetworkObject,
                                                   public tnbusiness::ApplicationObject,
                                                   public tnbusiness::ContactObject {
 public:
  ScriptedBusinessService();
  ~ScriptedBusinessService();

  tnbusiness::CoreObject* GetCoreObject() override;
  tnbusiness::NetworkObject* GetNetworkObject() override;
  tnbusiness::ApplicationObject* GetApplicationObject() override;
  tnbusiness::ContactObject* GetContactObject() override;
  BusinessCore* GetBusinessCore(int32_t oid) override;

  void RequestToken(IGString* domain, IGString* deviceId, Im::Responser* responser) override;
  void RequestOrgToken(int32_t orgId, IGString* domain, IGString* deviceId,
                       Im::Responser* responser) override;
  IGData* GetSession(int32_t orgId) override;
  void BatchQuery(int32_t orgId, IGData* keys, IGData* options, int32_t flags,
                  Im::Responser* responser) override;
  int64_t HttpDownload(IGString* url, IGString* header, int32_t timeoutMs, int32_t flags,
                       Im::HTTPDownloadResponser* responser) override;
  void CancelDownload(int64_t handle) override;
  void RequestAppCode(int32_t orgId, IGData* request, IGString* taskId,
                      Im::Responser* responser) override;
  void OpenSectorMembers(int32_t orgId, IGData* list, IGData* app, int32_t flags, IGString* taskId,
                         Im::Responser* responser) override;

  // How the core answers its requests, on its own thread ("RequestToken", "RequestOrgToken",
  // "BatchQuery", "RequestAppCode", "OpenSectorMembers"); unscripted requests get no data and
  // no error. GetSession answers at once from the script of "GetSession" (no data: null).
  void SetScript(std::function<GoAnswer(const GoCall&)> script);
  // Downloads run on the core's thread through `download`, which drives the responder. Without
  // one they are real: HTTP, each on a thread of its own.
  void SetDownloadScript(std::function<void(const GoCall&, Im::HTTPDownloadResponser*)> download);
  // Which objects the service gives (all by default).
  void SetObjects(bool core, bool network, bool application, bool contact);
  std::vector<GoCall> calls() const;
  void ClearCalls();
  // The business core of an organisation (held with a reference until replaced or the end).
  void SetBusinessCore(int32_t oid, BusinessCore* core);
  // Waits until the core's thread has answered everything so far.
  void Flush() { worker_.Flush(); }

 private:
  GoCall Record(std::string operation, int32_t orgId, std::vector<std::string> args,
                int32_t number);
  void Answer(GoCall call, Im::Responser* responser);

  mutable std::mutex mutex_;
  std::function<GoAnswer(const GoCall&)> script_;
  std::function<void(const GoCall&, Im::HTTPDownloadResponser*)> download_;
  std::vector<GoCall> calls_;
  std::map<int32_t, BusinessCore*> cores_;
  std::atomic<bool> core_{true}, network_{true}, application_{true}, contact_{true};
  std::atomic<int64_t> nextHandle_{1};
  tnbase::TaskQueue worker_{"business service"};
  HttpDownloads downloads_;
};

}  // namespace tnmainui
