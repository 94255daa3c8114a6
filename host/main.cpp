#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Commands.h"
#include "Serve.h"
#include "Settings.h"
#include "UserCommands.h"
#include "backup/Backup.h"
#include "files/FileCommands.h"
#include "requests/RequestCommands.h"

namespace {

using host::Settings;

struct Options {
  std::string config;
  bool check_config = false;
  bool print_config = false;
  /// Settings named on the command line, by key.
  std::map<std::string, std::string> overrides;
  std::string user_name;
  host::UserAddOptions user_add;
  host::PermissionCodes codes;
  std::vector<std::string> roles;
  host::PasswordOptions password;
  host::EventOptions events;
  std::string before;
  host::RequestOptions requests;
  std::string camera_file;
  std::string file_state;
  bool files_now = false;
  std::string folder;
  std::string backup_file;
};

void AddCodeOptions(CLI::App& command, host::PermissionCodes& codes) {
  command.add_option("--web", codes.web, "Codes for web clients, separated by commas")->delimiter(',');
  command.add_option("--cs", codes.cs, "Codes for desktop clients")->delimiter(',');
  command.add_option("--control", codes.control, "Codes for control clients")->delimiter(',');
}

void AddGlobalOptions(CLI::App& app, Options& options) {
  app.add_option("--config", options.config, "Settings file, lines of key = value")->take_last();
  app.add_flag("--check-config", options.check_config, "Check the settings file and exit");
  app.add_flag("--print-config", options.print_config, "Print a settings file with every key at its default and exit");
  for (const char* const key : {"listen", "database", "setup_database", "data", "tls_certificate", "tls_key"}) {
    std::string name = std::string("--") + key;
    for (char& letter : name)
      letter = letter == '_' ? '-' : letter;
    app.add_option_function<std::string>(
           name, [&options, key](const std::string& value) { options.overrides[key] = value; },
           "Override the setting of that name")
        ->take_last();
  }
}

/// The selected command; set by the parser.
enum class Command {
  kServe,
  kSetup,
  kUserAdd,
  kUserList,
  kUserPermissions,
  kUserRoles,
  kUserPassword,
  kUserDisable,
  kUserEnable,
  kUserSessions,
  kEvents,
  kEventsPrune,
  kRequests,
  kRequestsPrune,
  kCamerasLoad,
  kCamerasList,
  kFilesList,
  kFilesCheck,
  kFilesImport,
  kBackup,
  kRestore
};

/// Returns the callback that selects a command.
using Select = std::function<std::function<void()>(Command)>;

void AddPasswordOptions(CLI::App& command, host::PasswordOptions& password) {
  command.add_flag("--password-stdin", password.from_stdin,
                   "Read the password from standard input instead of generating one");
  command.add_flag("--must-change", password.must_change, "The password must be changed after the first login");
}

void AddUserCommands(CLI::App& app, Options& options, const Select& select) {
  auto* const user = app.add_subcommand("user", "Manage users")->require_subcommand(1)->fallthrough();
  user->add_subcommand("list", "List users with their permissions and roles")->callback(select(Command::kUserList));
  const auto add = [&](const char* name, const char* help, Command command) {
    auto* const added = user->add_subcommand(name, help)->fallthrough();
    added->add_option("name", options.user_name, "The user's name")->required();
    added->callback(select(command));
    return added;
  };
  auto* const new_user = add("add", "Add a user", Command::kUserAdd);
  new_user->add_flag("--super", options.user_add.super_user, "Make the user a super user");
  new_user->add_option("--role", options.user_add.roles, "A role; may be repeated");
  AddPasswordOptions(*new_user, options.user_add.password);
  AddCodeOptions(*new_user, options.user_add.codes);
  AddCodeOptions(*add("permissions", "Replace a user's own permissions", Command::kUserPermissions), options.codes);
  add("roles", "Replace a user's roles", Command::kUserRoles)
      ->add_option("--role", options.roles, "A role; may be repeated");
  AddPasswordOptions(*add("password", "Give a user a new password, and end all sessions", Command::kUserPassword),
                     options.password);
  add("disable", "Let a user in no more, and end all sessions", Command::kUserDisable);
  add("enable", "Let a user in again", Command::kUserEnable);
  add("sessions", "End all sessions of a user", Command::kUserSessions);
}

void AddEventCommands(CLI::App& app, Options& options, const Select& select) {
  auto* const events =
      app.add_subcommand("events", "Print logins, refusals and what was done to accounts, the newest last");
  events->fallthrough();
  events->add_option("--user", options.events.user, "About this user, or done by him");
  events->add_option("--since", options.events.since, "From this time on, such as 2026-11-01 or 2026-11-01T10:00:00Z");
  events->add_option("--limit", options.events.limit, "At most this many")->check(CLI::Range(1, 1'000'000));
  events->callback([&options, &app, run = select(Command::kEvents)] {
    if (app.get_subcommand("events")->get_subcommands().empty()) run();
  });
  auto* const prune = events->add_subcommand("prune", "Delete old events; needs an owner's connection")->fallthrough();
  prune->add_option("--before", options.before, "Those before this time")->required();
  prune->callback(select(Command::kEventsPrune));
}

void AddRequestCommands(CLI::App& app, Options& options, const Select& select) {
  auto* const requests = app.add_subcommand("requests", "Print who asked for what, the newest last")->fallthrough();
  requests->add_option("--evidence", options.requests.evidence, "About the evidence of this id");
  requests->add_option("--user", options.requests.user, "Of the user of this name");
  requests->add_option("--since", options.requests.since,
                       "From this time on, such as 2026-11-01 or 2026-11-01T10:00:00Z");
  requests->add_option("--limit", options.requests.limit, "At most this many")->check(CLI::Range(1, 1'000'000));
  requests->callback([requests, run = select(Command::kRequests)] {
    if (requests->get_subcommands().empty()) run();
  });
  auto* const prune =
      requests->add_subcommand("prune", "Drop whole months; needs an owner's connection")->fallthrough();
  prune->add_option("--before", options.before, "Those before this month, such as 2026-01")->required();
  prune->callback(select(Command::kRequestsPrune));
}

void AddCameraCommands(CLI::App& app, Options& options, const Select& select) {
  auto* const cameras =
      app.add_subcommand("cameras", "Manage cameras and devices")->require_subcommand(1)->fallthrough();
  cameras->add_subcommand("list", "List devices and elements")->callback(select(Command::kCamerasList));
  auto* const load = cameras->add_subcommand("load", "Replace the whole list with that of a JSON file")->fallthrough();
  load->add_option("file", options.camera_file, "The file")->required();
  load->callback(select(Command::kCamerasLoad));
}

void AddFileCommands(CLI::App& app, Options& options, const Select& select) {
  auto* const files = app.add_subcommand("files", "Manage files")->require_subcommand(1)->fallthrough();
  const auto add = [&](const char* name, const char* help, Command command) {
    auto* const added = files->add_subcommand(name, help)->fallthrough();
    added->callback(select(command));
    return added;
  };
  add("list", "List files", Command::kFilesList)
      ->add_option("--state", options.file_state, "Only those that are receiving, whole, missing, altered or removed")
      ->check(CLI::IsMember({"receiving", "whole", "missing", "altered", "removed"}));
  add("check", "Tell which files are missing or altered", Command::kFilesCheck)
      ->add_flag("--now", options.files_now, "Read all of them first");
  add("import", "Take in the files of a folder", Command::kFilesImport)
      ->add_option("folder", options.folder, "The folder")
      ->required();
}

void AddBackupCommands(CLI::App& app, Options& options, const Select& select) {
  const auto add = [&](const char* name, const char* help, const char* file, Command command) {
    auto* const added = app.add_subcommand(name, help)->fallthrough();
    added->add_option("file", options.backup_file, file)->required();
    added->callback(select(command));
  };
  add("backup", "Write the whole database to a file; needs an owner's connection", "A new file", Command::kBackup);
  add("restore", "Fill an empty database from a backup; needs an owner's connection", "The file", Command::kRestore);
}

void AddCommands(CLI::App& app, Options& options, Command& command) {
  const Select select = [&command](Command selected) { return [&command, selected] { command = selected; }; };
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.add_subcommand("serve", "Run the server (default)")->callback(select(Command::kServe));
  app.add_subcommand("setup", "Create or upgrade the schemas; needs an owner's connection")
      ->callback(select(Command::kSetup));
  AddUserCommands(app, options, select);
  AddEventCommands(app, options, select);
  AddRequestCommands(app, options, select);
  AddCameraCommands(app, options, select);
  AddFileCommands(app, options, select);
  AddBackupCommands(app, options, select);
}

/// Fills `settings` from the file and the command line; prints the faults.
bool ReadAllSettings(const Options& options, Settings& settings) {
  std::vector<std::string> faults;
  if (!options.config.empty()) faults = host::ReadSettingsFile(settings, options.config);
  for (const auto& [key, value] : options.overrides) {
    const auto fault = host::SetSetting(settings, key, value);
    if (!fault.empty()) faults.push_back("command line: " + fault);
  }
  for (const auto& fault : faults)
    std::fprintf(stderr, "%s\n", fault.c_str());
  return faults.empty();
}

int RunCommand(Command command, const Options& options, const Settings& settings) {
  switch (command) {
    case Command::kSetup:
      return host::RunSetup(settings);
    case Command::kUserAdd:
      return host::RunUserAdd(settings, options.user_name, options.user_add);
    case Command::kUserList:
      return host::RunUserList(settings);
    case Command::kUserPermissions:
      return host::RunUserPermissions(settings, options.user_name, options.codes);
    case Command::kUserRoles:
      return host::RunUserRoles(settings, options.user_name, options.roles);
    case Command::kUserPassword:
      return host::RunUserPassword(settings, options.user_name, options.password);
    case Command::kUserDisable:
    case Command::kUserEnable:
      return host::RunUserEnable(settings, options.user_name, command == Command::kUserEnable);
    case Command::kUserSessions:
      return host::RunUserSessions(settings, options.user_name);
    case Command::kEvents:
      return host::RunEvents(settings, options.events);
    case Command::kEventsPrune:
      return host::RunEventsPrune(settings, options.before);
    case Command::kRequests:
      return host::RunRequests(settings, options.requests);
    case Command::kRequestsPrune:
      return host::RunRequestsPrune(settings, options.before);
    case Command::kCamerasLoad:
      return host::RunCamerasLoad(settings, options.camera_file);
    case Command::kCamerasList:
      return host::RunCamerasList(settings);
    case Command::kFilesList:
      return host::RunFilesList(settings, options.file_state);
    case Command::kFilesCheck:
      return host::RunFilesCheck(settings, options.files_now);
    case Command::kFilesImport:
      return host::RunFilesImport(settings, options.folder);
    case Command::kBackup:
      return host::RunBackup(settings, options.backup_file);
    case Command::kRestore:
      return host::RunRestore(settings, options.backup_file);
    case Command::kServe:
      break;
  }
  return host::Serve(settings);
}

/// What only serving refuses.
int CheckTogether(const Settings& settings) {
  const auto fault = host::PlainHttpFault(settings);
  if (!fault.empty()) std::fprintf(stderr, "%s\n", fault.c_str());
  return fault.empty() ? 0 : 1;
}

int Run(int argc, char** argv) {
  CLI::App app("Serves evidence records: loads plugins and hands them HTTP requests.", "evidence-host");
  Options options;
  auto command = Command::kServe;
  AddGlobalOptions(app, options);
  AddCommands(app, options, command);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }
  if (options.print_config) {
    std::fputs(host::SettingsTemplate().c_str(), stdout);
    return 0;
  }
  auto settings = host::DefaultSettings();
  if (!ReadAllSettings(options, settings)) return 1;
  return options.check_config ? CheckTogether(settings) : RunCommand(command, options, settings);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "evidence-host: %s\n", error.what());
    return 1;
  }
}
