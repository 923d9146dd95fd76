#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/type/binding.hpp"
#include "observable/and.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/or.hpp"
#include "observable/previous.hpp"

namespace qel::bench {

constexpr std::chrono::milliseconds FrameInterval{40};
constexpr std::chrono::milliseconds Lookback{2000};

/// One picture of the scene as plain arrays. Objects are told apart by their places, and by their ids when another one
/// has taken the place.
struct PlainFrame {
    /// What a group has detected: A and B of objects, by ascending place, and C of the scene.
    struct Group {
        std::vector<std::uint32_t> a;
        std::vector<std::uint32_t> b;
        bool c;
    };

    meta::Timestamp time;
    std::vector<std::uint32_t> ids;           // by place
    std::vector<meta::data::Object> objects;  // by place
    std::vector<std::uint32_t> replaced;      // the places whose object is another one than in the frame before
    std::vector<Group> groups;
};

/// So many objects, each there for 5 to 30 seconds and then replaced by another, and groups of detections: A and B of
/// every object and C of the scene, each on and off for 1 to 5 seconds.
class Scene {
public:
    Scene(std::size_t objects, std::size_t groups) : lives(objects), groups(groups) {
        for (auto& life : lives) {
            life = {nextId++, now + Draw(0, 30'000)};
        }
        for (auto& group : this->groups) {
            group.a.resize(objects);
            group.b.resize(objects);
            for (std::size_t place = 0; place < objects; ++place) {
                Begin(group.a[place]);
                Begin(group.b[place]);
            }
            Begin(group.c);
        }
    }

    PlainFrame Next(std::chrono::milliseconds interval = FrameInterval) {
        now += interval;
        PlainFrame frame{now, {}, {}, {}, {}};
        frame.ids.reserve(lives.size());
        frame.objects.reserve(lives.size());
        for (std::uint32_t place = 0; place < lives.size(); ++place) {
            if (lives[place].end <= now) {
                lives[place] = {nextId++, now + Draw(5'000, 30'000)};
                frame.replaced.push_back(place);
            }
            frame.ids.push_back(lives[place].id);
            frame.objects.emplace_back(lives[place].id, "person", meta::data::Box{0.25, 0.5, 0.05, 0.2}, 0.75);
        }
        for (auto& group : groups) {
            frame.groups.push_back({Detected(group.a), Detected(group.b), IsOn(group.c)});
        }
        return frame;
    }

private:
    struct Life {
        std::uint32_t id;
        meta::Timestamp end;
    };
    struct Switch {
        bool on;
        meta::Timestamp end;
    };
    struct Group {
        std::vector<Switch> a;
        std::vector<Switch> b;
        Switch c;
    };

    std::chrono::milliseconds Draw(std::int64_t least, std::int64_t most) {
        return std::chrono::milliseconds(std::uniform_int_distribution<std::int64_t>(least, most)(random));
    }

    void Begin(Switch& each) { each = {random() % 2 == 0, now + Draw(0, 5'000)}; }

    bool IsOn(Switch& each) {
        if (each.end <= now) {
            each = {!each.on, now + Draw(1'000, 5'000)};
        }
        return each.on;
    }

    std::vector<std::uint32_t> Detected(std::vector<Switch>& switches) {
        std::vector<std::uint32_t> places;
        for (std::uint32_t place = 0; place < switches.size(); ++place) {
            if (IsOn(switches[place])) {
                places.push_back(place);
            }
        }
        return places;
    }

    std::mt19937 random{1};
    meta::Timestamp now{std::chrono::hours(1)};
    std::uint32_t nextId = 1;
    std::vector<Life> lives;
    std::vector<Group> groups;
};

/// The observable records of a group, those of its detections and those of its rules.
struct GroupRecords {
    using Record = std::shared_ptr<meta::data::Observable const>;

    Record a;
    Record b;
    Record c;
    Record both;         // A and B, per object
    Record shortly;      // A and B within the last two seconds, per object
    Record without;      // not A
    Record either;       // A or B, for the scene
    Record undisturbed;  // `shortly`, and not C, for the scene
    Record before;       // internal: B within the last two seconds, per object
    Record quiet;        // internal: not C
};

inline std::shared_ptr<meta::data::Event::Texts const> TextsOf(std::string name, std::string type) {
    return std::make_shared<meta::data::Event::Texts const>(
        meta::data::Event::Texts{std::move(name), std::move(type), "analytics"});
}

inline std::shared_ptr<meta::data::Channel> MakeChannel() { return std::make_shared<meta::data::Channel>(3, "gate"); }

/// The rules of so many groups in a notifier. The ids of the detections are those of observables that are elsewhere.
class GroupRules {
public:
    GroupRules(observable::Notifier& notifier, std::size_t groups) {
        for (std::size_t number = 0; number < groups; ++number) {
            AddGroup(notifier, "group " + std::to_string(number));
        }
    }

    std::vector<GroupRecords> const& GetRecords() const { return records; }

private:
    using Rule = std::shared_ptr<observable::Observable>;

    void AddGroup(observable::Notifier& notifier, std::string const& name) {
        auto const a = observable::Observable(object::TypeIdOf<observable::Not>).GetId();
        auto const b = observable::Observable(object::TypeIdOf<observable::Not>).GetId();
        auto const c = observable::Observable(object::TypeIdOf<observable::Not>).GetId();
        auto const both = std::make_shared<observable::And>(name + ": A and B", 3, a, b, true);
        auto const before = std::make_shared<observable::Previous>(name + ": B before", 3, b, Lookback);
        before->SetConstrainTarget(true);
        auto const shortly = std::make_shared<observable::And>(name + ": A and B before", 3, a, before->GetId(), true);
        auto const without = std::make_shared<observable::Not>(name + ": not A", 3, a);
        auto const either = std::make_shared<observable::Or>(name + ": A or B", 3, a, b);
        auto const quiet = std::make_shared<observable::Not>(name + ": not C", 3, c);
        auto const undisturbed =
            std::make_shared<observable::And>(name + ": undisturbed", 3, shortly->GetId(), quiet->GetId(), false);
        before->SetTriggersAction(false);
        quiet->SetTriggersAction(false);
        for (Rule const& rule :
             {Rule(both), Rule(before), Rule(shortly), Rule(without), Rule(either), Rule(quiet), Rule(undisturbed)}) {
            bindings.push_back(notifier.AddObservable(rule));
        }
        auto const record = [](unsigned int id) { return std::make_shared<meta::data::Observable const>(id); };
        records.push_back({record(a), record(b), record(c), both->MakeObservableMetadata(),
                           shortly->MakeObservableMetadata(), without->MakeObservableMetadata(),
                           either->MakeObservableMetadata(), undisturbed->MakeObservableMetadata(),
                           before->MakeObservableMetadata(), quiet->MakeObservableMetadata()});
    }

    std::vector<GroupRecords> records;
    std::vector<type::Binding> bindings;
};

/// Makes frames with the channel, and with an event for every detection: one observable record, and one tracked object
/// for A and B.
class FrameMaker {
public:
    explicit FrameMaker(std::vector<GroupRecords> records) : records(std::move(records)) {}

    std::unique_ptr<meta::Meta> Make(PlainFrame const& plain) const {
        auto frame = std::make_unique<meta::Meta>(plain.time);
        frame->Append(MakeChannel());
        std::vector<std::shared_ptr<meta::data::Object const>> objects;
        objects.reserve(plain.objects.size());
        for (auto const& object : plain.objects) {
            objects.push_back(std::make_shared<meta::data::Object>(object));
        }
        auto const append = [&](meta::data::Event::Objects list) {
            frame->Append(std::make_shared<meta::data::Event>(texts, plain.time, plain.time, std::move(list)));
        };
        for (std::size_t number = 0; number < records.size(); ++number) {
            auto const& group = plain.groups[number];
            for (auto const place : group.a) {
                append({records[number].a, objects[place]});
            }
            for (auto const place : group.b) {
                append({records[number].b, objects[place]});
            }
            if (group.c) {
                append({records[number].c});
            }
        }
        return frame;
    }

    /// How many items `Make` puts into the frame.
    static std::size_t CountItems(PlainFrame const& plain) {
        std::size_t items = 1;
        for (auto const& group : plain.groups) {
            items += group.a.size() + group.b.size() + (group.c ? 1 : 0);
        }
        return items;
    }

private:
    std::vector<GroupRecords> records;
    std::shared_ptr<meta::data::Event::Texts const> texts = TextsOf("detector", "presence");
};

}  // namespace qel::bench
