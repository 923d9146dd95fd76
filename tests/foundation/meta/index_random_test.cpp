#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/random.hpp"
#include "tests/support/stranger.hpp"

namespace qel::tests {
namespace {

using meta::EventsNaming;
using meta::Meta;
using meta::data::Event;
using meta::data::Observable;
using object::Object;

using Found = std::vector<Event const*>;

/// Ids of observables that records name and look-ups ask for; the last is named by no record at first.
constexpr unsigned int ObservableIds = 6;

Found FoundBy(EventsNaming const& view) {
    Found found;
    for (Event const& event : view) {
        found.push_back(&event);
    }
    return found;
}

/// Some frames, copies of one another, and events that stand in any number of them, changed at random; beside each
/// frame a plain list of what must stand in it.
class World {
public:
    explicit World(Random& random) : random(random) {
        for (unsigned int id = 0; id + 1 < ObservableIds; ++id) {
            records.push_back(Record(id));
        }
        frames.push_back({std::make_unique<Meta>(At(0)), {}});
    }

    void Step() {
        using Operation = void (World::*)();
        // Each as often as it stands here.
        static constexpr std::array operations{
            &World::AppendNewEvent,  &World::AppendNewEvent,   &World::AppendNewEvent, &World::AppendOldEvent,
            &World::AppendOtherItem, &World::AppendMany,       &World::AppendAStretch, &World::Remove,
            &World::EditEvent,       &World::AppendLateRecord, &World::AssignEvent,    &World::MoveEvent,
            &World::SwapEvents,      &World::RenameRecord,     &World::CopyFrame,      &World::CopyFrame,
            &World::CopyInALine,     &World::DestroyFrame,     &World::KeepLookUp,     &World::Walk,
            &World::EndKeptLookUp};
        Operation const operation = operations[random.Below(operations.size())];
        (this->*operation)();
        // Not after every operation, so that several changes come between two look-ups of a frame.
        while (random.OneIn(2)) {
            CheckLookUp(AnyFrame(), AnyId());
        }
    }

    void CheckAll() {
        for (auto const& frame : frames) {
            EXPECT_TRUE(Items(*frame.meta) == frame.items);
            for (unsigned int id = 0; id < ObservableIds; ++id) {
                CheckLookUp(frame, id);
            }
        }
        while (!kept.empty()) {
            EndKeptLookUp();
        }
    }

private:
    struct Frame {
        std::unique_ptr<Meta> meta;
        std::vector<std::shared_ptr<Object>> items;
    };

    struct Kept {
        EventsNaming view;
        Found found;
        std::vector<std::weak_ptr<Object const>> alive;
    };

    // What there is to choose from.

    Frame& AnyFrame() { return frames[random.Below(frames.size())]; }
    unsigned int AnyId() { return static_cast<unsigned int>(random.Below(ObservableIds)); }
    std::shared_ptr<Observable> AnyRecord() {
        return random.OneIn(4) ? Record(AnyId()) : records[random.Below(records.size())];
    }
    /// One that may stand in frames, or may have left them, or a new one.
    std::shared_ptr<Event> AnyEvent() { return events.empty() ? MakeAnyEvent() : events[random.Below(events.size())]; }

    std::shared_ptr<Event> MakeAnyEvent() {
        Event::Objects objects;
        for (std::size_t count = random.Below(5); count > 0; --count) {
            objects.push_back(AnyRecord());
            if (random.OneIn(4)) {
                objects.push_back(objects.back());
            }
        }
        for (std::size_t count = random.Below(4); count > 0; --count) {
            auto const place = objects.begin() + static_cast<std::ptrdiff_t>(random.Below(objects.size() + 1));
            objects.insert(place, AnyOtherObject());
        }
        auto event = MakeEvent(At(0), At(0), std::move(objects));
        events.push_back(event);
        return event;
    }

    std::shared_ptr<Object> AnyOtherObject() {
        switch (random.Below(5)) {
            case 0:
                return nullptr;
            case 1:
                return Person(AnyId());
            case 2:
                return Zone(AnyId());
            case 3:
                return Channel(AnyId());
            default:
                return std::make_shared<Stranger>();
        }
    }

    void Append(Frame& frame, std::shared_ptr<Object> const& item) {
        frame.meta->Append(item);
        frame.items.push_back(item);
    }

    // What can happen.

    void AppendNewEvent() { Append(AnyFrame(), MakeAnyEvent()); }
    void AppendOldEvent() { Append(AnyFrame(), AnyEvent()); }
    void AppendOtherItem() { Append(AnyFrame(), random.OneIn(3) ? AnyRecord() : AnyOtherObject()); }

    void AppendMany() {
        auto& frame = AnyFrame();
        for (std::size_t count = random.Below(30); count > 0; --count) {
            Append(frame, random.OneIn(3) ? AnyEvent() : AnyOtherObject());
        }
    }

    /// Over the end of a block at times, some of them naming the observable twice; a copy is made on the way.
    void AppendAStretch() {
        auto const record = AnyRecord();
        for (std::size_t count = random.Below(60); count > 0; --count) {
            Event::Objects objects{record};
            if (random.OneIn(20)) {
                objects.push_back(record);
            }
            events.push_back(MakeEvent(At(0), At(0), std::move(objects)));
            Append(frames.back(), events.back());
            if (random.OneIn(40)) {
                CheckLookUp(frames.back(), record->GetId());
                CopyFrame();
            }
        }
    }

