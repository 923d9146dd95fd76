#include "observable/properties/make.hpp"

#include <utility>

namespace qel::observable::properties {

std::string GetName(Observable const* observable) { return observable->GetName(); }

void SetName(Observable* observable, std::string name) { observable->SetName(std::move(name)); }

bool GetTriggersAction(Observable const* observable) { return observable->GetTriggersAction(); }

void SetTriggersAction(Observable* observable, bool triggersAction) { observable->SetTriggersAction(triggersAction); }

std::vector<property::Schema> Make(std::vector<property::Schema> schemas, bool triggersAction) {
    schemas.emplace_back("name", &SetName, &GetName, "The user-defined name for the observable");
    schemas.emplace_back("triggers_action", triggersAction, &SetTriggersAction, &GetTriggersAction,
                         "Whether the observable triggers actions and other observables");
    return schemas;
}

}  // namespace qel::observable::properties
