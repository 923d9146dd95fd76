#pragma once

#include "foundation/type/registry.hpp"
#include "observable/export.hpp"
#include "observable/registry/info.hpp"

namespace qel::observable::registry {

/// The one registry of the process, of every type of observable that this library or a plug-in brings. Made by the
/// first call and gone at the end of the process; any thread.
QEL_OBSERVABLE_EXPORT type::Registry<Info>& Get();

}  // namespace qel::observable::registry
