// Arbitrary bytes as an address to take apart and as desktop-command arguments to read.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "base/CommonFunc.h"
#include "base/param_reader.h"
#include "tnbase/logger.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool quiet = (tnbase::SetLogSink([](const tnbase::LogRecord&) {}), true);
  (void)quiet;
  const std::string bytes(reinterpret_cast<const char*>(data), size);

  std::map<std::string, std::string> params;
  const std::string head = tnwebui::CCommonFunc::ParserUrlParams(bytes.c_str(), params);
  if (head.size() > bytes.size()) __builtin_trap();

  interdata::ParamList list;
  if (list.ParseFromString(bytes)) {
    for (int i = -1; i <= list.items_size(); ++i) {
      const auto& item = tnwebui::ParamAt(list, i);
      (void)tnwebui::ItemInt(item);
      (void)tnwebui::ItemString(item).size();
      (void)tnwebui::ItemBytes(item).size();
    }
  }
  interdata::TavrinWindowData window;
  if (window.ParseFromString(bytes)) {
    (void)tnwebui::ItemInt(tnwebui::ExtraParam(window, "animation"));
  }
  return 0;
}
