#pragma once

// The sample business core's signature check of light apps: a page's signature is the HMAC
// (SHA-256, lower-case hex) of its application id, nonce, timestamp and address under the
// app's secret. The check reads the module's request by reflection, so it needs the module's
// schema loaded in the process.

#include <string>

#include "tnmainui/business_service.h"

namespace tnmainui {

// The signature of the fields, joined by "|", under `secret`.
TNMAINUI_API std::string SignFields(const std::string& secret, const std::string& appId,
                                    const std::string& nonce, const std::string& timestamp,
                                    const std::string& url);
// What a page's "config" asks the core to check, as the core reads it from a "BatchQuery":
// the app's id as "oid-id", the nonce, the timestamp, the page's address and the signature.
struct SignedFields {
  std::string appId, nonce, timestamp, url, signature;
};
// Reads the fields of a "BatchQuery" of a signature key; empty, or what is wrong with it.
TNMAINUI_API std::string ReadSignedFields(const GoCall& call, SignedFields* fields);
// The text that is signed: "appId|nonce|timestamp|url".
TNMAINUI_API std::string SignedText(const SignedFields& fields);
// The core's answer to a "BatchQuery" of a signature key: a bridge.KVSArray of one element
// whose value says whether the signature is right; a parse failure answers with an error.
TNMAINUI_API GoAnswer CheckSignature(const GoCall& call, const std::string& secret);

}  // namespace tnmainui
