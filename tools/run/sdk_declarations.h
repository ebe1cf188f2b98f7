#pragma once

// The client's JS SDK as pages/types/tavrin-js-bridge.d.ts declares it, in the form that
// tnwebui-run checks a light app's calls against: the thirty names, the fields of each name's
// `data.payload` with their types, and whether a call is answered.

#include <json/value.h>

#include <string>
#include <vector>

namespace run {

// Whether the client answers a call of the name.
enum class Answered {
  kAlways,
  kNever,      // a name for the page's own handler: the call does nothing
  kSometimes,  // only when something goes wrong (a card that can't be opened)
};

// A payload field: `type` is "string", "number", "boolean", "string[]", "array", or
// "string|number".
struct SdkField {
  const char* name;
  const char* type;
  bool required;
};

struct SdkName {
  const char* name;
  std::vector<SdkField> fields;
  bool anyObject;  // the payload is any object (the choosers' options)
  Answered answered;
};

// The thirty names, in the declarations' order.
const std::vector<SdkName>& SdkNames();
// The name's declaration, or null for a name the client doesn't serve.
const SdkName* FindSdkName(const std::string& name);

// What the declarations refuse in a call's `data` (each a sentence; empty when it is fine):
// `data` must be an object (or absent) whose `payload` is an object (or absent) with every
// required field and each field of its declared type.
std::vector<std::string> RefusedPayload(const SdkName& declared, const Json::Value& data);

}  // namespace run
