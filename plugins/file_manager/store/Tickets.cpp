#include "store/Tickets.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <charconv>
#include <new>

#include "store/Digest.h"

namespace FileManager {
namespace {

constexpr std::string_view kLabel = "evidence-host: tickets of files";
constexpr std::size_t kMacDigits = 64;

std::string Hmac(const std::string& key, std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> mac;
  unsigned size = 0;
  const auto* const done = HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
                                reinterpret_cast<const unsigned char*>(text.data()), text.size(), mac.data(), &size);
  if (done == nullptr) throw std::bad_alloc();
  return {reinterpret_cast<const char*>(mac.data()), size};
}

std::string Hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

/// The number before the first `.`, which is removed with it.
template <class Number>
bool TakeNumber(Number& number, std::string_view& text) {
  const auto dot = text.find('.');
  if (dot == std::string_view::npos) return false;
  const auto [stop, fault] = std::from_chars(text.data(), text.data() + dot, number);
  const bool is_number = fault == std::errc() && stop == text.data() + dot;
  text.remove_prefix(dot + 1);
  return is_number;
}

}  // namespace

Tickets::Tickets(const std::string& site_key) : key_(Hmac(site_key, kLabel)) {}

std::string Tickets::MacOf(std::string_view text) const { return Hex(Hmac(key_, text)); }

std::string Tickets::Make(const Ticket& ticket) const {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(ticket.expires.time_since_epoch()).count();
  const auto text = std::to_string(ticket.file_id) + "." + std::to_string(seconds) + "." + ticket.session;
  return text + "." + MacOf(text);
}

std::optional<Tickets::Ticket> Tickets::Check(std::string_view text, Clock::time_point now) const {
  if (text.size() <= kMacDigits + 1 || text[text.size() - kMacDigits - 1] != '.') return std::nullopt;
  const auto mac = text.substr(text.size() - kMacDigits);
  text.remove_suffix(kMacDigits + 1);
  const auto expected = MacOf(text);
  if (CRYPTO_memcmp(mac.data(), expected.data(), kMacDigits) != 0) return std::nullopt;
  Ticket ticket;
  std::int64_t seconds = 0;
  if (!TakeNumber(ticket.file_id, text) || !TakeNumber(seconds, text)) return std::nullopt;
  ticket.expires = Clock::time_point(std::chrono::seconds(seconds));
  ticket.session = text;
  if (ticket.session.empty() || now >= ticket.expires) return std::nullopt;
  return ticket;
}

}  // namespace FileManager
