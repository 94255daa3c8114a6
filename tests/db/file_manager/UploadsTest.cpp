// Receiving files on a real folder and a real PostgreSQL, with a process that dies at each step.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>

#include "FileManagerLog.h"
#include "RealBackends.h"
#include "store/LocalStore.h"
#include "store/Scrubber.h"
#include "store/Uploads.h"
#include "support/ScratchFolder.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using namespace FileManager;
using Outcome = Uploads::Outcome;

constexpr std::int32_t kUser = 5;

class Body final : public platform::HttpBodyReader {
 public:
  explicit Body(std::string bytes) : bytes_(std::move(bytes)) {}
  std::int64_t Read(char* to, std::size_t size) override {
    // Small pieces, so that there are several steps.
    const auto count = bytes_.copy(to, std::min<std::size_t>(size, 1000), at_);
    at_ += count;
    return static_cast<std::int64_t>(count);
  }

 private:
  const std::string bytes_;
  std::size_t at_ = 0;
};

/// Calls `step` before and after each operation of another store.
class SteppingStore final : public IByteStore {
 public:
  SteppingStore(IByteStore& store, std::function<void()> step) : store_(store), step_(std::move(step)) {}

  StoreResult OpenForAppend(std::unique_ptr<IUnfinished>& unfinished, std::int32_t id) override {
    std::unique_ptr<IUnfinished> inner;
    const auto result = Stepped([&] { return store_.OpenForAppend(inner, id); });
    if (result == StoreResult::kDone) unfinished = std::make_unique<Unfinished>(*this, std::move(inner));
    return result;
  }
  StoreResult Finish(std::int32_t id, const std::string& sha256) override {
    return Stepped([&] { return store_.Finish(id, sha256); });
  }
  StoreResult OpenRange(Body& body, const std::string& sha256, std::int64_t offset, std::int64_t size,
                        std::int64_t total) override {
    return store_.OpenRange(body, sha256, offset, size, total);
  }
  StoreResult Check(const std::string& sha256, const ByteSink& sink) override { return store_.Check(sha256, sink); }
  StoreResult RemoveUnfinished(std::int32_t id) override { return store_.RemoveUnfinished(id); }
  bool HasRoom(std::int64_t bytes) override { return store_.HasRoom(bytes); }

 private:
  class Unfinished final : public IUnfinished {
   public:
    Unfinished(SteppingStore& store, std::unique_ptr<IUnfinished> inner) : store_(store), inner_(std::move(inner)) {}
    std::int64_t Size() const override { return inner_->Size(); }
    StoreResult Append(std::string_view bytes) override {
      return store_.Stepped([&] { return inner_->Append(bytes); });
    }
    StoreResult Sync() override {
      return store_.Stepped([&] { return inner_->Sync(); });
    }
    StoreResult ReadBack(const ByteSink& sink) override { return inner_->ReadBack(sink); }

   private:
    SteppingStore& store_;
    const std::unique_ptr<IUnfinished> inner_;
  };

  StoreResult Stepped(const std::function<StoreResult()>& work) {
    step_();
    const auto result = work();
    step_();
    return result;
  }

  IByteStore& store_;
  const std::function<void()> step_;
};

class UploadsTest : public testing::Test {
 protected:
  UploadsTest() {
    ResetTables();
    EXPECT_EQ(store_.Prepare(), "");
    Connect();
  }
  ~UploadsTest() override { platform::Slot<kelp::IDBManager>::Exchange(nullptr); }

