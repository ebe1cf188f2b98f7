#pragma once

/// \file
/// The module's entry: the host object it is given and the module object it hands back.

#include <cstdint>

#include "tnwebui/unknown.h"

namespace xhav {
class Core;
class RenderHost;
}  // namespace xhav

/// The host's object. The module uses the named slots; the others keep their places.
class ModuleHost {
 public:
  /// The service bearing the 16-byte identifier `id`, or null.
  virtual void* QueryService(const GUID& id) = 0;
  virtual void Reserved1() = 0;
  /// The host library's core, through which the module makes browsers and registers its
  /// desktop commands; null where there is none.
  virtual xhav::Core* GetHavCore() = 0;
  /// The render-side object of hav, in a render process; null elsewhere.
  virtual xhav::RenderHost* GetRenderHost() = 0;

 protected:
  ~ModuleHost() = default;
};

/// The module object, driven by the host at points of its start sequence. It lives until the
/// process ends: no slot tears it down.
class TavrinModule {
 public:
  /// The host object given to CreateTavrinModule.
  virtual ModuleHost* GetHost() = 0;
  virtual void Reserved2() = 0;
  virtual void Reserved3() = 0;
  /// Registers the desktop commands that every page may send (opening windows, asking for
  /// one, the contact chooser). `value` is not read.
  virtual void OnModuleLoaded(uint32_t value) = 0;
  /// In a render process, starts the render side: the `tnpc_global` extension and the native
  /// object on every page. Elsewhere nothing. `value` is not read.
  virtual void OnProcessInited(uint32_t value) = 0;
  virtual void Reserved6() = 0;

 protected:
  ~TavrinModule() = default;
};

#define TNWEBUI_EXPORT extern "C" __attribute__((visibility("default")))

/// A second call returns the module of the first and ignores its argument.
TNWEBUI_EXPORT TavrinModule* CreateTavrinModule(ModuleHost* host);
/// Hands out the factory (ITnWebUI, made on the first call) with a reference for the caller.
/// E_INVALIDARG for a null `out`, E_NOTIMPL for any other identifier than IID_ITnWebUI,
/// E_OUTOFMEMORY when the factory can't be made.
TNWEBUI_EXPORT HRESULT CreateInterface(const GUID* id, void** out);

using CreateTavrinModuleFn = TavrinModule* (*)(ModuleHost*);
using CreateInterfaceFn = HRESULT (*)(const GUID*, void**);
