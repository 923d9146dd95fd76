#include "host/rules/evaluation.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/meta/views.hpp"
#include "tests/host/support/types.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/registered.hpp"

namespace qel::host {
namespace {

using testing::ElementsAre;

class Lines : public EventWriter {
public:
    void Write(EventChange const& change) override {
        std::string channelName = "none";
        for (auto const& channel : meta::ItemsOf<meta::data::Channel>(change.event)) {
            channelName = channel.GetName();
        }
        written.push_back(
            fmt::format("{} {} on {} {}", NameOf(change.phase), change.rule, change.channel, channelName));
    }
    std::vector<std::string> written;
};

/// A type that puts all sorts of things into the frame and changes its event in the next frame.
class Fickle : public observable::Observable {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Fickle";
    static auto DefaultArguments() { return std::tuple("Fickle"); }

    explicit Fickle(std::string name) : Observable(object::TypeIdOf<Fickle>) { SetName(std::move(name)); }

    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override {
        if (event) {
            event->SetName("changed");
            return {};
        }
        event = tests::MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {});
        return {nullptr, tests::Person(1), event, tests::Zone(2)};
    }

    static std::vector<property::Schema> MakeProperties() { return observable::properties::Make({}, true); }

private:
    std::shared_ptr<meta::data::Event> event;
};

Evaluation::Step MakeStep(std::int64_t time, std::uint16_t channel, std::string const& name,
                          std::vector<unsigned int> const& ids) {
    Evaluation::Step step;
    Frame& frame = step.entry.frame;
    frame.time = tests::At(time);
    frame.channel = channel;
    frame.channelName = name;
    for (auto const id : ids) {
        frame.objects.push_back(tests::Person(id));
    }
    return step;
}

class EvaluationTest : public testing::Test {
protected:
    EvaluationTest()
        : file(ReadRules("rules", R"({"zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]]}],
                                      "rules": [{"name": "watch", "type": "qel.tests.Watcher", "zone": 1}]})",
                         types)
                   .file) {}

    void See(std::int64_t time, std::uint16_t channel, std::string const& name, std::vector<unsigned int> const& ids) {
        auto step = MakeStep(time, channel, name, ids);
        evaluation.Process({&step, 1}, workers);
        evaluation.Conclude(step);
    }

    tests::Registered<tests::Watcher> watcher;
    TypeCatalogue types;
    RuleFile file;
    Lines lines;
    EventLog log{lines, false};
    Evaluation evaluation{file, log};
    Workers workers{3};
};

TEST_F(EvaluationTest, RunsEveryChannelByItself) {
    See(0, 1, "one", {7});
    See(0, 2, "two", {7});
    See(40, 1, "one", {});
    See(40, 2, "two", {7});
    EXPECT_THAT(lines.written, ElementsAre("start watch on 1 one", "start watch on 2 two", "end watch on 1 one"));
}

TEST_F(EvaluationTest, GivesFramesTheChannelAsItIsCalledNow) {
    See(0, 0, "", {7});
    See(40, 0, "renamed", {7, 8});
    EXPECT_THAT(lines.written, ElementsAre("start watch on 0 ", "start watch on 0 renamed"));
}

TEST_F(EvaluationTest, CountsFramesAndChannels) {
    See(0, 1, "", {});
    See(0, 2, "", {});
    See(40, 1, "", {});
    EXPECT_EQ(evaluation.GetCounts().frames, 3u);
    EXPECT_EQ(evaluation.GetCounts().channels, 2u);
}

TEST_F(EvaluationTest, CountsTimesThatRepeatOrRunBackwardsOnTheirChannel) {
    for (std::int64_t const time : {100, 140, 140, 120, 130, 140, 180}) {
        See(time, 1, "", {});
    }
    See(50, 2, "", {});
    EXPECT_EQ(evaluation.GetCounts().repeated, 2u);
    EXPECT_EQ(evaluation.GetCounts().backwards, 2u);
}

TEST_F(EvaluationTest, AddsUpTheTimeThatPassesOnTheChannels) {
    See(1000, 1, "", {});
    EXPECT_EQ(evaluation.GetCounts().seconds, 0.0);
    See(3000, 1, "", {});
    See(0, 2, "", {});
    See(500, 2, "", {});
    See(2000, 1, "", {});
    EXPECT_DOUBLE_EQ(evaluation.GetCounts().seconds, 2.5);
    See(0, 1, "", {});
    EXPECT_DOUBLE_EQ(evaluation.GetCounts().seconds, 3.5);
}

