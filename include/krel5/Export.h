#pragma once

/// Marks what the library offers to module authors; everything else stays hidden.
#define KREL5_EXPORT __attribute__((visibility("default")))
