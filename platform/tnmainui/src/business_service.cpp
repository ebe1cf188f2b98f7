#include "tnmainui/business_service.h"

#include <utility>

namespace tnmainui {

// ---------------------------------------------------------------------------------------------
// The host's business channel

ScriptedBusinessChannel::ScriptedBusinessChannel(std::function<void(std::function<void()>)> post)
    : post_(std::move(post)) {}

ScriptedBusinessChannel::~ScriptedBusinessChannel() { ReleaseHeld(); }

void ScriptedBusinessChannel::SetScript(Script script) {
  std::lock_guard<std::mutex> lock(mutex_);
  script_ = std::move(script);
}

void ScriptedBusinessChannel::SetTaker(Taker taker) {
  std::lock_guard<std::mutex> lock(mutex_);
  taker_ = std::move(taker);
}

std::vector<ChannelCall> ScriptedBusinessChannel::calls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

void ScriptedBusinessChannel::ClearCalls() {
  std::lock_guard<std::mutex> lock(mutex_);
  calls_.clear();
}

void ScriptedBusinessChannel::ReleaseHeld() {
  std::vector<std::pair<ChannelCall, IBrowserViewCallback*>> held;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    held.swap(held_);
  }
  for (auto& [call, callback] : held) callback->Release();
}

bool ScriptedBusinessChannel::AnswerHeld(int32_t code, const std::u16string& result) {
  std::pair<ChannelCall, IBrowserViewCallback*> oldest;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (held_.empty()) return false;
    oldest = held_.front();
    held_.erase(held_.begin());
  }
  const xhav::BusinessParams& p = oldest.first.params;
  auto text = [&p](std::size_t i) { return i < p.size() ? p[i].c_str() : u""; };
  oldest.second->OnBusinessResult(text(0), text(1), text(2), code, result.c_str());
  oldest.second->Release();
  return true;
}

std::size_t ScriptedBusinessChannel::held() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return held_.size();
}

void ScriptedBusinessChannel::ExecuteBusiness(const xhav::BusinessParams& params,
                                              IBrowserViewCallback* callback) {
  ChannelCall call{params, callback != nullptr};
  Script script;
  Taker taker;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(call);
    taker = taker_;
  }
  if (taker && taker(call, callback)) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    script = script_;
    if (!script && callback) {
      callback->AddRef();
      held_.emplace_back(call, callback);
    }
  }
  if (!script || !callback) return;
  callback->AddRef();  // the host's reference, until its last answer
  std::vector<ChannelAnswer> answers = script(call);
  post_([call, callback, answers = std::move(answers)] {
    auto text = [&call](std::size_t i) {
      return i < call.params.size() ? call.params[i].c_str() : u"";
    };
    for (const ChannelAnswer& answer : answers) {
      callback->OnBusinessResult(text(0), answer.action.empty() ? text(1) : answer.action.c_str(),
                                 text(2), answer.code,
                                 answer.nullResult ? nullptr : answer.result.c_str());
    }
    callback->Release();
  });
}

// ---------------------------------------------------------------------------------------------
// The business core's service

namespace {

// The core's own byte block: the receiver reads it during the call; the core disposes it.
class CoreBytes final : public IGData {
 public:
  explicit CoreBytes(std::string bytes) : bytes_(std::move(bytes)) {}
  void Dispose() override { delete this; }
  int32_t Reserved() override { return 0; }
  const char* Data() override { return bytes_.data(); }
  int32_t Size() override { return static_cast<int32_t>(bytes_.size()); }

 private:
  ~CoreBytes() = default;
  std::string bytes_;
};

class CoreError final : public Tnerror::Error {
 public:
  CoreError(int32_t subCode, int32_t code, std::string message)
      : subCode_(subCode), code_(code), message_(std::move(message)) {}
  int32_t SubCode() override { return subCode_; }
  const char* Message() override { return message_.c_str(); }
  int32_t Code() override { return code_; }

 private:
  int32_t subCode_, code_;
  std::string message_;
};

template <typename Block>
std::string Bytes(Block* block) {
  if (!block || !block->Data() || block->Size() <= 0) return std::string();
  return std::string(block->Data(), static_cast<std::size_t>(block->Size()));
}

}  // namespace

ScriptedBusinessService::ScriptedBusinessService() { worker_.StartThread(); }

ScriptedBusinessService::~ScriptedBusinessService() {
  worker_.Stop();
  for (auto& [oid, core] : cores_) core->Release();
}

BusinessCore* ScriptedBusinessService::GetBusinessCore(int32_t oid) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = cores_.find(oid);
  return it == cores_.end() ? nullptr : it->second;
}

void ScriptedBusinessService::SetBusinessCore(int32_t oid, BusinessCore* core) {
  if (core) core->AddRef();
  std::lock_guard<std::mutex> lock(mutex_);
  BusinessCore*& slot = cores_[oid];
  if (slot) slot->Release();
  slot = core;
  if (!core) cores_.erase(oid);
}

