#pragma once

/// Marks what libqel_foundation.so offers; everything else is hidden.
#define QEL_FOUNDATION_EXPORT [[gnu::visibility("default")]]
