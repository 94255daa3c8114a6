#pragma once

#include "OrvBase/Error.h"

namespace Evidence {

/// Sub codes of the plugin's own (main, sub) pairs; main is always 0.
enum ErrorSubCode : int {
  kSuccess = 0,
  /// A required object is missing, or the operation is not served.
  kObjectMissing = 1,
  kBadInput = 2,
  /// Method not served on the custom attribute route.
  kMethodNotServedOnCustom = 6,
  kMethodNotServed = 8,
  /// No permission, or the platform's log refused a line.
  kNoPermission = 10,
  kStatementFailed = 15,
  /// No memory for the record of an answer.
  kAnswerNotMade = 54,
  /// Session not found, or its client address unknown.
  kSessionNotFound = 200,
  /// A secret could not be encrypted for the table, or decrypted.
  kEncryptionFailed = 252,
  kDecryptionFailed = 253,
  kEvidenceNotFound = 9804,
  kEvidenceRepeated = 9805,
  kTooManyFiles = 9807,
  kTypeNameRepeated = 9808,
  kTypeNotFound = 9809,
  kTooManyTypes = 9810,
  kNotRunning = 9820,
  /// Some files of a batch failed.
  kSomeFilesFailed = 9999,
  /// A batch link body that cannot be read, or that names no files or no evidences.
  kBadBatchLink = 10002,
  /// The cameras of an upload by WIFI belong to several devices.
  kCamerasOnSeveralDevices = 120002,
  kRoamlinkCamera = 120003,
  kTooManyEvidences = 120004,
  kTooManyLabels = 120005,
  kCustomNotFound = 120010,
  /// Too many attributes, or too many options on one.
  kTooManyCustoms = 120012,
  kCustomNameRepeated = 120013,
  /// Some entries of a list failed.
  kSomeEntriesFailed = 99999,
};

/// Sets the thread's last error to (0, sub_code) and returns false, so that a failure is one line.
[[nodiscard]] inline bool Fail(ErrorSubCode sub_code) {
  Orv::Base::Error::SetLastError({0, sub_code});
  return false;
}

}  // namespace Evidence