  static void Connect() {
    platform::PostgresOptions options;
    options.connection = Postgres().AppConnection();
    platform::Slot<kelp::IDBManager>::Exchange(platform::MakePostgresDBManager(options));
    ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize(kPluginId, 2, 1, true));
  }

  static FileRow NewFile(std::int64_t bytes) {
    FileRow file;
    file.bytes = bytes;
    file.name = "it's \\ 停.mp4";
    file.media_type = "video/mp4";
    file.received_by = kUser;
    return file;
  }
  static std::string State(std::int32_t id) {
    FileRow file;
    return FileTable::Read(file, id) == FileTable::Found::kYes ? file.state : "none";
  }
  std::string PlaceOf(const std::string& sha256) const {
    return folder_.path() + "/files/" + sha256.substr(0, 2) + "/" + sha256.substr(2, 2) + "/" + sha256;
  }
  /// Whatever is whole has its bytes, and nothing else is at a place.
  void ExpectWholeOnesHaveTheirBytes() const {
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path() + "/files")) {
      const auto name = entry.path().filename().string();
      if (!entry.is_regular_file() || entry.path().parent_path().filename() == "incoming") continue;
      Digest digest;
      digest.Add(folder_.Read(fs::relative(entry.path(), folder_.path())));
      EXPECT_EQ(digest.Hex(), name);
    }
    for (const auto& row : Postgres().Query("SELECT sha256 FROM filemanager.file WHERE state = 'whole'"))
      EXPECT_TRUE(fs::exists(PlaceOf(row[0]))) << row[0];
  }

  ScratchFolder folder_;
  LocalStore store_{folder_.path() + "/files", 0};
};

