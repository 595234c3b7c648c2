#pragma once

/// Marks what libpinmem offers to other libraries; everything else in it is hidden.
#define PINMEM_EXPORT __attribute__((visibility("default")))
