#pragma once

/// Marks what libCell offers to other libraries; everything else in it is hidden.
#define CELL_EXPORT __attribute__((visibility("default")))
