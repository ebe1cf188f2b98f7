#pragma once

// Where a light app comes from, for the Chromium engine: a folder with an index.html, a single
// page, or an address. A folder or page is served as a site of its own, as a third-party light
// app is: at https://tavrin5.frames.invalid/lightapp/ (a host that the engine serves as a
// foreign site), from a scratch folder of links beside the client's roots. An app that brings
// no "tavrin-js-bridge.js" finds the client's there.

#include <string>

namespace run {

inline constexpr char kAppHostRoot[] = "tavrin5";
inline constexpr char kAppFolder[] = "lightapp";

struct AppSource {
  std::string address;   // what the light window opens
  std::string pagesDir;  // the folder of resource roots the engine serves
  std::string error;     // why the app can't run; empty when it can
  std::string title;     // the page's <title>, for the window's bar; else the folder's name
  std::string folder;    // the app's own folder; empty for an address
};

// The line (from 1) of the first line holding `text` in the app's own file served at `address`;
// 0 for another address, a file that isn't there, or text it doesn't hold.
int LineInAppFile(const AppSource& app, const std::string& address, const std::string& text);

// Resolves `pathOrAddress`. `clientPages` holds the client's resource roots; `scratch` is an
// empty folder that the links go into (the caller removes it).
AppSource ResolveApp(const std::string& pathOrAddress, const std::string& clientPages,
                     const std::string& scratch);

// True for "https://…", "http://…" and "file://<root>/…" addresses.
bool IsAddress(const std::string& text);

}  // namespace run
