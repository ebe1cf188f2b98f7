// Files dragged from the desktop onto a window's page. Chromium takes the drag itself; a script
// in a world of its own in every document of the window (which the page's scripts can't see or
// call), put there before the drag enters, tells the engine when a drag of files enters the
// window and when it is dropped, and keeps the dropped File objects, whose full paths the engine
// then reads through the DevTools protocol.
//
// What the view hears, in order: OnDragEnter when a drag of files enters the page (once per
// drag); at the drop, OnFilesDragged with the full local paths of the files (a page can't know
// them before the drop), then OnFilesDropped with the same list, a folder among them included.
// A view that answers OnDragEnter with true takes drops in its page itself: it hears neither.
// A file dropped anywhere in a window never opens in it, nor in a window of its own: only the
// main frame's document reports; frames only keep the browser from opening the file.

#include <algorithm>
#include <climits>

#include "cdp_engine_internal.h"
#include "hav/json_text.h"
#include "win/window.h"

namespace xhav::cdp {

namespace {

// The files of one drop that the view hears of; a drop of more is cut there, and logged.
constexpr int kMaxDroppedFiles = 256;
constexpr char kDropGroup[] = "tnwebui-drop";

}  // namespace

std::string DragScript() {
  return std::string(R"JS((function () {
  var send = globalThis.)JS") +
         kDragBinding + R"JS(;
  var top = window.top === window;
  var inside = false;
  function withFiles(e) {
    var types = e.dataTransfer && e.dataTransfer.types;
    return !!types && Array.prototype.indexOf.call(types, 'Files') >= 0;
  }
  window.addEventListener('dragenter', function (e) {
    if (!e.isTrusted || !withFiles(e) || !top || inside) return;
    inside = true;
    send('{"drag":"enter"}');
  }, true);
  window.addEventListener('dragleave', function (e) {
    if (e.isTrusted && e.relatedTarget === null) inside = false;
  }, true);
  window.addEventListener('dragover', function (e) {
    if (e.isTrusted && withFiles(e)) e.preventDefault();
  }, true);
  window.addEventListener('drop', function (e) {
    if (!e.isTrusted || !withFiles(e)) return;
    e.preventDefault();
    inside = false;
    if (!top) return;
    globalThis.__tnwebuiDropped = Array.prototype.slice.call(e.dataTransfer.files);
    send(JSON.stringify({drop: globalThis.__tnwebuiDropped.length}));
  }, true);
})();)JS";
}

void PageBrowser::DragFiles(const std::vector<std::string>& files, bool drop) {
  if (!alive_ || Waits([this, files, drop] { DragFiles(files, drop); })) return;
  // One drag after another: a document is armed once, before the first that reaches it.
  dragsWaiting_.push_back([this, files, drop] { DispatchDrag(files, drop); });
  if (dragsWaiting_.size() == 1) NextDrag();
}

void PageBrowser::NextDrag() {
  if (dragsWaiting_.empty()) return;
  ArmDrag([this] {
    if (!alive_) return dragsWaiting_.clear();
    dragsWaiting_.front()();
    dragsWaiting_.pop_front();
    NextDrag();
  });
}

void PageBrowser::ArmDrag(std::function<void()> done) {
  // Every frame of the page's session and of each frame of another site; one answer after
  // another, the drag waits for the last.
  auto left = std::make_shared<int>(1);
  auto finish = [left, done = std::move(done)] {
    if (--*left == 0) done();
  };
  Connection* connection = &engine_->connection();
  std::vector<std::string> sessions{session_};
  for (const auto& [session, frame] : frames_) sessions.push_back(session);
  for (const std::string& session : sessions) {
    ++*left;
    connection->Send(
        "Page.getFrameTree", Json::Value(), session,
        [this, session, left, finish](const Json::Value& result, const Json::Value&) {
          std::vector<std::string> frames;
          std::function<void(const Json::Value&)> collect = [&](const Json::Value& tree) {
            if (!tree.isObject()) return;
            const Json::Value& id = tree["frame"]["id"];
            if (id.isString()) frames.push_back(id.asString());
            for (const Json::Value& child : tree["childFrames"]) collect(child);
          };
          if (alive_) collect(Member(result, "frameTree"));
          for (const std::string& frame : frames) {
            const bool armed =
                std::any_of(dragWorlds_.lower_bound({session, INT_MIN}),
                            dragWorlds_.upper_bound({session, INT_MAX}),
                            [&](const auto& world) { return world.second == frame; });
            if (armed) continue;
            ++*left;
            ArmFrame(session, frame, finish);
          }
          finish();
        });
  }
  finish();
}

