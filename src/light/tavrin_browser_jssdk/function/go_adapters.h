#pragma once

// The module's side of the business core's boundary: byte blocks and texts handed to the core
// (which copies what it needs during the call) and the responder that carries its answer back.

#include <cstdint>
#include <functional>

#include "tnwebui/business_service.h"

namespace tnwebui {

// Dispose deletes the object when `autoDelete` is set, else does nothing.
template <typename T>
class GoInterfaceT : public T {
 public:
  void Dispose() override {
    if (autoDelete) delete this;
  }
  int32_t Reserved() override { return 0; }
  virtual ~GoInterfaceT() = default;

 protected:
  explicit GoInterfaceT(bool autoDelete) : autoDelete(autoDelete) {}
  bool autoDelete;
};

// An owned copy of bytes.
template <typename T>
class GenericDataT : public GoInterfaceT<T> {
 public:
  const char* Data() override { return data; }
  int32_t Size() override { return size; }
  ~GenericDataT() override { delete[] data; }
  GenericDataT(const GenericDataT&) = delete;
  GenericDataT& operator=(const GenericDataT&) = delete;

 protected:
  GenericDataT(const void* bytes, int32_t count, bool autoDelete);
  char* data = nullptr;
  int32_t size = 0;
};

// Bytes for one call, usually on the caller's stack.
class GDataImpl final : public GenericDataT<IGData> {
 public:
  GDataImpl(const void* bytes, int32_t count) : GenericDataT(bytes, count, false) {}
};

// A text for one call. Its Dispose deletes it, so the core must not dispose one that stands
// on the caller's stack; it never does with its arguments.
class GStringImpl final : public GenericDataT<IGString> {
 public:
  GStringImpl(const void* bytes, int32_t count) : GenericDataT(bytes, count, true) {}
};

// Carries one answer of the core to `handler`, on the core's thread, then deletes itself.
class ResponserImpl final : public GoInterfaceT<Im::Responser> {
 public:
  using Handler = std::function<void(IGData* data, Tnerror::Error* error)>;
  explicit ResponserImpl(Handler handler) : GoInterfaceT(false), handler(std::move(handler)) {}
  void OnResponse(IGData* data, Tnerror::Error* error) override;

 private:
  ~ResponserImpl() override = default;
  Handler handler;
};

// The value of a core error: its sub code if that is not 0, else its code; 0 for none.
int32_t GoErrorValue(Tnerror::Error* error);

}  // namespace tnwebui
