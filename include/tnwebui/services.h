#pragma once

/// \file
/// Identifiers of the host's services, looked up through ModuleHost::QueryService.

#include <cstdint>

#include "tnwebui/unknown.h"

/// {0B03A8EF-751D-43FC-A95A-C929F944F02B}
constexpr GUID SID_StringTableService = {
    0x0B03A8EF, 0x751D, 0x43FC, {0xA9, 0x5A, 0xC9, 0x29, 0xF9, 0x44, 0xF0, 0x2B}};
/// {B149104B-465D-4D22-AB28-81411C3F908D}
constexpr GUID SID_ClientInfoService = {
    0xB149104B, 0x465D, 0x4D22, {0xAB, 0x28, 0x81, 0x41, 0x1C, 0x3F, 0x90, 0x8D}};
/// {51852E17-CA12-11E9-8113-00163E0CBA50}
constexpr GUID SID_BusinessCoreService = {
    0x51852E17, 0xCA12, 0x11E9, {0x81, 0x13, 0x00, 0x16, 0x3E, 0x0C, 0xBA, 0x50}};
/// {8879BDB5-D23B-11E9-9A61-00163E0CBA50}
constexpr GUID SID_AccessOverrideService = {
    0x8879BDB5, 0xD23B, 0x11E9, {0x9A, 0x61, 0x00, 0x16, 0x3E, 0x0C, 0xBA, 0x50}};
/// {DE7C5350-C416-11E9-8113-00163E0CBA50}
constexpr GUID SID_EventBus = {
    0xDE7C5350, 0xC416, 0x11E9, {0x81, 0x13, 0x00, 0x16, 0x3E, 0x0C, 0xBA, 0x50}};
/// {6A1F0C52-3E7B-4D8A-9C21-5B7E0D4F8A13}: the client's media files (the module's own choice of
/// identifier: the client names this service by the role only).
constexpr GUID SID_MediaService = {
    0x6A1F0C52, 0x3E7B, 0x4D8A, {0x9C, 0x21, 0x5B, 0x7E, 0x0D, 0x4F, 0x8A, 0x13}};

namespace interdata {
class CoreMediaInfoList;
}

/// What receives the client's events: `name` and `format` NUL-terminated, `data` of `size` bytes.
class TavrinEventReceiver {
 public:
  virtual void OnEvent(int32_t type, const char* name, const char* format, const char* data,
                       int32_t size) = 0;

 protected:
  ~TavrinEventReceiver() = default;
};

/// The client's carrier of events.
class EventBus {
 public:
  /// The files that were dropped on view `viewId`, as event `name`.
  virtual void PostFileListEvent(int32_t viewId, const char* name,
                                 const interdata::CoreMediaInfoList& files) = 0;
  virtual void PostPbTextEvent(int32_t type, const char* name, const char* data, uint32_t size) = 0;
  virtual void PostJsonEvent(int32_t type, const char* name, const char* data) = 0;
  virtual void Reserved1() = 0;
  virtual void Reserved2() = 0;
  virtual void AddEventReceiver(TavrinEventReceiver* receiver) = 0;
  virtual void RemoveEventReceiver(TavrinEventReceiver* receiver) = 0;

 protected:
  ~EventBus() = default;
};

/// Localised texts by resource key ("IDS_STR_APP_NAME").
class StringTableService {
 public:
  /// Copies the UTF-8 text of `key` into `buffer` (NUL-terminated, cut to fit). False when the
  /// key is unknown; the buffer then holds an empty text.
  virtual bool LoadString(const char* key, char* buffer, uint32_t size) = 0;

 protected:
  ~StringTableService() = default;
};

/// Facts about the client.
class ClientInfoService {
 public:
  virtual const char* GetDeviceId() = 0;
  /// The company's web domain, UTF-8 ("intra.example.com").
  virtual const char* GetWebDomain() = 0;

 protected:
  ~ClientInfoService() = default;
};

/// Lets the host open business actions to every page.
class AccessOverrideService {
 public:
  virtual void Reserved1() = 0;
  virtual void Reserved2() = 0;
  virtual void Reserved3() = 0;
  virtual void Reserved4() = 0;
  virtual bool AllowAnyPage() = 0;

 protected:
  ~AccessOverrideService() = default;
};

/// The client's media files: where a file of a chat lies on this machine, and saving one.
class MediaService {
 public:
  /// Copies the local path (UTF-8) of file `fid` of organisation `mediaOid`, as organisation
  /// `oid` sees it, into `buffer` (NUL-terminated, cut to fit). False when the file isn't here;
  /// the buffer then holds an empty text.
  virtual bool GetLocalPath(int32_t oid, int32_t mediaOid, int32_t fid, char* buffer,
                            uint32_t size) = 0;
  /// Starts saving file `fid` of organisation `mediaOid` to `target` (a full path, UTF-8) for
  /// organisation `oid`; the saving goes on after the call.
  virtual void SaveMedia(int32_t oid, int32_t mediaOid, int32_t fid, const char* target) = 0;

 protected:
  ~MediaService() = default;
};
