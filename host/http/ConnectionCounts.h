#pragma once

#include <string>
#include <unordered_map>

namespace host {

/// Open connections by client, which is the ClientNetwork of an address. Used by one thread.
class ConnectionCounts {
 public:
  /// `most` of one client; 0 for no bound.
  explicit ConnectionCounts(unsigned most) : most_(most) {}

  [[nodiscard]] bool HasRoom(const std::string& address) const;
  void Add(const std::string& address);
  /// One that was added.
  void Remove(const std::string& address);

 private:
  const unsigned most_;
  std::unordered_map<std::string, unsigned> open_;
};

}  // namespace host
