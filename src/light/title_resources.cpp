#include "light/title_resources.h"

#include <map>
#include <mutex>

namespace tnwebui {

extern const BitmapResource kBitmapResources[];
extern const std::size_t kBitmapResourceCount;

namespace {
const char kInstanceTag = 0;
}  // namespace

win::HINSTANCE ModuleInstance() { return const_cast<char*>(&kInstanceTag); }

void AddTitleResources() {
  static std::once_flag once;
  std::call_once(once, [] {
    for (std::size_t i = 0; i < kBitmapResourceCount; ++i) {
      const BitmapResource& r = kBitmapResources[i];
      win::AddBitmapResource(ModuleInstance(), r.id, r.png, r.size);
    }
    // A popup tool window of 111 by 36 dialog units in 7-point "新宋体", without controls.
    win::DialogTemplate tip;
    tip.style = 0x80000000;
    tip.exStyle = 0x80;
    tip.width = 111;
    tip.height = 36;
    tip.fontPoints = 7;
    tip.fontFace = u"新宋体";
    win::AddDialogResource(ModuleInstance(), kCopyTipDialog, tip);
  });
}

win::HBITMAP TitleBitmap(int id) {
  static std::mutex mutex;
  static auto& loaded = *new std::map<int, win::HBITMAP>;  // kept to the process's end
  AddTitleResources();
  std::lock_guard<std::mutex> lock(mutex);
  const auto it = loaded.find(id);
  if (it != loaded.end()) return it->second;
  win::HBITMAP bitmap = win::LoadBitmapW(ModuleInstance(), id);
  if (bitmap) loaded[id] = bitmap;
  return bitmap;
}

}  // namespace tnwebui