void PageBrowser::ArmFrame(const std::string& session, const std::string& frame,
                           std::function<void()> finish) {
  Connection* connection = &engine_->connection();
  Json::Value world;
  world["frameId"] = frame;
  world["worldName"] = kDragWorld;
  // A frame of another process in this session's tree has no world here: its own session
  // arms it.
  connection->Send(
      "Page.createIsolatedWorld", world, session,
      [this, connection, session, frame, finish](const Json::Value& made, const Json::Value&) {
        const Json::Value& context = Member(made, "executionContextId");
        if (!alive_ || !context.isInt()) return finish();
        Json::Value script;
        script["expression"] = DragScript();
        script["contextId"] = context;
        connection->Send("Runtime.evaluate", script, session,
                         [this, session, frame, id = context.asInt(), finish](
                             const Json::Value&, const Json::Value& error) {
                           if (alive_ && error.isNull()) dragWorlds_[{session, id}] = frame;
                           finish();
                         });
      });
}

void PageBrowser::DispatchDrag(const std::vector<std::string>& files, bool drop) {
  int width = 0, height = 0;
  win::GetClientRect(hostWindow_, &width, &height);
  Json::Value data;
  data["items"] = Json::arrayValue;
  data["files"] = Json::arrayValue;
  for (const std::string& file : files) data["files"].append(file);
  data["dragOperationsMask"] = 1;  // copy
  // A session's commands run in order: the drag enters, moves over the page, then ends.
  for (const char* type : {"dragEnter", "dragOver", drop ? "drop" : "dragCancel"}) {
    Json::Value params;
    params["type"] = type;
    params["x"] = width > 0 ? width / 2 : 100;
    params["y"] = height > 0 ? height / 2 : 100;
    params["data"] = data;
    SendToPage("Input.dispatchDragEvent", params);
  }
}

void PageBrowser::OnDragMessage(const Json::Value& params) {
  Json::Value message;
  if (!params["payload"].isString() || !ParseJson(params["payload"].asString(), &message) ||
      !message.isObject() || !params["executionContextId"].isInt() || !notify_)
    return;
  if (message["drag"] == "enter") {
    dragTakenByPage_ = notify_->OnDragEnter();
    return;
  }
  if (!message["drop"].isInt() || message["drop"].asInt() <= 0 || dragTakenByPage_) return;
  int count = message["drop"].asInt();
  if (count > kMaxDroppedFiles) {
    EngineLog(kTnLogInfo, "PageBrowser::OnDragMessage",
              "browser " + std::to_string(id_) + ": " + std::to_string(count) +
                  " files dropped; the view hears of the first " +
                  std::to_string(kMaxDroppedFiles));
    count = kMaxDroppedFiles;
  }
  ReadDroppedFiles(params["executionContextId"].asInt(), count);
}

void PageBrowser::ReadDroppedFiles(int context, int count) {
  // Each file's path, in the order of the drop; the view hears of them when all have answered.
  struct Drop {
    std::vector<std::u16string> paths;
    int waiting = 0;
  };
  auto drop = std::make_shared<Drop>();
  drop->paths.resize(static_cast<std::size_t>(count));
  drop->waiting = count;
  Connection* connection = &engine_->connection();
  const std::string session = session_;
  auto finish = [this, drop, connection, session] {
    if (--drop->waiting > 0) return;
    Json::Value group;
    group["objectGroup"] = kDropGroup;
    connection->Send("Runtime.releaseObjectGroup", group, session, nullptr);
    FileList files;
    for (auto& path : drop->paths) {
      if (!path.empty()) files.push_back(std::move(path));
    }
    if (!alive_ || !notify_ || files.empty()) return;
    notify_->OnFilesDragged(files);
    if (alive_) notify_->OnFilesDropped(files);
  };
  for (int i = 0; i < count; ++i) {
    Json::Value file;
    file["expression"] = "globalThis.__tnwebuiDropped[" + std::to_string(i) + "]";
    file["contextId"] = context;
    file["objectGroup"] = kDropGroup;
    connection->Send(
        "Runtime.evaluate", file, session,
        [connection, session, drop, finish, i](const Json::Value& result, const Json::Value&) {
          const Json::Value& object = Member(result, "result");
          if (!object.isObject() || !object["objectId"].isString()) return finish();
          Json::Value info;
          info["objectId"] = object["objectId"];
          connection->Send("DOM.getFileInfo", info, session,
                           [drop, finish, i](const Json::Value& result, const Json::Value&) {
                             const Json::Value& path = Member(result, "path");
                             if (path.isString())
                               drop->paths[i] =
                                   tnbase::TnStringPtr::FromUTF8(path.asString())->GetData();
                             finish();
                           });
        });
  }
}

}  // namespace xhav::cdp
