#pragma once

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace platform {

/// While one lasts, the rows of each statement that this thread hands to kelp::IDBManager are taken as a whole, and
/// counted for its call when all are here. For rows whose number and size are limited and which are many: one by one
/// they cost several times as much.
class PLATFORM_API SmallRows : public Orv::Base::CNoncopyable {
 public:
  SmallRows();
  ~SmallRows();

  /// Whether this thread is in the scope of one.
  [[nodiscard]] static bool AreExpected();
};

}  // namespace platform
