// A complete host: it loads the plug-ins, makes a rule set from types that it knows by name only, feeds it with frames,
// and hears of somebody who comes from the gate into the yard.

#include <chrono>
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/object/primitive.hpp"
#include "observable/notifier.hpp"
#include "observable/plugin/loader.hpp"
#include "observable/registry/get.hpp"

using qel::hash::MurmurThree32;
using qel::meta::Meta;
using qel::meta::Timestamp;
using qel::meta::data::Event;
using qel::meta::data::Zone;
using qel::object::UInt32;
using qel::observable::Observable;

namespace {

std::shared_ptr<Observable> MakeRule(char const* typeName, std::string name,
                                     std::map<std::string, std::uint32_t> const& settings) {
    auto const type = MurmurThree32::MakeData(typeName);
    auto const rule = Observable::Make(type);
    if (!rule) {
        throw std::runtime_error(std::string("no plug-in brings ") + typeName);
    }
    rule->SetName(std::move(name));
    for (auto const& schema : qel::observable::registry::Get().GetMap()->at(type).GetSchemas()) {
        if (auto const setting = settings.find(schema.GetName()); setting != settings.end()) {
            auto const property = schema.MakeProperty();
            schema.Bind(property, rule, qel::property::context::Direction::ToTarget);
            property->Set(UInt32(setting->second));
        }
    }
    return rule;
}

/// What a tracker would deliver: a person who walks from left to right through the picture, one step a second.
void Fill(Meta const& frame, int second) {
    frame.Append(std::make_shared<Zone>(
        1, "Gate", std::vector<qel::meta::data::Point>{{0.1, 0.4}, {0.3, 0.4}, {0.3, 0.9}, {0.1, 0.9}}));
    frame.Append(std::make_shared<Zone>(
        2, "Yard", std::vector<qel::meta::data::Point>{{0.6, 0.4}, {0.9, 0.4}, {0.9, 0.9}, {0.6, 0.9}}));
    frame.Append(
        std::make_shared<qel::meta::data::Object>(7, "person", qel::meta::data::Box{0.1 * second, 0.5, 0.05, 0.2}));
}

}  // namespace

int main() {
    qel::observable::plugin::Loader const loader;

    auto const atTheGate = MakeRule("qel.observable.spatial.Presence", "at the gate", {{"zone", 1}, {"hold_off", 0}});
    auto const wasAtTheGate =
        MakeRule("qel.observable.Previous", "was at the gate", {{"input", atTheGate->GetId()}, {"interval", 10'000}});
    auto const inTheYard = MakeRule("qel.observable.spatial.Presence", "in the yard", {{"zone", 2}, {"hold_off", 0}});
    auto const fromGateToYard = MakeRule("qel.observable.And", "from the gate into the yard",
                                         {{"inputa", wasAtTheGate->GetId()}, {"inputb", inTheYard->GetId()}});
    for (auto const& step : {atTheGate, wasAtTheGate, inTheYard}) {
        step->SetTriggersAction(false);  // read by other rules; nobody is called for them
    }

    qel::observable::Notifier notifier;
    std::vector<qel::type::Binding> owned;
    for (auto const& rule : {fromGateToYard, inTheYard, wasAtTheGate, atTheGate}) {  // in any order
        owned.push_back(notifier.AddObservable(rule));
    }
    auto const subscription = fromGateToYard->Bind(
        [](std::shared_ptr<Event> const& event) { std::cout << "  call: " << event->GetName() << '\n'; });

    for (int second = 0; second < 11; ++second) {
        Meta const frame(Timestamp{std::chrono::seconds(second)});
        Fill(frame, second);
        std::cout << "second " << second << '\n';
        notifier.Process(frame);
        for (Event const& event : qel::meta::EventsOf(frame)) {
            char const* const state = event.IsFinal() ? "has ended" : event.IsDuplicate() ? "goes on" : "new";
            std::cout << "  event: " << event.GetName() << ", " << state << '\n';
        }
    }
}
