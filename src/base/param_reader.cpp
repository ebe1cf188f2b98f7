#include "base/param_reader.h"

namespace tnwebui {

namespace {

using Case = interdata::ParamItem::ItemValCase;

const std::string& EmptyText() {
  static const std::string empty;
  return empty;
}

}  // namespace

int32_t ItemInt(const interdata::ParamItem& item) {
  return item.ItemVal_case() == Case::kIntVal ? item.intval() : 0;
}

double ItemDouble(const interdata::ParamItem& item) {
  return item.ItemVal_case() == Case::kDoubleVal ? item.doubleval() : 0;
}

bool ItemBool(const interdata::ParamItem& item) {
  return item.ItemVal_case() == Case::kBoolVal && item.boolval();
}

const std::string& ItemString(const interdata::ParamItem& item) {
  return item.ItemVal_case() == Case::kStringVal ? item.stringval() : EmptyText();
}

const std::string& ItemBytes(const interdata::ParamItem& item) {
  return item.ItemVal_case() == Case::kBytesVal ? item.bytesval() : EmptyText();
}

const interdata::ParamItem& ParamAt(const interdata::ParamList& list, int index) {
  if (index < 0 || index >= list.items_size()) return interdata::ParamItem::default_instance();
  return list.items(index);
}

const interdata::ParamItem& ExtraParam(const interdata::TavrinWindowData& data,
                                       const std::string& key) {
  const auto& map = data.extra_params();
  auto it = map.find(key);
  return it == map.end() ? interdata::ParamItem::default_instance() : it->second;
}

bool HasExtraParam(const interdata::TavrinWindowData& data, const std::string& key) {
  return data.extra_params().count(key) != 0;
}

}  // namespace tnwebui
