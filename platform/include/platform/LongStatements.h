#pragma once

#include <chrono>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace platform {

/// While one lasts, each statement that this thread hands to kelp::IDBManager may take `kLimit`, instead of the time
/// that the database grants the program's role. For a statement whose rows only the size of a table bounds, and whose
/// failure would leave rows that nothing repairs.
///
/// Such a statement also gathers more words before they go into an index, as it writes many rows. The limits are raised
/// inside a transaction around the text, since a pooler between the program and the database may run the next text on
/// another of its connections.
class PLATFORM_API LongStatements : public Orv::Base::CNoncopyable {
 public:
  static constexpr std::chrono::seconds kLimit{600};

  LongStatements();
  ~LongStatements();

  /// Whether this thread is in the scope of one.
  [[nodiscard]] static bool AreAllowed();
};

}  // namespace platform
