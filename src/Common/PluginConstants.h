#pragma once

namespace Evidence {

/// Key of this plugin at the database manager, the language table and the inter-plugin bus.
inline constexpr char kPluginId[] = "casefile.s";
/// Key of the module's message loop.
inline constexpr char kMessageLoopKey[] = "Evidence.Msg";
/// Tag of every log line but those of the device and task side.
inline constexpr char kLogTag[] = "casefile.s.evidence";
inline constexpr char kDeviceLogTag[] = "casefile.s.taskcenter";

/// Paths this plugin publishes to other plugins.
inline constexpr char kApiEvidence[] = "/API/Evidence/V1/Evidence";
inline constexpr char kApiEvidenceType[] = "/API/Evidence/V1/Evidence/Type";

}  // namespace Evidence
