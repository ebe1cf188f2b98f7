#pragma once

// Whether a navigation of a view's main frame goes on, decided the same in every engine, on the
// user-interface thread, before any byte of the new document is fetched:
//
// 1. IsFilteredUrl(address), for a navigation that the page started (a link, a form, a
//    script's `location`) and for every redirect of one: true keeps the view on its page. The
//    host's and the module's own loads (LoadUrl, a window's first address, the loading page's
//    real address) are theirs to choose and aren't filtered: a view with the filter on (the
//    settings' default) still shows the address it was opened with.
// 2. OnBeforeNavigate(address), for every navigation: the view hands the client what the
//    client opens itself, filtered or not. A non-zero answer keeps the view on its page.
// 3. What the client opens is not opened a second time in the view: an address of a scheme
//    that no page is served under (the client's own "zd480courier://", say) never loads as a
//    page, nor does an address of the company's web domain ("https://<domain>/...", the text
//    the host gives the engine, the same its ClientInfoService gives the module).
//
// Frames' navigations are not asked.

#include <string>

#include "hav/hav.h"
#include "tnbase/tn_string.h"

namespace xhav {

enum class NavigationAnswer { kLoad, kFiltered, kToClient };

// Schemes a document is loaded from. Any other is a program's, not a page's.
inline bool IsPageScheme(const std::string& url) {
  for (const char* scheme : {"https://", "http://", "file://", "about:", "data:", "blob:"}) {
    if (url.rfind(scheme, 0) == 0) return true;
  }
  return false;
}

inline bool OpensInClient(const std::string& url, const std::string& clientWebDomain) {
  if (!IsPageScheme(url)) return true;
  return !clientWebDomain.empty() && url.rfind("https://" + clientWebDomain + "/", 0) == 0;
}

// `pageStarted`: the page started the navigation (or it is a redirect of one it started).
inline NavigationAnswer AskBeforeNavigating(BrowserNotify* notify, const std::string& url,
                                            bool pageStarted, const std::string& clientWebDomain) {
  if (!notify) return NavigationAnswer::kLoad;
  tnbase::TnStringPtr text = tnbase::TnStringPtr::FromUTF8(url);
  const bool filtered = pageStarted && notify->IsFilteredUrl(text.get());
  const bool toClient =
      notify->OnBeforeNavigate(text.get()) != 0 || OpensInClient(url, clientWebDomain);
  if (toClient) return NavigationAnswer::kToClient;  // the client has it, filtered or not
  return filtered ? NavigationAnswer::kFiltered : NavigationAnswer::kLoad;
}

inline const char* NavigationAnswerText(NavigationAnswer answer) {
  return answer == NavigationAnswer::kFiltered ? "filtered by the view" : "the client's to open";
}

}  // namespace xhav
