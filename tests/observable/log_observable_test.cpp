#include "observable/log_observable.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "foundation/logging/config.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/log_capture.hpp"

namespace qel::observable {
namespace {

using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::At;

using Generated = std::vector<std::shared_ptr<object::Object>>;

std::shared_ptr<Event> New() { return tests::MakeEvent(At(0), At(0), {}); }

std::shared_ptr<Event> Duplicate() {
    auto event = New();
    event->SetDuplicate(true);
    return event;
}

std::vector<std::string> Logged(Generated const& generated, std::optional<unsigned int> channel, unsigned int id,
                                std::string const& name) {
    tests::LogCapture capture;
    LogObservable(generated, channel, id, name);
    return capture.Take();
}

/// How many events the line says were generated, 0 for no line.
unsigned int Counted(Generated const& generated) {
    auto const lines = Logged(generated, std::nullopt, 12, "zone entry");
    if (lines.empty()) {
        return 0;
    }
    unsigned int const count =
        static_cast<unsigned int>(std::stoul(lines.front().substr(lines.front().rfind(": ") + 2)));
    EXPECT_THAT(lines,
                ElementsAre("qel.observable.Notifier 4: rule_id:12: " + std::to_string(count) + " Event(s) Generated"));
    return count;
}

TEST(LogObservable, NamesChannelObservableAndCount) {
    EXPECT_THAT(Logged({New(), New(), Duplicate()}, 3, 12, "zone entry"),
                ElementsAre("qel.observable.Notifier 4: channel_id:3:rule_id:12: zone entry: 2 Event(s) Generated"));
}

TEST(LogObservable, LeavesChannelAndNameOutWithoutAChannel) {
    EXPECT_THAT(Logged({New(), New(), Duplicate()}, std::nullopt, 12, "zone entry"),
                ElementsAre("qel.observable.Notifier 4: rule_id:12: 2 Event(s) Generated"));
}

TEST(LogObservable, WritesNumbersAsUnsignedDecimals) {
    EXPECT_THAT(Logged({New()}, 4294967295, 4294967294, "far"),
                ElementsAre("qel.observable.Notifier 4: channel_id:4294967295:rule_id:4294967294: far: "
                            "1 Event(s) Generated"));
    EXPECT_THAT(Logged({New()}, 0, 0, ""),
                ElementsAre("qel.observable.Notifier 4: channel_id:0:rule_id:0: : 1 Event(s) Generated"));
    EXPECT_THAT(Logged({New()}, std::nullopt, 4294967295, ""),
                ElementsAre("qel.observable.Notifier 4: rule_id:4294967295: 1 Event(s) Generated"));
}

TEST(LogObservable, WritesTheNameAsItIs) {
    EXPECT_THAT(Logged({New()}, 1, 2, "100 %0% \"Gr\u00fc\u00dfe\": %3%"),
                ElementsAre("qel.observable.Notifier 4: channel_id:1:rule_id:2: 100 %0% \"Gr\u00fc\u00dfe\": %3%: "
                            "1 Event(s) Generated"));
}

TEST(LogObservable, IsSilentAboutNothing) { EXPECT_EQ(Counted({}), 0u); }

TEST(LogObservable, IsSilentAboutDuplicates) { EXPECT_EQ(Counted({Duplicate(), Duplicate()}), 0u); }

TEST(LogObservable, IsSilentAboutItemsThatAreNoEvents) {
    EXPECT_EQ(Counted({tests::Person(1), tests::Channel(1), tests::Record(12), nullptr}), 0u);
    EXPECT_THAT(Logged({tests::Channel(1)}, 1, 12, "zone entry"), IsEmpty());
}

TEST(LogObservable, CountsTheNewEventsAmongOtherItems) {
    EXPECT_EQ(Counted({nullptr, New(), tests::Person(1), Duplicate(), New(), nullptr, New()}), 3u);
}

TEST(LogObservable, CountsInternalAndFinalEvents) {
    auto const internal = New();
    internal->SetInternal(true);
    auto const final = New();
    final->SetFinal(true);
    EXPECT_EQ(Counted({internal, final}), 2u);
}

TEST(LogObservable, CountsAnEventForEachTimeItIsThere) {
    auto const event = New();
    EXPECT_EQ(Counted({event, event}), 2u);
}

/// Restores the default filter and sink at its end.
struct LoggingRestored {
    ~LoggingRestored() {
        logging::SetFilter({});
        logging::SetSink({});
    }
};

TEST(LogObservable, IsSilentWhenTheLoggerIsFilteredAndAsksOnlyWhenThereIsALine) {
    LoggingRestored const restored;
    std::vector<std::string> asked;
    int lines = 0;
    logging::SetFilter([&](logging::Name const& name, logging::Level level) {
        asked.push_back(std::string(name.GetText()) + " " + std::to_string(static_cast<unsigned int>(level)));
        return false;
    });
    logging::SetSink([&](std::string const&, bool) { ++lines; });
    LogObservable({Duplicate()}, 3, 12, "zone entry");
    EXPECT_THAT(asked, IsEmpty());
    LogObservable({New()}, 3, 12, "zone entry");
    LogObservable({New()}, std::nullopt, 12, "zone entry");
    EXPECT_THAT(asked, ElementsAre("qel.observable.Notifier 4", "qel.observable.Notifier 4"));
    EXPECT_EQ(lines, 0);
}

TEST(LogObservable, IsNotAmongTheImportantLinesThatAreWrittenByDefault) {
    LoggingRestored const restored;
    int lines = 0;
    logging::SetSink([&](std::string const&, bool) { ++lines; });
    LogObservable({New()}, 3, 12, "zone entry");
    EXPECT_EQ(lines, 0);
}

TEST(LogObservable, PassesOnWhatTheSinkThrows) {
    LoggingRestored const restored;
    logging::SetFilter([](auto const&, auto) { return true; });
    logging::SetSink([](std::string const&, bool) { throw std::runtime_error("disk full"); });
    EXPECT_THAT([] { LogObservable({New()}, 3, 12, "zone entry"); },
                testing::ThrowsMessage<std::runtime_error>("disk full"));
}

}  // namespace
}  // namespace qel::observable
