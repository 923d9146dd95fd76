#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/views.hpp"
#include "observable/observable.hpp"
#include "observable/properties/make.hpp"

namespace qel::tests {

/// A type with every kind of setting. Its instances report each object of a frame in an event of its own, together with
/// the zone, if the frame has it; an object that stays is one event.
class Watcher : public observable::Observable {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Watcher";
    static auto DefaultArguments() { return std::tuple("Watcher"); }

    explicit Watcher(std::string name) : Observable(object::TypeIdOf<Watcher>) { SetName(std::move(name)); }

    std::uint16_t GetChannel() const { return channel; }
    void SetChannel(std::uint16_t value) { channel = value; }
    std::uint32_t GetZone() const { return zone; }
    void SetZone(std::uint32_t value) { zone = value; }
    std::uint16_t GetLimit() const { return limit; }
    void SetLimit(std::uint16_t value) { limit = value; }
    std::uint32_t GetCount() const { return count; }
    void SetCount(std::uint32_t value) { count = value; }
    double GetShare() const { return share; }
    void SetShare(double value) { share = value; }
    double GetAnything() const { return anything; }
    void SetAnything(double value) { anything = value; }
    std::chrono::milliseconds GetHold() const { return hold; }
    void SetHold(std::chrono::milliseconds value) { hold = value; }
    bool GetStrict() const { return strict; }
    void SetStrict(bool value) { strict = value; }
    std::string GetSide() const { return side; }
    void SetSide(std::string value) {
        if (value != "left" && value != "right") {
            throw std::invalid_argument("a side is left or right");
        }
        side = std::move(value);
    }

    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override {
        std::shared_ptr<meta::data::Zone> known;
        for (auto const& each : meta::ItemsOf<meta::data::Zone>(frame)) {
            if (each.GetId() == zone) {
                known = std::make_shared<meta::data::Zone>(each);
            }
        }
        std::map<unsigned int, std::shared_ptr<meta::data::Event>> now;
        for (auto const& each : meta::ItemsOf<meta::data::Object>(frame)) {
            meta::data::Event::Objects objects{MakeObservableMetadata(), std::make_shared<meta::data::Object>(each)};
            if (known) {
                objects.push_back(known);
            }
            auto const before = events.find(each.GetId());
            auto const time = frame.GetTimestamp();
            now[each.GetId()] =
                before == events.end()
                    ? std::make_shared<meta::data::Event>(GetName(), "watch", "tests", time, time, std::move(objects))
                    : std::make_shared<meta::data::Event>(before->second->GetId(), GetName(), "watch", "tests",
                                                          before->second->GetStart(), time, std::move(objects));
        }
        events = now;
        std::vector<std::shared_ptr<object::Object>> result;
        for (auto const& [id, event] : now) {
            result.push_back(event);
        }
        return result;
    }

    static std::vector<property::Schema> MakeProperties() {
        using std::chrono::milliseconds;
        std::vector<property::Schema> schemas;
        schemas.emplace_back("channel", 3, &Watcher::SetChannel, &Watcher::GetChannel, 0, 65535, "Its channel");
        schemas.emplace_back("zone", observable::UnsetId, &Watcher::SetZone, &Watcher::GetZone, "Its zone");
        schemas.back().SetReference("zone.polygon");
        schemas.emplace_back("limit", 2, &Watcher::SetLimit, &Watcher::GetLimit, 1, 300, "A small number");
        schemas.emplace_back("count", 7, &Watcher::SetCount, &Watcher::GetCount, "A number");
        schemas.emplace_back("share", 0.5, &Watcher::SetShare, &Watcher::GetShare, 0.0, 1.0, "A fraction");
        schemas.emplace_back("anything", 1.5, &Watcher::SetAnything, &Watcher::GetAnything, "Any number");
        schemas.emplace_back("hold", milliseconds(200), &Watcher::SetHold, &Watcher::GetHold, milliseconds(-10),
                             milliseconds(1000), "A time");
        schemas.emplace_back("strict", false, &Watcher::SetStrict, &Watcher::GetStrict, "Yes or no");
        schemas.emplace_back("side", "left", &Watcher::SetSide, &Watcher::GetSide, "Left or right");
        return observable::properties::Make(std::move(schemas), true);
    }

private:
    std::uint16_t channel = 0;
    std::uint32_t zone = observable::UnsetId;
    std::uint16_t limit = 0;
    std::uint32_t count = 0;
    double share = 0;
    double anything = 0;
    std::chrono::milliseconds hold{0};
    bool strict = true;
    std::string side = "right";
    std::map<unsigned int, std::shared_ptr<meta::data::Event>> events;
};

/// A type that wants a line.
class Tripwire : public observable::Observable {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Tripwire";
    static auto DefaultArguments() { return std::tuple("Tripwire"); }

    explicit Tripwire(std::string name) : Observable(object::TypeIdOf<Tripwire>) { SetName(std::move(name)); }

    std::uint32_t GetWire() const { return wire; }
    void SetWire(std::uint32_t value) { wire = value; }
    std::string GetWay() const { return way; }
    void SetWay(std::string value) { way = std::move(value); }

    static std::vector<property::Schema> MakeProperties() {
        std::vector<property::Schema> schemas;
        schemas.emplace_back("wire", observable::UnsetId, &Tripwire::SetWire, &Tripwire::GetWire, "Its line");
        schemas.back().SetReference("zone.line");
        schemas.emplace_back("way", "both", &Tripwire::SetWay, &Tripwire::GetWay, "The way that counts");
        schemas.back().SetChoices({"both", "inward", "outward"});
        return observable::properties::Make(std::move(schemas), true);
    }

private:
    std::uint32_t wire = observable::UnsetId;
    std::string way = "both";
};

/// A type whose instances throw in the frame that has an object with the id 13.
class Unlucky : public observable::Observable {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Unlucky";
    static auto DefaultArguments() { return std::tuple("Unlucky"); }

    explicit Unlucky(std::string name) : Observable(object::TypeIdOf<Unlucky>) { SetName(std::move(name)); }

    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override {
        for (auto const& each : meta::ItemsOf<meta::data::Object>(frame)) {
            if (each.GetId() == 13) {
                throw std::runtime_error("not this one");
            }
        }
        return {};
    }

    static std::vector<property::Schema> MakeProperties() { return observable::properties::Make({}, true); }
};

}  // namespace qel::tests
