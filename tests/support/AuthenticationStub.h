#pragma once

#include <memory>
#include <string>

#include "Backend.h"

namespace evidence_test {

/// Knows nobody and refuses everything; tests override what they need.
class AuthenticationStub : public platform::IAuthenticationBackend {
 public:
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> FindSession(const std::string&) override {
    return nullptr;
  }
  bool IsSuperUser(const std::string&) override { return false; }
  bool CheckPassword(std::shared_ptr<TarnPlatform::Authentication::CLoginResponse>&,
                     const TarnPlatform::Authentication::CLoginRequest&) override {
    return false;
  }
  void AddLoginFailCount(const std::string&) override {}
  bool IsClientFreeze(const std::string&) override { return false; }
  bool IsUserFreeze(int, const std::string&) override { return false; }
  int ClientTriesLeft(const std::string&) override { return 0; }
  int UserTriesLeft(int, const std::string&) override { return 0; }
  bool IsEnableClientFreeze() override { return true; }
  bool HaveControlClientPermission(int, int) override { return false; }
  int QueryUser(std::shared_ptr<TarnPlatform::Authentication::CUserInfo>&, int) override { return 202; }
  bool AESEncryptClient(std::string&, const std::string&, const std::string&) override { return false; }
  bool AESDecrypt(std::string&, const std::string&, const std::string&) override { return false; }
};

}  // namespace evidence_test
