#include "observable/detail/ongoing_events.hpp"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/meta/data/event.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/random.hpp"

namespace qel::observable::detail {
namespace {

using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::At;
using tests::MakeEvent;
using tests::Random;

using EventPtr = std::shared_ptr<Event>;

EventPtr WithId(unsigned int id) { return MakeEvent(id, At(0), At(0), {}); }

void GiveId(Event& event, unsigned int id) { event = Event(id, nullptr, At(0), At(0), {}); }

class OngoingEventsTest : public testing::Test {
protected:
    void Advance() {
        ongoing.ForEachEnded([](Event const&) {});
        ongoing.Advance();
    }

    /// Asks for each and adds it; the ids of those that go on.
    std::vector<unsigned int> Add(std::vector<EventPtr> const& events) {
        std::vector<unsigned int> continuing;
        for (auto const& event : events) {
            if (ongoing.Continues(event->GetId())) {
                continuing.push_back(event->GetId());
            }
            ongoing.Add(event);
        }
        return continuing;
    }

    std::vector<unsigned int> Ended() {
        std::vector<unsigned int> ended;
        ongoing.ForEachEnded([&](Event const& event) { ended.push_back(event.GetId()); });
        return ended;
    }

    OngoingEvents ongoing;
};

TEST_F(OngoingEventsTest, NothingGoesOnAtFirst) {
    EXPECT_THAT(Add({WithId(1), WithId(2)}), IsEmpty());
    EXPECT_THAT(Ended(), IsEmpty());
}

TEST_F(OngoingEventsTest, TellsWhatGoesOnAndWhatHasEnded) {
    Add({WithId(1), WithId(2), WithId(3)});
    Advance();
    EXPECT_THAT(Add({WithId(1), WithId(3), WithId(4)}), ElementsAre(1, 3));
    EXPECT_THAT(Ended(), ElementsAre(2));
    Advance();
    EXPECT_THAT(Add({}), IsEmpty());
    EXPECT_THAT(Ended(), ElementsAre(1, 3, 4));
}

TEST_F(OngoingEventsTest, KnowsTheLastFrameOnly) {
    Add({WithId(1)});
    Advance();
    Advance();
    EXPECT_THAT(Add({WithId(1)}), IsEmpty());
}

TEST_F(OngoingEventsTest, FindsEventsThatComeInAnotherOrder) {
    Add({WithId(1), WithId(2), WithId(3), WithId(4), WithId(5), WithId(6), WithId(7)});
    Advance();
    EXPECT_THAT(Add({WithId(7), WithId(6), WithId(1), WithId(5)}), ElementsAre(7, 6, 1, 5));
    EXPECT_THAT(Ended(), ElementsAre(2, 3, 4));
}

TEST_F(OngoingEventsTest, FindsAnEventBehindManyThatHaveEnded) {
    Add({WithId(1), WithId(2), WithId(3), WithId(4), WithId(5), WithId(6), WithId(7)});
    Advance();
    EXPECT_THAT(Add({WithId(7)}), ElementsAre(7));
    EXPECT_THAT(Ended(), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(OngoingEventsTest, ALowIdThatWasNotThereIsNew) {
    Add({WithId(5), WithId(9)});
    Advance();
    EXPECT_THAT(Add({WithId(7), WithId(0), WithId(9)}), ElementsAre(9));
    EXPECT_THAT(Ended(), ElementsAre(5));
}

TEST_F(OngoingEventsTest, AnIdMayBeThereTwice) {
    Add({WithId(1), WithId(1), WithId(2)});
    Advance();
    EXPECT_THAT(Add({WithId(1)}), ElementsAre(1));
    EXPECT_THAT(Ended(), ElementsAre(2));
    Advance();
    EXPECT_THAT(Add({WithId(1), WithId(1)}), ElementsAre(1, 1));
    Advance();
    EXPECT_THAT(Add({}), IsEmpty());
    EXPECT_THAT(Ended(), ElementsAre(1, 1));
}

TEST_F(OngoingEventsTest, AnIdThatWasAskedForAndNotAddedIsNotThere) {
    Add({WithId(1)});
    Advance();
    EXPECT_FALSE(ongoing.Continues(8));
    Advance();
    EXPECT_THAT(Add({WithId(8)}), IsEmpty());
}

TEST_F(OngoingEventsTest, SeesTheIdThatAnEventOfTheLastFrameWasGiven) {
    auto const changing = WithId(1);
    Add({changing, WithId(2)});
    Advance();
    GiveId(*changing, 9);
    EXPECT_THAT(Add({WithId(1), WithId(2), WithId(9)}), ElementsAre(2, 9));
    EXPECT_THAT(Ended(), IsEmpty());
}

TEST_F(OngoingEventsTest, SeesTheIdThatAnEventOfTheLastFrameWasGivenAfterItWasFound) {
    auto const changing = WithId(1);
    Add({changing});
    Advance();
    EXPECT_THAT(Add({WithId(1)}), ElementsAre(1));
    GiveId(*changing, 9);
    EXPECT_THAT(Ended(), ElementsAre(9));
}

TEST_F(OngoingEventsTest, SeesTheIdThatAnEventOfThePresentFrameWasGiven) {
    Add({WithId(1)});
    Advance();
    auto const changing = WithId(1);
    EXPECT_THAT(Add({changing}), ElementsAre(1));
    GiveId(*changing, 9);
    EXPECT_THAT(Ended(), ElementsAre(1));
    Advance();
    EXPECT_THAT(Add({WithId(9)}), ElementsAre(9));
}

TEST_F(OngoingEventsTest, SeesAnIdThatWasGivenAfterItHasToldWhatEnded) {
    Add({WithId(1), WithId(1), WithId(2)});
    Advance();
    auto const changing = WithId(2);
    Add({WithId(1), changing});
    EXPECT_THAT(Ended(), IsEmpty());
    GiveId(*changing, 9);
    EXPECT_THAT(Ended(), ElementsAre(2));
}

TEST_F(OngoingEventsTest, HoldsEventsForOneFrame) {
    std::weak_ptr<Event> const event = [&] {
        auto made = WithId(1);
        Add({made});
        return made;
    }();
    Advance();
    EXPECT_FALSE(event.expired());
    Advance();
    EXPECT_TRUE(event.expired());
}

TEST_F(OngoingEventsTest, NeedsNoTableWhileEventsGoOnInTheirOrder) {
    std::vector<EventPtr> many;
    for (unsigned int id = 1; id <= 100; ++id) {
        many.push_back(WithId(id));
    }
    auto play = [&, first = std::size_t{0}](std::size_t end) mutable {
        ++first;  // one has ended, and one is new
        std::size_t continuing = 0;
        for (std::size_t place = first; place < end; ++place) {
            continuing += ongoing.Continues(many[place]->GetId());
            ongoing.Add(many[place]);
        }
        std::size_t ended = 0;
        ongoing.ForEachEnded([&](Event const&) { ++ended; });
        EXPECT_EQ(ended, first > 1 ? 1u : 0u);
        ongoing.Advance();
        return continuing;
    };
    // Two lists, and nothing else.
    auto const list = tests::AllocationsOf([&] { play(90); });
    EXPECT_EQ(tests::AllocationsOf([&] { EXPECT_EQ(play(91), 88u); }), list);
    EXPECT_EQ(tests::AllocationsOf([&] {
                  for (std::size_t end = 92; end <= 100; ++end) {
                      EXPECT_EQ(play(end), 88u);
                  }
              }),
              0u);
}

TEST_F(OngoingEventsTest, AnswersAfterMemoryRanOut) {
    std::vector<EventPtr> many;
    for (unsigned int id = 1; id <= 100; ++id) {
        many.push_back(WithId(id));
    }
    std::vector<EventPtr> const turned(many.rbegin(), many.rend() - 1);
    std::size_t failures = 0;
    bool failed = true;
    while (failed) {
        OngoingEvents events;
        auto const play = [&](std::vector<EventPtr> const& frame) {
            std::size_t continuing = 0;
            for (auto const& event : frame) {
                continuing += events.Continues(event->GetId());
                events.Add(event);
            }
            return continuing;
        };
        std::vector<unsigned int> ended;
        ended.reserve(many.size());
        auto const end = [&] { events.ForEachEnded([&](Event const& event) { ended.push_back(event.GetId()); }); };
        play(many);
        play(many);  // every id twice, so that what was found is not enough
        end();
        events.Advance();
        failed = tests::FailsForLackOfMemory(failures, [&] {
            play(turned);
            end();
        });
        if (failed) {
            ++failures;
            events.Abandon();
            ended.clear();
            EXPECT_EQ(play(turned), turned.size()) << "after failure " << failures;
            end();
        }
        EXPECT_THAT(ended, ElementsAre(1, 1)) << "after failure " << failures;
    }
    EXPECT_GT(failures, 3u);
}

TEST_F(OngoingEventsTest, AFailedFrameHasNotBeen) {
    Add({WithId(1), WithId(2)});
    Advance();
    Add({WithId(1), WithId(3)});
    ongoing.Abandon();
    EXPECT_THAT(Add({WithId(3), WithId(2)}), ElementsAre(2));
    EXPECT_THAT(Ended(), ElementsAre(1));
}

/// Two lists that are walked.
class Model {
public:
    bool Continues(unsigned int id) const { return IsIn(last, id); }
    void Add(EventPtr event) { present.push_back(std::move(event)); }
    std::vector<Event const*> Ended() const {
        std::vector<Event const*> ended;
        for (auto const& event : last) {
            if (!IsIn(present, event->GetId())) {
                ended.push_back(event.get());
            }
        }
        return ended;
    }
    void Advance() {
        last = std::move(present);
        present.clear();
    }
    void Abandon() { present.clear(); }

    std::vector<EventPtr> last;
    std::vector<EventPtr> present;

private:
    static bool IsIn(std::vector<EventPtr> const& events, unsigned int id) {
        return std::any_of(events.begin(), events.end(), [id](auto const& event) { return event->GetId() == id; });
    }
};

/// A new event, or sometimes one that is there already.
EventPtr WithIdOrAgain(Random& random, Model const& model, unsigned int id) {
    if (random.Below(4) == 0) {
        for (auto const* events : {&model.last, &model.present}) {
            for (auto const& event : *events) {
                if (event->GetId() == id) {
                    return event;
                }
            }
        }
    }
    return WithId(id);
}

void PlayFrames(Random& random) {
    OngoingEvents ongoing;
    Model model;
    unsigned int nextId = 10;
    bool const changesIds = random.Below(2) == 0;
    for (int frame = 0; frame < 12; ++frame) {
        std::vector<unsigned int> ids;
        for (auto const& event : model.last) {
            if (random.Below(5) > 0) {
                ids.push_back(event->GetId());
            }
        }
        for (std::size_t count = random.Below(4); count > 0; --count) {
            ids.push_back(nextId++);
        }
        if (random.Below(6) == 0 && !ids.empty()) {
            ids.push_back(ids[random.Below(ids.size())]);
        }
        if (random.Below(6) == 0) {
            ids.push_back(static_cast<unsigned int>(random.Below(nextId)));
        }
        if (random.Below(4) == 0) {
            for (std::size_t place = ids.size(); place > 1; --place) {
                std::swap(ids[place - 1], ids[random.Below(place)]);
            }
        }
        auto const changeId = [&](std::vector<EventPtr> const& events) {
            if (changesIds && !events.empty() && random.Below(8) == 0) {
                GiveId(*events[random.Below(events.size())], static_cast<unsigned int>(random.Below(nextId + 2)));
            }
        };
        for (auto const id : ids) {
            changeId(model.last);
            bool const continues = model.Continues(id);
            ASSERT_EQ(ongoing.Continues(id), continues) << "id " << id << " in frame " << frame;
            if (!continues && random.Below(4) == 0) {
                continue;  // left out, as one that comes again too soon
            }
            auto const event = WithIdOrAgain(random, model, id);
            ongoing.Add(event);
            model.Add(event);
            changeId(model.present);
        }
        changeId(model.last);
        std::vector<Event const*> ended;
        ongoing.ForEachEnded([&](Event const& event) { ended.push_back(&event); });
        ASSERT_EQ(ended, model.Ended()) << "in frame " << frame;
        if (random.Below(8) == 0) {
            ongoing.Abandon();
            model.Abandon();
        } else {
            ongoing.Advance();
            model.Advance();
        }
    }
}

TEST(OngoingEventsRandomTest, AnswersAsWalksDo) { tests::RunAtRandom(10000, PlayFrames); }

}  // namespace
}  // namespace qel::observable::detail