tnbusiness::CoreObject* ScriptedBusinessService::GetCoreObject() { return core_ ? this : nullptr; }
tnbusiness::NetworkObject* ScriptedBusinessService::GetNetworkObject() {
  return network_ ? this : nullptr;
}
tnbusiness::ApplicationObject* ScriptedBusinessService::GetApplicationObject() {
  return application_ ? this : nullptr;
}
tnbusiness::ContactObject* ScriptedBusinessService::GetContactObject() {
  return contact_ ? this : nullptr;
}

void ScriptedBusinessService::SetObjects(bool core, bool network, bool application, bool contact) {
  core_ = core;
  network_ = network;
  application_ = application;
  contact_ = contact;
}

void ScriptedBusinessService::SetScript(std::function<GoAnswer(const GoCall&)> script) {
  std::lock_guard<std::mutex> lock(mutex_);
  script_ = std::move(script);
}

void ScriptedBusinessService::SetDownloadScript(
    std::function<void(const GoCall&, Im::HTTPDownloadResponser*)> download) {
  std::lock_guard<std::mutex> lock(mutex_);
  download_ = std::move(download);
}

std::vector<GoCall> ScriptedBusinessService::calls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

void ScriptedBusinessService::ClearCalls() {
  std::lock_guard<std::mutex> lock(mutex_);
  calls_.clear();
}

GoCall ScriptedBusinessService::Record(std::string operation, int32_t orgId,
                                       std::vector<std::string> args, int32_t number) {
  GoCall call{std::move(operation), orgId, std::move(args), number};
  std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(call);
  return call;
}

void ScriptedBusinessService::Answer(GoCall call, Im::Responser* responser) {
  if (!responser) return;
  std::function<GoAnswer(const GoCall&)> script;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    script = script_;
  }
  worker_.PostTask([call = std::move(call), script, responser] {
    GoAnswer answer;
    if (script) {
      answer = script(call);
    } else {
      answer.hasData = false;
    }
    IGData* data = answer.hasData ? new CoreBytes(answer.data) : nullptr;
    CoreError error(answer.subCode, answer.code, answer.message);
    const bool failed = answer.subCode != 0 || answer.code != 0;
    responser->OnResponse(data, failed ? &error : nullptr);
    if (data) data->Dispose();
  });
}

void ScriptedBusinessService::RequestToken(IGString* domain, IGString* deviceId,
                                           Im::Responser* responser) {
  Answer(Record("RequestToken", 0, {Bytes(domain), Bytes(deviceId)}, 0), responser);
}

void ScriptedBusinessService::RequestOrgToken(int32_t orgId, IGString* domain, IGString* deviceId,
                                              Im::Responser* responser) {
  Answer(Record("RequestOrgToken", orgId, {Bytes(domain), Bytes(deviceId)}, 0), responser);
}

IGData* ScriptedBusinessService::GetSession(int32_t orgId) {
  GoCall call = Record("GetSession", orgId, {}, 0);
  std::function<GoAnswer(const GoCall&)> script;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    script = script_;
  }
  if (!script) return nullptr;
  GoAnswer answer = script(call);
  return answer.hasData ? new CoreBytes(answer.data) : nullptr;
}

void ScriptedBusinessService::BatchQuery(int32_t orgId, IGData* keys, IGData* options,
                                         int32_t flags, Im::Responser* responser) {
  Answer(Record("BatchQuery", orgId, {Bytes(keys), Bytes(options)}, flags), responser);
}

int64_t ScriptedBusinessService::HttpDownload(IGString* url, IGString* header, int32_t timeoutMs,
                                              int32_t flags, Im::HTTPDownloadResponser* responser) {
  GoCall call = Record("HttpDownload", flags, {Bytes(url), Bytes(header)}, timeoutMs);
  std::function<void(const GoCall&, Im::HTTPDownloadResponser*)> download;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    download = download_;
  }
  if (!responser) return 0;
  if (!download) return downloads_.Start(call.args[0], timeoutMs, responser);
  worker_.PostTask([call, download, responser] { download(call, responser); });
  return nextHandle_++;
}

void ScriptedBusinessService::CancelDownload(int64_t handle) {
  Record("CancelDownload", 0, {std::to_string(handle)}, 0);
  downloads_.Cancel(handle);
}

void ScriptedBusinessService::RequestAppCode(int32_t orgId, IGData* request, IGString* taskId,
                                             Im::Responser* responser) {
  Answer(Record("RequestAppCode", orgId, {Bytes(request), Bytes(taskId)}, 0), responser);
}

void ScriptedBusinessService::OpenSectorMembers(int32_t orgId, IGData* list, IGData* app,
                                                int32_t flags, IGString* taskId,
                                                Im::Responser* responser) {
  Answer(Record("OpenSectorMembers", orgId, {Bytes(list), Bytes(app), Bytes(taskId)}, flags),
         responser);
}

}  // namespace tnmainui
