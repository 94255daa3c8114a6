#pragma once

#include <memory>
#include <string>

#include "OrvBase/Export.h"

namespace kelp {

/// Named message loops: threads that exist under a key until the loop is destroyed.
class IThreadManager {
 public:
  virtual ~IThreadManager() = default;

  /// The process's manager; never null. Until one is installed, a placeholder refuses every call.
  PLATFORM_API static std::shared_ptr<IThreadManager> Instance();

  /// Creates a loop of one thread. False when the key is empty or in use, or no thread can be created.
  [[nodiscard]] virtual bool CreateMessageLoop(const std::string& key) = 0;
  /// Ends the loop after the work in progress; an unknown key is ignored.
  virtual void DestroyMessageLoop(const std::string& key) = 0;

  /// Creates a loop of `thread_count` threads (1 to 256) that share one queue. `queue_count` and `priority` are 1.
  [[nodiscard]] virtual bool CreateMultiMessageLoop(const std::string& key, int queue_count, int thread_count,
                                                    int priority) = 0;
  virtual void DestroyMultiMessageLoop(const std::string& key) = 0;
};

}  // namespace kelp