TEST_F(UploadsTest, AProcessThatDiesAtAnyStepLeavesAnUploadThatGoesOnAndIsWholeAtItsEnd) {
  std::string bytes(3500, 'x');
  std::generate(bytes.begin(), bytes.end(), [n = 0]() mutable { return static_cast<char>(n++ * 7); });
  Digest digest;
  digest.Add(bytes);
  int killed = 0;
  for (int last_step = 1;; ++last_step) {
    Uploads uploads(store_, {10'000, 1000});
    const auto opened = uploads.Open(NewFile(static_cast<std::int64_t>(bytes.size())));
    ASSERT_EQ(opened.outcome, Outcome::kMore);
    const auto id = opened.file.id;
    const auto child = fork();
    if (child == 0) {
      int step = 0;
      SteppingStore stepping(store_, [&] {
        if (++step == last_step) raise(SIGKILL);
      });
      // The parent's connections are its own.
      static_cast<void>(new std::shared_ptr(platform::Slot<kelp::IDBManager>::Get()));
      Connect();
      Body body(bytes);
      Uploads dying(stepping, {10'000, 1000});
      _exit(dying.Append(id, kUser, 0, body).outcome == Outcome::kWhole ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ExpectWholeOnesHaveTheirBytes();
    if (WIFEXITED(status)) {
      EXPECT_EQ(WEXITSTATUS(status), 0);
      EXPECT_EQ(State(id), "whole");
      break;
    }
    ++killed;
    const auto there = uploads.Look(id, kUser);
    ASSERT_LE(there.offset, 3500);
    if (there.outcome != Outcome::kWhole) {
      ASSERT_EQ(there.outcome, Outcome::kMore) << last_step;
      Body rest(bytes.substr(static_cast<std::size_t>(there.offset)));
      ASSERT_EQ(uploads.Append(id, kUser, there.offset, rest).outcome, Outcome::kWhole) << last_step;
    }
    EXPECT_EQ(State(id), "whole");
    EXPECT_EQ(folder_.Read(fs::relative(PlaceOf(digest.Hex()), folder_.path())), bytes);
    ExpectWholeOnesHaveTheirBytes();
  }
  // Opening, four pieces, syncing, placing: before and after each.
  EXPECT_EQ(killed, 14);
}

TEST_F(UploadsTest, WhatWasSealedBecomesWholeAndWhatNobodyGoesOnWithIsRemoved) {
  Uploads uploads(store_, {10'000, 1000});
  const auto sealed = uploads.Open(NewFile(4)).file.id;
  const auto stale = uploads.Open(NewFile(4)).file.id;
  const auto refused = uploads.Open(NewFile(4)).file.id;
  const auto young = uploads.Open(NewFile(4)).file.id;
  std::unique_ptr<IUnfinished> unfinished;
  ASSERT_EQ(store_.OpenForAppend(unfinished, sealed), StoreResult::kDone);
  ASSERT_EQ(unfinished->Append("data"), StoreResult::kDone);
  Digest digest;
  digest.Add("data");
  ASSERT_TRUE(FileTable::Seal(sealed, digest.Hex(), 4));
  unfinished.reset();
  ASSERT_TRUE(FileTable::MarkRefused(refused, digest.Hex()));
  Postgres().Query(
      "UPDATE filemanager.file SET opened_at = now() - interval '25 hours' WHERE id = " + std::to_string(stale) +
      "; UPDATE filemanager.file SET refused_at = now() - interval '2 hours' WHERE id = " + std::to_string(refused));
  std::unique_ptr<IUnfinished> held;
  ASSERT_EQ(store_.OpenForAppend(held, stale), StoreResult::kDone);
  uploads.Tidy(24);
  EXPECT_EQ(State(sealed), "whole");
  EXPECT_EQ(State(stale), "receiving") << "somebody, perhaps another host, holds it";
  EXPECT_EQ(State(refused), "removed");
  EXPECT_EQ(State(young), "receiving");
  held.reset();
  uploads.Tidy(24);
  EXPECT_EQ(State(stale), "removed");
}

TEST_F(UploadsTest, OneFlippedBitIsFoundAndSoIsItsRepair) {
  Uploads uploads(store_, {10'000, 1000});
  const auto id = uploads.Open(NewFile(4)).file.id;
  Body body("data");
  ASSERT_EQ(uploads.Append(id, kUser, 0, body).outcome, Outcome::kWhole);
  FileRow file;
  EXPECT_EQ(FileTable::NextToCheck(file, 1), FileTable::Found::kNo);
  Postgres().Query("UPDATE filemanager.file SET checked_at = now() - interval '2 hours'");
  ASSERT_EQ(FileTable::NextToCheck(file, 1), FileTable::Found::kYes);
  const auto check = [&] { return Scrubber::Check(store_, file, [](std::size_t) { return true; }); };
  const auto write = [&](const char* text) { std::ofstream(PlaceOf(file.sha256)) << text; };
  EXPECT_EQ(check(), Scrubber::Verdict::kGood);
  EXPECT_EQ(FileTable::NextToCheck(file, 1), FileTable::Found::kNo);
  write("datb");
  EXPECT_EQ(check(), Scrubber::Verdict::kAltered);
  EXPECT_EQ(State(id), "altered");
  fs::remove(PlaceOf(file.sha256));
  EXPECT_EQ(check(), Scrubber::Verdict::kMissing);
  EXPECT_EQ(State(id), "missing");
  write("data");
  EXPECT_EQ(check(), Scrubber::Verdict::kGood);
  EXPECT_EQ(State(id), "whole");
  EXPECT_EQ(Scrubber::Check(store_, file, [](std::size_t) { return false; }), Scrubber::Verdict::kNone);
}

TEST_F(UploadsTest, OnlyOneAppendsAndAPlaceIsNeverAppendedTo) {
  std::unique_ptr<IUnfinished> one;
  std::unique_ptr<IUnfinished> other;
  ASSERT_EQ(store_.OpenForAppend(one, 7), StoreResult::kDone);
  EXPECT_EQ(store_.OpenForAppend(other, 7), StoreResult::kBusy);
  EXPECT_EQ(store_.RemoveUnfinished(7), StoreResult::kBusy);
  ASSERT_EQ(one->Append("data"), StoreResult::kDone);
  const std::string digest(64, 'd');
  ASSERT_EQ(store_.Finish(7, digest), StoreResult::kDone);
  one.reset();
  EXPECT_EQ(store_.Finish(7, digest), StoreResult::kMissing);
  ASSERT_EQ(store_.OpenForAppend(one, 7), StoreResult::kDone);
  EXPECT_EQ(one->Size(), 0);
  struct stat status {};
  ASSERT_EQ(stat(PlaceOf(digest).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U) << "for this account alone";
}

}  // namespace
}  // namespace evidence_test
