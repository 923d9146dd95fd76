// Tells made-up stories to And, Or and Not and to slow models of their rules. Then the laws of logic that the three
// obey. QEL_RANDOM_RUNS and QEL_RANDOM_SEED in the environment choose other stories.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "observable/and.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/or.hpp"
#include "tests/stories/story.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/random.hpp"
#include "tests/support/scripted.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using tests::Random;

using Items = std::vector<std::shared_ptr<object::Object>>;

TEST(CombinatorsRandom, DoWhatSlowModelsOfTheirRulesDo) {
    std::size_t runs = 0;
    std::map<std::string, std::size_t> seen;
    tests::RunAtRandom(2000, [&](Random& random) {
        ++runs;
        auto const telling = tests::TellOfCombinators(random);
        EXPECT_EQ(telling.difference, "");
        for (auto const& text : telling.said) {
            for (auto const* const word : {"/and/", "/or/", "/not/", " duplicate", " final", "told of", "refused"}) {
                seen[word] += text.find(word) != std::string::npos;
            }
        }
    });
    if (runs >= 2000) {  // the stories are about something
        EXPECT_THAT(seen, testing::Each(testing::Pair(testing::_, testing::Gt(100u))));
    }
}

bool StandsIn(Meta const& frame, Observable const& observable) {
    for (auto const& event : meta::EventsNaming(frame, observable.GetId())) {
        if (!event.IsFinal()) {  // a final copy comes after all others
            return true;
        }
    }
    return false;
}

TEST(CombinatorsRandom, ObeyTheLawsOfLogicFrameByFrameWhateverTheOrderOfAdding) {
    tests::RunAtRandom(500, [](Random& random) {
        auto const source = [&] {
            auto const made = std::make_shared<tests::Scripted>();
            made->process = [&random, id = made->GetId()](Meta const& frame) {
                Items events;
                for (std::size_t number = random.OneIn(2) ? 0 : 1 + random.Below(2); number > 0; --number) {
                    events.push_back(tests::MakeEvent(
                        frame.GetTimestamp(), frame.GetTimestamp(),
                        {tests::Record(id), tests::Person(static_cast<unsigned int>(random.Below(3)))}));
                }
                return events;
            };
            return made;
        };
        auto const makeAnd = [](Observable const& a, Observable const& b) {
            return std::make_shared<And>("and", std::uint16_t{0}, a.GetId(), b.GetId(), false);
        };
        auto const makeOr = [](Observable const& a, Observable const& b) {
            return std::make_shared<Or>("or", std::uint16_t{0}, a.GetId(), b.GetId());
        };
        auto const makeNot = [](Observable const& input) {
            return std::make_shared<Not>("not", std::uint16_t{0}, input.GetId());
        };
        auto const p = source();
        auto const q = source();
        auto const both = makeAnd(*p, *q);
        auto const either = makeOr(*p, *q);
        auto const notP = makeNot(*p);
        auto const notQ = makeNot(*q);
        auto const notBoth = makeNot(*both);
        auto const notEither = makeNot(*either);
        auto const eitherNot = makeOr(*notP, *notQ);
        auto const bothNot = makeAnd(*notP, *notQ);
        auto const notNotP = makeNot(*notP);
        auto const never = makeAnd(*p, *notP);
        auto const always = makeOr(*p, *notP);

        std::vector<std::shared_ptr<Observable>> rules{p,         q,         both,    either,  notP,  notQ,  notBoth,
                                                       notEither, eitherNot, bothNot, notNotP, never, always};
        for (std::size_t number = rules.size(); number > 1; --number) {
            std::swap(rules[number - 1], rules[random.Below(number)]);
        }
        Notifier notifier;
        std::vector<type::Binding> bindings;
        for (auto const& rule : rules) {
            bindings.push_back(notifier.AddObservable(rule));
        }
        for (int number = 0; number < 20; ++number) {
            Meta const frame(tests::At(40 * number));
            notifier.Process(frame);
            SCOPED_TRACE("in frame " + std::to_string(number));
            bool const hasP = StandsIn(frame, *p);
            bool const hasQ = StandsIn(frame, *q);
            EXPECT_EQ(StandsIn(frame, *both), hasP && hasQ);
            EXPECT_EQ(StandsIn(frame, *either), hasP || hasQ);
            EXPECT_EQ(StandsIn(frame, *notP), !hasP);
            EXPECT_EQ(StandsIn(frame, *notQ), !hasQ);
            EXPECT_EQ(StandsIn(frame, *notBoth), StandsIn(frame, *eitherNot));
            EXPECT_EQ(StandsIn(frame, *notEither), StandsIn(frame, *bothNot));
            EXPECT_EQ(StandsIn(frame, *notNotP), hasP);
            EXPECT_FALSE(StandsIn(frame, *never));
            EXPECT_TRUE(StandsIn(frame, *always));
        }
    });
}

}  // namespace
}  // namespace qel::observable
