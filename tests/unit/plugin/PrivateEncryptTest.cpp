// Stored secrets: known values, and texts that nobody enciphered.

#include <gtest/gtest.h>

#include <random>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/PrivateAESEncrypt.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using PrivateEncrypt::DecryptWithKey;
using PrivateEncrypt::EncryptWithKey;

const std::string kKey128 = "0123456789abcdef";

TEST(PrivateEncryptTest, KnownValues) {
  struct Case {
    std::string key;
    std::string plain;
    std::string stored;
  };
  for (const Case& c : {Case{kKey128, "secret", "wmtGLicqYW09kymlbAkA/w=="},
                        Case{kKey128, "abcdefghijklmnop", "7k69AKbOt74KhsmFrfJuzinq/xF7/AT1wzMMmz3VB3Q="},
                        Case{"0123456789abcdef01234567", "secret", "RCt5YTgfSTzLL2pdkx6WCQ=="},
                        Case{"0123456789abcdef0123456789ABCDEF", "secret", "nRAOxe2O/LbKJBIP9mx9xA=="}}) {
    std::string out;
    EXPECT_EQ(EncryptWithKey(out, c.plain, c.key), 1);
    EXPECT_EQ(out, c.stored);
    EXPECT_EQ(DecryptWithKey(out, c.stored, c.key), 1);
    EXPECT_EQ(out, c.plain);
    EXPECT_EQ(DecryptWithKey(out, "\n " + c.stored.substr(0, 5) + "\r\n*" + c.stored.substr(5), c.key), 1)
        << "line breaks and blanks inside are passed over";
    EXPECT_EQ(out, c.plain);
  }
}

TEST(PrivateEncryptTest, ResultsOfWhatCannotBe) {
  std::string out;
  EXPECT_EQ(EncryptWithKey(out, "", kKey128), -1);
  EXPECT_EQ(EncryptWithKey(out, "secret", ""), -1);
  EXPECT_EQ(EncryptWithKey(out, "secret", "short"), 0);
  EXPECT_EQ(EncryptWithKey(out, "secret", std::string(64, 'k')), 0);
  EXPECT_EQ(DecryptWithKey(out, "wmtGLicqYW09kymlbAkA", kKey128), -1) << "15 bytes are no block";
  EXPECT_EQ(DecryptWithKey(out, "wmtGLicqYW09kymlbAkA/w==", "short"), 0);
}

TEST(PrivateEncryptTest, AnyStoredTextIsReadInBounds) {
  std::string out;
  EXPECT_EQ(DecryptWithKey(out, "====", kKey128), 1);
  EXPECT_EQ(out, "");
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string stored(random() % 90, '\0');
    for (char& c : stored)
      c = static_cast<char>(random());
    EXPECT_LE(DecryptWithKey(out, stored, kKey128), 1);
  }
  // Texts of whole blocks under a wrong key end in any byte.
  for (int round = 0; round < 500; ++round) {
    EXPECT_EQ(EncryptWithKey(out, std::string(1 + random() % 40, 'x'), kKey128), 1);
    std::string opened;
    EXPECT_EQ(DecryptWithKey(opened, out, "fedcba9876543210"), 1);
    EXPECT_LE(opened.size(), 48U);
  }
}

class SettingsTest : public ::testing::Test {
 protected:
  void Row(scripted::Row row) {
    platform_.db->answer = [row](const std::string&) { return std::vector<scripted::Row>{row}; };
  }

  scripted::Platform platform_;
  Evidence::CEvidenceMgrDBByPG store_;
  Evidence::FTPSettingsPtr settings_;
};

TEST_F(SettingsTest, RowIsReadAndItsPasswordOpened) {
  Row({{"enable", "0"},
       {"type", "2"},
       {"address", "a"},
       {"port", "21"},
       {"username", "u"},
       {"password", "wmtGLicqYW09kymlbAkA/w=="},
       {"path", "p"},
       {"storage_type", "3"},
       {"pool_name", "pool"}});
  ASSERT_TRUE(store_.GetFTPSettings(settings_));
  EXPECT_FALSE(settings_->enable);
  EXPECT_EQ(settings_->password, "secret");
  EXPECT_EQ(settings_->storage_type, 3);
  EXPECT_EQ(settings_->address + settings_->username + settings_->path + settings_->pool_name, "auppool");
  EXPECT_EQ(settings_->type + settings_->port, 23);
  Row({{"enable", "1"}, {"storage_type", "3"}});
  ASSERT_TRUE(store_.GetFTPSettings(settings_));
  EXPECT_EQ(settings_->storage_type, 1) << "whatever the column says";
  Row({{"enable", "2"}});
  ASSERT_TRUE(store_.GetFTPSettings(settings_));
  EXPECT_FALSE(settings_->enable);
}

TEST_F(SettingsTest, PasswordThatCannotBeOpenedLeavesTheRest) {
  Row({{"enable", "1"}, {"address", "a"}, {"password", "AAAA"}, {"pool_name", "pool"}});
  EXPECT_FALSE(store_.GetFTPSettings(settings_));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 253));
  ASSERT_TRUE(settings_);
  EXPECT_EQ(settings_->pool_name, "pool");
  EXPECT_EQ(settings_->password, "");
  EXPECT_TRUE(platform_.sink->Has(5, "]PrivateEncrypt::PrivateAESDecrypt failed["));
  EXPECT_TRUE(platform_.sink->Has(5, "]error is -1["));
}

TEST_F(SettingsTest, WritesThePasswordEnciphered) {
  const auto settings = std::make_shared<Evidence::_tag_FTPSettings_>();
  settings->address = "it's";
  settings->password = "secret";
  settings->port = 21;
  EXPECT_TRUE(store_.UpdateFTPSettings(settings));
  EXPECT_TRUE(platform_.db->sent.back().starts_with(
      "UPDATE evidence.ftp_setting SET enable = 1, type = 0, address = 'it''s', port = 21, username = '', password = "
      "'wmtGLicqYW09kymlbAkA/w==', path = '', storage_type = 1, pool_name = '' , update_time = '"));
  EXPECT_TRUE(platform_.db->sent.back().ends_with("' WHERE ID = 0 AND deleted = 0"));
  platform_.db->sent.clear();
  platform_.system->aes_key = "too short";
  EXPECT_FALSE(store_.UpdateFTPSettings(settings));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 252));
  EXPECT_TRUE(platform_.db->sent.empty());
  settings->password = "";
  EXPECT_TRUE(store_.UpdateFTPSettings(settings)) << "no password needs no key";
  EXPECT_FALSE(store_.UpdateFTPSettings(nullptr));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
}

}  // namespace
