#pragma once

/// Marks what liborvo offers to other libraries; everything else in it is hidden.
#define ORVO_EXPORT __attribute__((visibility("default")))
