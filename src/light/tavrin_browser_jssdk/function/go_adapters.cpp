#include "light/tavrin_browser_jssdk/function/go_adapters.h"

#include <cstring>

namespace tnwebui {

template <typename T>
GenericDataT<T>::GenericDataT(const void* bytes, int32_t count, bool autoDelete)
    : GoInterfaceT<T>(autoDelete) {
  if (count <= 0) return;
  data = new char[static_cast<std::size_t>(count)]();
  if (bytes) std::memcpy(data, bytes, static_cast<std::size_t>(count));
  size = count;
}

template class GenericDataT<IGData>;
template class GenericDataT<IGString>;

void ResponserImpl::OnResponse(IGData* data, Tnerror::Error* error) {
  // This runs on the core's thread, with the core's frames below it: nothing may leave.
  try {
    handler(data, error);  // an empty handler is std::bad_function_call
  } catch (...) {
  }
  delete this;
}

int32_t GoErrorValue(Tnerror::Error* error) {
  if (!error) return 0;
  const int32_t sub = error->SubCode();
  return sub != 0 ? sub : error->Code();
}

}  // namespace tnwebui
