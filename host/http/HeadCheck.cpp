#include "http/HeadCheck.h"

#include <microhttpd.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace host {
namespace {

constexpr std::size_t kLineEnd = 2;

constexpr auto kTokenCharacters = [] {
  std::array<bool, 256> characters{};
  for (const char c : std::string_view("!#$%&'*+-.^_`|~0123456789"))
    characters.at(static_cast<unsigned char>(c)) = true;
  for (int letter = 0; letter < 26; ++letter)
    characters.at('a' + letter) = characters.at('A' + letter) = true;
  return characters;
}();

/// Whether `name` is a token (RFC 9110, 5.6.2). The library keeps a blank before the colon as a part of the name.
bool IsToken(std::string_view name) {
  return !name.empty() &&
         std::ranges::all_of(name, [](char c) { return kTokenCharacters[static_cast<unsigned char>(c)]; });
}

bool IsNamed(std::string_view name, std::string_view wanted) {
  return name.size() == wanted.size() && strncasecmp(name.data(), wanted.data(), wanted.size()) == 0;
}

bool IsControl(char c) { return (c >= '\0' && c < ' ' && c != '\t') || c == '\x7f'; }

const char* EndOf(std::string_view text) { return text.data() + text.size(); }

/// The library cuts a text at a NUL, adds a continuation line to the name of its header, ends a line at a bare LF, and
/// ends the head at a line that starts with a NUL or a colon. Nothing of it shows in the texts, but in where they
/// stand: each where it was received, one behind the other, with the two bytes of a line's end between them.
struct Head {
  /// The end of the last text read.
  const char* end = nullptr;
  bool is_whole = true;
  bool has_odd_name = false;
  bool has_odd_value = false;
  bool has_odd_coding = false;
  int lengths = 0;
  int codings = 0;
  int hosts = 0;

  void Add(std::string_view name, std::string_view value) {
    is_whole = is_whole && name.data() == end + kLineEnd && value.data() > EndOf(name);
    end = EndOf(value);
    if (!IsToken(name)) has_odd_name = true;
    if (std::ranges::any_of(value, IsControl)) has_odd_value = true;
    if (IsNamed(name, MHD_HTTP_HEADER_HOST)) ++hosts;
    if (IsNamed(name, MHD_HTTP_HEADER_CONTENT_LENGTH)) ++lengths;
    if (!IsNamed(name, MHD_HTTP_HEADER_TRANSFER_ENCODING)) return;
    ++codings;
    // Of any other one the library reads to the end of the connection.
    if (!IsNamed(value, "chunked")) has_odd_coding = true;
  }
};

Head ReadHead(MHD_Connection& connection, const RequestLine& line) {
  Head head;
  head.end = EndOf(line.version);
  MHD_get_connection_values(
      &connection, MHD_HEADER_KIND,
      [](void* context, MHD_ValueKind, const char* name, const char* value) {
        static_cast<Head*>(context)->Add(name, value == nullptr ? EndOf(name) : value);
        return MHD_YES;
      },
      &head);
  return head;
}

/// One blank between method, target and version, and none in the path. A query is only passed over.
bool IsLineWhole(MHD_Connection& connection, const RequestLine& line) {
  const std::string_view path = line.path;
  const char* const path_end = path.data() + path.size();
  if (!IsToken(line.method) || line.path != EndOf(line.method) + 1 || path_end >= line.version) return false;
  if (std::ranges::any_of(path, [](char c) { return c == ' ' || c == '\t' || IsControl(c); })) return false;
  const bool is_query_empty = path_end + 2 == line.version && path_end[1] == '\0';
  return path_end + 1 == line.version || is_query_empty ||
         MHD_get_connection_values(&connection, MHD_GET_ARGUMENT_KIND, nullptr, nullptr) > 0;
}

}  // namespace

const char* HeadFault(MHD_Connection& connection, const RequestLine& line, std::size_t head_size) {
  const Head head = ReadHead(connection, line);
  if (head.has_odd_name) return "invalid header name";
  if (head.has_odd_value) return "invalid header value";
  if (!IsLineWhole(connection, line) || !head.is_whole || head.end + 2 * kLineEnd != line.method + head_size) {
    return "malformed head";
  }
  const bool is_old = std::strcmp(line.version, MHD_HTTP_VERSION_1_0) == 0;
  if (head.lengths + head.codings > 1) return "ambiguous body length";
  if (head.has_odd_coding || (is_old && head.codings != 0)) return "unknown transfer coding";
  return head.hosts > 1 || (!is_old && head.hosts == 0) ? "Host must be given once" : nullptr;
}

}  // namespace host
