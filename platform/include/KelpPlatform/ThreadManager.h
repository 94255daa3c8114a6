#pragma once

#include <memory>
#include <string>

#include "OrvBase/Export.h"

namespace kelp {

/// Named message loops: threads that stand ready under a key until they are destroyed.
class IThreadManager {
 public:
  virtual ~IThreadManager() = default;

  /// The process's manager; never null. One that refuses everything stands in until one is installed.
  PLATFORM_API static std::shared_ptr<IThreadManager> Instance();

  /// A loop of one thread. False when the key is empty or a loop stands under it, or no thread can be made.
  [[nodiscard]] virtual bool CreateMessageLoop(const std::string& key) = 0;
  /// Ends the loop after the work it has begun; an unknown key is passed over.
  virtual void DestroyMessageLoop(const std::string& key) = 0;

  /// A loop of `thread_count` threads (1 to 256) over one queue. `queue_count` and `priority` are always 1.
  [[nodiscard]] virtual bool CreateMultiMessageLoop(const std::string& key, int queue_count, int thread_count,
                                                    int priority) = 0;
  virtual void DestroyMultiMessageLoop(const std::string& key) = 0;
};

}  // namespace kelp
