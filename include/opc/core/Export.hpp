// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Marks what callers of the shared libraries use; everything else is built with hidden visibility.
#if defined(__GNUC__)
#define OPCRAFT_API __attribute__((visibility("default")))
#else
#define OPCRAFT_API
#endif
