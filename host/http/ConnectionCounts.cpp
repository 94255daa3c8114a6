#include "http/ConnectionCounts.h"

#include "http/IpAddress.h"

namespace host {

bool ConnectionCounts::HasRoom(const std::string& address) const {
  if (most_ == 0) return true;
  const auto found = open_.find(ClientNetwork(address));
  return found == open_.end() || found->second < most_;
}

void ConnectionCounts::Add(const std::string& address) { ++open_[ClientNetwork(address)]; }

void ConnectionCounts::Remove(const std::string& address) {
  const auto found = open_.find(ClientNetwork(address));
  if (found != open_.end() && --found->second == 0) open_.erase(found);
}

}  // namespace host
