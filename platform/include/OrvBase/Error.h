#pragma once

#include "OrvBase/Export.h"

namespace Orv::Base::Error {

/// A (main, sub) pair; (0, 0) is success. main is 0 for a plugin's own codes.
class ErrorCode {
 public:
  constexpr ErrorCode() = default;
  constexpr ErrorCode(int main_code, int sub_code) : main_code_(main_code), sub_code_(sub_code) {}

  constexpr int MainCode() const { return main_code_; }
  constexpr int SubCode() const { return sub_code_; }

  friend constexpr bool operator==(const ErrorCode&, const ErrorCode&) = default;

 private:
  int main_code_ = 0;
  int sub_code_ = 0;
};

/// Sets the calling thread's last error. A successful call leaves it unchanged: it gives the reason for a failure,
/// never whether one occurred.
PLATFORM_API void SetLastError(const ErrorCode& code);

/// The calling thread's last error; (0, 0) on a thread that never set one.
PLATFORM_API ErrorCode GetLastError();

}  // namespace Orv::Base::Error
