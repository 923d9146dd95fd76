#pragma once

/// Marks what libqel_observable.so and its plug-ins offer; everything else is hidden.
#define QEL_OBSERVABLE_EXPORT [[gnu::visibility("default")]]
