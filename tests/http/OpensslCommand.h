#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "http/HostProcess.h"

namespace evidence_test {

/// What `openssl enc -aes-256-cbc -pbkdf2 -a <options>` makes of `input` under the password `key`.
inline std::string Openssl(const std::string& options, const std::string& input, const std::string& key) {
  const ScratchFolder folder;
  const auto command = "SESSION_KEY='" + key + "' openssl enc -aes-256-cbc -pbkdf2 -a " + options +
                       " -pass env:SESSION_KEY -in " + folder.Write("input", input) + " -out " + folder.path() +
                       "/output";
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
  return folder.Read("output");
}

}  // namespace evidence_test
