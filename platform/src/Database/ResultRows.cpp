#include "ResultRows.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace platform::database {
namespace {

/// A request's first bytes are in what it took at its admission.
constexpr std::size_t kFree = 32UL * 1024;
constexpr std::size_t kCountedAtOnce = 64UL * 1024;
constexpr std::size_t kMostAtOnce = 1024UL * 1024;
constexpr std::size_t kFirstBlock = 8UL * 1024;
constexpr std::size_t kLargestBlock = 256UL * 1024;

/// A row becomes a record while it is here, and the record a tree afterwards: each text is there twice at a time. A
/// field takes this beside its text, most of it as the node of a tree.
constexpr std::size_t kCopies = 2;
constexpr std::size_t kPerField = 200;
/// What the client library has of the row that it reads: its buffer, which doubles, and the row itself.
constexpr std::size_t kLibraryCopies = 3;
constexpr std::size_t kBulkyRow = 1024UL * 1024;

}  // namespace

ResultRows::ResultRows(LibraryResult description)
    : description_(std::move(description)), columns_(static_cast<std::size_t>(PQnfields(description_.get()))) {
  names_.reserve(columns_);
  for (int column = 0; column < PQnfields(description_.get()); ++column)
    names_.emplace_back(PQfname(description_.get(), column));
}

ResultRows::~ResultRows() {
  if (call_ == nullptr || counted_ == 0) return;
  // The records of a read stay until its answer is made; a change looks at one thing after the other.
  const bool stays = call_->kind() == Call::Kind::kReads;
  call_->GiveMemory(stays ? std::min(counted_, kLibraryCopies * largest_row_) : counted_);
}

bool ResultRows::Add(const PGresult& row) {
  const auto columns = static_cast<int>(columns_);
  std::size_t bytes = 0;
  for (int column = 0; column < columns; ++column)
    bytes += static_cast<std::size_t>(PQgetlength(&row, 0, column));
  if (!Count(bytes, fields_.size() + columns_)) return false;
  char* text = Room(bytes);
  for (int column = 0; column < columns; ++column) {
    const auto length = static_cast<std::size_t>(PQgetlength(&row, 0, column));
    // Before the first text there is no block.
    if (length != 0) std::memcpy(text, PQgetvalue(&row, 0, column), length);
    fields_.push_back({text, static_cast<std::uint32_t>(length)});
    text += length;
  }
  return true;
}

bool ResultRows::KeepAll() {
  whole_rows_ = static_cast<std::size_t>(PQntuples(description_.get()));
  return whole_rows_ == 0 || Count(PQresultMemorySize(description_.get()), whole_rows_ * columns_);
}

bool ResultRows::IsBulky() const { return largest_row_ >= kBulkyRow; }

bool ResultRows::Count(std::size_t row_bytes, std::size_t fields) {
  texts_ += row_bytes;
  largest_row_ = std::max(largest_row_, row_bytes);
  if (call_ == nullptr) return true;
  const auto needed = kCopies * texts_ + kPerField * fields + kLibraryCopies * largest_row_;
  if (needed <= kFree + counted_) return true;
  // More than needed, so that a long list is counted in few steps.
  const auto more = std::max({needed - kFree - counted_, kCountedAtOnce, std::min(counted_ / 4, kMostAtOnce)});
  if (!call_->TakeMemory(more)) return false;
  counted_ += more;
  return true;
}

char* ResultRows::Room(std::size_t bytes) {
  if (bytes > free_bytes_) {
    next_block_ = next_block_ == 0 ? kFirstBlock : std::min(2 * next_block_, kLargestBlock);
    const auto size = std::max(bytes, next_block_);
    free_ = blocks_.emplace_back(std::make_unique_for_overwrite<char[]>(size)).get();
    free_bytes_ = size;
  }
  char* const room = free_;
  free_ += bytes;
  free_bytes_ -= bytes;
  return room;
}

}  // namespace platform::database
