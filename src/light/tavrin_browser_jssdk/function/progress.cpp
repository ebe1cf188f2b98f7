#include "base/CommonFunc.h"
#include "light/tavrin_browser_jssdk/function/transfers.h"

namespace tnwebui {

std::string ProgressText(const std::string& localId, uint64_t total, uint64_t loaded) {
  std::string text;
  JsSdkFunction::FormatText(text, R"({"payload" : {"localId":"%s", "total":%llu, "loaded":%llu}})",
                            localId.c_str(), static_cast<unsigned long long>(total),
                            static_cast<unsigned long long>(loaded));
  // The text goes through the host's wide form and back, as every text of the page does.
  return WideToUtf8(Utf8ToWide(text));
}

}  // namespace tnwebui
