#pragma once

/// \file
/// The business core's service (SID_BusinessCoreService) and the types that cross its
/// boundary. The core is written in Go: it takes data as byte blocks and texts that the caller
/// owns and copies what it needs during the call, and it answers later, on threads of its own,
/// through responder objects that the caller gives. Virtual operations stand in slot order.

#include <cstdint>

class BusinessCore;

/// The base of every object that crosses the boundary.
class GoDisposable {
 public:
  virtual void Dispose() = 0;
  virtual int32_t Reserved() = 0;  ///< 0

 protected:
  ~GoDisposable() = default;
};

/// A text (UTF-8, not zero-terminated).
class IGString : public GoDisposable {
 public:
  virtual const char* Data() = 0;
  virtual int32_t Size() = 0;

 protected:
  ~IGString() = default;
};

/// A block of bytes, usually a serialised message.
class IGData : public GoDisposable {
 public:
  virtual const char* Data() = 0;
  virtual int32_t Size() = 0;

 protected:
  ~IGData() = default;
};

namespace Tnerror {

/// The core's error. A value of 0 in both codes means no error.
class Error {
 public:
  virtual int32_t SubCode() = 0;
  virtual const char* Message() = 0;
  virtual int32_t Code() = 0;

 protected:
  ~Error() = default;
};

}  // namespace Tnerror

namespace Im {

/// The answer to one request: `data` and `error` (either may be null) stay the core's.
class Responser : public GoDisposable {
 public:
  virtual void OnResponse(IGData* data, Tnerror::Error* error) = 0;

 protected:
  ~Responser() = default;
};

/// The course of one download: OnStart, OnData for each block, OnFinish.
class HTTPDownloadResponser : public GoDisposable {
 public:
  virtual void OnFinish() = 0;
  virtual void OnData(IGData* data, int64_t length, int64_t total) = 0;
  virtual void OnStart() = 0;

 protected:
  ~HTTPDownloadResponser() = default;
};

}  // namespace Im

namespace tnbusiness {

/// Identity: visitor tokens and the user's session.
class CoreObject {
 public:
  /// A centre token and user id for (`domain`, `deviceId`).
  virtual void RequestToken(IGString* domain, IGString* deviceId, Im::Responser* responser) = 0;
  /// The token of organisation `orgId` for the same pair.
  virtual void RequestOrgToken(int32_t orgId, IGString* domain, IGString* deviceId,
                               Im::Responser* responser) = 0;
  /// The session of `orgId` (a serialised CoreSession), which the caller disposes; or null.
  virtual IGData* GetSession(int32_t orgId) = 0;

 protected:
  ~CoreObject() = default;
};

class NetworkObject {
 public:
  /// A batched query of objects by key (a serialised KArray) with task options.
  virtual void BatchQuery(int32_t orgId, IGData* keys, IGData* options, int32_t flags,
                          Im::Responser* responser) = 0;
  /// Downloads `url`; the handle names the task, 0 when it could not start.
  virtual int64_t HttpDownload(IGString* url, IGString* header, int32_t timeoutMs, int32_t flags,
                               Im::HTTPDownloadResponser* responser) = 0;
  virtual void CancelDownload(int64_t handle) = 0;

 protected:
  ~NetworkObject() = default;
};

class ApplicationObject {
 public:
  /// A one-time code of an application (a serialised CoreAppCodeReq).
  virtual void RequestAppCode(int32_t orgId, IGData* request, IGString* taskId,
                              Im::Responser* responser) = 0;

 protected:
  ~ApplicationObject() = default;
};

class ContactObject {
 public:
  /// The members of the sectors in `list`, as application `app` may see them.
  virtual void OpenSectorMembers(int32_t orgId, IGData* list, IGData* app, int32_t flags,
                                 IGString* taskId, Im::Responser* responser) = 0;

 protected:
  ~ContactObject() = default;
};

}  // namespace tnbusiness

/// The service: the core's four objects; each may be null.
class BusinessCoreService {
 public:
  virtual tnbusiness::CoreObject* GetCoreObject() = 0;
  virtual tnbusiness::NetworkObject* GetNetworkObject() = 0;
  virtual tnbusiness::ApplicationObject* GetApplicationObject() = 0;
  virtual tnbusiness::ContactObject* GetContactObject() = 0;
  /// The business core of organisation `oid`, or null. The service keeps it; it stays valid
  /// while the organisation is signed in.
  virtual BusinessCore* GetBusinessCore(int32_t oid) = 0;

 protected:
  ~BusinessCoreService() = default;
};
