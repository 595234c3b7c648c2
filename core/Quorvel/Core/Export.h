#pragma once

/// Marks what libQuorvelCore offers to its clients; everything else in it is hidden.
#define QUORVEL_CORE_EXPORT __attribute__((visibility("default")))
