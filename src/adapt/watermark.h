#pragma once

// The watermark of a page: the native step decides from the initial data whether the page gets
// one, hands it the user's identity as window.watermarkInfo, and runs the script kept in the
// library, then the script of the page's drag region.

#include <string>

#include "hav/hav.h"

namespace tnwebui {

// The watermark script from the library's resources.
std::string LoadWatermarkScript();

// The JSON of window.watermarkInfo for `initData`, without its line end; false when the page
// gets no watermark.
bool BuildWatermarkInfo(const std::string& initData, std::u16string* json);

// Runs the step in `frame` of the page, through `browser`.
void RunWatermarkStep(xhav::Browser* browser, CefRefPtr<CefBrowser> engineBrowser,
                      CefRefPtr<CefFrame> frame, const std::string& initData);

extern const char16_t kDragRegionScript[];

}  // namespace tnwebui
