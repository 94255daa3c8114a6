#pragma once

namespace Orv::Base {

/// Base of classes whose objects are neither copied nor moved.
class CNoncopyable {
 public:
  CNoncopyable(const CNoncopyable&) = delete;
  CNoncopyable& operator=(const CNoncopyable&) = delete;

 protected:
  CNoncopyable() = default;
  ~CNoncopyable() = default;
};

}  // namespace Orv::Base
