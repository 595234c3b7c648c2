#pragma once

/// Marks what libQuorvelUtility offers to other libraries; everything else in it is hidden.
#define QUORVEL_UTILITY_EXPORT __attribute__((visibility("default")))
