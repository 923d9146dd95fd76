// A program that uses a rule of a plug-in. All that it knows of it are the names of its type and its settings.

#include <chrono>
#include <iostream>
#include <memory>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/object/primitive.hpp"
#include "foundation/property/schema.hpp"
#include "observable/notifier.hpp"
#include "observable/observable.hpp"
#include "observable/plugin/loader.hpp"
#include "observable/registry/get.hpp"

using qel::hash::MurmurThree32;
using qel::meta::data::Event;
using qel::observable::Observable;
using qel::property::Schema;
using qel::property::context::Direction;
using Tracked = qel::meta::data::Object;

namespace {

void Print(qel::meta::Meta const& frame) {
    auto const time = frame.GetTimestamp().time_since_epoch();
    std::cout << std::chrono::duration_cast<std::chrono::milliseconds>(time).count() << " ms:";
    for (Event const& event : qel::meta::EventsOf(frame)) {
        char const* const phase = event.IsFinal() ? " has ended:" : event.IsDuplicate() ? " goes on:" : " begins:";
        std::cout << ' ' << event.GetName() << phase;
        for (Tracked const& tracked : qel::meta::ObjectsOf(event)) {
            std::cout << ' ' << tracked.GetId();
        }
    }
    std::cout << '\n';
}

}  // namespace

int main() {
    qel::observable::plugin::Loader const loader;

    auto const type = MurmurThree32::MakeData("example.Crowd");
    auto const rule = Observable::Make(type);
    if (!rule) {
        std::cerr << "The plug-in is not installed beside libqel_observable.so.\n";
        return 1;
    }
    std::vector<Schema> const schemas = qel::observable::registry::Get().GetMap()->at(type).GetSchemas();
    for (Schema const& schema : schemas) {
        auto const property = schema.MakeProperty();
        schema.Bind(property, rule, Direction::ToTarget);
        if (schema.GetName() == "minimum") {
            property->Set(qel::object::UInt16(2));
        } else if (schema.GetName() == "name") {
            property->Set(qel::object::String("crowd"));
        }
    }

    qel::observable::Notifier notifier;
    auto const binding = notifier.AddObservable(rule);
    int const people[] = {1, 2, 3, 1, 2};
    for (int step = 0; step < 5; ++step) {
        qel::meta::Meta const frame{qel::meta::Timestamp(std::chrono::milliseconds(40 * step))};
        for (unsigned int id = 1; id <= static_cast<unsigned int>(people[step]); ++id) {
            frame.Append(std::make_shared<Tracked>(id, "person"));
        }
        frame.Append(std::make_shared<Tracked>(9, "car"));
        notifier.Process(frame);
        Print(frame);
    }
}
