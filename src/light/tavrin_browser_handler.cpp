#include "light/tavrin_browser_handler.h"

#include <cstdlib>
#include <vector>

#include "auth.pb.h"
#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/param_reader.h"
#include "base/path.h"
#include "base/reply_codes.h"
#include "base/resource_roots.h"
#include "base/tn_log.h"
#include "light/tavrin_browser.h"
#include "light/tool_tip.h"
#include "presentation.pb.h"
#include "tn_webui_module.h"
#include "tnwebui/business_service.h"
#include "tnwebui/services.h"
#include "win/files.h"
#include "win/window.h"

namespace tnwebui {
namespace {

constexpr char kLogSource[] = "src\\light\\tavrin_browser_handler";
constexpr char kCannotUnmarshal[] = "the javascript param can not unmarshal.";

}  // namespace

std::string RequestPath(xhav::Request* request) {
  if (!request) return std::string();
  tnbase::TnStringPtr path(request->GetPath());
  return path ? path->ToUTF8() : std::string();
}

void ReadParamList(xhav::Request* request, interdata::ParamList& list, const char* function) {
  const xhav::PostElements* elements = request ? request->GetPostElements() : nullptr;
  if (!elements || elements->GetCount() != 1) return;
  const xhav::PostElement* element = elements->GetElement(0);
  if (!element) return;
  const std::size_t size = element->GetBytesCount();
  if (size > static_cast<std::size_t>(INT32_MAX) ||
      !list.ParseFromArray(element->GetBytes(), static_cast<int>(size))) {
    TN_LOG_TEXT(4, function, kCannotUnmarshal);
    WriteResponse(request, interdata::ParamCount);
  }
}

namespace {

// What follows the last separator of `path`; empty when it has none.
std::string FileNameOf(const std::string& path) {
  const auto at = path.rfind(win::kPathSeparator);
  return at == std::string::npos ? std::string() : path.substr(at + 1);
}

}  // namespace

bool WalkFolder(std::u16string folder, const std::u16string& filter, FolderEntries& entries,
                int64_t& total, int64_t limit) {
  if (folder.empty() || folder.back() != win::kPathSeparator) folder += win::kPathSeparator;
  win::FindData data;
  win::FindHandle find = win::FindFirstFileW(folder + u"*.*", &data);
  if (!find) return false;
  bool result = false;
  do {
    const std::u16string& name = data.cFileName;
    if (name == u"." || name == u"..") continue;
    if (data.dwFileAttributes & win::FILE_ATTRIBUTE_DIRECTORY) {
      // Junctions and links to folders aren't followed.
      if (!(data.dwFileAttributes & win::FILE_ATTRIBUTE_REPARSE_POINT)) {
        result = WalkFolder(folder + name, filter, entries, total, limit);
      }
      continue;
    }
    const auto dot = name.rfind(u'.');
    const std::u16string extension = dot == std::u16string::npos ? name : name.substr(dot + 1);
    if (filter.find(extension) == std::u16string::npos && filter != u"*.*") continue;
    const uint64_t size = (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    // Signed as the limit: a negative limit is passed by the first file, even an empty one.
    total += static_cast<int64_t>(size);
    if (total > limit) {
      win::FindClose(find);
      return true;
    }
    entries.emplace_back(size, name);
  } while (win::FindNextFileW(find, &data));
  win::FindClose(find);
  return result;
}

bool FolderSize(const std::string& limitText, const std::string& path, Json::Value* folder,
                const std::function<void(int32_t)>& reply) {
  const int64_t limit =
      limitText.empty() ? kDefaultFolderLimit : std::strtoll(limitText.c_str(), nullptr, 10);
  // An empty path is answered and walked all the same.
  if (path.empty()) reply(reply::kFolderPathEmpty);
  const std::string native = NativeSeparators(path);
  FolderEntries entries;
  int64_t total = 0;
  if (WalkFolder(Utf8ToWide(native), u"*.*", entries, total, limit)) {
    reply(reply::kFolderOverLimit);
    return false;
  }
  uint64_t sum = 0;
  for (const auto& entry : entries) sum += entry.first;
  (*folder)["filePath"] = path;
  (*folder)["fileName"] = FileNameOf(native);
  (*folder)["isFolder"] = true;
  (*folder)["fileSize"] = Json::UInt64(sum);
  (*folder)["formatFileSize"] = formatFileSize(static_cast<double>(sum));
  return true;
}

void ReportFolderSize(int64_t limit, const std::string& path) {
  ModuleHost* host = GetModuleHost();
  auto* bus = host ? static_cast<EventBus*>(host->QueryService(SID_EventBus)) : nullptr;
  if (!bus) return;
  Json::Value folder;
  bool passed = false;
  const bool measured = FolderSize(std::to_string(limit), path, &folder, [&passed](int32_t code) {
    passed = code == reply::kFolderOverLimit;
  });
  if (!measured && passed) {
    folder = Json::Value(Json::objectValue);
    folder["code"] = reply::kFolderOverLimit;
  }
  bus->PostJsonEvent(0, kFileSizeEvent, WriteJson(folder).c_str());
}

void WriteResponse(xhav::Request* request, int32_t code, const std::string& data) {
  interdata::Response response;
  response.set_code(code);
  if (!data.empty()) response.set_data(data);
  const std::size_t size = response.ByteSizeLong();
  std::vector<char> buffer(size);
  response.SerializeToArray(buffer.data(), static_cast<int>(size));
  if (request) request->Write(buffer.data(), size);
}

void WriteWindowData(xhav::Request* request, TavrinBrowser* window) {
  interdata::TavrinWindowData data;
  const int32_t oid = window->GetOid();
  ModuleHost* host = GetModuleHost();
  auto* service =
      host ? static_cast<BusinessCoreService*>(host->QueryService(SID_BusinessCoreService))
           : nullptr;
  tnbusiness::CoreObject* core = service ? service->GetCoreObject() : nullptr;
  if (IGData* session = core ? core->GetSession(oid) : nullptr) {
    interdata::CoreSession parsed;
    if (session->Size() >= 0 && parsed.ParseFromArray(session->Data(), session->Size())) {
      data.set_uid(parsed.uid());
    }
    session->Dispose();
  }
  data.set_id(window->GetId());
  data.set_oid(oid);
  data.set_name(window->GetName());
  data.set_openurl(window->GetOpenUrl());
  for (const auto& [key, item] : window->GetExtraParams())
    (*data.mutable_extra_params())[key] = item;
  WriteResponse(request, 0, data.SerializeAsString());
}

// ---------------------------------------------------------------------------------------------
// BrowserHandler

BrowserHandler::BrowserHandler(TavrinBrowser* window) : browser(window) {
  commands.insert({"/window/init", &BrowserHandler::onInit});
  commands.insert({"/window/min", &BrowserHandler::onMinimize});
  commands.insert({"/window/max", &BrowserHandler::onMaximize});
  commands.insert({"/window/restore", &BrowserHandler::onRestore});
  commands.insert({"/window/close", &BrowserHandler::onClose});
  commands.insert({"/window/setwindowsize", &BrowserHandler::onSetWindowSize});
  commands.insert({"/window/tooltip", &BrowserHandler::onShowToolTip});
  commands.insert({"/window/animationstart", &BrowserHandler::onAnimationStart});
  commands.insert({"/window/animationstop", &BrowserHandler::onAnimationStop});
  commands.insert({"/window/animationstop", &BrowserHandler::onAnimationStop});  // no change
  commands.insert({"/window/shakewindow", &BrowserHandler::onShakeWindow});
  commands.insert({"/window/openFolder", &BrowserHandler::onOpenFolder});
  commands.insert({"/window/getfoldersize", &BrowserHandler::onGetFolderSize});
  commands.insert({"/window/setalwaysontop", &BrowserHandler::onSetAlwaysOnTop});
  commands.insert({"/window/getwindowtemp", &BrowserHandler::onGetWindowTemp});
}

void BrowserHandler::OnRequest(xhav::Request* request) {
  if (!browser) {
    WriteResponse(request, interdata::InvalidAPI);
    return;
  }
  auto command = commands.find(RequestPath(request));
  if (command == commands.end()) {
    WriteResponse(request, interdata::InvalidAPI);
    return;
  }
  interdata::ParamList list;
  ReadParamList(request, list, "BrowserHandler::OnRequest");
  (this->*command->second)(request, list);
}

xhav::Browser* BrowserHandler::HavBrowser() { return browser ? browser->GetHavBrowser() : nullptr; }

void BrowserHandler::onInit(xhav::Request* request, const interdata::ParamList&) {
  // The window's data (its user, its parameters) is read by the pages of the address the window
  // was opened with and by client pages only: a page of another origin that now holds the
  // window's main frame is answered with a refusal instead.
  const std::string current = PageUrlOf(HavBrowser());
  if (!browser || !MayReadWindowData(current, {browser->GetOpenUrl()})) {
    TN_LOG_TEXT(4, "BrowserHandler::onInit",
                "the window's data is kept from a page of another origin: " + current);
    WriteResponse(request, reply::kNotTheWindowsOrigin);
    return;
  }
  WriteWindowData(request, browser);
}

void BrowserHandler::onMinimize(xhav::Request*, const interdata::ParamList&) {
  if (xhav::Browser* b = HavBrowser()) b->Minimize();
}

void BrowserHandler::onMaximize(xhav::Request*, const interdata::ParamList&) {
  if (xhav::Browser* b = HavBrowser()) b->Maximize();
}

void BrowserHandler::onRestore(xhav::Request*, const interdata::ParamList&) {
  if (xhav::Browser* b = HavBrowser()) b->Restore();
}

void BrowserHandler::onClose(xhav::Request*, const interdata::ParamList&) {
  if (xhav::Browser* b = HavBrowser()) b->Close(1);
}

void BrowserHandler::onSetWindowSize(xhav::Request* request, const interdata::ParamList& list) {
  if (list.items_size() != 4) {
    WriteResponse(request, 1);
    return;
  }
  if (xhav::Browser* b = HavBrowser()) {
    b->MoveWindow(ItemInt(list.items(0)), ItemInt(list.items(1)), ItemInt(list.items(2)),
                  ItemInt(list.items(3)));
  }
}

void BrowserHandler::onShowToolTip(xhav::Request* request, const interdata::ParamList& list) {
  if (list.items_size() != 3) {
    WriteResponse(request, interdata::ParamCount);
    return;
  }
  const std::string& text = ItemString(list.items(1));
  const int32_t time = ItemInt(list.items(2));
  TN_LOG(2, "BrowserHandler::onShowToolTip", "Create ToolTip text[%s],time[%d]", text.c_str(),
         time);
  CloseToolTip();  // a tip on the screen goes at once
  int lastError = 0;
  if (!ShowToolTip(Utf8ToWide(text), time, &lastError)) {
    TN_LOG(4, "BrowserHandler::onShowToolTip", "Create toolTip Failed lasterror:[%d]", lastError);
    WriteResponse(request, kToolTipFailed);
    return;
  }
  WriteResponse(request, 0);
}

void BrowserHandler::onAnimationStart(xhav::Request*, const interdata::ParamList& list) {
  // The page gives the five values; missing ones read as 0.
  if (xhav::Browser* b = HavBrowser()) {
    b->Animate(ItemInt(ParamAt(list, 0)), ItemInt(ParamAt(list, 1)), ItemInt(ParamAt(list, 2)),
               ItemInt(ParamAt(list, 3)), ItemInt(ParamAt(list, 4)));
  }
}

void BrowserHandler::onAnimationStop(xhav::Request* request, const interdata::ParamList& list) {
  // The same call: the meaning lies in the values.
  onAnimationStart(request, list);
}

void BrowserHandler::onShakeWindow(xhav::Request*, const interdata::ParamList&) {
  xhav::Browser* b = HavBrowser();
  HWND hwnd = b ? b->GetWindowHandle() : nullptr;
  if (win::IsIconic(hwnd)) win::ShowWindow(hwnd, win::SW_RESTORE);
  win::ShowWindow(hwnd, win::SW_SHOWWINDOW);
  win::SetForegroundWindow(hwnd);
  win::Rect rect;
  if (!win::GetWindowRect(hwnd, &rect)) return;
  const int x = rect.left, y = rect.top;
  const int width = rect.right - rect.left, height = rect.bottom - rect.top;
  // Six rounds of four steps, 20 ms apart: left, up-left, up, home.
  const int steps[4][2] = {{-11, 0}, {-11, -11}, {0, -11}, {0, 0}};
  for (int round = 0; round < 6; ++round) {
    for (const auto& step : steps) {
      win::MoveWindow(hwnd, x + step[0], y + step[1], width, height, true);
      win::Sleep(20);
    }
  }
}

void BrowserHandler::onOpenFolder(xhav::Request* request, const interdata::ParamList&) {
  xhav::Browser* b = HavBrowser();
  std::u16string path =
      win::SHBrowseForFolderW(b ? b->GetWindowHandle() : nullptr, win::BIF_RETURNONLYFSDIRS);
  if (path.size() > kMaxPath - 1) path.resize(kMaxPath - 1);  // the system's buffer
  if (path.empty()) {
    WriteResponse(request, reply::kOpenFolderFailed);
    return;
  }
  const std::string utf8 = WideToUtf8(path);
  Json::Value folder;
  folder["filePath"] = utf8;
  folder["fileName"] = FileNameOf(utf8);
  folder["isFolder"] = true;
  WriteResponse(request, 0, WriteJson(folder));
}

void BrowserHandler::onGetFolderSize(xhav::Request* request, const interdata::ParamList& list) {
  Json::Value folder;
  if (FolderSize(ItemString(ParamAt(list, 0)), ItemString(ParamAt(list, 1)), &folder,
                 [request](int32_t code) { WriteResponse(request, code); })) {
    WriteResponse(request, 0, WriteJson(folder));
  }
}

void BrowserHandler::onSetAlwaysOnTop(xhav::Request*, const interdata::ParamList& list) {
  if (xhav::Browser* b = HavBrowser()) b->SetTopMost(ItemInt(ParamAt(list, 0)) != 0);
}

void BrowserHandler::onGetWindowTemp(xhav::Request* request, const interdata::ParamList&) {
  std::u16string path = win::GetTempPathW();
  if (path.size() > kMaxPath - 1) path.resize(kMaxPath - 1);
  if (!path.empty()) path.pop_back();  // its closing separator
  Json::Value temp;
  temp["path"] = WideToUtf8(path);
  WriteResponse(request, 0, WriteJson(temp));
}

}  // namespace tnwebui
