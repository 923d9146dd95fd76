#include "host/rules/object_reader.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qel::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ObjectReaderTest : public testing::Test {
protected:
    std::vector<std::string> Mistakes() {
        std::vector<std::string> words;
        for (auto const& mistake : mistakes.TakeMistakes()) {
            words.push_back(Describe(mistake));
        }
        return words;
    }

    json::Document document{R"({"number": 7, "minus": -7, "text": "x", "empty": "", "list": [1, 2], "number": 8})"};
    MistakeCollector mistakes{"f", document};
    ObjectReader reader{mistakes, document.GetRoot(), "top"};
};

TEST_F(ObjectReaderTest, KeepsTheFirstOfARepeatedKey) {
    EXPECT_EQ(reader.FindInteger("number", 100), 7u);
    EXPECT_THAT(Mistakes(), ElementsAre("f:1:70: top.number: 8: repeated key; allowed: each key once"));
}

TEST_F(ObjectReaderTest, FindsValuesOfTheRightKind) {
    mistakes.TakeMistakes();
    EXPECT_EQ(reader.FindInteger("number", 7), 7u);
    EXPECT_EQ(reader.FindText("text"), "x");
    EXPECT_EQ(reader.FindList("list").size(), 2u);
    EXPECT_NE(reader.Find("minus"), nullptr);
    EXPECT_THAT(Mistakes(), IsEmpty());
}

TEST_F(ObjectReaderTest, MissesAKeyOnlyWhereItIsRequired) {
    mistakes.TakeMistakes();
    EXPECT_EQ(reader.Find("none"), nullptr);
    EXPECT_EQ(reader.FindInteger("none", 7), std::nullopt);
    EXPECT_EQ(reader.FindText("none"), std::nullopt);
    EXPECT_THAT(reader.FindList("none"), IsEmpty());
    EXPECT_THAT(Mistakes(), IsEmpty());
    EXPECT_EQ(reader.Require("none", "a thing"), nullptr);
    EXPECT_NE(reader.Require("text", "a thing"), nullptr);
    EXPECT_THAT(Mistakes(), ElementsAre("f:1:1: top.none: missing; allowed: a thing"));
}

TEST_F(ObjectReaderTest, TellsOfValuesOfTheWrongKind) {
    mistakes.TakeMistakes();
    EXPECT_EQ(reader.FindInteger("number", 6), std::nullopt);
    EXPECT_EQ(reader.FindInteger("minus", 6), std::nullopt);
    EXPECT_EQ(reader.FindInteger("text", 6), std::nullopt);
    EXPECT_EQ(reader.FindText("empty"), std::nullopt);
    EXPECT_EQ(reader.FindText("list"), std::nullopt);
    EXPECT_THAT(reader.FindList("text"), IsEmpty());
    EXPECT_THAT(Mistakes(), ElementsAre("f:1:12: top.number: 7: out of range; allowed: a whole number from 0 to 6",
                                        "f:1:24: top.minus: -7: out of range; allowed: a whole number from 0 to 6",
                                        "f:1:36: top.text: \"x\": wrong type; allowed: a whole number from 0 to 6",
                                        "f:1:36: top.text: \"x\": wrong type; allowed: a list, [...]",
                                        "f:1:50: top.empty: \"\": empty; allowed: a text that is not empty",
                                        "f:1:62: top.list: [1, 2]: wrong type; allowed: a text that is not empty"));
}

TEST_F(ObjectReaderTest, TellsOfOtherKeys) {
    mistakes.TakeMistakes();
    reader.AllowOnly({"text", "empty", "numbers", "minus", "lisp"});
    EXPECT_THAT(Mistakes(), ElementsAre("f:1:2: top.number: 7: unknown key; allowed: empty, lisp, minus, numbers, "
                                        "text; did you mean \"numbers\"?",
                                        "f:1:54: top.list: [1, 2]: unknown key; allowed: empty, lisp, minus, numbers, "
                                        "text; did you mean \"lisp\"?",
                                        "f:1:70: top.number: 8: unknown key; allowed: empty, lisp, minus, numbers, "
                                        "text; did you mean \"numbers\"?"));
}

TEST_F(ObjectReaderTest, TakesWhatIsNoObjectForOneWithoutMembers) {
    json::Document const other("[7]");
    MistakeCollector collector("f", other);
    ObjectReader const list(collector, other.GetRoot(), "");
    EXPECT_FALSE(list.IsObject());
    EXPECT_EQ(list.Require("key", "a thing"), nullptr);
    list.AllowOnly({});
    auto const told = collector.TakeMistakes();
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(Describe(told[0]), "f:1:1: [7]: wrong type; allowed: an object, {...}");
}

TEST_F(ObjectReaderTest, KeepsWarningsApart) {
    mistakes.TakeMistakes();
    mistakes.Warn(1, "top", "mind this");
    EXPECT_THAT(Mistakes(), IsEmpty());
    auto const warnings = mistakes.TakeWarnings();
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(Describe(warnings[0]), "f:1:2: top: warning: mind this");
}

}  // namespace
}  // namespace qel::host
