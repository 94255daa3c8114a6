#pragma once

namespace platform {

class LogWriter;

/// `writer`'s lines are written when a signal ends the process, once HandleFatalSignals was called; the last of several
/// writers counts.
void WriteOnFatalSignal(LogWriter& writer);
void ForgetOnFatalSignal(LogWriter& writer);

/// Makes sure that the calling thread can handle a signal when its stack has overflowed. Cheap after the first call.
void KeepSignalStack();

}  // namespace platform
