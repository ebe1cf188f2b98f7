#pragma once

// The module's own resources for the web title bar: its instance handle, the bitmaps by
// number and the copy tip's dialog (resource 156).

#include <cstddef>

#include "win/paint.h"
#include "win/user.h"

namespace tnwebui {

struct BitmapResource {
  int id;
  const unsigned char* png;
  std::size_t size;
};

// The module's handle, under which its window classes and resources are registered.
win::HINSTANCE ModuleInstance();
// The module's bitmap `id`, loaded once and kept for the life of the process; null when the
// module has no such bitmap.
win::HBITMAP TitleBitmap(int id);
// Registers the bitmaps and dialogs with the system, once.
void AddTitleResources();

constexpr int kCopyTipDialog = 156;

}  // namespace tnwebui
