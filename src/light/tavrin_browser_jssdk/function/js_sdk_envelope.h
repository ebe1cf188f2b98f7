#pragma once

// The answers of the JS SDK: printf templates that every function fills with its status code
// (and its values, spliced unescaped), and the status codes. The templates differ in small
// ways on purpose: pages of light apps match them as they are, so each stays character for
// character, number 10 with its early brace (no valid JSON) included.
//
// A template with a piece of JSON in it is a head and a tail: the head is formatted, the
// JSON and the tail are appended.

namespace tnwebui::sdk {

struct Envelope {
  const char* head;
  const char* tail;  // null: the template has no JSON piece
};

// By template number, 1 to 15 (0 is unused).
inline constexpr Envelope kEnvelopes[16] = {
    {"", nullptr},
    // 1: config, previewImage
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data": {}})", nullptr},
    // 2: voice, share, displayLocation, saveFile
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data":{}})", nullptr},
    // 3: getAuthCode
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data": {"authCode":"%s"}})", nullptr},
    // 4: chooseLocalFile
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data": {"fileList":)", "}}"},
    // 5: chooseImage
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data": {"tempFiles":)", "}}"},
    // 6: chooseVideo
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data":)", "}"},
    // 7: getSectorMember
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data": )", "}"},
    // 8: downloadFile, uploadFile
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data":{"localId":"%s"}})", nullptr},
    // 9: previewVideo
    {R"({"status":{"code":%d,"message":"ok"},"meta": {},"data": {"endTime":0,"finished":true}})",
     nullptr},
    // 10: uploadFileToS3
    {R"({"status":{"code":%d,"message":"ok"}},"meta": {},"data": {})", nullptr},
    // 11: openGroupChat
    {R"({"status":{"code":%d,"message":"%s"}})", nullptr},
    // 12: openContactsCard, getSectorMember
    {R"({"status":{"code":404,"message":""}})", nullptr},
    // 13: any name the SDK doesn't serve
    {R"({"status":{"code":0,"message":"ok"}})", nullptr},
    // 14: setNavigationBarMenu, closeWindow
    {R"({"status":{"code":0,"message":"ok"},"meta": {},"data": {}})", nullptr},
    // 15: getVisitorToken
    {R"({"status": {"code": %d,"message": "OK"},"meta": {},"data": {"deviceId":"%s","center":{"userId":"%s","token": "%s","domain": "tncenter"},"org": {"userId": {"oid": %d,"uid": %d},"token": "%s","domain": "tn.org.%d"}}})",
     nullptr},
};

// Status codes of the SDK's answers.
enum Status : int {
  kOk = 0,
  kSaveResultIncomplete = 400,   // fileName or filePath missing in the save dialog's result
  kResultNotJson = 404,          // the host's result is no JSON, or JSON null
  kCopyFailed = 404,             // saveFile's copy failed: the same code
  kNoFile = 41,                  // no file handle, or the file could not be opened
  kProgressMissing = 31,         // fileSize or progress missing or no number
  kVoiceFailed = -6,             // the result is no JSON, or the browser is gone
  kBadSelection = -7,            // an empty or too long selection
  kNoFileSize = -8,              // the file's size can't be read
  kMissingKey = 9106923,         // a required key missing or no string, or a service missing
  kBadAppCode = 89234,           // a CoreAppCodeResp does not parse
  kSignatureRejected = 62524,    // the page's signature is rejected
  kBadSignatureAnswer = 6254244  // the answer of the signature check is malformed
};

}  // namespace tnwebui::sdk
