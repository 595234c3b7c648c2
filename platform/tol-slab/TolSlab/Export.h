#pragma once

/// Marks what libTolSlab offers to other libraries; everything else in it is hidden.
#define TOLSLAB_EXPORT __attribute__((visibility("default")))
