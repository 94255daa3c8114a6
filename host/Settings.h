#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// What an operator can set. The members are meaningless until `DefaultSettings` fills them.
struct Settings {
  std::string listen;
  std::string admin_listen;
  std::string database;
  std::string setup_database;
  std::string direct_database;
  std::int64_t lock_wait_s = 0;
  std::string sql;
  std::string data;
  std::string log_file;
  std::int64_t log_level = 0;
  std::int64_t log_queue = 0;
  std::string log_format;
  std::string plugins;
  std::string plugin_failure;
  std::int64_t workers = 0;
  std::int64_t queue = 0;
  std::int64_t login_workers = 0;
  std::int64_t login_queue = 0;
  std::int64_t stream_workers = 0;
  std::int64_t body_limit = 0;
  std::int64_t header_limit = 0;
  std::int64_t memory_mb = 0;
  std::int64_t idle_timeout_s = 0;
  std::int64_t read_timeout_s = 0;
  std::int64_t drain_timeout_s = 0;
  std::int64_t connections_limit = 0;
  /// kHalf for half of connections_limit, 0 for no bound.
  std::int64_t client_connections = 0;
  std::int64_t session_idle_minutes = 0;
  std::int64_t session_hours = 0;
  std::int64_t sessions_limit = 0;
  std::int64_t sessions_per_user = 0;
  std::int64_t user_tries = 0;
  std::int64_t client_tries = 0;
  std::string client_freeze;
  std::int64_t freeze_minutes = 0;
  std::int64_t platform_connections = 0;
  std::int64_t server_standard = 0;
  std::string request_log;
  std::int64_t request_log_queue = 0;
  std::string files;
  std::string object_store;
  std::string object_store_region;
  std::string object_store_key;
  std::int64_t file_max_bytes = 0;
  std::int64_t files_reserve_mb = 0;
  std::int64_t uploads_per_user = 0;
  std::int64_t upload_hours = 0;
  std::string file_strict;
  std::int64_t scrub_days = 0;
  std::int64_t scrub_mb_per_s = 0;
  std::string tls_certificate;
  std::string tls_key;
  std::string insecure_http;
  std::string trusted_proxies;

  static constexpr std::int64_t kHalf = -1;

  /// The plugin files in the order of their start, blanks and empty names dropped.
  std::vector<std::string> PluginFiles() const;
  /// `log_file`, or when that is empty the default file in `data`.
  std::string LogFile() const;
  /// `files`, or when that is empty the folder of that name in `data`.
  std::string FilesFolder() const;
  /// Most connections of one client; 0 for no bound.
  std::int64_t ClientConnections() const;
};

Settings DefaultSettings();

/// Applies `text` to `settings`: lines `key = value`, blank lines, and comments from a `#` that starts a line or
/// follows a blank. Returns one "<file>:<line>: <fault>" for each fault, in the order of lines; faulty keys keep their
/// value.
[[nodiscard]] std::vector<std::string> ReadSettings(Settings& settings, const std::string& text,
                                                    const std::string& file);

/// ReadSettings on the contents of `file`; a file that cannot be read is one fault.
[[nodiscard]] std::vector<std::string> ReadSettingsFile(Settings& settings, const std::string& file);

/// Sets one key as a line of a file would. Returns "" or the fault.
[[nodiscard]] std::string SetSetting(Settings& settings, const std::string& key, const std::string& value);

/// What a key is set to, as text, and of files the folder; "" for an unknown key.
[[nodiscard]] std::string SettingText(const Settings& settings, std::string_view key);

/// "" or why these settings must not be served with: without TLS only this machine may connect, unless they say so.
[[nodiscard]] std::string PlainHttpFault(const Settings& settings);

/// A settings file with every key at its default and its explanation.
std::string SettingsTemplate();

}  // namespace host