    void Remove() {
        auto& frame = AnyFrame();
        std::vector<bool> goes;
        for (std::size_t oneIn = 1 + random.Below(20); goes.size() < frame.items.size();) {
            goes.push_back(random.OneIn(oneIn));
        }
        std::size_t asked = 0;
        frame.meta->RemoveIf([&](std::shared_ptr<Object> const& item) {
            EXPECT_EQ(item, frame.items[asked]);
            return goes[asked++];
        });
        std::vector<std::shared_ptr<Object>> rest;
        for (std::size_t at = 0; at < goes.size(); ++at) {
            if (!goes[at]) {
                rest.push_back(frame.items[at]);
            }
        }
        frame.items = std::move(rest);
    }

    void EditEvent() {
        AnyEvent()->EditObjects([this](Event::Objects& objects) {
            if (!objects.empty() && random.OneIn(2)) {
                objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(random.Below(objects.size())));
            }
            if (random.OneIn(2)) {
                objects.insert(objects.begin(), AnyRecord());
            }
            CheckLookUp(AnyFrame(), AnyId());
            if (random.OneIn(4)) {
                objects.clear();
            }
        });
    }

    void AppendLateRecord() {
        auto const event = AnyEvent();
        if (random.OneIn(2)) {
            event->AppendObject(AnyRecord());
        } else {
            event->AppendObject(*AnyRecord());
        }
    }

    void AssignEvent() {
        auto const event = AnyEvent();
        *event = random.OneIn(4) ? Event() : *AnyEvent();
    }

    void MoveEvent() {
        auto const from = AnyEvent();
        if (random.OneIn(2)) {
            *AnyEvent() = std::move(*from);
        } else {
            auto const moved = std::make_shared<Event>(std::move(*from));
            events.push_back(moved);
            Append(AnyFrame(), moved);
        }
    }

    void SwapEvents() { std::swap(*AnyEvent(), *AnyEvent()); }

    void RenameRecord() { records[random.Below(records.size())]->SetId(AnyId()); }

    void CopyFrame() {
        auto const& frame = AnyFrame();
        Frame copy{std::make_unique<Meta>(*frame.meta), frame.items};
        if (frames.size() < 6) {
            frames.push_back(std::move(copy));
        } else {
            AnyFrame() = std::move(copy);
        }
    }

    void CopyInALine() {
        for (std::size_t count = random.Below(25); count > 0; --count) {
            auto& frame = frames.back();
            Append(frame, random.OneIn(2) ? AnyEvent() : AnyOtherObject());
            CheckLookUp(frame, AnyId());
            frame.meta = std::make_unique<Meta>(*frame.meta);
        }
    }

    void DestroyFrame() {
        if (frames.size() > 1) {
            frames.erase(frames.begin() + static_cast<std::ptrdiff_t>(random.Below(frames.size())));
        }
    }

    void KeepLookUp() {
        auto const& frame = AnyFrame();
        EventsNaming view(*frame.meta, AnyId());
        Kept keeping{view, FoundBy(view), {}};
        for (Event const* const event : keeping.found) {
            keeping.alive.push_back(event->weak_from_this());
        }
        kept.push_back(std::move(keeping));
    }

    void EndKeptLookUp() {
        if (!kept.empty()) {
            EXPECT_EQ(FoundBy(kept.back().view), kept.back().found);
            for (auto const& event : kept.back().alive) {
                EXPECT_FALSE(event.expired());
            }
            kept.pop_back();
        }
        // Events that only frames and look-ups keep alive.
        if (!events.empty()) {
            events.erase(events.begin() + static_cast<std::ptrdiff_t>(random.Below(events.size())));
        }
    }

    void Walk() {
        auto& frame = AnyFrame();
        auto const before = frame.items;
        std::vector<std::shared_ptr<Object>> seen;
        for (auto at = frame.meta->Begin(); at != frame.meta->End(); ++at) {
            seen.push_back(*at);
            if (random.OneIn(8)) {
                Append(frame, AnyOtherObject());
            } else if (random.OneIn(16)) {
                Remove();
            }
        }
        EXPECT_TRUE(seen == before);
    }

    // What must be true.

    void CheckLookUp(Frame const& frame, unsigned int id) const {
        Found expected;
        for (auto const& item : frame.items) {
            if (!item || !item->Is<Event>()) {
                continue;
            }
            auto const& event = item->As<Event>();
            for (auto const& each : event.GetObjects()) {
                if (each && each->Is<Observable>() && each->As<Observable>().GetId() == id) {
                    expected.push_back(&event);
                }
            }
        }
        EXPECT_EQ(frame.meta->HasEvents(id), !expected.empty());
        EXPECT_EQ(FoundBy(EventsNaming(*frame.meta, id)), expected);
        EXPECT_EQ(frame.meta->HasEvents(id), !expected.empty());
    }

    Random& random;
    std::vector<std::shared_ptr<Observable>> records;
    std::vector<std::shared_ptr<Event>> events;
    std::vector<Frame> frames;
    std::vector<Kept> kept;
};

// QEL_RANDOM_RUNS=100000 has it search longer, QEL_RANDOM_SEED=<n> elsewhere.
TEST(IndexRandomTest, FindsWhatAPlainWalkFinds) {
    RunAtRandom(3000, [](Random& random) {
        World world(random);
        for (std::size_t steps = 10 + random.Below(60); steps > 0; --steps) {
            world.Step();
        }
        world.CheckAll();
    });
}

}  // namespace
}  // namespace qel::tests
