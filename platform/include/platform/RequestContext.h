#pragma once

#include <string>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace platform {

/// Where one request comes from, and what it is called in the logs. It belongs to the request, as a session may be used
/// from several addresses at once.
struct RequestContext {
  std::string client_address;
  std::string request_id;
  /// Who asks; empty before the login.
  std::string user_name = {};

  /// Of the request that this thread works for; null when it works for none.
  [[nodiscard]] PLATFORM_API static const RequestContext* Current();
};

/// Binds a context, which outlives this object, to this thread for a scope.
class PLATFORM_API RequestScope : public Orv::Base::CNoncopyable {
 public:
  explicit RequestScope(const RequestContext& context);
  ~RequestScope();

 private:
  const RequestContext* const outer_;
};

}  // namespace platform
