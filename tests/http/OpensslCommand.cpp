#include "http/OpensslCommand.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "http/HostProcess.h"

namespace evidence_test {

std::string SealedByOpenssl(const std::string& plain, const std::string& key, const std::string& more) {
  const ScratchFolder folder;
  const auto command = "SESSION_KEY='" + key + "' openssl enc -aes-256-cbc -pbkdf2 -a " + more +
                       " -pass env:SESSION_KEY -in " + folder.Write("plain", plain) + " -out " + folder.path() +
                       "/sealed";
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
  return folder.Read("sealed");
}

}  // namespace evidence_test
