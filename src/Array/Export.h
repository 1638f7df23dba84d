#pragma once

/// Marks what the shared library offers to a host; everything else stays hidden.
#define TZM_EXPORT __attribute__((visibility("default")))
