// Arbitrary desktop requests to both handlers: the first byte picks the path, the second how
// the body comes (none, one element, or the rest split in two), the rest is the body. Nothing
// may crash or leak, and every reply written must be a Response.

#include <google/protobuf/stubs/logging.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "hav/null_browser.h"
#include "jsapi.pb.h"
#include "light/tavrin_browser.h"
#include "light/tavrin_browser_handler.h"
#include "tnbase/logger.h"

namespace {

// Every path that a handler serves, and some that none does. Left out are the commands whose
// work is the machine's rather than the request's: the tool tip (a thread and a window per
// request), the shake (half a second of sleeps) and the folder size (a walk of whatever folder
// the input names); their requests are read like all the others.
std::vector<std::string> Paths() {
  std::vector<std::string> paths;
  for (const char* path : tnwebui::kLightBrowserPaths) {
    const std::string p = path;
    if (p != "/window/tooltip" && p != "/window/shakewindow" && p != "/window/getfoldersize") {
      paths.push_back(p);
    }
  }
  paths.insert(paths.end(), std::begin(tnwebui::kOpenPaths), std::end(tnwebui::kOpenPaths));
  for (const char* odd : {"/window/minimize", "", "/window/open/", "/WINDOW/MIN"}) {
    paths.push_back(odd);
  }
  return paths;
}

class Window final : public tnwebui::TavrinBrowser {
 public:
  int32_t GetId() override { return 7; }
  const std::string& GetName() override { return name_; }
  int32_t GetOid() override { return 1; }
  xhav::Browser* GetHavBrowser() override { return &browser_; }
  const std::string& GetOpenUrl() override { return name_; }
  const tnwebui::ExtraParams& GetExtraParams() override { return extra_; }

 private:
  std::string name_ = "fuzz";
  tnwebui::ExtraParams extra_;
  xhav::NullBrowser browser_;
};

class Element final : public xhav::PostElement {
 public:
  explicit Element(std::string bytes) : bytes_(std::move(bytes)) {}
  std::size_t GetBytesCount() const override { return bytes_.size(); }
  const void* GetBytes() const override { return bytes_.data(); }

 private:
  std::string bytes_;
};

class Request final : public xhav::Request, public xhav::PostElements {
 public:
  Request(std::string path, std::vector<Element> body, bool hasBody)
      : path_(std::move(path)), body_(std::move(body)), hasBody_(hasBody) {}
  TnString* GetPath() override { return allocStringFromUTF8(path_.c_str()); }
  const xhav::PostElements* GetPostElements() override { return hasBody_ ? this : nullptr; }
  void Write(const void* data, std::size_t length) override {
    interdata::Response response;
    if (!response.ParseFromArray(data, static_cast<int>(length))) __builtin_trap();
  }
  std::size_t GetCount() const override { return body_.size(); }
  const xhav::PostElement* GetElement(std::size_t i) const override {
    return i < body_.size() ? &body_[i] : nullptr;
  }

 private:
  std::string path_;
  std::vector<Element> body_;
  bool hasBody_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool quiet = (tnbase::SetLogSink([](const tnbase::LogRecord&) {}),
                       google::protobuf::SetLogHandler(nullptr), true);
  (void)quiet;
  static Window window;
  if (size < 2) return 0;
  static const std::vector<std::string> paths = Paths();
  const std::string& path = paths[data[0] % paths.size()];
  const std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
  std::vector<Element> body;
  const int shape = data[1] % 3;
  if (shape == 1) body.emplace_back(rest);
  if (shape == 2) {
    body.emplace_back(rest.substr(0, rest.size() / 2));
    body.emplace_back(rest.substr(rest.size() / 2));
  }
  Request request(path, std::move(body), shape != 0);
  tnwebui::BrowserHandler(data[1] & 0x80 ? nullptr : &window).OnRequest(&request);
  std::make_shared<tnwebui::OpenBrowserHandler>()->OnRequest(&request);
  return 0;
}
