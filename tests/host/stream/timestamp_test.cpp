#include "host/stream/timestamp.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace qel::host {
namespace {

meta::Timestamp Nanoseconds(std::int64_t count) { return meta::Timestamp(std::chrono::nanoseconds(count)); }

std::optional<std::int64_t> Parsed(std::string const& text) {
    auto const time = ParseTimestamp(text);
    return time ? std::optional<std::int64_t>(time->time_since_epoch().count()) : std::nullopt;
}

struct Reading {
    char const* text;
    std::int64_t nanoseconds;
};

class TimestampReadingTest : public testing::TestWithParam<Reading> {};

TEST_P(TimestampReadingTest, IsNanosecondsSinceTheEpoch) {
    EXPECT_EQ(Parsed(GetParam().text), GetParam().nanoseconds) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Timestamp, TimestampReadingTest,
    testing::Values(
        Reading{"1970-01-01T00:00:00Z", 0},  //
        Reading{"2023-11-14T22:13:20Z", 1700000000000000000}, Reading{"2023-11-14T22:13:20.04Z", 1700000000040000000},
        Reading{"2023-11-14t22:13:20z", 1700000000000000000}, Reading{"2023-11-14 22:13:20Z", 1700000000000000000},
        // Offsets: the clock of the text runs ahead of UTC by them.
        Reading{"2023-11-14T23:13:20+01:00", 1700000000000000000},
        Reading{"2023-11-14T16:43:20-05:30", 1700000000000000000},
        Reading{"2023-11-15T00:13:20+02:00", 1700000000000000000}, Reading{"1970-01-01T00:00:00-00:00", 0},
        // Fractions: nine digits count, more are cut.
        Reading{"1970-01-01T00:00:00.1Z", 100000000}, Reading{"1970-01-01T00:00:00.123456789Z", 123456789},
        Reading{"1970-01-01T00:00:00.1234567899999Z", 123456789}, Reading{"1969-12-31T23:59:59.999999999Z", -1},
        // Leap days and seconds.
        Reading{"2024-02-29T00:00:00Z", 1709164800000000000}, Reading{"2000-02-29T00:00:00Z", 951782400000000000},
        Reading{"2016-12-31T23:59:60Z", 1483228800000000000},
        // The ends of what nanoseconds in 64 bits can tell.
        Reading{"1677-09-21T00:12:43.145224192Z", std::numeric_limits<std::int64_t>::min()},
        Reading{"2262-04-11T23:47:16.854775807Z", std::numeric_limits<std::int64_t>::max()}));

TEST(TimestampTest, RefusesWhatIsNoTime) {
    for (char const* const text : {"",
                                   "Z",
                                   "2023",
                                   "2023-11-14",
                                   "2023-11-14T22:13:20",
                                   "2023-11-14T22:13Z",
                                   "2023-11-14T22:13:20.Z",
                                   "2023-11-14T22:13:20ZZ",
                                   " 2023-11-14T22:13:20Z",
                                   "2023-11-14T22:13:20Z ",
                                   "2023-11-14X22:13:20Z",
                                   "23-11-14T22:13:20Z",
                                   "2023-1-14T22:13:20Z",
                                   "2023-13-14T22:13:20Z",
                                   "2023-00-14T22:13:20Z",
                                   "2023-11-31T22:13:20Z",
                                   "2023-02-29T22:13:20Z",
                                   "1900-02-29T22:13:20Z",
                                   "2023-11-00T22:13:20Z",
                                   "2023-11-14T24:00:00Z",
                                   "2023-11-14T22:60:20Z",
                                   "2023-11-14T22:13:61Z",
                                   "2023-11-14T22:13:20+24:00",
                                   "2023-11-14T22:13:20+01:60",
                                   "2023-11-14T22:13:20+0100",
                                   "2023-11-14T22:13:20+01",
                                   "-2023-11-14T22:13:20Z",
                                   "2O23-11-14T22:13:20Z",
                                   "1677-09-21T00:12:43.145224191Z",
                                   "2262-04-11T23:47:16.854775808Z",
                                   "0000-01-01T00:00:00Z",
                                   "9999-12-31T23:59:59Z"}) {
        EXPECT_EQ(Parsed(text), std::nullopt) << text;
    }
}

TEST(TimestampTest, TakesNanosecondsWhereBothAreAllowed) {
    EXPECT_EQ(ParseTimeOrNanoseconds("1700000000040000000"), Nanoseconds(1700000000040000000));
    EXPECT_EQ(ParseTimeOrNanoseconds("-5"), Nanoseconds(-5));
    EXPECT_EQ(ParseTimeOrNanoseconds("1970-01-01T00:00:01Z"), Nanoseconds(1'000'000'000));
    EXPECT_EQ(ParseTimeOrNanoseconds("9223372036854775808"), std::nullopt);
    EXPECT_EQ(ParseTimeOrNanoseconds("5s"), std::nullopt);
    EXPECT_EQ(ParseTimeOrNanoseconds(""), std::nullopt);
}

TEST(TimestampTest, IsWrittenWithThreeDigitsCut) {
    EXPECT_EQ(FormatTimestamp(Nanoseconds(0)), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(FormatTimestamp(Nanoseconds(1700000000040999999)), "2023-11-14T22:13:20.040Z");
    EXPECT_EQ(FormatTimestamp(Nanoseconds(-1)), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(FormatTimestamp(Nanoseconds(-1'000'001)), "1969-12-31T23:59:59.998Z");
    EXPECT_EQ(FormatTimestamp(Nanoseconds(std::numeric_limits<std::int64_t>::max())), "2262-04-11T23:47:16.854Z");
    EXPECT_EQ(FormatTimestamp(Nanoseconds(std::numeric_limits<std::int64_t>::min())), "1677-09-21T00:12:43.145Z");
}

}  // namespace
}  // namespace qel::host
