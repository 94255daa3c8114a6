#pragma once

/// Marks what libplatform.so shows to the host, to plugins and to tests; all else is hidden.
#define PLATFORM_API __attribute__((visibility("default")))
