#include "requests/RequestIds.h"

#include <rapidjson/reader.h>
#include <rapidjson/stream.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>

#include "JsonAllocator.h"
#include "http/RouteTable.h"

namespace host {
namespace {

/// Adds each run of digits; one with a minus sign is no id.
void AddNumbers(NamedIds& ids, std::string_view text, bool is_evidence) {
  const auto* const end = text.data() + text.size();
  for (const auto* at = text.data(); at < end;) {
    std::int64_t id = 0;
    const auto [stop, fault] = std::from_chars(at, end, id);
    if (fault == std::errc() && id >= 0) ids.Add(id, is_evidence);
    at = std::max(stop, at + 1);
  }
}

bool IsEvidence(std::string_view segment) {
  constexpr std::string_view kWord = "evidence";
  return std::ranges::equal(segment, kWord, [](char c, char word) { return (c | 0x20) == word; });
}

/// What a key makes of the numbers below it.
enum class Key : unsigned char { kOther, kEvidence, kDeletion, kId, kIds, kEvidenceId, kFileId };

Key KeyOf(std::string_view name) {
  constexpr std::pair<std::string_view, Key> kKeys[] = {
      {"Evidence", Key::kEvidence}, {"EvidenceDeleteReq", Key::kDeletion}, {"ID", Key::kId},
      {"IDs", Key::kIds},           {"EvidenceID", Key::kEvidenceId},      {"FileID", Key::kFileId}};
  const auto* const found = std::ranges::find(kKeys, name, [](const auto& row) { return row.first; });
  return found == std::end(kKeys) ? Key::kOther : found->second;
}

/// Takes the ids of a body as it is parsed. A list passes its key on to its elements.
class IdReader : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, IdReader> {
 public:
  explicit IdReader(NamedIds& ids) : ids_(ids) {}

  bool Default() { return true; }
  bool Key(const char* text, rapidjson::SizeType size, bool /*copy*/) {
    key_ = KeyOf({text, size});
    return true;
  }
  bool StartObject() {
    around_.push_back(key_);
    key_ = host::Key::kOther;
    return around_.size() <= kDepth;
  }
  bool EndObject(rapidjson::SizeType /*members*/) {
    key_ = around_.back();
    around_.pop_back();
    return true;
  }
  bool Int(int number) { return Int64(number); }
  bool Uint(unsigned number) { return Int64(number); }
  bool Int64(std::int64_t number) {
    if (IsId() && number >= 0) ids_.Add(number, IsOfEvidence());
    return true;
  }
  bool Double(double number) { return std::abs(number) >= kLargest || Int64(static_cast<std::int64_t>(number)); }
  bool String(const char* text, rapidjson::SizeType size, bool /*copy*/) {
    if (IsId()) AddNumbers(ids_, {text, size}, IsOfEvidence());
    return true;
  }

 private:
  /// Deeper ones are refused by who uses the body.
  static constexpr std::size_t kDepth = 64;
  static constexpr double kLargest = 9e15;

  [[nodiscard]] bool IsId() const { return key_ >= host::Key::kId; }
  [[nodiscard]] bool IsOfEvidence() const {
    const auto around = around_.empty() ? host::Key::kOther : around_.back();
    return key_ == host::Key::kEvidenceId || (key_ == host::Key::kId && around == host::Key::kEvidence) ||
           (key_ == host::Key::kIds && around == host::Key::kDeletion);
  }

  NamedIds& ids_;
  std::vector<host::Key> around_;
  host::Key key_ = host::Key::kOther;
};

}  // namespace

void NamedIds::Add(std::int64_t id, bool is_evidence) {
  if (all.size() >= kMost) return;
  if (all.empty() || all.back() != id) all.push_back(id);
  if (is_evidence && (evidences.empty() || evidences.back() != id)) evidences.push_back(id);
}

void AddIdsOfPath(NamedIds& ids, std::string_view path) {
  bool is_evidence = false;
  while (!path.empty()) {
    path.remove_prefix(1);
    std::string segment(path.substr(0, path.find('/')));
    path.remove_prefix(segment.size());
    static_cast<void>(DecodePercent(segment));
    std::int64_t id = 0;
    const auto* const end = segment.data() + segment.size();
    const auto [stop, fault] = std::from_chars(segment.data(), end, id);
    if (fault == std::errc() && stop == end) ids.Add(id, is_evidence);
    is_evidence = IsEvidence(segment);
  }
}

void AddIdsOfBody(NamedIds& ids, const std::string& body) {
  kelp::JsonReader reader;
  rapidjson::StringStream text(body.c_str());
  IdReader handler(ids);
  reader.Parse<rapidjson::kParseIterativeFlag>(text, handler);
}

void AddIdOfAnswer(NamedIds& ids, std::string_view answer) {
  constexpr std::string_view kCreated = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"Evidence":{"ID":)";
  if (!answer.starts_with(kCreated)) return;
  std::int64_t id = 0;
  const auto [stop, fault] = std::from_chars(answer.data() + kCreated.size(), answer.data() + answer.size(), id);
  if (fault == std::errc()) ids.Add(id, true);
}

}  // namespace host
