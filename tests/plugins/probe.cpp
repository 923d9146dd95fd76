// A library that tells in the log when it is loaded. PROBE is its name.

#include "foundation/logging/logger.hpp"

namespace {

struct Probe {
    Probe() {
        qel::logging::Logger const logger("qel.tests.plugin");
        logger.Log(qel::logging::Level::Info, "loaded " PROBE);
    }
} const probe;

}  // namespace

extern "C" [[gnu::visibility("default")]] int qel_tests_probe_symbol() { return 1; }
