#include "Settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>
#include <variant>

#include "OrvBase/StringUtil.h"
#include "http/ListenAddress.h"
#include "http/TrustedProxies.h"

namespace host {
namespace {

using TextMember = std::string Settings::*;
using NumberMember = std::int64_t Settings::*;

enum class Kind {
  kText,
  kNumber,
  kAddress,
  kAddressOrNone,
  kStopOrContinue,
  kOnOrOff,
  kTextOrJson,
  kWritesOrAll,
  kSiteOnOrOff,
  kNetworks,
  kNumberOrHalf
};

struct Setting {
  std::string_view name;
  Kind kind;
  std::variant<TextMember, NumberMember> member;
  std::string_view default_value;
  std::int64_t least;
  std::int64_t most;
  std::string_view help;
};

constexpr Setting TextSetting(std::string_view name, TextMember member, std::string_view default_value,
                              std::string_view help, Kind kind = Kind::kText) {
  return {name, kind, member, default_value, 0, 0, help};
}

constexpr Setting NumberSetting(std::string_view name, NumberMember member, std::string_view default_value,
                                std::int64_t least, std::int64_t most, std::string_view help,
                                Kind kind = Kind::kNumber) {
  return {name, kind, member, default_value, least, most, help};
}

constexpr Setting kSettings[] = {
    TextSetting("listen", &Settings::listen, "127.0.0.1:8080",
                "Address and port to serve on; IPv6 as [::1]:8080; port 0 takes any free port.", Kind::kAddress),
    TextSetting("database", &Settings::database, "",
                "libpq connection string of the application role; empty uses libpq's environment."),
    TextSetting(
        "setup_database", &Settings::setup_database, "",
        "Connection string of an owner role, to create or upgrade the schemas at each start; empty to skip that. "
        "Set-up, backup and restore use it, best without a pooler between."),
    TextSetting("direct_database", &Settings::direct_database, "",
                "Connection string past any pooler, for the lock that keeps a second host off; empty for database."),
    NumberSetting("lock_wait_s", &Settings::lock_wait_s, "30", 0, 3600,
                  "How long a start waits for the end of another host on the same database."),
    TextSetting("sql", &Settings::sql, "database",
                "Folder of the schema scripts, relative to the executable's folder."),
    TextSetting("data", &Settings::data, "var", "Folder of the host's own files; created when missing."),
    TextSetting("log_file", &Settings::log_file, "", "Log file; empty for evidence-host.log in data."),
    NumberSetting("log_level", &Settings::log_level, "3", 1, 6,
                  "Lowest level logged: 1 statements, 2 trace, 3 progress, 4 anomalies, 5 failures, 6 outages."),
    NumberSetting(
        "log_queue", &Settings::log_queue, "8192", 16, 1'000'000,
        "Maximum log lines waiting to be written; beyond that requests wait, or when nothing can be written for a "
        "second the oldest are dropped."),
    TextSetting("log_format", &Settings::log_format, "text",
                "How lines of the log are written: text, or json for one object a line.", Kind::kTextOrJson),
    TextSetting("plugins", &Settings::plugins, "file_manager.s.so,casefile.s.so,desk.s.so",
                "Plugin files separated by commas, relative to the executable's folder, in start order."),
    TextSetting("plugin_failure", &Settings::plugin_failure, "stop",
                "What to do when a plugin fails to start: stop, or continue without it.", Kind::kStopOrContinue),
    NumberSetting(
        "workers", &Settings::workers, "16", 1, 256,
        "Threads that run plugin requests; beside those that wait for others, as many of them run at once as a "
        "plugin has database connections."),
    NumberSetting("queue", &Settings::queue, "256", 1, 100'000,
                  "Maximum requests waiting for a worker; beyond that they wait 5 s for a place, then get 503."),
    NumberSetting("login_workers", &Settings::login_workers, "2", 1, 64, "Threads that run logins."),
    NumberSetting("login_queue", &Settings::login_queue, "64", 1, 10'000,
                  "Maximum logins waiting; beyond that they wait 5 s for a place, then get 503."),
    NumberSetting("stream_workers", &Settings::stream_workers, "256", 1, 4096,
                  "Threads that run what streams, one for each body or answer on its way."),
    NumberSetting("body_limit", &Settings::body_limit, "8388608", 1024, 1'073'741'824,
                  "Largest request body in bytes."),
    NumberSetting("header_limit", &Settings::header_limit, "16384", 1024, 1'048'576,
                  "Largest request line and header together in bytes."),
    NumberSetting("memory_mb", &Settings::memory_mb, "0", 0, 1'048'576,
                  "Megabytes that all requests together may hold, one client address a quarter of them; 0 for half of "
                  "the memory of the control group or the machine, at most 512."),
    NumberSetting("idle_timeout_s", &Settings::idle_timeout_s, "60", 1, 86'400,
                  "Seconds of inactivity after which a connection is closed."),
    NumberSetting("read_timeout_s", &Settings::read_timeout_s, "30", 1, 86'400,
                  "Seconds within which the head of a request must arrive from its first byte on, and then its body."),
    NumberSetting("drain_timeout_s", &Settings::drain_timeout_s, "30", 1, 3'600,
                  "Seconds that a stop waits for requests that write; what only reads is ended after 5."),
    NumberSetting("connections_limit", &Settings::connections_limit, "512", 1, 60'000, "Maximum client connections."),
    NumberSetting(
        "client_connections", &Settings::client_connections, "half", 0, 60'000,
        "Maximum of them from one IPv4 address or one IPv6 /64: a number, half of them, or 0 for no bound, as "
        "behind a proxy.",
        Kind::kNumberOrHalf),
    TextSetting("admin_listen", &Settings::admin_listen, "",
                "Address and port of this machine for /metrics, /live and /ready without a session, such as "
                "127.0.0.1:8081; empty for none.",
                Kind::kAddressOrNone),
    NumberSetting("session_idle_minutes", &Settings::session_idle_minutes, "30", 1, 100'000,
                  "Minutes without a request after which a session ends."),
    NumberSetting("session_hours", &Settings::session_hours, "12", 1, 100'000,
                  "Hours after its login at which a session ends, used or not."),
    NumberSetting("sessions_limit", &Settings::sessions_limit, "10000", 1, 1'000'000,
                  "Maximum sessions; a login beyond that ends the longest idle one of its user, or when he has none "
                  "of those who have the most."),
    NumberSetting("sessions_per_user", &Settings::sessions_per_user, "20", 1, 1'000'000,
                  "Maximum sessions of one user; a login beyond that ends his longest idle one."),
    NumberSetting("user_tries", &Settings::user_tries, "5", 1, 100,
                  "Wrong passwords for one user name after which it is frozen."),
    NumberSetting("client_tries", &Settings::client_tries, "10", 1, 1'000,
                  "Wrong passwords from one client address after which it is frozen."),
    TextSetting("client_freeze", &Settings::client_freeze, "on",
                "Whether client addresses are frozen at all: on, or off where many users share one address.",
                Kind::kOnOrOff),
    NumberSetting("freeze_minutes", &Settings::freeze_minutes, "30", 1, 100'000,
                  "Minutes that a freeze lasts, and after which wrong passwords below the limit are forgotten."),
    NumberSetting("platform_connections", &Settings::platform_connections, "4", 1, 100,
                  "Database connections of the host itself in each of its two pools."),
    NumberSetting("server_standard", &Settings::server_standard, "2", 1, 3,
                  "Size class of this server: 1 high, 2 middle, 3 lower."),
    TextSetting("request_log", &Settings::request_log, "writes",
                "What is noted of requests with who asked for it, in platform.request_log: writes, or all with reads.",
                Kind::kWritesOrAll),
    NumberSetting("request_log_queue", &Settings::request_log_queue, "10000", 16, 1'000'000,
                  "Maximum requests waiting to be noted; while the database does not take them, beyond that what would "
                  "have to be noted gets 503."),
    TextSetting("files", &Settings::files, "", "Folder of the bytes of files; empty for files in data."),
    TextSetting("object_store", &Settings::object_store, "",
                "Address of a bucket of an S3-compatible store for the bytes of files, such as "
                "https://store.example:9000/evidence; empty for the folder."),
    TextSetting("object_store_region", &Settings::object_store_region, "us-east-1", "Region of that store."),
    TextSetting("object_store_key", &Settings::object_store_key, "",
                "File with the store's access key and secret, a line each."),
    NumberSetting("file_max_bytes", &Settings::file_max_bytes, "1099511627776", 1, std::int64_t{1} << 53,
                  "Largest file in bytes."),
    NumberSetting("files_reserve_mb", &Settings::files_reserve_mb, "1024", 0, 1'048'576,
                  "Megabytes that files leave free on their disk, for the database and the log; beyond that an upload "
                  "gets 507."),
    NumberSetting("uploads_per_user", &Settings::uploads_per_user, "32", 1, 100'000,
                  "Maximum unfinished uploads of one user."),
    NumberSetting("upload_hours", &Settings::upload_hours, "24", 1, 8'760,
                  "Hours after which an upload that nobody goes on with is removed."),
    TextSetting("file_strict", &Settings::file_strict, "site",
                "Whether an evidence takes only files whose bytes are here: on, off, or site, which is on where the "
                "database was made with this version or a later one.",
                Kind::kSiteOnOrOff),
    NumberSetting("scrub_days", &Settings::scrub_days, "30", 0, 3'650,
                  "Days within which each file is read again and compared with its digest; 0 for never."),
    NumberSetting("scrub_mb_per_s", &Settings::scrub_mb_per_s, "50", 1, 10'000,
                  "Most megabytes a second that this reads."),
    TextSetting("tls_certificate", &Settings::tls_certificate, "",
                "PEM file of the certificate chain; together with tls_key it enables HTTPS."),
    TextSetting("tls_key", &Settings::tls_key, "", "PEM file of the certificate's key."),
    TextSetting("insecure_http", &Settings::insecure_http, "off",
                "Whether the host serves other machines without TLS: off, or on where something before it has TLS and "
                "nobody else reaches this address.",
                Kind::kOnOrOff),
    TextSetting(
        "trusted_proxies", &Settings::trusted_proxies, "",
        "Addresses and networks of proxies, such as 192.0.2.7 or 10.0.0.0/8, separated by commas: what they say "
        "in X-Forwarded-For and X-Forwarded-Proto counts.",
        Kind::kNetworks),
};

/// Keys of earlier versions, whose meaning was another.
constexpr std::pair<std::string_view, std::string_view> kGoneKeys[] = {
    {"address_connections", "client_connections, where 0 is no bound and half what 0 was"},
};

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// A `#` inside a word belongs to the value: passwords in connection strings may contain one.
std::string_view WithoutComment(std::string_view line) {
  for (std::size_t at = line.find('#'); at != std::string_view::npos; at = line.find('#', at + 1)) {
    if (at == 0 || line[at - 1] == ' ' || line[at - 1] == '\t') return line.substr(0, at);
  }
  return line;
}

const Setting* FindSetting(std::string_view key) {
  const auto* found = std::ranges::find(kSettings, key, &Setting::name);
  return found == std::end(kSettings) ? nullptr : found;
}

std::string SetNumber(Settings& settings, const Setting& setting, std::string_view value) {
  auto& member = settings.*std::get<NumberMember>(setting.member);
  if (setting.kind == Kind::kNumberOrHalf && value == "half") {
    member = Settings::kHalf;
    return {};
  }
  std::int64_t number = 0;
  const auto* const end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  const std::string name(setting.name);
  if (error == std::errc::invalid_argument || stop != end) return name + " is not a whole number";
  if (error != std::errc() || number < setting.least || number > setting.most) {
    return name + " must be between " + std::to_string(setting.least) + " and " + std::to_string(setting.most);
  }
  member = number;
  return {};
}

/// Settings with few values.
struct Choice {
  Kind kind;
  std::array<std::string_view, 3> values;
};
constexpr Choice kChoices[] = {
    {Kind::kStopOrContinue, {"stop", "continue"}}, {Kind::kOnOrOff, {"on", "off"}},
    {Kind::kTextOrJson, {"text", "json"}},         {Kind::kWritesOrAll, {"writes", "all"}},
    {Kind::kSiteOnOrOff, {"site", "on", "off"}},
};

/// "" for a setting that is none of these, too.
std::string ChoiceFault(const Setting& setting, std::string_view value) {
  const auto* const choice = std::ranges::find(kChoices, setting.kind, &Choice::kind);
  if (choice == std::end(kChoices)) return {};
  std::string words;
  for (const auto word : choice->values) {
    if (word.empty()) continue;
    if (word == value) return {};
    words.append(words.empty() ? "" : " or ").append(word);
  }
  return std::string(setting.name) + " must be " + words;
}

std::string SetText(Settings& settings, const Setting& setting, std::string_view value) {
  if (Orv::Base::StringUtil::ContainsIllegalCharacters(value)) {
    return std::string(setting.name) + " contains a control character or is not UTF-8";
  }
  std::string text(value);
  if (auto fault = ChoiceFault(setting, text); !fault.empty()) return fault;
  const bool is_address = setting.kind == Kind::kAddress || (setting.kind == Kind::kAddressOrNone && !text.empty());
  if (is_address && !ParseListenAddress(text)) {
    return std::string(setting.name) + " is not an address and port, such as 127.0.0.1:8080 or [::1]:8080";
  }
  if (setting.kind == Kind::kNetworks) {
    TrustedProxies unused;
    if (const auto fault = TrustedProxies::Read(text, unused); !fault.empty()) {
      return std::string(setting.name) + ": " + fault;
    }
  }
  settings.*std::get<TextMember>(setting.member) = std::move(text);
  return {};
}

std::string SetValue(Settings& settings, const Setting& setting, std::string_view value) {
  const bool is_number = std::holds_alternative<NumberMember>(setting.member);
  return is_number ? SetNumber(settings, setting, value) : SetText(settings, setting, value);
}

std::string UnknownKey(std::string_view key) {
  const auto fault = "unknown key " + std::string(key);
  const auto* const gone = std::ranges::find(kGoneKeys, key, &std::pair<std::string_view, std::string_view>::first);
  return gone == std::end(kGoneKeys) ? fault : fault + "; there is " + std::string(gone->second);
}

/// The fault of one line, "" when there is none.
std::string ReadLine(Settings& settings, std::string_view line, std::set<std::string_view>& seen) {
  if (Orv::Base::StringUtil::ContainsIllegalCharacters(line)) return "not UTF-8, or a control character";
  const auto content = Trimmed(WithoutComment(line));
  if (content.empty()) return {};
  const auto equals = content.find('=');
  if (equals == std::string_view::npos) return "not of the form key = value";
  const auto key = Trimmed(content.substr(0, equals));
  const auto* const setting = FindSetting(key);
  if (setting == nullptr) return UnknownKey(key);
  if (!seen.insert(setting->name).second) return "repeated key " + std::string(key);
  return SetValue(settings, *setting, Trimmed(content.substr(equals + 1)));
}

}  // namespace

std::vector<std::string> Settings::PluginFiles() const {
  std::vector<std::string> names;
  std::istringstream list(plugins);
  for (std::string file; std::getline(list, file, ',');) {
    if (const auto name = Trimmed(file); !name.empty()) names.emplace_back(name);
  }
  return names;
}

std::string Settings::FilesFolder() const { return files.empty() ? data + "/files" : files; }

std::string Settings::LogFile() const { return log_file.empty() ? data + "/evidence-host.log" : log_file; }

std::int64_t Settings::ClientConnections() const {
  return client_connections == kHalf ? (connections_limit + 1) / 2 : client_connections;
}

Settings DefaultSettings() {
  Settings settings;
  for (const auto& setting : kSettings)
    static_cast<void>(SetValue(settings, setting, setting.default_value));
  return settings;
}

std::vector<std::string> ReadSettings(Settings& settings, const std::string& text, const std::string& file) {
  std::vector<std::string> faults;
  std::set<std::string_view> seen;
  std::istringstream lines(text);
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    const auto fault = ReadLine(settings, line, seen);
    if (!fault.empty()) faults.push_back(file + ":" + std::to_string(number) + ": " + fault);
  }
  if (settings.tls_certificate.empty() != settings.tls_key.empty()) {
    faults.push_back(file + ":" + std::to_string(number) + ": tls_certificate and tls_key must be set together");
  }
  return faults;
}

std::vector<std::string> ReadSettingsFile(Settings& settings, const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  // A folder opens but fails on the first read; an empty file sets failbit on `text` and is valid.
  if (!stream.is_open() || (stream.peek() == std::ifstream::traits_type::eof() && stream.bad())) {
    return {file + ":0: cannot be read"};
  }
  text << stream.rdbuf();
  return ReadSettings(settings, text.str(), file);
}

std::string SetSetting(Settings& settings, const std::string& key, const std::string& value) {
  const auto* const setting = FindSetting(key);
  return setting == nullptr ? UnknownKey(key) : SetValue(settings, *setting, value);
}

std::string SettingText(const Settings& settings, std::string_view key) {
  if (key == "files") return settings.FilesFolder();
  const auto* const setting = FindSetting(key);
  if (setting == nullptr) return {};
  if (const auto* const number = std::get_if<NumberMember>(&setting->member)) {
    return std::to_string(settings.*(*number));
  }
  return settings.*std::get<TextMember>(setting->member);
}

std::string PlainHttpFault(const Settings& settings) {
  const auto is_local = [](const std::string& text) {
    const auto address = ParseListenAddress(text);
    return address && IsLoopback(*address);
  };
  if (settings.insecure_http == "on") return {};
  if (!settings.admin_listen.empty() && !is_local(settings.admin_listen)) {
    return "admin_listen = " + settings.admin_listen +
           " lets other machines connect without TLS and without a session: listen on 127.0.0.1, or set insecure_http "
           "= "
           "on where nobody else reaches this address";
  }
  if (is_local(settings.listen) || !settings.tls_certificate.empty()) return {};
  return "listen = " + settings.listen +
         " lets other machines connect, and without TLS passwords, sessions and evidence can be read on their way: set "
         "tls_certificate and tls_key, or listen on 127.0.0.1, or set insecure_http = on where something before the "
         "host has TLS and nobody else reaches this address";
}

std::string SettingsTemplate() {
  std::string text;
  for (const auto& setting : kSettings) {
    text.append("# ").append(setting.help).append("\n");
    text.append(setting.name).append(" = ").append(setting.default_value).append("\n\n");
  }
  return text;
}

}  // namespace host
