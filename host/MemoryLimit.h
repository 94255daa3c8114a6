#pragma once

#include <cstddef>
#include <string>

namespace host {

/// The bytes that this process can have: those of the machine, or what its control group or one above it allows. 0 when
/// neither can be read. `root` is the folder that has proc and sys.
[[nodiscard]] std::size_t AvailableMemory(const std::string& root = "");

/// What all requests together may hold: `megabytes`, or for 0 half of `available`, at most 512 MiB.
[[nodiscard]] std::size_t MemoryForRequests(std::size_t megabytes, std::size_t available);

/// Large blocks come from the system and go back to it when they are freed, whatever was freed before. Called once,
/// before there are threads.
void ReturnLargeBlocks();

}  // namespace host
