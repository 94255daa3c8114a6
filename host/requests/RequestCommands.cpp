#include "requests/RequestCommands.h"

#include <cstdio>
#include <vector>

#include "Database.h"
#include "OpenCommand.h"
#include "Serve.h"
#include "accounts/AuthEvents.h"
#include "requests/StoredRequests.h"

namespace host {
namespace {

/// What a client has sent may hold anything: no control character of it reaches a terminal.
std::string Shown(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7f) c = '?';
  }
  return text;
}

void Print(const StoredRequest& request) {
  const auto pair = request.error_code.empty() ? "-" : "(" + request.error_module + ", " + request.error_code + ")";
  std::printf("%s\t%s\t%s\tsession %s\trequest %s\t%s %s\tids %s\t%s %s\t%s bytes in, %s out\n", request.time.c_str(),
              Shown(request.user_name).c_str(), request.client_address.c_str(), request.session.c_str(),
              request.request_id.c_str(), request.method.c_str(), Shown(request.path).c_str(), request.ids.c_str(),
              request.status.c_str(), pair.c_str(), request.bytes_in.c_str(), request.bytes_out.c_str());
}

}  // namespace

int RunRequests(const Settings& settings, const RequestOptions& options) {
  RequestFilter filter;
  if (!options.since.empty()) {
    filter.since = ParseEventTime(options.since);
    if (!filter.since) return FinishCommand("--since is a time such as 2026-11-01 or 2026-11-01T10:00:00Z");
  }
  auto fault = OpenForCommand(settings);
  if (!fault.empty()) return FinishCommand(fault);
  filter.evidence = options.evidence;
  filter.user = options.user;
  filter.limit = options.limit;
  const auto requests = ReadRequests(filter);
  if (!requests) return FinishCommand("the log of requests cannot be read");
  for (auto request = requests->rbegin(); request != requests->rend(); ++request)
    Print(*request);
  return FinishCommand("");
}

int RunRequestsPrune(const Settings& settings, const std::string& month) {
  std::vector<std::string> dropped;
  auto fault = OpenLog(settings);
  if (fault.empty()) fault = PruneRequests(OwnerConnection(settings), month, dropped);
  if (fault.empty()) {
    for (const auto& line : dropped)
      std::printf("%s requests dropped\n", line.c_str());
  }
  return FinishCommand(fault);
}

}  // namespace host
