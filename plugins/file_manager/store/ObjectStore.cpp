#include "store/ObjectStore.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <pugixml.hpp>
#include <utility>
#include <vector>

#include "FileManagerLog.h"

namespace FileManager {
namespace {

constexpr std::int64_t kMebi = std::int64_t{1} << 20;
constexpr std::int64_t kLeastPiece = 5 * kMebi;
constexpr std::int64_t kMostPiece = 64 * kMebi;
/// A piece has at least this part of what is before it.
constexpr std::int64_t kGrowth = 1'000;
constexpr int kOffsetDigits = 20;
constexpr long kNotFound = 404;
constexpr long kNoRoom = 507;

struct Piece {
  std::string key;
  std::int64_t offset = 0;
  std::int64_t size = 0;
};

std::string PrefixOf(std::int32_t id) { return "incoming/" + std::to_string(id) + "/"; }

std::string PieceKey(std::int32_t id, std::int64_t offset) {
  const auto digits = std::to_string(offset);
  return PrefixOf(id) + std::string(kOffsetDigits - digits.size(), '0') + digits;
}

std::string PlaceOf(const std::string& sha256) {
  return sha256.substr(0, 2) + "/" + sha256.substr(2, 2) + "/" + sha256;
}

StoreResult ResultOf(const S3Client::Reply& reply) {
  if (reply.Succeeded()) return StoreResult::kDone;
  if (reply.status == kNotFound) return StoreResult::kMissing;
  return reply.status == kNoRoom ? StoreResult::kFull : StoreResult::kFailed;
}

/// Adds the objects of a page; sets `is_last`.
bool ReadPage(std::vector<Piece>& pieces, bool& is_last, const std::string& xml) {
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size())) return false;
  const auto list = document.child("ListBucketResult");
  for (const auto& entry : list.children("Contents")) {
    Piece piece;
    piece.key = entry.child_value("Key");
    piece.size = entry.child("Size").text().as_llong(-1);
    const auto digits = piece.key.substr(piece.key.rfind('/') + 1);
    const auto fault = std::from_chars(digits.data(), digits.data() + digits.size(), piece.offset).ec;
    if (fault != std::errc() || piece.size < 0) return false;
    pieces.push_back(std::move(piece));
  }
  is_last = !list.child("IsTruncated").text().as_bool();
  return static_cast<bool>(list);
}

/// What is being received, in the order of offsets.
StoreResult ListPieces(std::vector<Piece>& pieces, const S3Client& client, std::int32_t id) {
  pieces.clear();
  for (bool is_last = false; !is_last;) {
    const auto reply = client.List(PrefixOf(id), pieces.empty() ? "" : pieces.back().key);
    if (!reply.Succeeded()) return ResultOf(reply);
    if (!ReadPage(pieces, is_last, reply.body)) {
      FILE_MANAGER_LOG(kLogFailure, "A list of the object store cannot be read");
      return StoreResult::kFailed;
    }
  }
  return StoreResult::kDone;
}

/// Whether they are one text from its beginning. Pieces are removed from the first on, so that what is left of them is
/// never taken for a shorter text.
bool AreWhole(const std::vector<Piece>& pieces) {
  std::int64_t end = 0;
  for (const auto& piece : pieces) {
    if (piece.offset != end) return false;
    end += piece.size;
  }
  return !pieces.empty();
}

std::string UploadIdIn(const std::string& xml) {
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size())) return {};
  return document.child("InitiateMultipartUploadResult").child_value("UploadId");
}

std::string EtagIn(const std::string& xml) {
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size())) return {};
  return document.child("CopyPartResult").child_value("ETag");
}

/// Makes the pieces the parts of `key`. False, with a line in the log, when that failed.
bool CopyParts(const S3Client& client, const std::string& key, const std::string& upload,
               const std::vector<Piece>& pieces) {
  std::string parts = "<CompleteMultipartUpload>";
  int number = 0;
  for (const auto& piece : pieces) {
    const auto copied = client.CopyPart(key, upload, ++number, piece.key);
    const auto etag = copied.Succeeded() ? EtagIn(copied.body) : std::string();
    if (etag.empty()) return false;
    parts += "<Part><PartNumber>" + std::to_string(number) + "</PartNumber><ETag>" + etag + "</ETag></Part>";
  }
  const auto ended = client.CompleteMultipart(key, upload, parts + "</CompleteMultipartUpload>");
  // A failure may come with 200.
  return ended.Succeeded() && ended.body.find("CompleteMultipartUploadResult") != std::string::npos;
}

StoreResult Join(const S3Client& client, const std::string& key, const std::vector<Piece>& pieces) {
  if (pieces.size() == 1) return ResultOf(client.Copy(key, pieces.front().key));
  const auto begun = client.BeginMultipart(key);
  const auto upload = begun.Succeeded() ? UploadIdIn(begun.body) : std::string();
  if (upload.empty()) return StoreResult::kFailed;
  if (CopyParts(client, key, upload, pieces)) return StoreResult::kDone;
  static_cast<void>(client.AbortMultipart(key, upload));
  return StoreResult::kFailed;
}

}  // namespace

class ObjectStore::Unfinished final : public IUnfinished {
 public:
  Unfinished(ObjectStore& store, std::int32_t id) : store_(store), id_(id) {}
  ~Unfinished() override {
    const std::lock_guard lock(store_.mutex_);
    store_.held_.erase(id_);
  }

