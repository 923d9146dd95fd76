// Hosts that run rules over their frames and change them in between, each on threads of its own, while others do the
// same, load plug-ins, subscribe and log. What these tests say beyond their expectations is for the thread sanitizer.

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <boost/filesystem/path.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/logging/config.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/object/primitive.hpp"
#include "foundation/system/plugin.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/observable.hpp"
#include "observable/or.hpp"
#include "observable/plugin/loader.hpp"
#include "observable/registry/get.hpp"
#include "tests/spatial/support.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/random.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using hash::MurmurThree32;
using meta::Meta;
using meta::data::Event;
using observable::Notifier;
using observable::Observable;
using spatial::Flag;
using spatial::Number;
using spatial::SchemasOf;
using spatial::Set;
using spatial::Settings;
using spatial::Text;
using spatial::Time;

constexpr int Frames = 400;

/// Every rule of a host, by its id, as a rule file would name it.
struct RuleText {
    unsigned int id;
    char const* type;
    Settings settings;
};
std::vector<RuleText> const& RuleTexts() {
    static std::vector<RuleText> const texts{
        {1, "spatial.Presence", {Number("zone", 1), Time("hold_off", 200), Flag("triggers_action", false)}},
        {2, "Previous", {Number("input", 1), Time("interval", 300), Flag("triggers_action", false)}},
        {3, "spatial.LineCross", {Number("zone", 2), Time("settle", 0)}},
        {4, "And", {Number("inputa", 2), Number("inputb", 3)}},
        {5, "Not", {Number("input", 1)}},
        {6, "Or", {Number("inputa", 3), Number("inputb", 5)}},
        {7, "spatial.Dwell", {Number("zone", 1), Time("duration", 400)}},
        {8, "spatial.Count", {Number("zone", 1), Number("minimum", 2)}},
        {9, "spatial.Enter", {Number("zone", 1), Time("settle", 0)}},
    };
    return texts;
}

/// What the frames of all hosts hold: people who walk at random.
std::vector<std::vector<std::shared_ptr<object::Object>>> MakeScene() {
    Random random(1);
    std::vector<meta::data::Point> places(5, {0.5, 0.5});
    std::shared_ptr<object::Object> const camera = Channel(3);
    std::shared_ptr<object::Object> const square = spatial::Square();
    std::shared_ptr<object::Object> const kerb = std::make_shared<meta::data::Zone>(
        2, "kerb", std::vector<meta::data::Point>{{0.5, 1}, {0.5, 0}}, meta::data::Zone::Shape::Line);
    std::vector<std::vector<std::shared_ptr<object::Object>>> scene(Frames);
    for (auto& items : scene) {
        items = {camera, square, kerb};
        unsigned int id = 0;
        for (auto& [x, y] : places) {
            for (double* const coordinate : {&x, &y}) {
                double const step = (static_cast<double>(random.Below(3)) - 1) / 8;
                *coordinate = std::clamp(*coordinate + step, 0.0, 1.0);
            }
            items.push_back(spatial::Standing(++id, {x, y}));
        }
    }
    return scene;
}

/// A host with a rule set that it changes according to a plan.
class Host {
public:
    Host() {
        for (auto const& text : RuleTexts()) {
            Add(text);
        }
    }

    /// What the plan has for the time before this frame.
    void Change(int frame) {
        std::lock_guard<std::mutex> const lock(changing);
        switch (frame % 40) {
            case 5:
                notifier.SetEventRetriggerTime(std::chrono::milliseconds(frame * 5));
                Set(rules.at(7), Text("name", "stays " + std::to_string(frame)));
                break;
            case 10:
                Set(rules.at(1), Time("hold_off", frame));
                EXPECT_THROW(Set(rules.at(1), Time("hold_off", -1)), std::out_of_range);
                EXPECT_THROW(Set(rules.at(8), Text("zone", "square")), std::invalid_argument);
                break;
            case 15:
                Set(rules.at(2), Flag("constrain_target", frame < 200));
                break;
            case 20:
                Set(rules.at(4), Number("inputb", frame < 200 ? 9 : 3));
                notifier.ObservableChanged(rules.at(4));
                break;
            case 25:
                notifier.RemoveObservableId(6);
                owned.erase(6);
                bindings.erase(6);
                rules.erase(6);
                Set(rules.at(5), Flag("triggers_action", frame < 200));
                break;
            case 30:
                Add(RuleTexts()[5]);
                break;
            case 35:
                rules.at(7)->Reset();
                EXPECT_EQ(Get(7, "name"), "'stays " + std::to_string(frame - 30) + "'");
                break;
            default:
                break;
        }
    }

