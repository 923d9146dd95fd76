// A rule of one's own: it reports who is in the left half of the picture.

#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"
#include "observable/observable.hpp"

using qel::meta::Meta;
using qel::meta::Timestamp;
using qel::meta::data::Event;
using Person = qel::meta::data::Object;

namespace {

class InLeftHalf : public qel::observable::Observable {
public:
    static constexpr char const* ClassTypeName = "example.InLeftHalf";

    explicit InLeftHalf(std::string name) : Observable(qel::object::TypeIdOf<InLeftHalf>) { SetName(std::move(name)); }

    std::vector<std::shared_ptr<qel::object::Object>> Process(Meta const& frame) override {
        Event::Objects seen{MakeObservableMetadata()};
        for (Person const& person : qel::meta::ItemsOf<Person>(frame)) {
            if (person.GetBox().left + person.GetBox().width / 2 < 0.5) {
                seen.push_back(std::make_shared<Person>(person));
            }
        }
        if (seen.size() == 1) {
            return {};
        }
        Timestamp const now = frame.GetTimestamp();
        return {std::make_shared<Event>(GetName(), "in_left_half", "example", now, now, std::move(seen))};
    }
};

void Print(Event const& event) {
    auto const time = std::chrono::duration_cast<std::chrono::milliseconds>(event.GetStart().time_since_epoch());
    std::cout << time.count() << " ms: " << event.GetName() << ":";
    for (Person const& person : qel::meta::ObjectsOf(event)) {
        std::cout << ' ' << person.GetClassification() << ' ' << person.GetId();
    }
    std::cout << '\n';
}

}  // namespace

int main() {
    auto const rule = std::make_shared<InLeftHalf>("someone on the left");
    auto const binding = rule->Bind([](std::shared_ptr<Event> const& event) { Print(*event); });

    // Person 7 walks to the right, out of the left half; person 9 comes the other way.
    for (int step = 0; step < 5; ++step) {
        Meta const frame(Timestamp(std::chrono::milliseconds(40 * step)));
        frame.Append(std::make_shared<Person>(7, "person", qel::meta::data::Box{0.22 + 0.1 * step, 0.4, 0.1, 0.3}));
        frame.Append(std::make_shared<Person>(9, "person", qel::meta::data::Box{0.62 - 0.1 * step, 0.5, 0.1, 0.3}));
        for (auto const& emitted : rule->Generate(frame)) {
            rule->Notify(std::static_pointer_cast<Event>(emitted));
        }
    }
}
