#include "foundation/logging/logger.hpp"

#include <cstdint>
#include <functional>
#include <ios>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/logging/config.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/log_capture.hpp"

namespace qel::tests {
namespace {

using logging::Level;
using logging::Logger;
using logging::Name;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

/// Counts how often it is written.
struct Counted {
    int& written;
};
std::ostream& operator<<(std::ostream& stream, Counted const& counted) {
    ++counted.written;
    return stream << "counted";
}

/// Cannot be written.
struct Unwritable {};
std::ostream& operator<<(std::ostream&, Unwritable const&) { throw std::runtime_error("unwritable"); }

// Fails as a stream does, while the stream that it is written to is good.
struct Sealed {};
std::ostream& operator<<(std::ostream&, Sealed const&) { throw std::ios_base::failure("sealed"); }

class LoggerTest : public testing::Test {
protected:
    template <class... Args>
    std::string LineOf(char const* format, Args&&... args) {
        logger.Log(Level::Info, format, std::forward<Args>(args)...);
        auto const lines = capture.Take();
        std::string const origin = "qel.tests.Logger 4: ";
        if (lines.size() != 1 || !lines.front().starts_with(origin)) {
            ADD_FAILURE() << testing::PrintToString(lines);
            return {};
        }
        return lines.front().substr(origin.size());
    }

