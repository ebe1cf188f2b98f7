// The settings object of a view.

#include <gtest/gtest.h>

#include "browser_view_setting.h"
#include "tnmainui/business_core.h"

using tnwebui::CBrowserViewSettingImpl;

namespace {

IBrowserViewSetting* NewSettings() {
  auto* s = new CBrowserViewSettingImpl();
  s->AddRef();
  return s;
}

}  // namespace

TEST(ViewSettings, AFreshObjectHasTheClientsDefaults) {
  IBrowserViewSetting* s = NewSettings();
  RECT r{1, 2, 3, 4};
  s->GetRect(&r);
  EXPECT_EQ(r.left + r.top + r.right + r.bottom, 0);
  EXPECT_EQ(s->GetBusinessCore(), nullptr);
  EXPECT_EQ(s->GetHostValueA(), 1);
  EXPECT_EQ(s->GetFilterUrl(), 1);
  EXPECT_EQ(s->GetStartHidden(), 1);
  EXPECT_EQ(s->GetDelayShow(), 0);
  EXPECT_EQ(s->GetViewType(), 0);
  EXPECT_EQ(s->GetHideOnClose(), 0);
  EXPECT_EQ(std::u16string(s->GetName()), u"");
  EXPECT_EQ(std::string(s->GetInitData()), "");
  EXPECT_EQ(s->Reserved3(1, 2, 3, 4, 5), S_OK);
  s->Release();
}

TEST(ViewSettings, TextsAreCopiesAndAnEmptyInitDataPointerIsIgnored) {
  IBrowserViewSetting* s = NewSettings();
  std::u16string name = u"TnMain";
  s->SetName(name.c_str());
  name[0] = u'X';
  EXPECT_EQ(std::u16string(s->GetName()), u"TnMain");
  s->SetName(nullptr);
  EXPECT_EQ(std::u16string(s->GetName()), u"");
  s->SetInitData("{\"a\":1}");
  s->SetInitData(nullptr);
  EXPECT_EQ(std::string(s->GetInitData()), "{\"a\":1}");
  s->SetRect({10, 20, 110, 220});
  RECT r{};
  s->GetRect(&r);
  EXPECT_EQ(r.right, 110);
  s->Release();
}

TEST(ViewSettings, TheCoreIsHeldWithOneReference) {
  auto* core = new tnmainui::ScriptedBusinessCore(u"o", "a");
  IBrowserViewSetting* s = NewSettings();
  s->SetBusinessCore(core);
  EXPECT_EQ(core->refs(), 2u);
  s->SetBusinessCore(core);  // the same core again changes nothing
  EXPECT_EQ(core->refs(), 2u);
  EXPECT_EQ(s->GetBusinessCore(), core);
  EXPECT_EQ(core->refs(), 2u);  // the getter adds none
  s->SetBusinessCore(nullptr);
  EXPECT_EQ(core->refs(), 1u);
  s->SetBusinessCore(core);
  s->Release();  // the last release gives the core back
  EXPECT_EQ(core->refs(), 1u);
  core->Release();
}

TEST(ViewSettings, QueryInterfaceAnswersItsTwoIdentifiers) {
  IBrowserViewSetting* s = NewSettings();
  void* out = nullptr;
  EXPECT_EQ(s->QueryInterface(IID_IUnknown, &out), S_OK);
  EXPECT_EQ(out, s);
  EXPECT_EQ(s->QueryInterface(IID_IBrowserViewSetting, &out), S_OK);
  EXPECT_EQ(s->QueryInterface(IID_IBrowserView, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(s->Release(), 2u);
  EXPECT_EQ(s->Release(), 1u);
  s->Release();
}