    void Process(int number, std::vector<std::shared_ptr<object::Object>> const& items) {
        Meta const frame(At(number * 40));
        for (auto const& item : items) {
            frame.Append(item);
        }
        notifier.Process(frame);
        for (auto const& event : meta::EventsOf(frame)) {
            // What others have had notifications carry. The notifier reads the events again for the next frame.
            const_cast<Event&>(event).EditObjects([](Event::Objects& objects) { std::erase(objects, nullptr); });
        }
        lines.push_back(std::to_string(number));
        for (auto const& line : describe.Each(frame)) {
            lines.push_back(line);
        }
    }

    /// Everything that the frames held in the end and the subscribers heard.
    std::vector<std::string> const& GetLines() const { return lines; }

    /// Whom subscribers have heard of.
    std::set<unsigned int> const& GetHeard() const { return heard; }

    std::mutex changing;  // the inputs of rules are read when rules are added, by whomever
    Notifier notifier;
    std::map<unsigned int, std::shared_ptr<Observable>> rules;

private:
    void Add(RuleText const& text) {
        auto const type = std::string("qel.observable.") + text.type;
        auto rule = Observable::Make(MurmurThree32::MakeData(type.c_str()));
        rule->SetId(text.id);
        for (auto const& setting : text.settings) {
            Set(rule, setting);
        }
        bindings[text.id] = rule->Bind([this, id = text.id](std::shared_ptr<Event> const& event) {
            heard.insert(id);
            lines.push_back("heard of " + describe.NameOf(*event) + ", " + event->GetName());
        });
        owned[text.id] = notifier.AddObservable(rule);
        rules[text.id] = std::move(rule);
    }

    std::string Get(unsigned int id, std::string const& name) {
        auto const schemas = SchemasOf(*rules.at(id));
        auto const property = BindSetting(schemas, rules.at(id), name);
        return ValueText(*property->GetObject());
    }

    Describer describe;
    std::vector<std::string> lines;
    std::set<unsigned int> heard;
    std::map<unsigned int, type::Binding> bindings;
    std::map<unsigned int, type::Binding> owned;
};

/// Counts the lines that notifiers log, for as long as this object lives, whichever sink they meet.
class LineCount {
public:
    LineCount() { Replace(); }
    ~LineCount() {
        logging::SetSink({});
        logging::SetFilter({});
    }
    LineCount(LineCount const&) = delete;
    LineCount& operator=(LineCount const&) = delete;

    /// By others that count the same.
    void Replace() {
        logging::SetFilter([](logging::Name const& name, logging::Level) {
            return std::string(name.GetText()) == "qel.observable.Notifier";
        });
        logging::SetSink([this](std::string const& line, bool) { count += line.ends_with("Event(s) Generated"); });
    }

    int Get() const { return count; }

private:
    std::atomic<int> count = 0;
};