  /// Finds what is there. The last piece is written on when it is short.
  StoreResult Load() {
    auto done = ListPieces(pieces_, client(), id_);
    if (done != StoreResult::kDone || pieces_.empty()) return done;
    const auto& last = pieces_.back();
    begin_ = last.offset + last.size;
    if (last.size >= PieceSize(last.offset)) return StoreResult::kDone;
    begin_ = last.offset;
    return ResultOf(client().Get(last.key, 0, -1, [this](std::string_view bytes) {
      held_.append(bytes);
      return true;
    }));
  }

  std::int64_t Size() const override { return begin_ + static_cast<std::int64_t>(held_.size()); }

  StoreResult Append(std::string_view bytes) override {
    while (!bytes.empty()) {
      const auto room = static_cast<std::size_t>(PieceSize(begin_)) - held_.size();
      const auto taken = bytes.substr(0, room);
      held_.append(taken);
      is_changed_ = true;
      bytes.remove_prefix(taken.size());
      if (taken.size() < room) break;
      const auto done = Sync();
      if (done != StoreResult::kDone) return done;
      begin_ = Size();
      held_.clear();
    }
    return StoreResult::kDone;
  }

  /// A file without bytes has one piece without any.
  StoreResult Sync() override {
    if (!is_changed_ && Size() != 0) return StoreResult::kDone;
    const auto done = ResultOf(client().Put(PieceKey(id_, begin_), held_));
    if (done == StoreResult::kDone) is_changed_ = false;
    return done == StoreResult::kMissing ? StoreResult::kFailed : done;
  }

  StoreResult ReadBack(const ByteSink& sink) override {
    for (const auto& piece : pieces_) {
      const auto done = ResultOf(client().Get(piece.key, 0, -1, sink));
      if (done != StoreResult::kDone) return done;
    }
    return StoreResult::kDone;
  }

 private:
  const S3Client& client() const { return *store_.client_; }

  ObjectStore& store_;
  const std::int32_t id_;
  /// As they were when it was opened.
  std::vector<Piece> pieces_;
  /// Where held_ begins.
  std::int64_t begin_ = 0;
  std::string held_;
  bool is_changed_ = false;
};

ObjectStore::ObjectStore(S3Settings settings) : client_(std::make_shared<const S3Client>(std::move(settings))) {}

std::string ObjectStore::Prepare() {
  const auto reply = client_->List("incoming/", "");
  if (reply.Succeeded()) return {};
  return reply.status == 0 ? "the object store does not answer"
                           : "the object store answers " + std::to_string(reply.status);
}

std::int64_t ObjectStore::PieceSize(std::int64_t offset) {
  return std::clamp(offset / kGrowth, kLeastPiece, kMostPiece);
}

StoreResult ObjectStore::OpenForAppend(std::unique_ptr<IUnfinished>& unfinished, std::int32_t id) {
  {
    const std::lock_guard lock(mutex_);
    if (!held_.insert(id).second) return StoreResult::kBusy;
  }
  auto opened = std::make_unique<Unfinished>(*this, id);
  const auto done = opened->Load();
  if (done == StoreResult::kDone) unfinished = std::move(opened);
  return done == StoreResult::kMissing ? StoreResult::kFailed : done;
}

StoreResult ObjectStore::Finish(std::int32_t id, const std::string& sha256) {
  std::vector<Piece> pieces;
  auto done = ListPieces(pieces, *client_, id);
  if (done != StoreResult::kDone) return done == StoreResult::kMissing ? StoreResult::kFailed : done;
  if (!AreWhole(pieces)) return StoreResult::kMissing;
  const auto key = PlaceOf(sha256);
  done = Join(*client_, key, pieces);
  if (done != StoreResult::kDone) return StoreResult::kFailed;
  const auto& last = pieces.back();
  if (client_->Head(key).length != last.offset + last.size) {
    FILE_MANAGER_LOG(kLogFailure, "The object %s is not as long as its pieces", key.c_str());
    return StoreResult::kFailed;
  }
  for (const auto& piece : pieces) {
    if (!client_->Delete(piece.key).Succeeded()) break;
  }
  return StoreResult::kDone;
}

StoreResult ObjectStore::OpenRange(Body& body, const std::string& sha256, std::int64_t offset, std::int64_t size,
                                   std::int64_t total) {
  const auto key = PlaceOf(sha256);
  const auto there = client_->Head(key);
  if (!there.Succeeded()) return ResultOf(there);
  if (there.length != total) return StoreResult::kMissing;
  body = platform::HttpWriter([client = client_, key, offset, size](platform::HttpSink& sink) {
    std::int64_t count = 0;
    if (size == 0) return true;
    const auto got = client->Get(key, offset, size, [&](std::string_view bytes) {
      count += static_cast<std::int64_t>(bytes.size());
      return sink.Write(bytes);
    });
    return got.Succeeded() && count == size;
  });
  return StoreResult::kDone;
}

StoreResult ObjectStore::Check(const std::string& sha256, const ByteSink& sink) {
  bool was_ended = false;
  const auto got = client_->Get(PlaceOf(sha256), 0, -1, [&](std::string_view bytes) {
    was_ended = !sink(bytes);
    return !was_ended;
  });
  return was_ended ? StoreResult::kDone : ResultOf(got);
}

StoreResult ObjectStore::RemoveUnfinished(std::int32_t id) {
  std::unique_ptr<IUnfinished> hold;
  const auto held = OpenForAppend(hold, id);
  if (held != StoreResult::kDone) return held;
  std::vector<Piece> pieces;
  const auto listed = ListPieces(pieces, *client_, id);
  if (listed != StoreResult::kDone) return listed;
  for (const auto& piece : pieces) {
    const auto gone = ResultOf(client_->Delete(piece.key));
    if (gone != StoreResult::kDone && gone != StoreResult::kMissing) return gone;
  }
  return StoreResult::kDone;
}

}  // namespace FileManager
