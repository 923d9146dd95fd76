#include "foundation/object/parse.hpp"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qel::tests {
namespace {

using object::Parse;
using std::chrono::milliseconds;
using testing::ThrowsMessage;

// Names of tables: what a text gives as a value of each type, or the whole message of the error.
template <class T>
struct Parsed {
    char const* text;
    T value;
};
struct Refused {
    char const* text;
    char const* message;
};

template <class T, class Rows>
void ExpectParsed(Rows const& rows) {
    for (Parsed<T> const& row : rows) {
        EXPECT_EQ(Parse<T>(row.text), row.value) << '"' << row.text << '"';
    }
}

template <class T, class Error, class Rows>
void ExpectRefused(Rows const& rows) {
    for (Refused const& row : rows) {
        EXPECT_THAT([&] { Parse<T>(row.text); }, ThrowsMessage<Error>(row.message)) << '"' << row.text << '"';
    }
}

template <class T>
class ParseUnsignedTest : public testing::Test {};
using Unsigned = testing::Types<unsigned short, unsigned int>;
TYPED_TEST_SUITE(ParseUnsignedTest, Unsigned);

TYPED_TEST(ParseUnsignedTest, ReadsNumbersInBaseTen) {
    Parsed<TypeParam> const rows[] = {
        {"0", 0},
        {"7", 7},
        {"65535", 65535},
        {"0017", 17},
        {"0x1F", 0},
        // Leading white space and a sign.
        {" \t\n\v\f\r12", 12},
        {"+12", 12},
        {" +12", 12},
        {"-0", 0},
        // What follows is ignored.
        {"12abc", 12},
        {"12 13", 12},
        {"12.9", 12},
        {"1e3", 1},
        {"12-", 12},
    };
    ExpectParsed<TypeParam>(rows);
    EXPECT_EQ(Parse<TypeParam>(std::string("12\0"
                                           "34",
                                           5)),
              12);
}

TYPED_TEST(ParseUnsignedTest, WrapsANegativeNumberAsTheConversionDoes) {
    EXPECT_EQ(Parse<TypeParam>("-18446744073709551615"), 1);
    EXPECT_EQ(Parse<TypeParam>(" -18446744073709551609"), 7);
}

TYPED_TEST(ParseUnsignedTest, RefusesTextsWithoutDigits) {
    Refused const rows[] = {
        {"", "Failed to parse the string into an unsigned integer: "},
        {"   ", "Failed to parse the string into an unsigned integer:    "},
        {"abc", "Failed to parse the string into an unsigned integer: abc"},
        {"-", "Failed to parse the string into an unsigned integer: -"},
        {"+-1", "Failed to parse the string into an unsigned integer: +-1"},
        {"- 1", "Failed to parse the string into an unsigned integer: - 1"},
        {".5", "Failed to parse the string into an unsigned integer: .5"},
        {"inf", "Failed to parse the string into an unsigned integer: inf"},
        {"true", "Failed to parse the string into an unsigned integer: true"},
    };
    ExpectRefused<TypeParam, std::invalid_argument>(rows);
}

TYPED_TEST(ParseUnsignedTest, RefusesWhatNoUnsignedIntegerHolds) {
    Refused const rows[] = {
        {"18446744073709551616", "The string was out of the range of an unsigned integer: 18446744073709551616"},
        {"-18446744073709551616", "The string was out of the range of an unsigned integer: -18446744073709551616"},
        {"99999999999999999999999x",
         "The string was out of the range of an unsigned integer: 99999999999999999999999x"},
    };
    ExpectRefused<TypeParam, std::out_of_range>(rows);
}

TEST(ParseUnsignedShortTest, RefusesWhatTheTypeCannotHold) {
    Refused const rows[] = {
        {"65536", "The parsed value '65536' was out of range of the integer type: 0 to 65535"},
        {"70000", "The parsed value '70000' was out of range of the integer type: 0 to 65535"},
        {" +70000x", "The parsed value '70000' was out of range of the integer type: 0 to 65535"},
        {"-1", "The parsed value '18446744073709551615' was out of range of the integer type: 0 to 65535"},
        {"18446744073709551615",
         "The parsed value '18446744073709551615' was out of range of the integer type: 0 to 65535"},
    };
    ExpectRefused<unsigned short, std::out_of_range>(rows);
}

TEST(ParseUnsignedIntTest, ReadsUpToItsLargestNumber) {
    EXPECT_EQ(Parse<unsigned int>("70000"), 70000u);
    EXPECT_EQ(Parse<unsigned int>("4294967295"), 4294967295u);
}

TEST(ParseUnsignedIntTest, RefusesWhatTheTypeCannotHold) {
    Refused const rows[] = {
        {"4294967296", "The parsed value '4294967296' was out of range of the integer type: 0 to 4294967295"},
        {"-1", "The parsed value '18446744073709551615' was out of range of the integer type: 0 to 4294967295"},
        {"-5", "The parsed value '18446744073709551611' was out of range of the integer type: 0 to 4294967295"},
    };
    ExpectRefused<unsigned int, std::out_of_range>(rows);
}

TEST(ParseDoubleTest, ReadsNumbers) {
    Parsed<double> const rows[] = {
        {"0", 0.0},
        {"1.5", 1.5},
        {"-1.5", -1.5},
        {"+.5", 0.5},
        {"5.", 5.0},
        {" \t1", 1.0},
        {"1e3", 1000.0},
        {"1E-2", 0.01},
        {"0x1p4", 16.0},
        {"1.7976931348623157e308", 1.7976931348623157e308},
        {"0e-99999", 0.0},
        // What follows is ignored.
        {"1.5abc", 1.5},
        {"1,5", 1.0},
        {"1.5.6", 1.5},
        {"1e", 1.0},
        {"1 2", 1.0},
        // Infinity has names, in any case.
        {"inf", std::numeric_limits<double>::infinity()},
        {"-INF", -std::numeric_limits<double>::infinity()},
        {"Infinity", std::numeric_limits<double>::infinity()},
    };
    ExpectParsed<double>(rows);
    EXPECT_TRUE(std::isnan(Parse<double>("nan")));
    EXPECT_TRUE(std::isnan(Parse<double>("-NaN")));
    EXPECT_TRUE(std::signbit(Parse<double>("-0")));
}

TEST(ParseDoubleTest, RefusesTextsWithoutANumber) {
    Refused const rows[] = {
        {"", "Failed to parse the string into a double-precision floating point number: "},
        {" ", "Failed to parse the string into a double-precision floating point number:  "},
        {"abc", "Failed to parse the string into a double-precision floating point number: abc"},
        {".", "Failed to parse the string into a double-precision floating point number: ."},
        {"-", "Failed to parse the string into a double-precision floating point number: -"},
        {"e5", "Failed to parse the string into a double-precision floating point number: e5"},
        {"true", "Failed to parse the string into a double-precision floating point number: true"},
    };
    ExpectRefused<double, std::invalid_argument>(rows);
}

TEST(ParseDoubleTest, RefusesWhatTheTypeCannotHold) {
    Refused const rows[] = {
        {"1e309", "The string was out of the range of a double-precision floating pointer number: 1e309"},
        {"-1e309", "The string was out of the range of a double-precision floating pointer number: -1e309"},
        {"1e99999x", "The string was out of the range of a double-precision floating pointer number: 1e99999x"},
        // Too small is out of range as well.
        {"1e-400", "The string was out of the range of a double-precision floating pointer number: 1e-400"},
    };
    ExpectRefused<double, std::out_of_range>(rows);
}

TEST(ParseMillisecondsTest, ReadsWholeNumbersWithASign) {
    Parsed<milliseconds> const rows[] = {
        {"0", milliseconds(0)},
        {"1500", milliseconds(1500)},
        {"-1500", milliseconds(-1500)},
        {" +7", milliseconds(7)},
        {"12.9", milliseconds(12)},
        {"100ms", milliseconds(100)},
        {"9223372036854775807", milliseconds::max()},
        {"-9223372036854775808", milliseconds::min()},
    };
    ExpectParsed<milliseconds>(rows);
}

TEST(ParseMillisecondsTest, RefusesOtherTexts) {
    Refused const withoutDigits[] = {
        {"", "Failed to parse the string into a signed integer: "},
        {"ms", "Failed to parse the string into a signed integer: ms"},
        {"-", "Failed to parse the string into a signed integer: -"},
    };
    ExpectRefused<milliseconds, std::invalid_argument>(withoutDigits);

    Refused const tooLarge[] = {
        {"9223372036854775808", "The string was out of the range of a signed integer: 9223372036854775808"},
        {"-9223372036854775809", "The string was out of the range of a signed integer: -9223372036854775809"},
    };
    ExpectRefused<milliseconds, std::out_of_range>(tooLarge);
}

template <class T>
class ParseErrnoTest : public testing::Test {
protected:
    ~ParseErrnoTest() override { errno = 0; }
};
using AllParsed = testing::Types<unsigned short, unsigned int, double, milliseconds>;
TYPED_TEST_SUITE(ParseErrnoTest, AllParsed);

TYPED_TEST(ParseErrnoTest, IsKeptByAConversionThatLeavesItAtZero) {
    errno = EDOM;
    Parse<TypeParam>("12");
    EXPECT_EQ(errno, EDOM);
    EXPECT_THROW(Parse<TypeParam>("abc"), std::invalid_argument);
    EXPECT_EQ(errno, EDOM);
}

TYPED_TEST(ParseErrnoTest, IsSetByAConversionThatOverflows) {
    errno = EDOM;
    auto const huge = std::string(400, '9');
    EXPECT_THROW(Parse<TypeParam>(huge), std::out_of_range);
    EXPECT_EQ(errno, ERANGE);
}

TYPED_TEST(ParseErrnoTest, OfAnEarlierFailureMeansNothing) {
    errno = ERANGE;
    EXPECT_NO_THROW(Parse<TypeParam>("12"));
    EXPECT_EQ(errno, ERANGE);
}

TEST(ParseTest, ReadsNoOtherTypes) {
    EXPECT_TRUE(object::Parsable<unsigned short>);
    EXPECT_TRUE(object::Parsable<unsigned int>);
    EXPECT_TRUE(object::Parsable<double>);
    EXPECT_TRUE(object::Parsable<milliseconds>);
    EXPECT_FALSE(object::Parsable<bool>);
    EXPECT_FALSE(object::Parsable<std::string>);
}

}  // namespace
}  // namespace qel::tests