/// A plug-in for as long as this object lives, as a host has it that takes plug-ins out again.
class LoadedOne {
public:
    LoadedOne() : handle(dlopen(ONE, RTLD_NOW | RTLD_LOCAL)) {
        if (handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    ~LoadedOne() { EXPECT_EQ(dlclose(handle), 0); }
    LoadedOne(LoadedOne const&) = delete;
    LoadedOne& operator=(LoadedOne const&) = delete;

private:
    void* handle;
};

/// Runs a rule of a type that a plug-in brings over so many frames, and gives up all that came from there.
void RunPlugin(char const* type, std::string const& greeting, int frames) {
    Notifier notifier;
    auto const rule = Observable::Make(MurmurThree32::MakeData(type));
    ASSERT_NE(rule, nullptr);
    Set(rule, Text("greeting", greeting));
    Set(rule, {"limit", std::make_shared<object::UInt16>(1)});
    int heard = 0;
    auto const bound = rule->Bind([&](std::shared_ptr<Event> const& event) { heard += event->GetType() == greeting; });
    auto const added = notifier.AddObservable(rule);
    for (int number = 0; number < frames; ++number) {
        Meta const frame(At(number));
        frame.Append(Person(1));
        frame.Append(Person(2));
        notifier.Process(frame);
    }
    EXPECT_EQ(heard, frames);
}

/// The registered types whose names begin so.
std::unordered_map<MurmurThree32, std::string> ListTypes(std::string const& prefix) {
    std::unordered_map<MurmurThree32, std::string> types;
    auto const view = observable::registry::Get().GetMap();
    for (auto const& [type, info] : *view) {
        if (std::string const name = info.GetTypeName(); name.starts_with(prefix)) {
            types.emplace(type, name);
        }
    }
    return types;
}

MurmurThree32 const One = MurmurThree32::MakeData("qel.tests.plugin.One");

// The first test, so that nothing is loaded yet, whether it runs alone or before the others.
TEST(HostsThreadsTest, SeveralMayLoadThePluginsFirst) {
    RunTogether(4, [](int) {
        observable::plugin::Loader const loader;
        EXPECT_THAT(ListTypes("qel.observable.spatial."),
                    testing::Contains(testing::Pair(testing::_, "qel.observable.spatial.Dwell")));
    });
}

TEST(HostsThreadsTest, SeveralMaySetRulesByTheSameSchemas) {
    observable::plugin::Loader const loader;
    auto const dwell = MurmurThree32::MakeData("qel.observable.spatial.Dwell");
    auto const schemas = SchemasOf(*Observable::Make(dwell));
    RunTogether(4, [&](int thread) {
        for (int round = 0; round < Frames; ++round) {
            auto const rule = Observable::Make(dwell);
            auto const name = std::to_string(thread) + " in round " + std::to_string(round);
            BindSetting(schemas, rule, "name")->Set(object::String(name));
            auto const duration = BindSetting(schemas, rule, "duration");
            duration->Set(object::Milliseconds(std::chrono::milliseconds(round)));
            EXPECT_EQ(rule->GetName(), name);
            EXPECT_EQ(ValueText(*duration->GetObject()), std::to_string(round) + "ms");
        }
    });
}

TEST(HostsThreadsTest, EachOfManyHostsGetsWhatOneAloneGets) {
    observable::plugin::Loader const loader;
    auto const scene = MakeScene();
    Host expected;
    int linesOfOne = 0;
    {
        LineCount const count;
        for (int frame = 0; frame < Frames; ++frame) {
            expected.Change(frame);
            expected.Process(frame, scene[static_cast<std::size_t>(frame)]);
        }
        linesOfOne = count.Get();
    }
    ASSERT_THAT(expected.GetHeard(), testing::ElementsAre(3, 4, 5, 6, 7, 8, 9)) << "all that trigger actions";

    constexpr int Hosts = 3;
    constexpr int PluginRounds = Frames / 8;
    constexpr int PluginFrames = 5;
    std::array<Host, Hosts> hosts;
    std::vector<std::shared_ptr<Observable>> lasting;
    for (auto const& host : hosts) {
        for (unsigned int const id : {1, 3, 5, 8}) {
            lasting.push_back(host.rules.at(id));
        }
    }
    LineCount count;
    std::vector<std::function<void()>> jobs;
    for (auto& host : hosts) {
        // One thread changes the rules, another runs them, in turns.
        auto const turn = std::make_shared<std::barrier<>>(2);
        jobs.emplace_back([&, turn] {
            for (int frame = 0; frame < Frames; ++frame) {
                host.Change(frame);
                turn->arrive_and_wait();
                turn->arrive_and_wait();
            }
        });
        jobs.emplace_back([&, turn] {
            for (int frame = 0; frame < Frames; ++frame) {
                turn->arrive_and_wait();
                host.Process(frame, scene[static_cast<std::size_t>(frame)]);
                turn->arrive_and_wait();
            }
        });
    }
    auto const repeat = [&](int rounds, std::function<void(int)> once) {
        jobs.emplace_back([rounds, once = std::move(once)] {
            for (int round = 0; round < rounds; ++round) {
                once(round);
            }
        });
    };
    std::atomic<int> passing = 0;
    repeat(Frames, [&](int round) {
        auto const& rule = *lasting[static_cast<std::size_t>(round) % lasting.size()];
        auto const bound = rule.Bind([&](auto const&) { ++passing; });
        EXPECT_TRUE(rule.HasObservers());
    });
    repeat(Frames, [&](int) {
        for (auto& host : hosts) {
            auto const silent = std::make_shared<Scripted>();
            silent->SetId(100);
            silent->dependents = {1};
            std::lock_guard<std::mutex> const lock(host.changing);
            auto const added = host.notifier.AddObservable(silent);
            host.notifier.ObservableChanged(silent);
            host.notifier.RemoveObservable(silent);
        }
    });
    repeat(Frames, [](int) { auto const added = Observable::AddAugmentedMetaCallback([] { return nullptr; }); });
    repeat(Frames, [&](int) { count.Replace(); });
    repeat(PluginRounds, [](int round) {
        LoadedOne const plugin;
        RunPlugin("qel.tests.plugin.One", std::to_string(round), PluginFrames);
    });
    repeat(PluginRounds, [](int) {
        observable::plugin::Loader const again;
        system::plugin::LoadAll("qel_observable_test_two", {boost::filesystem::path(TWO).parent_path()});
        RunPlugin("qel.tests.plugin.Two", "hello", PluginFrames);
        for (auto const& [type, name] : ListTypes("qel.observable.")) {
            EXPECT_EQ(Observable::Make(type)->GetTypeName(), name);
        }
    });
    RunTogether(static_cast<int>(jobs.size()), [&](int index) { jobs[static_cast<std::size_t>(index)](); });

    for (auto const& host : hosts) {
        EXPECT_EQ(host.GetLines(), expected.GetLines());
    }
    EXPECT_EQ(count.Get(), Hosts * linesOfOne + 2 * PluginRounds * PluginFrames);
    EXPECT_EQ(Observable::TypeName(One), nullptr);
}

TEST(HostsThreadsTest, APluginComesAndGoesWithTheHostsThatUseIt) {
    RunTogether(4, [](int thread) {
        for (int round = 0; round < Frames / 4; ++round) {
            LoadedOne const plugin;
            RunPlugin("qel.tests.plugin.One", std::to_string(thread), 1 + round % 3);
        }
    });
    EXPECT_EQ(Observable::TypeName(One), nullptr);
}

TEST(HostsThreadsTest, NotifiersMayShareFramesRulesAndSubscribers) {
    constexpr int Notifiers = 3;
    constexpr unsigned int Nobody = 1000000000;
    std::vector<Meta> frames;
    for (int number = 0; number < Frames; ++number) {
        frames.emplace_back(At(number));
        frames.back().Append(Channel(1));
        frames.back().Append(Person(static_cast<unsigned int>(number)));
    }

    // What reports and what hears is used by all notifiers at once. The records of shared rules are there already.
    std::mutex lock;
    std::multiset<unsigned int> reported;
    auto const maker = std::make_shared<Scripted>();
    maker->process = [&, record = maker->MakeObservableMetadata()](Meta const& frame) {
        auto event = MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {record});
        std::lock_guard<std::mutex> const locked(lock);
        reported.insert(event->GetId());
        return Scripted::Output{std::move(event)};
    };
    auto const silence = std::make_shared<observable::Not>("silence", 0, Nobody);
    silence->MakeObservableMetadata();
    std::multiset<unsigned int> heard;
    std::vector<type::Binding> bindings;
    bindings.push_back(maker->Bind([&](std::shared_ptr<Event> const& event) { heard.insert(event->GetId()); }));
    std::multiset<unsigned int> silences;
    bindings.push_back(silence->Bind([&](std::shared_ptr<Event> const& event) { silences.insert(event->GetId()); }));
    std::array<Notifier, Notifiers> notifiers;
    std::atomic<int> either = 0;
    for (auto& notifier : notifiers) {
        bindings.push_back(notifier.AddObservable(maker));
        bindings.push_back(notifier.AddObservable(silence));
        auto const own = std::make_shared<observable::Or>("either", 0, maker->GetId(), silence->GetId());
        bindings.push_back(own->Bind([&](auto const&) { ++either; }));
        bindings.push_back(notifier.AddObservable(own));
    }

    RunTogether(Notifiers + 2, [&](int thread) {
        for (int number = 0; number < Frames; ++number) {
            if (thread < Notifiers) {
                notifiers[static_cast<std::size_t>(thread)].Process(frames[static_cast<std::size_t>(number)]);
            } else if (thread == Notifiers) {
                auto const passing = maker->Bind([](auto const&) {});
                auto const added = Observable::AddAugmentedMetaCallback([] { return Zone(1); });
            } else {
                Set(silence, {"channel", std::make_shared<object::UInt16>(static_cast<std::uint16_t>(number))});
                Set(silence, Number("input", Nobody + static_cast<std::uint32_t>(number % 2)));
            }
        }
    });

    EXPECT_EQ(reported.size(), static_cast<std::size_t>(Notifiers * Frames));
    EXPECT_EQ(heard, reported);
    EXPECT_EQ(silences.size(), static_cast<std::size_t>(Notifiers)) << "one that goes on is new to each once";
    EXPECT_EQ(either, Notifiers);
    for (auto const& frame : frames) {
        int fresh = 0;
        int going = 0;
        int closed = 0;
        for (auto const& event : meta::EventsOf(frame)) {
            ++(event.IsFinal() ? closed : event.IsDuplicate() ? going : fresh);
        }
        bool const first = &frame == &frames.front();
        EXPECT_EQ(fresh, first ? 3 * Notifiers : Notifiers);
        EXPECT_EQ(going, first ? 0 : 2 * Notifiers);
        EXPECT_EQ(closed, first ? 0 : Notifiers);
    }
}

}  // namespace
}  // namespace qel::tests
