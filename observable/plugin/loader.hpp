#pragma once

#include "observable/export.hpp"

namespace qel::observable::plugin {

/// Loads the plug-ins: every shared library beside libqel_observable.so, in the directory from which that was loaded,
/// whose file name is libqel_observable_*.so. They register their types while they are loaded and stay until the
/// process ends. A host makes one loader, before it makes observables by type; the loader need not be kept.
class QEL_OBSERVABLE_EXPORT Loader {
public:
    /// A directory that is missing or cannot be read is one important line of the logger
    /// "qel.observable.plugin.LoadAll", and a plug-in that cannot be loaded one of "qel.system.plugin"; neither is an
    /// error for the caller. Anything else that is thrown on the way passes through, so does what a log sink throws.
    Loader();
};

}  // namespace qel::observable::plugin
