#pragma once

/// Marks what the shared platform library offers to its users; everything else stays hidden.
#define ZEL_EXPORT __attribute__((visibility("default")))
