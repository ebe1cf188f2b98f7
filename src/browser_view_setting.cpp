#include "browser_view_setting.h"

namespace tnwebui {

CBrowserViewSettingImpl::~CBrowserViewSettingImpl() {
  if (core_) core_->Release();
}

void CBrowserViewSettingImpl::SetBusinessCore(BusinessCore* core) {
  if (core == core_) return;
  if (core) core->AddRef();
  if (core_) core_->Release();
  core_ = core;
}

void CBrowserViewSettingImpl::GetRect(RECT* rect) {
  if (rect) *rect = rect_;
}

}  // namespace tnwebui
