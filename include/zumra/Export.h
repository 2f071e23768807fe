#pragma once

/// Marks what a shared library of this system offers to its users; everything else stays hidden in it.
#define ZUMRA_EXPORT __attribute__((visibility("default")))
