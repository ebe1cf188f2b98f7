#include "light/tavrin_browser_handler.h"

#include <vector>

#include "auth.pb.h"
#include "base/param_reader.h"
#include "base/tn_log.h"
#include "light/tavrin_browser.h"
#include "presentation.pb.h"
#include "tn_webui_module.h"
#include "tnwebui/business_service.h"
#include "tnwebui/services.h"

namespace tnwebui {
namespace {

constexpr char kLogSource[] = "src\\light\\tavrin_browser_handler";
constexpr char kCannotUnmarshal[] = "the javascript param can not unmarshal.";

// The request's path as bytes; empty without a request.
std::string PathOf(xhav::Request* request) {
  if (!request) return std::string();
  tnbase::TnStringPtr path(request->GetPath());
  return path ? path->ToUTF8() : std::string();
}

// Reads the body into `list` when it is exactly one element. A body that isn't a ParamList is
// logged under `function` and answered with ParamCount; the caller goes on with what the
// parser left.
void ReadBody(xhav::Request* request, interdata::ParamList& list, const char* function) {
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

}  // namespace

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
  auto command = commands.find(PathOf(request));
  if (command == commands.end()) {
    WriteResponse(request, interdata::InvalidAPI);
    return;
  }
  interdata::ParamList list;
  ReadBody(request, list, "BrowserHandler::OnRequest");
  (this->*command->second)(request, list);
}

xhav::Browser* BrowserHandler::HavBrowser() { return browser ? browser->GetHavBrowser() : nullptr; }

void BrowserHandler::onInit(xhav::Request* request, const interdata::ParamList&) {
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

void BrowserHandler::onShowToolTip(xhav::Request*, const interdata::ParamList&) {}

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

void BrowserHandler::onShakeWindow(xhav::Request*, const interdata::ParamList&) {}

void BrowserHandler::onOpenFolder(xhav::Request*, const interdata::ParamList&) {}

void BrowserHandler::onGetFolderSize(xhav::Request*, const interdata::ParamList&) {}

void BrowserHandler::onSetAlwaysOnTop(xhav::Request*, const interdata::ParamList& list) {
  if (xhav::Browser* b = HavBrowser()) b->SetTopMost(ItemInt(ParamAt(list, 0)) != 0);
}

void BrowserHandler::onGetWindowTemp(xhav::Request*, const interdata::ParamList&) {}

// ---------------------------------------------------------------------------------------------
// OpenBrowserHandler

OpenBrowserHandler::OpenBrowserHandler() : title(allocString()) {}

OpenBrowserHandler::~OpenBrowserHandler() {
  if (core) core->Release();
  if (title) title->Release();
}

void OpenBrowserHandler::OnRequest(xhav::Request* req) {
  request = req;
  const std::string path = PathOf(req);
  interdata::ParamList list;
  ReadBody(req, list, "OpenBrowserHandler::OnRequest");
  // /window/open goes on to the closing InvalidAPI below: the routing has always been laid
  // out so, and pages get two writes for it.
  if (path == "/window/open") onOpenWindow(req, list);
  if (path == "/window/havewindow") {
    onHaveWindow(req, list);
    return;
  }
  if (path == "/biz/common/choosecontacts") {
    onChooseContacts(req, list);
    return;
  }
  WriteResponse(req, interdata::InvalidAPI);
}

void OpenBrowserHandler::onOpenWindow(xhav::Request* req, const interdata::ParamList& list) {
  if (list.items_size() < 2) {
    WriteResponse(req, interdata::ParamCount);
    return;
  }
  interdata::TavrinWindowData data;
  if (!data.ParseFromString(ItemBytes(list.items(1)))) {
    WriteResponse(req, interdata::ParamUnmarshal);
    return;
  }
  oid = data.oid();
}

void OpenBrowserHandler::onHaveWindow(xhav::Request*, const interdata::ParamList&) {}

void OpenBrowserHandler::onChooseContacts(xhav::Request*, const interdata::ParamList&) {}

}  // namespace tnwebui
