#include <gtest/gtest.h>

#include "support/ThrowawayPostgres.h"

namespace {

const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new evidence_test::PostgresEnvironment);

}  // namespace
