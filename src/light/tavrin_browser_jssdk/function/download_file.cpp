#include <map>
#include <thread>

#include "base/CommonFunc.h"
#include "base/path.h"
#include "light/tavrin_browser_jssdk/function/go_adapters.h"
#include "light/tavrin_browser_jssdk/function/js_sdk_envelope.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"
#include "tnwebui/services.h"
#include "win/shell.h"

namespace tnwebui {
namespace {

constexpr char kCacheFolder[] = "\\TavrinSoftCustom\\WebCache\\JsDownload\\";
constexpr char kSignedKeyPrefix[] = "X-Amz";
constexpr int32_t kTimeoutMs = 300000;
// Create the file or empty it, for writing; shared with readers and writers.
constexpr uint32_t kOpenFlags = tnbase::kFileCreate | tnbase::kFileWrite | tnbase::kFileTruncate;
constexpr uint32_t kOpenMode = tnbase::kShareRead | tnbase::kShareWrite;

}  // namespace

std::string CacheName(const std::string& url) {
  const std::size_t query = url.rfind('?');
  const std::size_t dot = url.rfind('.', query);
  std::string extension;
  if (dot != std::string::npos) {
    extension = url.substr(dot, query == std::string::npos ? std::string::npos : query - dot);
  }
  std::map<std::string, std::string> params;
  std::string text = CCommonFunc::ParserUrlParams(url.c_str(), params);
  if (text.empty()) return std::string();
  if (!params.empty()) text += "?";
  for (const auto& [key, value] : params) {
    if (key.compare(0, sizeof kSignedKeyPrefix - 1, kSignedKeyPrefix) == 0) continue;
    text += key;
    text += "=";
    text += value;
    text += "&";
  }
  return tnbase::md5String(text) + extension;
}

void JSDownloadFile::Execute(const std::string&, const Json::Value& params) {
  const Json::Value* payload = HostChannel() ? PayloadOf(params) : nullptr;
  if (!payload || !(*payload)["url"].isString()) {
    if (payload) Answer(sdk::kMissingKey, "");
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));  // it stays, with nothing to do
    return;
  }
  url = (*payload)["url"].asString();
  const std::string folder = NativeSeparators(
      win::GetShortPathNameA(win::SHGetSpecialFolderPath(win::CSIDL_APPDATA)) + kCacheFolder);
  localPath = folder + CacheName(url);
  localId = ToLocalId(localPath);

  tnbusiness::NetworkObject* network = Network();
  if (!network) {
    Answer(sdk::kMissingKey, "");
    KeepForProcess(std::shared_ptr<JsSdkFunction>(this));
    return;
  }
  auto* address = new GStringImpl(url.data(), static_cast<int32_t>(url.size()));
  auto* header = new GStringImpl("", 0);
  const int64_t handle = network->HttpDownload(address, header, kTimeoutMs, 0, this);
  address->Dispose();
  header->Dispose();
  task.store(handle, std::memory_order_release);  // the last touch: the core may end it now
}

void JSDownloadFile::OnStart() {
  const int64_t handle = WaitForTask();
  if (ended) return;
  tnbase::createDirectories(tnbase::pathRemoveFileName(localPath));
  if (file) file->close();
  file = tnbase::File::open(localPath, kOpenFlags, kOpenMode);
  if (!file) Fail(handle);
}

void JSDownloadFile::Fail(int64_t handle) {
  // The core calls no more once the transfer is cancelled: the function is deleted after this.
  if (tnbusiness::NetworkObject* network = Network()) network->CancelDownload(handle);
  End(sdk::kNoFile, "");
}

void JSDownloadFile::OnData(IGData* data, int64_t length, int64_t total) {
  const int64_t handle = WaitForTask();
  if (ended) return;
  if (!data || !file) return Fail(handle);
  file->write(data->Data(), static_cast<std::size_t>(data->Size()));
  loaded += static_cast<uint64_t>(length);
  SendEvent(ProgressText(localId, static_cast<uint64_t>(total), loaded), kDownloadProgressEvent);
}

void JSDownloadFile::OnFinish() {
  WaitForTask();
  if (ended) return;
  if (!file) return End(sdk::kNoFile, "");
  file->close();
  End(sdk::kOk, localId);
}

void JSDownloadFile::End(int32_t code, const std::string& id) {
  if (ended.exchange(true)) return;
  Answer(code, id);
  DeleteLater();
}

void JSDownloadFile::Answer(int32_t code, const std::string& id) {
  std::string text;
  FormatText(text, sdk::kEnvelopes[8].head, code, id.c_str());
  SendResponse(text);
}

int64_t JSDownloadFile::WaitForTask() {
  int64_t handle;
  while ((handle = task.load(std::memory_order_acquire)) == kTaskPending) std::this_thread::yield();
  return handle;
}

tnbusiness::NetworkObject* JSDownloadFile::Network() {
  auto* service = QueryService<BusinessCoreService>(SID_BusinessCoreService);
  return service ? service->GetNetworkObject() : nullptr;
}

}  // namespace tnwebui
