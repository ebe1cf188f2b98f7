#pragma once

// Requests of pages to addresses that the host registered: who serves an address, and one
// request served by a fresh handler of its creator.

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "hav/hav.h"

namespace xhav {

// Creators by full address, in the order of registration (repeats kept, for inspection).
// A registered address serves requests to itself and to every address that begins with it (a
// longer path included: the handler decides what it serves); the longest such address wins,
// and of equal ones the latest registration. Removing an address removes all of its entries.
class HAV_API HandlerTable {
 public:
  void Add(const char* address, HandlerCreator* creator);
  void Remove(const char* address);
  // The creator for `address` (compared without its query), or null; `matched` gets the
  // length of the registered address that serves it.
  HandlerCreator* Find(const std::string& address, std::size_t* matched = nullptr) const;
  std::vector<std::pair<std::string, HandlerCreator*>> entries() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, HandlerCreator*>> entries_;
};

// Who serves `address`: the longest match of the browser's own registrations (if any) and the
// registry's; the browser's at equal length.
HAV_API HandlerCreator* FindServing(const HandlerTable* browser, const HandlerTable& registry,
                                    const std::string& address);

// What came of one request.
struct ServedRequest {
  bool served = false;              // a creator was registered for the address
  std::vector<std::string> writes;  // each Write of the handler, in order
};

// The address without its query and fragment.
HAV_API std::string WithoutQuery(const std::string& address);
// The host of an address ("https://host:1/a" -> "host").
HAV_API std::string HostOf(const std::string& address);
// The path of an address ("https://host/a/b?x" -> "/a/b").
HAV_API std::string PathOf(const std::string& address);

// Serves `address` with a new handler of `creator` (OnRequest, then OnFinish). `body` holds
// the body's elements; null for a request without a body.
HAV_API ServedRequest ServeRequest(HandlerCreator* creator, const std::string& address,
                                   const std::vector<std::string>* body);

}  // namespace xhav
