#include "CopySession.h"

#include <utility>

#include "PostgresConnection.h"
#include "platform/SqlText.h"

namespace platform {
namespace {

/// The letter that stands for a character behind a backslash; 0 for one that stands for itself.
char Letter(char c) {
  switch (c) {
    case '\\':
      return '\\';
    case '\t':
      return 't';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    default:
      return 0;
  }
}

}  // namespace

CopySession::CopySession(const std::string& connection)
    : session_(std::make_unique<database::PostgresConnection>(connection)) {}

CopySession::~CopySession() = default;

CopySession::End CopySession::Copy(const std::string& statement, const CopyRows& rows) {
  using CopyEnd = database::PostgresConnection::CopyEnd;
  if (!session_->MakeReady()) return End::kUndone;
  const auto end = session_->CopyIn(statement, rows.text());
  session_->ShedBuffers();
  if (end == CopyEnd::kCommitted) return End::kCommitted;
  return end == CopyEnd::kUndone ? End::kUndone : End::kUnknown;
}

std::vector<std::string> CopySession::Row(const std::string& sql) {
  const database::PostgresResult result = session_->MakeReady() ? session_->Run(sql) : nullptr;
  std::vector<std::string> fields;
  if (!result || result->Rows() == 0) return fields;
  for (std::size_t column = 0; column < result->Columns(); ++column)
    fields.emplace_back(result->Field(0, column));
  return fields;
}

void CopyRows::Separate() {
  if (std::exchange(in_row_, true)) text_ += '\t';
}

void CopyRows::Add(std::string_view field) {
  Separate();
  for (const char c : SqlText::Repaired(field)) {
    const char letter = Letter(c);
    if (letter != 0) text_ += '\\';
    text_ += letter != 0 ? letter : c;
  }
}

void CopyRows::AddNull() {
  Separate();
  text_ += "\\N";
}

void CopyRows::EndRow() {
  text_ += '\n';
  in_row_ = false;
}

}  // namespace platform
