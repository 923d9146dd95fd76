#pragma once

#include <string>
#include <vector>

#include "foundation/property/schema.hpp"
#include "observable/export.hpp"
#include "observable/observable.hpp"

namespace qel::observable::properties {

/// The settings that every observable has, as the functions that their properties are bound to.
QEL_OBSERVABLE_EXPORT std::string GetName(Observable const* observable);
QEL_OBSERVABLE_EXPORT void SetName(Observable* observable, std::string name);
QEL_OBSERVABLE_EXPORT bool GetTriggersAction(Observable const* observable);
QEL_OBSERVABLE_EXPORT void SetTriggersAction(Observable* observable, bool triggersAction);

/// Appends the settings that every observable has, "name" and "triggers_action", to those of a type and returns the
/// whole list. `triggersAction` is the default of "triggers_action".
QEL_OBSERVABLE_EXPORT std::vector<property::Schema> Make(std::vector<property::Schema> schemas, bool triggersAction);

}  // namespace qel::observable::properties
