#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "http/HostProcess.h"
#include "http/HttpClient.h"

namespace evidence_test {

/// A request that stands inside a plugin, at test_show's /Gate, until it is let through.
class Gate {
 public:
  Gate(int port, const std::string& session) : request_(port) {
    if (mkfifo(Pipe("entered").c_str(), 0600) != 0 || mkfifo(Pipe("leave").c_str(), 0600) != 0)
      throw std::runtime_error("no named pipes in " + folder_.path());
    request_.Send(RequestText("POST", "/Gate", session, folder_.path()));
    // Returns once the request has opened its end.
    close(open(Pipe("entered").c_str(), O_RDONLY | O_CLOEXEC));
  }

  void Open() const { close(open(Pipe("leave").c_str(), O_WRONLY | O_CLOEXEC)); }
  HttpReply Reply() const { return request_.ReadReply(); }

 private:
  std::string Pipe(const std::string& name) const { return folder_.path() + "/" + name; }

  const ScratchFolder folder_;
  const HttpConnection request_;
};

}  // namespace evidence_test
