// Derives an observable, subscribes to it and checks what arrives: enough to need headers and both libraries.

#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"
#include "observable/observable.hpp"

namespace {

using qel::meta::data::Event;

class EveryFrame : public qel::observable::Observable {
public:
    static constexpr char const* ClassTypeName = "consumer.EveryFrame";

    explicit EveryFrame(std::string name) : Observable(qel::object::TypeIdOf<EveryFrame>) { SetName(std::move(name)); }

    std::vector<std::shared_ptr<qel::object::Object>> Process(qel::meta::Meta const& frame) override {
        auto const now = frame.GetTimestamp();
        return {std::make_shared<Event>(GetName(), "every_frame", "consumer", now, now,
                                        Event::Objects{MakeObservableMetadata()})};
    }
};

bool Check(bool right, char const* what) {
    if (!right) {
        std::cerr << "consumer: " << what << '\n';
    }
    return right;
}

}  // namespace

int main() {
    auto const rule = std::make_shared<EveryFrame>("tick");
    qel::meta::Meta const frame(qel::meta::Timestamp(std::chrono::seconds(7)));

    std::vector<std::shared_ptr<Event>> arrived;
    auto const notifyOfAll = [&] {
        for (auto const& emitted : rule->Generate(frame)) {
            if (emitted->Is<Event>()) {
                rule->Notify(std::static_pointer_cast<Event>(emitted));
            }
        }
    };
    {
        auto const binding = rule->Bind([&](std::shared_ptr<Event> event) { arrived.push_back(std::move(event)); });
        notifyOfAll();
    }
    notifyOfAll();

    if (!Check(arrived.size() == 1, "exactly the event of the time of the subscription arrives")) {
        return 1;
    }
    Event const& event = *arrived.front();
    bool right = Check(event.GetName() == "tick", "the event has the rule's name");
    right &= Check(event.GetStart() == frame.GetTimestamp(), "the event has the frame's time");
    unsigned int records = 0;
    for (auto const& record : qel::meta::ObservablesOf(event)) {
        right &= Check(record.GetId() == rule->GetId(), "the event names its observable");
        ++records;
    }
    right &= Check(records == 1, "the event names one observable");
    return right ? 0 : 1;
}
