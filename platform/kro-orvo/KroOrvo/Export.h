#pragma once

/// Marks what libKroOrvo offers to other libraries; everything else in it is hidden.
#define KRO_ORVO_EXPORT __attribute__((visibility("default")))
