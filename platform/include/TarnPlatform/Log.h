#pragma once

#include <string>
#include <utility>

#include "OrvBase/Export.h"

namespace TarnPlatform::Log {

/// One line of the platform's log of successful operations.
class COperationLogStruct {
 public:
  void SetVallog_type(int value) { log_type_ = value; }
  void SetValelement_name(std::string value) { element_name_ = std::move(value); }
  void SetValdescription(std::string value) { description_ = std::move(value); }

  int GetVallog_type() const { return log_type_; }
  const std::string& GetValelement_name() const { return element_name_; }
  const std::string& GetValdescription() const { return description_; }

 private:
  int log_type_ = 0;
  std::string element_name_;
  std::string description_;
};

/// Writes the line for the session's user and address, both empty for the empty session. False when
/// the session is unknown or the line could not be written.
[[nodiscard]] PLATFORM_API bool WriteLog(const std::string& session, const COperationLogStruct& record);

}  // namespace TarnPlatform::Log
