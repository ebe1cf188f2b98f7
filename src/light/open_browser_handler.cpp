// The commands any page may send: "/window/open" (a web window, a light window, or one of the
// main page's dialogs), "/window/havewindow" and "/biz/common/choosecontacts".

#include <cstdio>

#include "adapt/tn_browser_pb_ui.h"
#include "base/CommonFunc.h"
#include "base/json.h"
#include "base/param_reader.h"
#include "base/reply_codes.h"
#include "base/tn_log.h"
#include "coretnid.pb.h"
#include "light/tavrin_browser.h"
#include "light/tavrin_browser_handler.h"
#include "light/tavrin_browser_ui.h"
#include "tn_browser_factory.h"
#include "tn_webui_module.h"
#include "tnwebui/business_service.h"
#include "tnwebui/services.h"
#include "win/window.h"

namespace tnwebui {
namespace {

constexpr char kLogSource[] = "src\\light\\tavrin_browser_handler";
constexpr char kPersonSelectTemplate[] =
    R"({"actionType":"","alwaysOnTop":false,"autoSelect":false,"chatId":"","code":"TnPersonSelect","curUserUniID":"","fromPrivateChat":false,"memberCapacity":500,"orgDomain":"tn.org.%d","orgName":"","parentWnd":3019094,"selfMobile":"10000000000","selfName":"~","showWatermark":0,"showWatermarkPhone":0,"store":"null"})";
constexpr int32_t kLightViewType = 4;
constexpr int kPairGap = 3;           // pixels between two windows placed side by side
constexpr int32_t kNoPreview = 1000;  // "tn.previewfile" when the file isn't shown

template <typename Service>
Service* ModuleService(const GUID& id) {
  ModuleHost* host = GetModuleHost();
  return host ? static_cast<Service*>(host->QueryService(id)) : nullptr;
}

// The hav browser of the light window `id`, or null.
xhav::Browser* LightBrowserById(int32_t id) {
  TnBrowserFactory* factory = GetBrowserFactory();
  TavrinBrowser* window = factory ? factory->FindLightBrowserById(id) : nullptr;
  return window ? window->GetHavBrowser() : nullptr;
}

// The native window of the light window `id` as the integer the main page reads; 0 if unknown.
int32_t NativeWindowOf(int32_t id) {
  xhav::Browser* browser = LightBrowserById(id);
  HWND hwnd = browser ? browser->GetWindowHandle() : nullptr;
  return static_cast<int32_t>(reinterpret_cast<intptr_t>(hwnd));
}

win::Rect WorkArea() {
  win::Rect area;
  win::SystemParametersInfoW(win::SPI_GETWORKAREA, 0, &area, 0);
  return area;
}

void PostJson(int32_t oid, const char* name, const std::string& json) {
  if (auto* bus = ModuleService<EventBus>(SID_EventBus))
    bus->PostJsonEvent(oid, name, json.c_str());
}

}  // namespace

OpenBrowserHandler::OpenBrowserHandler() : title(allocString()) {}

OpenBrowserHandler::~OpenBrowserHandler() {
  if (core) core->Release();
  if (title) title->Release();
}

void OpenBrowserHandler::OnRequest(xhav::Request* req) {
  request = req;
  const std::string path = RequestPath(req);
  interdata::ParamList list;
  ReadParamList(req, list, "OpenBrowserHandler::OnRequest");
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

BusinessCore* OpenBrowserHandler::TakeCore(xhav::Request* req, int32_t organisation) {
  auto* service = ModuleService<BusinessCoreService>(SID_BusinessCoreService);
  if (!service) {
    WriteResponse(req, reply::kNoBusinessCoreService);
    return nullptr;
  }
  BusinessCore* found = service->GetBusinessCore(organisation);
  if (!found) {
    WriteResponse(req, reply::kNoBusinessCoreForOid);
    return nullptr;
  }
  found->AddRef();
  return found;
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
  BusinessCore* found = TakeCore(req, oid);
  if (!found) return;
  if (core) core->Release();
  core = found;

  const std::string& name = data.name();
  if (name == "savefile") {
    onSaveFile(data);
  } else if (name == "choosefile") {
    onChooseFile(data);
  } else if (name == "dragfile") {
    // Accepted; nothing to do.
  } else if (name == "previewfile") {
    if (ItemInt(ExtraParam(data, "type")) == 1) onPreviewFile(data);
  } else if (name == "messagebox") {
    onMessageBox(data);
  } else if (HasExtraParam(data, "json")) {
    OpenPlain(req, ItemString(list.items(0)), ItemString(ExtraParam(data, "json")));
  } else {
    OpenWindow(req, list, data);
  }
}

void OpenBrowserHandler::OpenView(const char16_t* name, const std::string& url,
                                  const std::string& address, BusinessCore* viewCore,
                                  const std::string& json) {
  TnBrowserFactory* factory = GetBrowserFactory();
  IBrowserViewSetting* settings = nullptr;
  if (!factory || factory->CreateBrowserViewSetting(&settings) < 0 || !settings) return;
  settings->SetName(name);
  settings->SetUrlText(Utf8ToWide(url).c_str());
  settings->SetBusinessCore(viewCore);
  settings->SetInitData(json.c_str());
  IBrowserView* view = nullptr;
  factory->CreateBrowserView(address.c_str(), settings, &view);
  if (view) view->Release();  // the factory keeps its window
  settings->Release();
}

void OpenBrowserHandler::OpenPlain(xhav::Request* req, const std::string& url,
                                   const std::string& json) {
  BusinessCore* viewCore = TakeCore(req, oid);
  if (!viewCore) return;
  OpenView(u"openwindow", url, url, viewCore, json);
  viewCore->Release();
  WriteResponse(req, 0);
}

void OpenBrowserHandler::OpenWindow(xhav::Request* req, const interdata::ParamList& list,
                                    const interdata::TavrinWindowData& data) {
  TnBrowserFactory* factory = GetBrowserFactory();
  if (!factory) return;
  if (TavrinBrowser* open = factory->FindLightBrowserByName(data.name())) {
    // The open window comes to the front as it is: its page isn't loaded again.
    if (xhav::Browser* browser = open->GetHavBrowser()) {
      browser->Restore();
      browser->SetTopMost(true);
      browser->SetTopMost(false);
    }
    return;
  }
  interdata::WindowProperty property;
  property.set_has_taskbar_icon(true);
  if (list.items_size() == 3) property.ParseFromString(ItemBytes(list.items(2)));

  xhav::BrowserParam* param = NewBrowserParam();
  if (param) {
    param->SetStartHidden(true);
    if (ItemInt(ExtraParam(data, "animation")) == 1) param->SetAnimation(true);
    if (property.has_title() && !property.title().empty()) {
      param->SetTitle(tnbase::TnStringPtr::FromUTF8(property.title()).get());
    }
    param->SetShowTitleBar(property.has_show_titlebar() && property.show_titlebar());
    param->SetViewType(kLightViewType);
    param->SetResizable(property.has_resize() && property.resize());
    if (property.has_pos()) PlaceWindow(property.pos(), data, param);
  }
  const std::string url = ItemString(list.items(0));
  const int32_t id =
      factory->CreateLightBrowser(oid, data.name().c_str(), url.c_str(), param, &property);
  if (param) param->Destroy();
  TavrinBrowser* window = factory->FindLightBrowserById(id);
  if (!window) return;
  // The window's extra parameters are the opener's: its page reads them with /window/init.
  if (auto* light = dynamic_cast<TavrinBrowserUI*>(window)) {
    light->SetViewParams(ExtraParams(data.extra_params().begin(), data.extra_params().end()));
  }
  WriteWindowData(req, window);
}

void OpenBrowserHandler::PlaceWindow(const interdata::WindowPosition& pos,
                                     const interdata::TavrinWindowData& data,
                                     xhav::BrowserParam* param) {
  param->SetHeight(pos.height());
  param->SetWidth(pos.width());
  const int w = scaleForDpi(pos.width());
  const int h = scaleForDpi(pos.height());
  const win::Rect area = WorkArea();
  if (pos.pos_type() == "bottomright") {
    const int margin = scaleForDpi(1);
    param->SetLeft(area.right - margin - w);
    param->SetTop(area.bottom - margin - h);
    param->SetPlaced(true);
  } else if (pos.pos_type() == "topcenter") {
    win::Rect bar;
    win::GetWindowRect(win::FindWindowW("Shell_TrayWnd", u""), &bar);
    // A task bar at the top of the screen stays uncovered.
    const int top = bar.top == 0 ? bar.bottom : 1;
    param->SetLeft((area.right - area.left - w) / 2);
    param->SetTop(top);
    param->SetPlaced(true);
    param->SetTopCenter(true);
  } else {
    param->SetLeft(pos.x());
    param->SetTop(pos.y());
  }
  if (!HasExtraParam(data, "prevWinId")) return;
  const int32_t previous = ItemInt(ExtraParam(data, "prevWinId"));
  if (previous == -1) return;
  // Beside the earlier window: the two centred as a pair, a small gap between them.
  const win::Rect work = WorkArea();
  xhav::Browser* earlier = LightBrowserById(previous);
  if (!earlier) return;
  win::Rect rect;
  win::GetWindowRect(earlier->GetWindowHandle(), &rect);
  const int p = rect.right - rect.left;
  const int q = rect.bottom - rect.top;
  const int px = (work.right - work.left - p - w - kPairGap) / 2;
  const int y = (work.bottom - work.top - h) / 2;
  earlier->MoveWindow(px, y, p, q);
  param->SetLeft(p + kPairGap + px);
  param->SetTop(y);
}

void OpenBrowserHandler::onHaveWindow(xhav::Request* req, const interdata::ParamList& list) {
  if (list.items_size() != 1) {
    WriteResponse(req, 1);
    return;
  }
  const std::u16string title = Utf8ToWide(ItemString(list.items(0)));
  HWND window = win::FindWindowExW(nullptr, nullptr, "HavWindowClassName", title.c_str());
  WriteResponse(req, win::IsWindow(window) ? 0 : 2);
}

void OpenBrowserHandler::onChooseContacts(xhav::Request* req, const interdata::ParamList& list) {
  if (list.items_size() != 6) {
    WriteResponse(req, interdata::ParamCount);
    return;
  }
  const interdata::ParamItem& first = list.items(0);
  const int32_t organisation = ItemInt(first);
  if (first.ItemVal_case() != interdata::ParamItem::kIntVal || organisation <= 0) {
    WriteResponse(req, reply::kMaxCountNotPositive);
    return;
  }
  // The two lists of people serve nothing further.
  interdata::CoreUserIdList chosen, fixed;
  chosen.ParseFromString(ItemBytes(list.items(4)));
  fixed.ParseFromString(ItemBytes(list.items(5)));
  char json[1025] = {};
  std::snprintf(json, sizeof json, kPersonSelectTemplate, organisation);
  BusinessCore* viewCore = TakeCore(req, organisation);
  if (!viewCore) return;
  // The settings and the view name two roots: the chooser has always been opened so.
  OpenView(u"TnPersonSelect", "file://tavrin5/personselect.html",
           "file://tavrin5main/personselect.html", viewCore, json);
  viewCore->Release();
  WriteResponse(req, 0);
}

// ---- the main page's dialogs

void OpenBrowserHandler::callMainPage(const char16_t* business, const char16_t* method,
                                      const std::string& json) {
  IBrowserView* view = nullptr;
  if (!core || core->GetBrowserView(u"TnMain", &view) < 0 || !view) return;
  auto* main = dynamic_cast<TnBrowserPbUI*>(view);
  xhav::Browser* browser = main ? main->tavrin_browser()->GetHavBrowser() : nullptr;
  void* channel = nullptr;
  std::shared_ptr<OpenBrowserHandler> self = weak_from_this().lock();
  if (browser && self && browser->GetProperty(xhav::kPropertyBusinessChannel, &channel) &&
      channel) {
    auto* callback = new browser_view_cb_impl<OpenBrowserHandler>(std::move(self));
    callback->AddRef();  // held across the call, whatever the channel does with it
    const xhav::BusinessParams params{business, method, u"0", Utf8ToWide(json), u"0"};
    static_cast<xhav::BusinessChannel*>(channel)->ExecuteBusiness(params, callback);
    callback->Release();
  }
  view->Release();
}

void OpenBrowserHandler::onSaveFile(const interdata::TavrinWindowData& data) {
  const std::string& fileName = ItemString(ExtraParam(data, "fileName"));
  if (!media.ParseFromString(ItemBytes(ExtraParam(data, "mediaId")))) return;
  callMainPage(u"Notice", u"OpenSaveAsWnd",
               R"({ "fileName":")" + fileName + R"(","filterType":"file"})");
}

void OpenBrowserHandler::onChooseFile(const interdata::TavrinWindowData& data) {
  maxCount = ItemInt(ExtraParam(data, "maxCount"));
  category = ItemInt(ExtraParam(data, "categoryType"));
  const char* filter = category == 1 ? "video" : category == 2 ? "image" : "file";
  char head[256] = {};
  std::snprintf(head, sizeof head, "{\"selectFileCount\":%d,\"parentHwnd\":%d,\"filterType\":\"",
                maxCount, NativeWindowOf(data.id()));
  callMainPage(u"Notice", u"OpenFileDialog", std::string(head) + filter + "\"}");
}

void OpenBrowserHandler::onMessageBox(const interdata::TavrinWindowData& data) {
  Json::Value box(Json::objectValue);
  Json::Value checkbox;
  if (ParseJson(ItemString(ExtraParam(data, "isShowCheckbox")), checkbox)) {
    const bool object = checkbox.isObject();
    const Json::Value& value = object ? checkbox["value"] : Json::Value::nullSingleton();
    const Json::Value& shown = object ? checkbox["isShow"] : Json::Value::nullSingleton();
    box["Checked"] = value.isInt() ? value.asInt() : 0;
    box["isShowCheckBox"] = shown.isInt() && shown.asInt() != 0;
    box["checkTitle"] = object ? JsonString(checkbox, "label") : std::string();
  }
  for (const char* key : {"title", "text", "okText", "cancelText"}) {
    box[key] = ItemString(ExtraParam(data, key));
  }
  box["style"] = ItemInt(ExtraParam(data, "dialogStyle"));
  box["parentWnd"] = NativeWindowOf(data.id());
  box["windowid"] = data.id();
  box["isModal"] = ItemBool(ExtraParam(data, "isModal"));
  const std::string json = WriteJson(box);
  TN_LOG(2, "OpenBrowserHandler::onMessageBox", "Messagebox param:[%s]", json.c_str());
  callMainPage(u"Common", u"MessageBox", json);
}

void OpenBrowserHandler::onPreviewFile(const interdata::TavrinWindowData& data) {
  int32_t code = kNoPreview;
  interdata::CoreMediaIdentifier file;
  std::string path;
  if (file.ParseFromString(ItemBytes(ExtraParam(data, "mediaId")))) {
    char buffer[1024] = {};
    auto* service = ModuleService<MediaService>(SID_MediaService);
    if (service && service->GetLocalPath(oid, file.oid(), file.fid(), buffer, sizeof buffer)) {
      path = buffer;
    }
  }
  // The file is shown in its folder; no viewer opens.
  if (showFileInFolder(path.c_str())) code = 0;
  PostJson(oid, "tn.previewfile", "{\"code\":" + std::to_string(code) + "}");
}

void OpenBrowserHandler::onDialogResult(const char16_t* method, int32_t status,
                                        const char16_t* answer) {
  const std::string name = WideToUtf8(method ? method : u"");
  Json::Value root;
  if (!ParseJson(WideToUtf8(answer ? answer : u""), root) || root.isNull()) return;
  if (name == "OpenSaveAsWnd") {
    const std::string fileName = JsonString(root, "fileName");
    const std::string filePath = JsonString(root, "filePath");
    auto* service = ModuleService<MediaService>(SID_MediaService);
    if (media.fid() > 0 && service) {
      service->SaveMedia(oid, media.oid(), media.fid(), (filePath + fileName).c_str());
    }
  } else if (name == "OpenFileDialog") {
    interdata::CoreMediaList files;
    if (root.isArray()) {
      for (const Json::Value& element : root) {
        if (!HasJsonString(element, "fileName") || !HasJsonString(element, "filePath")) continue;
        std::string path = element["filePath"].asString();
        for (char& c : path) {
          if (c == '\\') c = '/';
        }
        const Json::Value& size = element["fileSize"];
        interdata::CoreMediaInfo* info = files.add_medias()->mutable_mediainfo();
        info->set_name(element["fileName"].asString());
        info->set_localpath(path);
        info->set_size(static_cast<int64_t>(size.isUInt64() ? size.asUInt64() : 0));
        info->set_type(static_cast<interdata::CoreMediaCategoryType>(category));
      }
    }
    const std::string bytes = files.SerializeAsString();
    if (auto* bus = ModuleService<EventBus>(SID_EventBus)) {
      bus->PostPbTextEvent(oid, "tn.choosefile", bytes.data(), static_cast<uint32_t>(bytes.size()));
    }
  } else if (name == "MessageBox") {
    Json::Value result(Json::objectValue);
    result["status"] = status;
    if (root.isObject() && root["checkBoxStatus"].isBool()) {
      result["checkBoxStatus"] = root["checkBoxStatus"].asBool();
    }
    if (root.isObject() && root["windowid"].isInt()) result["windowid"] = root["windowid"].asInt();
    PostJson(oid, "tn.messagebox", WriteJson(result));
  }
}

}  // namespace tnwebui
