#include "host/rules/mistake.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qel::host {
namespace {

TEST(MistakeTest, IsOneLineWithEverythingThatIsKnown) {
    EXPECT_EQ(Describe({"r.json", 3, 15, "rules[0].interval", "50", "out of range", "a whole number", "x"}),
              "r.json:3:15: rules[0].interval: 50: out of range; allowed: a whole number; did you mean \"x\"?");
    EXPECT_EQ(Describe({"f.jsonl", 7, 0, "", "{", "not JSON", "", ""}), "f.jsonl:7: {: not JSON");
    EXPECT_EQ(Describe({"f", 0, 0, "key", "", "missing", "", ""}), "f: key: missing");
}

TEST(MistakeTest, IsOneLineWhateverItsPartsHold) {
    EXPECT_EQ(Describe({"r\x1b.json", 1, 2, "na\nme", "a\tb", "not\na \x1b[2Jcolour", "red,\ngreen", "gr\x1b[0meen"}),
              "r?.json:1:2: na me: a b: not a ?[2Jcolour; allowed: red, green; did you mean \"gr?[0meen\"?");
}

TEST(OneLineTest, CutsNothing) {
    std::string const text(1000, 'x');
    EXPECT_EQ(OneLine(text), text);
    EXPECT_EQ(OneLine("a\n\x1b b"), "a ? b");
}

TEST(ExcerptTest, CutsAtEightyCharacters) {
    std::string const eighty(80, 'x');
    EXPECT_EQ(Excerpt(eighty), eighty);
    EXPECT_EQ(Excerpt(eighty + "y"), eighty + "...");
    std::string wide;
    for (int count = 0; count < 81; ++count) {
        wide += "é";
    }
    EXPECT_EQ(Excerpt(wide), wide.substr(0, 160) + "...");
}

TEST(ExcerptTest, IsOneLineWithoutControlCharacters) {
    EXPECT_EQ(Excerpt("[1,\n\t  2]"), "[1, 2]");
    EXPECT_EQ(Excerpt(std::string("a\x1b[31mb\x7f\0c", 10)), "a?[31mb??c");
    EXPECT_EQ(Excerpt(""), "");
}

TEST(ExcerptTest, IsText) {
    EXPECT_EQ(Excerpt("a\xFF\xC3"
                      "b\xE9"),
              "a??b?");
    EXPECT_EQ(Excerpt("\xC3\xA9\xC2\x9B"
                      "1m\xC2\xA0"),
              "\xC3\xA9?1m\xC2\xA0")
        << "there are control characters behind ASCII";
}

TEST(NearestTest, FindsTheNameThatWasMeant) {
    std::vector<std::string> const names{"interval", "input", "constrain_target", "name"};
    EXPECT_EQ(Nearest("intervall", names), "interval");
    EXPECT_EQ(Nearest("intreval", names), "interval") << "neighbours exchanged";
    EXPECT_EQ(Nearest("inputt", names), "input");
    EXPECT_EQ(Nearest("constraintarget", names), "constrain_target");
    EXPECT_EQ(Nearest("Name", names), "name");
    EXPECT_EQ(Nearest("nmae", names), "name");
}

TEST(NearestTest, TakesTheNearestAndOfEquallyNearOnesTheFirst) {
    EXPECT_EQ(Nearest("gate 2", std::vector<std::string>{"gate 10", "gate 1"}), "gate 1");
    EXPECT_EQ(Nearest("gate 2", std::vector<std::string>{"gate 1", "gate 3"}), "gate 1");
}

TEST(NearestTest, GuessesNothingFromAfar) {
    std::vector<std::string> const names{"interval", "input", "a"};
    EXPECT_EQ(Nearest("zone", names), "");
    EXPECT_EQ(Nearest("", names), "");
    EXPECT_EQ(Nearest("b", names), "") << "all letters would be wrong";
    EXPECT_EQ(Nearest(std::string(1'000'000, 'x'), names), "");
    EXPECT_EQ(Nearest("interval", std::vector<std::string>{}), "");
}

}  // namespace
}  // namespace qel::host