TEST_F(EvaluationTest, TakesTheEarliestAndTheLatestTime) {
    std::vector<Evaluation::Step> steps(2);
    steps[0].entry.frame.time = meta::Timestamp::min();
    steps[1].entry.frame.time = meta::Timestamp::max();
    evaluation.Process(steps, workers);
    evaluation.Conclude(steps[0]);
    evaluation.Conclude(steps[1]);
    EXPECT_NEAR(evaluation.GetCounts().seconds, 1.8446744e10, 1e4);
}

TEST_F(EvaluationTest, GivesTheSameWhateverTheBatchesAndTheThreads) {
    auto const run = [&](std::size_t batch, std::size_t threads) {
        Lines into;
        EventLog events(into, true);
        Evaluation other(file, events);
        Workers together(threads);
        std::mt19937 random(7);
        std::vector<Evaluation::Step> steps;
        for (int frame = 0; frame < 600; ++frame) {
            std::vector<unsigned int> ids;
            for (unsigned int id = 0; id < 4; ++id) {
                if (random() % 3 != 0) {
                    ids.push_back(id);
                }
            }
            steps.push_back(MakeStep(frame, static_cast<std::uint16_t>(random() % 7), "", ids));
            if (steps.size() == batch) {
                other.Process(steps, together);
                for (auto& step : steps) {
                    other.Conclude(step);
                }
                steps.clear();
            }
        }
        EXPECT_EQ(other.GetCounts().frames, 600u);
        EXPECT_EQ(other.GetCounts().channels, 7u);
        return into.written;
    };
    auto const expected = run(1, 1);
    EXPECT_GT(expected.size(), 600u);
    EXPECT_EQ(run(1, 3), expected);
    EXPECT_EQ(run(20, 2), expected);
    EXPECT_EQ(run(200, 1), expected);
    EXPECT_EQ(run(600, 8), expected);
}

TEST_F(EvaluationTest, TellsOfTheFramesBeforeOneWhoseRulesFail) {
    tests::Registered<tests::Unlucky> const unlucky;
    TypeCatalogue const known;
    auto const rules = ReadRules("rules", R"({"rules": [{"name": "watch", "type": "qel.tests.Watcher"},
                                                        {"name": "fails", "type": "qel.tests.Unlucky"}]})",
                                 known)
                           .file;
    Evaluation other(rules, log);
    std::vector<Evaluation::Step> steps;
    steps.push_back(MakeStep(0, 1, "", {7}));
    steps.push_back(MakeStep(0, 2, "", {7}));
    steps.push_back(MakeStep(40, 1, "", {13}));
    steps.push_back(MakeStep(40, 1, "", {}));
    other.Process(steps, workers);
    other.Conclude(steps[0]);
    other.Conclude(steps[1]);
    try {
        other.Conclude(steps[2]);
        FAIL();
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "not this one");
    }
    EXPECT_EQ(other.GetCounts().frames, 3u);
    EXPECT_EQ(other.GetCounts().channels, 2u);
    EXPECT_THAT(lines.written, ElementsAre("start watch on 1 ", "start watch on 2 "));
}

TEST_F(EvaluationTest, PassesOverWhatCouldNotBeRead) {
    std::vector<Evaluation::Step> steps;
    steps.push_back(MakeStep(0, 1, "", {7}));
    steps.push_back(MakeStep(20, 1, "", {}));
    steps.push_back(MakeStep(40, 1, "", {7}));
    steps[1].unreadable = std::make_exception_ptr(std::runtime_error("no frame"));
    evaluation.Process(steps, workers);
    evaluation.Conclude(steps[0]);
    EXPECT_THROW(evaluation.Conclude(steps[1]), std::runtime_error);
    evaluation.Conclude(steps[2]);
    log.CloseAll();
    EXPECT_EQ(evaluation.GetCounts().frames, 2u);
    EXPECT_THAT(lines.written, ElementsAre("start watch on 1 ", "end watch on 1 "));
}

TEST_F(EvaluationTest, TellsOfEventsAsTheyWereInTheirFrame) {
    tests::Registered<Fickle> const fickle;
    TypeCatalogue const known;
    auto const rules = ReadRules("rules", R"({"rules": [{"name": "a", "type": "qel.tests.Fickle"}]})", known).file;
    Evaluation other(rules, log);
    std::vector<Evaluation::Step> steps;
    steps.push_back(MakeStep(0, 1, "", {}));
    steps.push_back(MakeStep(40, 1, "", {}));
    other.Process(steps, workers);
    other.Conclude(steps[0]);
    EXPECT_THAT(lines.written, ElementsAre("start test on 1 "));
}

}  // namespace
}  // namespace qel::host
