#include "http/OpensslCommand.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "http/HostProcess.h"

namespace evidence_test {

namespace {

/// What the command makes of `input`.
std::string Run(const std::string& input, const std::string& key, const std::string& options) {
  const ScratchFolder folder;
  const auto command = "SESSION_KEY='" + key + "' openssl enc -aes-256-cbc -pbkdf2 -a " + options +
                       " -pass env:SESSION_KEY -in " + folder.Write("input", input) + " -out " + folder.path() +
                       "/output";
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
  return folder.Read("output");
}

}  // namespace

std::string SealedByOpenssl(const std::string& plain, const std::string& key, const std::string& more) {
  return Run(plain, key, more);
}

std::string OpenedByOpenssl(const std::string& sealed, const std::string& key) { return Run(sealed, key, "-d -A"); }

}  // namespace evidence_test
