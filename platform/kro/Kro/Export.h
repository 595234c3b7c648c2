#pragma once

/// Marks what libkro offers to other libraries; everything else in it is hidden.
#define KRO_EXPORT __attribute__((visibility("default")))