    LogCapture capture;
    Logger const logger{"qel.tests.Logger"};
};

// Arguments: what takes the place of %0%, %1% and so on.
struct Filled {
    char const* name;
    char const* format;
    std::vector<std::string> arguments;
    char const* line;
};
void PrintTo(Filled const& filled, std::ostream* stream) { *stream << filled.format; }

class LoggerFormatTest : public testing::TestWithParam<Filled> {};

TEST_P(LoggerFormatTest, FillsThePlaceholders) {
    std::vector<std::function<void(std::string*)>> functions;
    for (auto const& argument : GetParam().arguments) {
        functions.emplace_back([&](std::string* out) { *out += argument; });
    }
    std::string out = "what was there before";
    Logger const logger("qel.tests.Logger");
    logger.Format(&out, logger.GetName(), Level::Info, GetParam().format, functions.data(), functions.size());
    EXPECT_EQ(out, GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    Logger, LoggerFormatTest,
    testing::Values(
        Filled{"NothingToFill", "Graph updated", {}, "Graph updated"}, Filled{"Empty", "", {}, ""},
        Filled{"TwoPlaceholders", "rule_id:%0%: %1% Event(s) Generated", {"3", "2"}, "rule_id:3: 2 Event(s) Generated"},
        Filled{"AtBothEnds", "%0% and %1%", {"a", "b"}, "a and b"},
        Filled{"SideBySide", "%0%%1%%0%", {"a", "b"}, "aba"},
        Filled{"OutOfOrder", "%2%, %0%, %1%", {"a", "b", "c"}, "c, a, b"},
        Filled{"Repeated", "%0%: %1% is %0%", {"a", "b"}, "a: b is a"},
        Filled{"UnusedArgument", "%1%", {"a", "b"}, "b"}, Filled{"EmptyText", "[%0%]", {""}, "[]"},
        Filled{"SeveralDigits", "%10%%9%", {"0", "1", "2", "3", "4", "5", "6", "7", "8", "nine", "ten"}, "tennine"},
        Filled{"LeadingZero", "%01%", {"a", "b"}, "b"},
        // Without an argument a placeholder stays, whatever follows it.
        Filled{"MissingArgument", "%0% %1% %2%", {"a"}, "a %1% %2%"}, Filled{"NoArguments", "%0%", {}, "%0%"},
        Filled{"MissingArgumentThenDigits", "%5%0%", {"a"}, "%5%0%"},
        Filled{"NumberOfTwentyDigits", "%18446744073709551616%", {"a"}, "%18446744073709551616%"},
        // Other percent signs stay.
        Filled{"LonePercent", "%", {"a"}, "%"}, Filled{"PercentAtTheEnd", "100%", {"a"}, "100%"},
        Filled{"PercentAndText", "50% of %0%", {"a"}, "50% of a"}, Filled{"DoublePercent", "%%0%", {"a"}, "%a"},
        Filled{"TwoPercents", "%%", {"a"}, "%%"}, Filled{"UnclosedPlaceholder", "%0", {"a"}, "%0"},
        Filled{"UnclosedBeforeText", "%0 %0%", {"a"}, "%0 a"}, Filled{"Letter", "%x%", {"a"}, "%x%"},
        Filled{"NegativeNumber", "%-1%0%", {"a"}, "%-1a"}, Filled{"PlusSign", "%+0%", {"a"}, "%+0%"},
        Filled{"Blank", "% 0%", {"a"}, "% 0%"},
        // An argument's own text is not looked at.
        Filled{"PlaceholderInArgument", "%0%%1%", {"%1%", "b"}, "%1%b"},
        Filled{"PercentInArgument", "%0%0%", {"%"}, "%0%"}, Filled{"Braces", "{} {0} %0%", {"{1}"}, "{} {0} {1}"}),
    [](auto const& info) { return std::string(info.param.name); });

TEST_F(LoggerTest, KeepsItsName) {
    EXPECT_EQ(logger.GetName(), Name("qel.tests.Logger"));
    EXPECT_EQ(&logger.GetName(), &logger.GetName());
}

TEST_F(LoggerTest, WritesNumbersInDecimal) {
    EXPECT_EQ(LineOf("%0% %1%", 0u, 4294967295u), "0 4294967295");
    EXPECT_EQ(LineOf("%0% %1%", -7, std::int64_t{-5000000000}), "-7 -5000000000");
    EXPECT_EQ(LineOf("%0%", std::uint64_t{18446744073709551615u}), "18446744073709551615");
    EXPECT_EQ(LineOf("%0% %1%", std::uint8_t{65}, std::int8_t{-65}), "65 -65");
    EXPECT_EQ(LineOf("%0%", 0.5), "0.5");
}

TEST_F(LoggerTest, WritesTextsAsTheyAre) {
    std::string const text = "zone {entry} %0%";
    EXPECT_EQ(LineOf("%0%|%1%|%2%|%3%", text, std::string_view("view"), text.c_str(), "literal"),
              "zone {entry} %0%|view|zone {entry} %0%|literal");
    EXPECT_EQ(LineOf("%0%", 'c'), "c");
}

TEST_F(LoggerTest, WritesNothingForANullText) { EXPECT_EQ(LineOf("[%0%]", static_cast<char const*>(nullptr)), "[]"); }

TEST_F(LoggerTest, WritesAnythingElseAsAStreamDoes) {
    int written = 0;
    EXPECT_EQ(LineOf("%0%", Counted{written}), "counted");
}

TEST_F(LoggerTest, TakesTheArgumentListsOfTheLibrary) {
    unsigned int id = 12;
    unsigned int count = 2;
    unsigned int channel = 3;
    std::string const name = "zone entry";
    char const* const reason = "no such directory";
    EXPECT_EQ(LineOf("Failed while searching library directory: %0%", reason),
              "Failed while searching library directory: no such directory");
    EXPECT_EQ(LineOf("%0%", 5u), "5");
    EXPECT_EQ(LineOf("rule_id:%0%: %1% Event(s) Generated", id, count), "rule_id:12: 2 Event(s) Generated");
    EXPECT_EQ(LineOf("channel_id:%0%:rule_id:%1%: %2%: %3% Event(s) Generated", channel, id, name, count),
              "channel_id:3:rule_id:12: zone entry: 2 Event(s) Generated");
}

TEST_F(LoggerTest, MarksLevelsFromSixteenOnAsImportant) {
    for (unsigned int const level : {1u, 15u, 16u, 17u}) {
        logger.Log(static_cast<Level>(level), "text");
    }
    EXPECT_THAT(capture.Take(),
                ElementsAre("qel.tests.Logger 1: text", "qel.tests.Logger 15: text",
                            "qel.tests.Logger 16 important: text", "qel.tests.Logger 17 important: text"));
}

TEST_F(LoggerTest, AsksTheFilterWithItsNameAndTheLevel) {
    std::vector<std::string> questions;
    logging::SetFilter([&](Name const& name, Level level) {
        questions.push_back(std::string(name.GetText()) + " " + std::to_string(static_cast<unsigned int>(level)));
        return false;
    });
    logger.Log(Level::Warning, "text");
    EXPECT_THAT(questions, ElementsAre("qel.tests.Logger 8"));
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST_F(LoggerTest, AnswersWhatTheFilterAnswers) {
    logging::SetFilter([](Name const& name, Level level) { return name == Name("wanted") && level == Level::Debug; });
    EXPECT_TRUE(logger.Filter("wanted", Level::Debug));
    EXPECT_FALSE(logger.Filter("wanted", Level::Trace));
    EXPECT_FALSE(logger.Filter(logger.GetName(), Level::Debug));
}

TEST_F(LoggerTest, FormatsNothingOfAFilteredMessage) {
    logging::SetFilter([](Name const&, Level) { return false; });
    int written = 0;
    logger.Log(Level::Error, "%0%", Counted{written});
    EXPECT_EQ(written, 0);
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST_F(LoggerTest, AllocatesNothingForAFilteredMessage) {
    std::string const name(100, 'n');
    auto const log = [&] { logger.Log(Level::Info, "%0% %1% %2%", 7u, name, "literal"); };

    logging::SetFilter({});
    EXPECT_EQ(AllocationsOf(log), 0u);
    logging::SetFilter([](Name const&, Level) { return false; });
    EXPECT_EQ(AllocationsOf(log), 0u);
    // The counter counts:
    logging::SetFilter([](Name const&, Level) { return true; });
    EXPECT_GT(AllocationsOf(log), 0u);
}

TEST_F(LoggerTest, KeepsTheFunctionsOfItsArgumentsOffTheHeap) {
    logging::SetSink([](std::string const&, bool) {});
    logging::SetFilter([](Name const&, Level) { return true; });
    // The line itself, which is short enough to be kept inside of the string.
    EXPECT_EQ(AllocationsOf([&] { logger.Log(Level::Info, "%0%%1%%2%", 1u, 2u, "3"); }), 1u);
}

TEST_F(LoggerTest, WritesOnlyTheArgumentsThatTheFormatNames) {
    int written = 0;
    EXPECT_EQ(LineOf("%1%%1%", Counted{written}, "b"), "bb");
    EXPECT_EQ(written, 0);
    EXPECT_EQ(LineOf("%0%%0%", Counted{written}), "countedcounted");
    EXPECT_EQ(written, 2);
}

TEST_F(LoggerTest, LetsPassTheFailureOfAStreamThatIsNotItsOwn) {
    EXPECT_THROW(logger.Log(Level::Info, "%0%", Sealed()), std::ios_base::failure);
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST_F(LoggerTest, HandsOutNoLineWhenAnArgumentCannotBeWritten) {
    EXPECT_THAT([&] { logger.Log(Level::Info, "%0%", Unwritable()); }, ThrowsMessage<std::runtime_error>("unwritable"));
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST_F(LoggerTest, OutputHandsTheLineToTheSink) {
    std::vector<std::pair<std::string, bool>> lines;
    logging::SetSink([&](std::string const& line, bool important) { lines.emplace_back(line, important); });
    logger.Output(std::make_unique<std::string>("one"), false);
    logger.Output(std::make_unique<std::string>("two"), true);
    EXPECT_THAT(lines, ElementsAre(testing::Pair("one", false), testing::Pair("two", true)));
}

TEST_F(LoggerTest, LetsPassWhatTheSinkThrows) {
    logging::SetSink([](std::string const& line, bool) { throw std::runtime_error("sink: " + line); });
    EXPECT_THAT([&] { logger.Log(Level::Info, "text"); }, ThrowsMessage<std::runtime_error>("sink: text"));
}

TEST_F(LoggerTest, LetsPassWhatTheFilterThrows) {
    logging::SetFilter([](Name const&, Level) -> bool { throw std::runtime_error("filter"); });
    EXPECT_THAT([&] { logger.Log(Level::Info, "text"); }, ThrowsMessage<std::runtime_error>("filter"));
    EXPECT_THAT(capture.Take(), IsEmpty());
}

}  // namespace
}  // namespace qel::tests
