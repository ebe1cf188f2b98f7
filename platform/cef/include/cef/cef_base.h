#pragma once

#include <atomic>
#include <utility>

#include "cef/cef_export.h"

// Base of every reference-counted engine object. Objects start with no reference; the first
// CefRefPtr takes one, and the object deletes itself when the last one goes.
class CEF_API CefBaseRefCounted {
 public:
  virtual void AddRef() const = 0;
  virtual bool Release() const = 0;
  virtual bool HasOneRef() const = 0;
  virtual bool HasAtLeastOneRef() const = 0;

 protected:
  virtual ~CefBaseRefCounted() = default;
};

// The older name of the same base.
using CefBase = CefBaseRefCounted;

class CefRefCount {
 public:
  void AddRef() const { count_.fetch_add(1, std::memory_order_relaxed); }
  // True when this was the last reference.
  bool Release() const { return count_.fetch_sub(1, std::memory_order_acq_rel) == 1; }
  bool HasOneRef() const { return count_.load(std::memory_order_acquire) == 1; }
  bool HasAtLeastOneRef() const { return count_.load(std::memory_order_acquire) >= 1; }

 private:
  mutable std::atomic<int> count_{0};
};

#define IMPLEMENT_REFCOUNTING(ClassName)                                           \
 public:                                                                           \
  void AddRef() const override { ref_count_.AddRef(); }                            \
  bool Release() const override {                                                  \
    if (ref_count_.Release()) {                                                    \
      delete static_cast<const ClassName*>(this);                                  \
      return true;                                                                 \
    }                                                                              \
    return false;                                                                  \
  }                                                                                \
  bool HasOneRef() const override { return ref_count_.HasOneRef(); }               \
  bool HasAtLeastOneRef() const override { return ref_count_.HasAtLeastOneRef(); } \
                                                                                   \
 private:                                                                          \
  CefRefCount ref_count_

template <typename T>
class CefRefPtr {
 public:
  CefRefPtr() = default;
  CefRefPtr(std::nullptr_t) {}
  CefRefPtr(T* p) : p_(p) {
    if (p_) p_->AddRef();
  }
  CefRefPtr(const CefRefPtr& o) : CefRefPtr(o.p_) {}
  template <typename U>
  CefRefPtr(const CefRefPtr<U>& o) : CefRefPtr(o.get()) {}
  CefRefPtr(CefRefPtr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  ~CefRefPtr() {
    if (p_) p_->Release();
  }
  CefRefPtr& operator=(CefRefPtr o) noexcept {
    std::swap(p_, o.p_);
    return *this;
  }
  T* get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }
  bool operator==(const CefRefPtr& o) const { return p_ == o.p_; }
  bool operator!=(const CefRefPtr& o) const { return p_ != o.p_; }
  bool operator==(std::nullptr_t) const { return p_ == nullptr; }
  bool operator!=(std::nullptr_t) const { return p_ != nullptr; }

 private:
  T* p_ = nullptr;
};
