#pragma once

// Readers of desktop-command arguments. An item of another kind than the reader wants, and an
// item or key that is absent, read as the kind's empty value: 0, false, "" or no bytes. The
// one-of's case decides, never the value.

#include <string>

#include "jsapi.pb.h"
#include "presentation.pb.h"

namespace tnwebui {

int32_t ItemInt(const interdata::ParamItem& item);
double ItemDouble(const interdata::ParamItem& item);
bool ItemBool(const interdata::ParamItem& item);
const std::string& ItemString(const interdata::ParamItem& item);
const std::string& ItemBytes(const interdata::ParamItem& item);

// The item at `index` of a ParamList, or an empty item.
const interdata::ParamItem& ParamAt(const interdata::ParamList& list, int index);
// The item under `key` in a window's extra_params, or an empty item.
const interdata::ParamItem& ExtraParam(const interdata::TavrinWindowData& data,
                                       const std::string& key);
bool HasExtraParam(const interdata::TavrinWindowData& data, const std::string& key);

}  // namespace tnwebui
