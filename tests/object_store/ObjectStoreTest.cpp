// The object store on a real one: OBJECT_STORE is its endpoint, OBJECT_STORE_DIR where it runs.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <random>

#include "store/Digest.h"
#include "store/ObjectStore.h"

namespace evidence_test {
namespace {

using namespace FileManager;

constexpr std::int64_t kMebi = std::int64_t{1} << 20;

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

S3Settings SettingsOfTest() {
  S3Settings settings{Environment("OBJECT_STORE"), "us-east-1", {}, {}};
  std::ifstream file(Environment("OBJECT_STORE_DIR") + "/credentials");
  std::getline(file, settings.access_key);
  std::getline(file, settings.secret);
  return settings;
}

std::string Noise(std::int64_t size) {
  std::mt19937_64 random(static_cast<std::uint64_t>(size));
  std::string bytes(static_cast<std::size_t>(size), '\0');
  for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
    const auto word = random();
    std::copy_n(reinterpret_cast<const char*>(&word), 8, bytes.begin() + static_cast<std::ptrdiff_t>(at));
  }
  return bytes;
}

std::string Sha256(const std::string& bytes) {
  Digest digest;
  digest.Add(bytes);
  return digest.Hex();
}

class Sink final : public platform::HttpSink {
 public:
  bool Write(std::string_view text) override {
    bytes.append(text);
    return true;
  }
  std::string bytes;
};

class ObjectStoreTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(store_.Prepare(), ""); }

  std::unique_ptr<IUnfinished> Open(std::int32_t id) {
    std::unique_ptr<IUnfinished> unfinished;
    EXPECT_EQ(store_.OpenForAppend(unfinished, id), StoreResult::kDone);
    return unfinished;
  }
  static void Append(IUnfinished& unfinished, std::string_view bytes) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 200'000)))
      ASSERT_EQ(unfinished.Append(bytes.substr(0, 200'000)), StoreResult::kDone);
  }
  std::string Range(const std::string& sha256, std::int64_t offset, std::int64_t size, std::int64_t total) {
    IByteStore::Body body;
    if (store_.OpenRange(body, sha256, offset, size, total) != StoreResult::kDone) return "none";
    Sink sink;
    return std::get<platform::HttpWriter>(body)(sink) ? sink.bytes : "cut off";
  }
  std::string Stored(const std::string& sha256) {
    std::string bytes;
    const auto add = [&bytes](std::string_view more) {
      bytes.append(more);
      return true;
    };
    return store_.Check(sha256, add) == StoreResult::kDone ? bytes : "none";
  }

  const S3Client client_{SettingsOfTest()};
  ObjectStore store_{SettingsOfTest()};
};

TEST_F(ObjectStoreTest, WhatComesInPartsIsOneObjectUnderItsDigest) {
  const auto bytes = Noise(17 * kMebi + 12'345);
  const auto sha256 = Sha256(bytes);
  {
    const auto unfinished = Open(1);
    std::unique_ptr<IUnfinished> other;
    EXPECT_EQ(store_.OpenForAppend(other, 1), StoreResult::kBusy);
    Append(*unfinished, std::string_view(bytes).substr(0, 6'000'000));
    ASSERT_EQ(unfinished->Sync(), StoreResult::kDone);
    Append(*unfinished, "never synced");
  }
  {
    // As after the end of the process: what was synced is there, and can be read again.
    const auto unfinished = Open(1);
    ASSERT_EQ(unfinished->Size(), 6'000'000);
    Digest digest;
    ASSERT_EQ(unfinished->ReadBack([&](std::string_view more) { return digest.Add(more), true; }), StoreResult::kDone);
    EXPECT_EQ(digest.Hex(), Sha256(bytes.substr(0, 6'000'000)));
    Append(*unfinished, std::string_view(bytes).substr(6'000'000));
    ASSERT_EQ(unfinished->Sync(), StoreResult::kDone);
    EXPECT_EQ(store_.Finish(1, sha256), StoreResult::kDone);
  }
  EXPECT_TRUE(Stored(sha256) == bytes);
  EXPECT_EQ(store_.Finish(1, sha256), StoreResult::kMissing) << "its pieces are gone";
  EXPECT_EQ(Open(1)->Size(), 0);
  const auto total = static_cast<std::int64_t>(bytes.size());
  EXPECT_EQ(Range(sha256, 5 * kMebi - 3, 7, total), bytes.substr(5 * kMebi - 3, 7));
  EXPECT_EQ(Range(sha256, total - 1, 1, total), bytes.substr(bytes.size() - 1));
  EXPECT_EQ(Range(sha256, 0, 1, total + 1), "none") << "of another length";
}

TEST_F(ObjectStoreTest, SmallAndEmptyFilesAndWhatIsMissing) {
  for (const std::string bytes : {"", "x"}) {
    const auto unfinished = Open(2);
    Append(*unfinished, bytes);
    ASSERT_EQ(unfinished->Sync(), StoreResult::kDone);
    EXPECT_EQ(store_.Finish(2, Sha256(bytes)), StoreResult::kDone);
    EXPECT_EQ(Stored(Sha256(bytes)), bytes);
  }
  const std::string none(64, '0');
  EXPECT_EQ(store_.Check(none, [](std::string_view) { return true; }), StoreResult::kMissing);
  EXPECT_EQ(Range(none, 0, 1, 1), "none");
  EXPECT_EQ(store_.Finish(99, none), StoreResult::kMissing);
  EXPECT_EQ(store_.RemoveUnfinished(99), StoreResult::kDone);
  {
    const auto unfinished = Open(3);
    Append(*unfinished, "data");
    ASSERT_EQ(unfinished->Sync(), StoreResult::kDone);
    EXPECT_EQ(store_.RemoveUnfinished(3), StoreResult::kBusy);
  }
  EXPECT_EQ(store_.RemoveUnfinished(3), StoreResult::kDone);
  EXPECT_EQ(Open(3)->Size(), 0);
}

TEST_F(ObjectStoreTest, WhatIsLeftOfRemovedPiecesIsNeverTakenForAFile) {
  const auto bytes = Noise(11 * kMebi);
  {
    const auto unfinished = Open(4);
    Append(*unfinished, bytes);
    ASSERT_EQ(unfinished->Sync(), StoreResult::kDone);
  }
  // The process died while it removed the pieces of a finished file.
  ASSERT_TRUE(client_.Delete("incoming/4/00000000000000000000").Succeeded());
  EXPECT_EQ(store_.Finish(4, std::string(64, '4')), StoreResult::kMissing);
  EXPECT_EQ(client_.Head("44/44/" + std::string(64, '4')).status, 404);
}

TEST_F(ObjectStoreTest, AWrongSignatureIsRefusedAndSaysNoSecret) {
  auto settings = SettingsOfTest();
  settings.secret = "another secret";
  EXPECT_EQ(ObjectStore(settings).Prepare(), "the object store answers 403");
}

TEST_F(ObjectStoreTest, AlteredBytesAreFound) {
  const auto sha256 = Sha256("data");
  const auto unfinished = Open(5);
  Append(*unfinished, "data");
  ASSERT_EQ(unfinished->Sync(), StoreResult::kDone);
  ASSERT_EQ(store_.Finish(5, sha256), StoreResult::kDone);
  ASSERT_TRUE(client_.Put(sha256.substr(0, 2) + "/" + sha256.substr(2, 2) + "/" + sha256, "datb").Succeeded());
  EXPECT_NE(Sha256(Stored(sha256)), sha256);
}

TEST_F(ObjectStoreTest, AGatewayThatIsKilledInTheMiddleCostsNothingThatWasSynced) {
  const auto bytes = Noise(12 * kMebi);
  const auto dir = Environment("OBJECT_STORE_DIR");
  const auto unfinished = Open(6);
  Append(*unfinished, std::string_view(bytes).substr(0, 7'000'000));
  ASSERT_EQ(unfinished->Sync(), StoreResult::kDone);
  pid_t gateway = 0;
  std::ifstream(dir + "/radosgw.pid") >> gateway;
  ASSERT_GT(gateway, 1);
  ASSERT_EQ(kill(gateway, SIGKILL), 0);
  EXPECT_EQ(unfinished->Append(std::string_view(bytes).substr(7'000'000)), StoreResult::kFailed);
  ASSERT_EQ(std::system((OBJECT_STORE_SCRIPT " gateway " + dir + " >/dev/null 2>&1").c_str()), 0);
  ObjectStore restarted(SettingsOfTest());
  std::unique_ptr<IUnfinished> again;
  ASSERT_EQ(restarted.OpenForAppend(again, 6), StoreResult::kDone);
  const auto there = static_cast<std::size_t>(again->Size());
  ASSERT_GE(there, 7'000'000U);
  ASSERT_EQ(again->Append(std::string_view(bytes).substr(there)), StoreResult::kDone);
  ASSERT_EQ(again->Sync(), StoreResult::kDone);
  ASSERT_EQ(restarted.Finish(6, Sha256(bytes)), StoreResult::kDone);
  EXPECT_TRUE(Stored(Sha256(bytes)) == bytes);
}

TEST(PieceSizeTest, TenThousandPiecesHoldTheLargestFile) {
  std::int64_t end = 0;
  for (int n = 0; n < 10'000; ++n)
    end += ObjectStore::PieceSize(end);
  EXPECT_GT(end, std::int64_t{460} << 30);
}

}  // namespace
}  // namespace evidence_test
