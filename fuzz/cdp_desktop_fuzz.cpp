// A page's requests to the desktop origin as the Chromium engine pauses them, with the frame
// and the origin mixed in: the input is a paused request's JSON and whether its frame is the
// window's, and its main frame. Nothing may crash; a frame that is not the window's, a
// navigation, and a frame of an opaque origin are always refused; a request whose origin is
// neither a client's nor the window's is refused; only a client origin or the window's own is
// ever allowed to read an answer; a request that is served reaches a handler.

#include <json/reader.h>
#include <strings.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "../platform/hav/src/cdp_engine_internal.h"
#include "hav/handler_table.h"

namespace {

class Handler final : public xhav::CustomizeHandler {
 public:
  void OnRequest(xhav::Request* request) override {
    const xhav::PostElements* elements = request->GetPostElements();
    std::size_t bytes = 0;
    for (std::size_t i = 0; elements && i < elements->GetCount(); ++i)
      bytes += elements->GetElement(i)->GetBytesCount();
    const std::string reply(bytes % 7, 'x');
    request->Write(reply.data(), reply.size());
  }
  void OnFinish() override {}
};

class Creator final : public xhav::HandlerCreator {
 public:
  std::shared_ptr<xhav::CustomizeHandler> CreateHandler() override {
    return std::make_shared<Handler>();
  }
  void DeleteCreator() override {}
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  xhav::cdp::DesktopSender sender;
  sender.trusted = data[0] & 1;
  sender.mainFrame = sender.trusted && (data[0] & 2);
  sender.windowOrigin = (data[0] & 4) ? "https://app.example" : "";
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  Json::Value params;
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  if (!reader->parse(text.data(), text.data() + text.size(), &params, nullptr)) return 0;
  if (!params.isObject()) return 0;
  const xhav::cdp::DesktopPlan plan = xhav::cdp::PlanDesktopRequest(params, sender);
  const bool refused =
      plan.kind == xhav::cdp::DesktopPlan::kRefuse || plan.kind == xhav::cdp::DesktopPlan::kStay;
  if (!sender.trusted && !refused) std::abort();
  if (params["resourceType"] == "Document" && !refused) std::abort();
  // The request's origin as a browser sends it: one header, named in any case.
  const Json::Value& request = params["request"];
  const Json::Value headers = request.isObject() ? request["headers"] : Json::Value();
  Json::Value origin;
  if (headers.isObject()) {
    for (const std::string& name : headers.getMemberNames()) {
      if (name.size() == 6 && strcasecmp(name.c_str(), "origin") == 0 && headers[name].isString())
        origin = headers[name];
    }
  }
  if (!sender.mainFrame && !refused && origin == "null") std::abort();
  // A request is its sender's: one whose Origin is neither a client origin nor the window's is
  // never served, whichever frame it comes from.
  if (!refused && origin.isString() && !origin.asString().empty() && origin != "null" &&
      !xhav::cdp::IsClientOrigin(origin.asString()) && origin != sender.windowOrigin)
    std::abort();
  for (const auto& [name, value] : plan.headers) {
    if (name == "Access-Control-Allow-Origin" && !xhav::cdp::IsClientOrigin(value) &&
        (value.empty() || value != sender.windowOrigin))
      std::abort();
  }
  if (plan.kind == xhav::cdp::DesktopPlan::kServe) {
    static Creator creator;
    xhav::HandlerTable table;
    table.Add("https://tnpc-desktop.invalid/window/", &creator);
    xhav::HandlerCreator* found = xhav::FindServing(nullptr, table, plan.url);
    xhav::ServeRequest(found, plan.url, plan.body.empty() ? nullptr : &plan.body);
  }
  return 0;
}
