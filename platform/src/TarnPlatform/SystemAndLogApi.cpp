#include <memory>

#include "Increments.h"
#include "OperationLog.h"
#include "RealBackends.h"

namespace platform {
namespace tarn {
namespace {

// One failure code is enough: callers only test for 0.
constexpr int kWritten = 0;
constexpr int kNotWritten = 1;

class SystemAndLogApi final : public kelp::ISystemAndLogAPI {
 public:
  bool AddIncreResouce(int resource_type, std::uint64_t resource_id, int method) override {
    return AddChange(resource_type, resource_id, method);
  }

  int WriteOperatorLog(const std::string& session, int log_type, std::int64_t object_id, const std::string& object_name,
                       int /*sub_type*/, const std::string& /*reserved*/, int main_code, int sub_code) override {
    OperationLogEntry entry;
    entry.log_type = log_type;
    entry.object_id = object_id;
    entry.object_name = object_name;
    entry.main_code = main_code;
    entry.sub_code = sub_code;
    return WriteEntry(session, entry) ? kWritten : kNotWritten;
  }
};

}  // namespace
}  // namespace tarn

std::shared_ptr<kelp::ISystemAndLogAPI> MakeSystemAndLogApi() { return std::make_shared<tarn::SystemAndLogApi>(); }

}  // namespace platform
