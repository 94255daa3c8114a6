#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "http/HostProcess.h"

namespace evidence_test {

/// The test's side of the echo plugin's /Gate: shows when a request is inside a plugin, and holds it there. One
/// request at a time.
class Gate {
 public:
  Gate() {
    if (mkfifo(Pipe("entered").c_str(), 0600) != 0 || mkfifo(Pipe("leave").c_str(), 0600) != 0)
      throw std::runtime_error("no named pipes in " + folder_.path());
  }

  /// The body of the request that shall wait here.
  const std::string& body() const { return folder_.path(); }

  /// Waits until the request is inside.
  void AwaitEntered() const {
    const int pipe = open(Pipe("entered").c_str(), O_RDONLY | O_CLOEXEC);
    char byte = 0;
    if (read(pipe, &byte, 1) != 1) throw std::runtime_error("nobody entered the gate");
    close(pipe);
  }

  /// Lets the request inside go on.
  void Open() const { close(open(Pipe("leave").c_str(), O_WRONLY | O_CLOEXEC)); }

 private:
  std::string Pipe(const std::string& name) const { return folder_.path() + "/" + name; }

  ScratchFolder folder_;
};

}  // namespace evidence_test
