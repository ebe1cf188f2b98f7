#include "app_host.h"

#include <json/reader.h>

#include <QImage>
#include <QString>
#include <cstdlib>
#include <fstream>

#include "../demo/demo.h"
#include "hav/cdp_engine.h"
#include "hav/json_text.h"
#include "tnbase/task_queue.h"
#include "tnmainui/signature.h"

namespace run {
namespace {

std::string Utf8(const std::u16string& text) {
  return QString::fromStdU16String(text).toStdString();
}
std::u16string Utf16(const std::string& text) {
  return QString::fromStdString(text).toStdU16String();
}

std::string BaseName(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

AppHost::AppHost(xhav::cdp::Engine& engine, const HostFile& file, const std::string& folder,
                 Watch& watch)
    : engine_(engine),
      file_(file),
      folder_(folder),
      watch_(watch),
      host_(engine.core(), engine.render_host()),
      bus_([&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }),
      server_(file.port),
      transfers_(folder, 3),
      dialog_(folder),
      player_([&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }),
      channel_([&engine](std::function<void()> task) { engine.ui().PostTask(std::move(task)); }),
      core_(new tnmainui::ScriptedBusinessCore(Utf16(std::to_string(file.orgId)), file.account)) {
  if (server_.port() == 0) {
    error_ = file.port ? "the port " + std::to_string(file.port) +
                             " of the download server is in use (server.port of the host file)"
                       : "no port for the download server";
  }
  MakeSamples();
  setenv("APPDATA", folder.c_str(), 1);  // the web cache of downloads lives under it
  host_.clientInfo.deviceId = file.deviceId;
  host_.clientInfo.webDomain = file.webDomain;
  host_.accessOverride.allowAnyPage = file.allowAnyPage;
  host_.SetService(SID_EventBus, static_cast<EventBus*>(&bus_));
  const std::string secret = file.secret;
  service_.SetScript([this, secret](const tnmainui::GoCall& call) {
    watch_.OnHost("the business core answers " + call.operation);
    tnmainui::GoAnswer answer;
    if (organisation_.AnswerCore(call, &answer)) return answer;
    if (call.operation == "BatchQuery") CheckConfig(call, secret);
    return demo::IdentityCore(call, secret);
  });
  service_.SetBusinessCore(file.orgId, core_);
  host_.SetService(SID_BusinessCoreService, static_cast<BusinessCoreService*>(&service_));
  for (const auto& [path, download] : file.downloads) {
    std::string bytes;
    if (!download.file.empty()) {
      std::ifstream in(download.file, std::ios::binary);
      if (!in) {
        error_ = "the download " + path + " names a file that can't be read: " + download.file;
        continue;
      }
      bytes.assign(std::istreambuf_iterator<char>(in), {});
    } else {
      bytes.assign(download.size, 'd');
    }
    server_.Serve(
        path, std::move(bytes),
        download.slow ? tnmainui::FileServer::Mode::kSlow : tnmainui::FileServer::Mode::kWhole,
        16 * 1024, 20);
  }
  channel_.SetTaker([this](const tnmainui::ChannelCall& call, IBrowserViewCallback* callback) {
    // A voice's length from the host file, by the file's name.
    Json::Value request;
    const std::string json = Utf8(call.params[3]);
    if (xhav::ParseJson(json, &request) && request.isObject() && request["filePath"].isString()) {
      auto known = file_.voices.find(BaseName(request["filePath"].asString()));
      if (known != file_.voices.end())
        player_.SetLength(request["filePath"].asString(), known->second);
    }
    const bool taken = player_.Take(call, callback);
    if (taken) watch_.OnHost("the voice player takes " + Utf8(call.params[1]) + " " + json);
    return taken;
  });
  channel_.SetScript([this](const tnmainui::ChannelCall& call) { return Answer(call); });
  engine_.SetBusinessChannel(&channel_);
  core_->SetHandler([this](const tnmainui::BusinessCall& call) {
    const std::string name = Utf8(call.business) + "/" + Utf8(call.action);
    // A light window's actions come without a callback: nothing can answer them.
    if (!call.callback) {
      watch_.OnHost("the business core takes " + name + " (a light window's action: no answer)");
      watch_.OnActionUnanswered(name);
      return S_OK;
    }
    watch_.OnHost("the business core answers " + name + " with 0 {}");
    call.callback->OnBusinessResult(call.business.c_str(), call.action.c_str(),
                                    call.callbackId.c_str(), 0, u"{}");
    return S_OK;
  });
}

// A "config" whose signature the core will refuse, said with what was signed, so that the
// author can compare it with what the app's server signed.
void AppHost::CheckConfig(const tnmainui::GoCall& call, const std::string& secret) {
  tnmainui::SignedFields fields;
  const std::string wrong = tnmainui::ReadSignedFields(call, &fields);
  if (!wrong.empty()) return watch_.OnMistake("config refused", wrong);
  const std::string expected =
      tnmainui::SignFields(secret, fields.appId, fields.nonce, fields.timestamp, fields.url);
  if (fields.signature == expected) return;
  watch_.OnMistake("config refused",
                   "the signature " + (fields.signature.empty() ? "(none)" : fields.signature) +
                       " is not HMAC-SHA256(secret, \"" + tnmainui::SignedText(fields) + "\") = " +
                       expected + " (the host file's secret; 'tnwebui-run sign' makes one)");
}

AppHost::~AppHost() {
  // The client's bus carries events all along; the run's last one lets the SDK functions that
  // wait for any event (a share that was never asked for) end with the run.
  bus_.Raise(0, "tnwebui-run.end", "json", "{}");
  engine_.ui().RunUntilIdle();
  // The functions that ended go now, while the host they ask for their services is here.
  tnbase::globalTaskQueue(0)->Flush();
  engine_.SetBusinessChannel(nullptr);
  core_->Release();
}

void AppHost::MakeSamples() {
  if (file_.images.empty()) {
    file_.images = {folder_ + "/harbour.png"};
    QImage image(320, 240, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    image.save(QString::fromStdString(file_.images[0]), "PNG");
  }
  if (file_.videos.empty()) {
    file_.videos = {folder_ + "/clip.mp4"};
    std::ofstream(file_.videos[0]) << std::string(4096, 'v');
  }
  if (file_.files.empty()) {
    file_.files = {folder_ + "/minutes.pdf"};
    std::ofstream(file_.files[0]) << std::string(2048, 'd');
  }
}

void AppHost::CancelNextChooser() {
  std::lock_guard<std::mutex> lock(scriptMutex_);
  nextChooser_ = "cancel";
}

void AppHost::PickNext(const std::vector<std::string>& files) {
  std::lock_guard<std::mutex> lock(scriptMutex_);
  nextChooser_ = "pick";
  nextFiles_ = files;
}

void AppHost::AnswerNext(const std::string& json) {
  std::lock_guard<std::mutex> lock(scriptMutex_);
  nextAnswer_ = json;
}

std::string AppHost::TakeChooserWord(bool fileDialog, std::vector<std::string>* files) {
  std::lock_guard<std::mutex> lock(scriptMutex_);
  // Files are picked in a file dialog only: the word waits for one.
  if (nextChooser_ == "pick" && !fileDialog) return std::string();
  std::string word;
  word.swap(nextChooser_);
  if (files) files->swap(nextFiles_);
  return word;
}

std::vector<tnmainui::ChannelAnswer> AppHost::Answer(const tnmainui::ChannelCall& call) {
  const std::string action = Utf8(call.params[1]), json = Utf8(call.params[3]);
  std::vector<tnmainui::ChannelAnswer> answers;
  std::string scripted;
  {
    std::lock_guard<std::mutex> lock(scriptMutex_);
    scripted.swap(nextAnswer_);
  }
  if (!scripted.empty()) {
    watch_.OnHost("the client answers " + action + " with " + scripted + " (the script's answer)");
    return {{0, Utf16(scripted)}};
  }
  if (transfers_.Answer(call, &answers)) {
    watch_.OnHost("the client transfers " + json);
    return answers;
  }
  if (organisation_.Answer(call, &answers)) return answers;
  if (action == "openfiledialog") {
    const bool images = json.find("\"image\"") != std::string::npos;
    const bool videos = json.find("\"video\"") != std::string::npos;
    std::vector<std::string> picked = images ? file_.images : videos ? file_.videos : file_.files;
    std::vector<std::string> files;
    const std::string word = TakeChooserWord(true, &files);
    if (word == "cancel") picked.clear();
    if (word == "pick") picked = files;
    std::string names;
    for (const std::string& path : picked) names += (names.empty() ? "" : ", ") + BaseName(path);
    watch_.OnHost(picked.empty() ? std::string("the file dialog: the user cancels")
                                 : "the file dialog: the user picks " + names);
    dialog_.Answer(call, picked, &answers);
  } else if (action == "OpenSaveAsWnd") {
    watch_.OnHost("the save dialog: the user saves as saved-file in the run's folder");
    answers = {{0, u"{\"fileName\":\"saved-file\",\"filePath\":\"" + Utf16(folder_) + u"/\"}"}};
  } else if (action == "choosecontacts") {
    if (TakeChooserWord(false, nullptr) == "cancel") {
      // A cancelled chooser raises nothing: the app hears no result.
      watch_.OnHost("the contact chooser: the user cancels");
      return answers;
    }
    const bool sectors = json.find("onlySupportSector") != std::string::npos;
    const std::string& chosen = sectors ? file_.departments : file_.contacts;
    watch_.OnHost("the contact chooser: the user chooses " + chosen);
    bus_.Raise(7, "tn.onchooseresult", "json", chosen);
  } else if (action == "JSSdkShare") {
    Json::Value request;
    xhav::ParseJson(json, &request);
    const Json::Value& event = request.isObject() ? request["eventName"] : Json::Value();
    if (event.isString()) {
      watch_.OnHost("the forward dialog: the user picks a chat");
      bus_.Raise(7, event.asString(), "json", R"({"code":0})");
    }
  } else {
    watch_.OnHost("the client's main window takes " + Utf8(call.params[0]) + "/" + action + " " +
                  json);
  }
  return answers;
}

}  // namespace run
