#pragma once

/// Marks the symbols that libplatform.so exports to the host, plugins and tests; all others are hidden.
#define PLATFORM_API __attribute__((visibility("default")))
