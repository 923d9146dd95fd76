#include "host/rules/json.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>

namespace qel::host::json {
namespace {

/// "line:column source" of a value.
std::string Where(Document const& document, Value const& value) {
    auto const place = document.GetPlace(value.begin);
    return fmt::format("{}:{} {}", place.line, place.column, document.GetSource(value));
}

TEST(JsonDocumentTest, KeepsValuesWithTheirPlaces) {
    Document const document("{\n  \"a\": [1, -2.50 , \"x\\\"y\\u00e9\", true],\n\t\"b\": {\"c\":null}, \"d\":{ }}");
    auto const& members = document.GetRoot().members;
    ASSERT_EQ(members.size(), 3u);
    EXPECT_EQ(Where(document, document.GetRoot()).substr(0, 5), "1:1 {");
    EXPECT_EQ(members[0].key, "a");
    EXPECT_EQ(document.GetPlace(members[0].begin).line, 2u);
    EXPECT_EQ(document.GetPlace(members[0].begin).column, 3u);
    auto const& list = members[0].value;
    EXPECT_EQ(Where(document, list), "2:8 [1, -2.50 , \"x\\\"y\\u00e9\", true]");
    EXPECT_EQ(Where(document, list.items[0]), "2:9 1");
    EXPECT_EQ(Where(document, list.items[1]), "2:12 -2.50");
    EXPECT_EQ(Where(document, list.items[2]), "2:20 \"x\\\"y\\u00e9\"");
    EXPECT_EQ(list.items[2].text, "x\"y\xC3\xA9");
    EXPECT_EQ(Where(document, list.items[3]), "2:34 true");
    EXPECT_EQ(Where(document, members[1].value), "3:7 {\"c\":null}");
    EXPECT_EQ(Where(document, members[1].value.members[0].value), "3:12 null");
    EXPECT_EQ(Where(document, members[2].value), "3:23 { }");
}

TEST(JsonDocumentTest, CountsColumnsInCharacters) {
    Document const document("[\"h\xC3\xB6he\", 1]");
    EXPECT_EQ(Where(document, document.GetRoot().items[1]), "1:10 1");
}

TEST(JsonDocumentTest, TellsNumbersApart) {
    Document const document("[0, -0, 18446744073709551615, -9223372036854775808, 18446744073709551616, 1.0, 1e3]");
    auto const& items = document.GetRoot().items;
    using Kind = Value::Kind;
    EXPECT_EQ(items[0].kind, Kind::Integer);
    EXPECT_EQ(items[1].kind, Kind::Integer);
    EXPECT_FALSE(items[1].negative);
    EXPECT_EQ(items[2].kind, Kind::Integer);
    EXPECT_EQ(items[2].magnitude, 18446744073709551615u);
    EXPECT_EQ(items[3].kind, Kind::Integer);
    EXPECT_TRUE(items[3].negative);
    EXPECT_EQ(items[3].magnitude, 9223372036854775808u);
    EXPECT_EQ(items[3].real, -9223372036854775808.0);
    EXPECT_EQ(items[4].kind, Kind::Real);
    EXPECT_EQ(items[4].real, 18446744073709551616.0);
    EXPECT_EQ(items[5].kind, Kind::Real);
    EXPECT_EQ(items[6].kind, Kind::Real);
    EXPECT_EQ(items[6].real, 1000.0);
}

TEST(JsonDocumentTest, KeepsRepeatedKeys) {
    Document const document(R"({"a": 1, "a": 2})");
    ASSERT_EQ(document.GetRoot().members.size(), 2u);
    EXPECT_EQ(document.GetRoot().members[1].value.magnitude, 2u);
}

TEST(JsonDocumentTest, PassesOverAMarkOfTheByteOrder) {
    Document const document("\xEF\xBB\xBF[7]");
    EXPECT_EQ(Where(document, document.GetRoot().items[0]), "1:2 7");
}

TEST(JsonDocumentTest, TakesAValueOfAnyKindAsTheWhole) {
    EXPECT_EQ(Document("7").GetRoot().magnitude, 7u);
    EXPECT_EQ(Document(" \"x\" ").GetRoot().text, "x");
    Document const number("  12");
    EXPECT_EQ(Where(number, number.GetRoot()), "1:3 12");
}

std::string ErrorOf(std::string const& text) {
    try {
        Document const document(text);
        return "none";
    } catch (SyntaxError const& error) {
        return fmt::format("{}:{}: {}", error.GetPlace().line, error.GetPlace().column, error.what());
    }
}

TEST(JsonDocumentTest, TellsWhereTheTextIsNoJson) {
    EXPECT_EQ(ErrorOf(""),
              "1:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal");
    EXPECT_EQ(ErrorOf("{\"a\": 1,\n }"),
              "2:2: syntax error while parsing object key - unexpected '}'; expected string literal");
    EXPECT_EQ(ErrorOf("[1 2]"), "1:4: syntax error while parsing array - unexpected number literal; expected ']'");
    EXPECT_EQ(ErrorOf("[1,\n\n  tru]"), "3:6: syntax error while parsing value - invalid literal");
    EXPECT_EQ(ErrorOf("[\"a"), "1:4: syntax error while parsing value - invalid string: missing closing quote");
    EXPECT_EQ(ErrorOf("[\"\xFF\"]"), "1:3: syntax error while parsing value - invalid string: ill-formed UTF-8 byte");
    EXPECT_EQ(ErrorOf("[1e999]"), "1:6: a number is too large");
    EXPECT_EQ(ErrorOf(std::string("[]\0 [", 5)), "1:3: a character that is not text");
    EXPECT_EQ(ErrorOf("[] []"), "1:4: syntax error while parsing value - unexpected '['; expected end of input");
}

TEST(JsonDocumentTest, RefusesWhatIsNestedTooDeep) {
    auto const nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    EXPECT_EQ(ErrorOf(nested(Document::MaximumDepth)), "none");
    EXPECT_EQ(ErrorOf(nested(Document::MaximumDepth + 1)), "1:65: nested more than 64 deep");
    EXPECT_EQ(ErrorOf(std::string(1'000'000, '[')), "1:65: nested more than 64 deep");
}

TEST(JsonDocumentTest, SurvivesEveryTruncation) {
    std::string const text = R"({"rules": [{"name": "é\n", "x": -1.5e3, "y": [true, false, null]}]})";
    for (std::size_t length = 0; length < text.size(); ++length) {
        EXPECT_NE(ErrorOf(text.substr(0, length)), "none") << length;
    }
    EXPECT_EQ(ErrorOf(text), "none");
}

}  // namespace
}  // namespace qel::host::json
