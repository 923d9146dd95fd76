// The first byte picks a setting of any type, the rest is any text for it. What the text means, and the message when it
// is refused, is compared with a plain reading of the rules. A refused text changes nothing; an accepted value that is
// written out is read again as the same value, and is what the observable then has, its other settings being as before.

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/object/bad_cast.hpp"
#include "foundation/object/parse.hpp"
#include "foundation/object/primitive.hpp"
#include "foundation/property/primitive.hpp"
#include "foundation/property/schema.hpp"
#include "foundation/type/bad_cast.hpp"
#include "observable/observable.hpp"
#include "observable/plugin/loader.hpp"
#include "observable/registry/get.hpp"

using namespace qel;
using std::chrono::milliseconds;

namespace {

void Expect(bool holds, property::Property const& property, std::string const& text, std::string const& what) {
    if (!holds) {
        std::cerr << "setting '" << property.GetName() << "' from '" << text << "': " << what << '\n';
        std::abort();
    }
}

void ExpectError(std::string const& error, std::string const& expected, property::Property const& property,
                 std::string const& text) {
    // A message is read up to its first zero byte.
    Expect(error == expected.c_str(), property, text, error + "\nexpected: " + expected);
}

/// The kind of what `call` throws and its message; empty when it throws nothing.
template <class Call>
std::string ErrorOf(Call const& call) {
    try {
        call();
    } catch (std::invalid_argument const& error) {
        return std::string("invalid argument: ") + error.what();
    } catch (std::out_of_range const& error) {
        return std::string("out of range: ") + error.what();
    } catch (object::BadCast const& error) {
        return std::string("bad cast of an object: ") + error.what();
    } catch (type::BadCast const& error) {
        return std::string("bad cast: ") + error.what();
    }
    return {};
}

// ---- What a text means ----------------------------------------------------------------------------------------------

template <class T>
struct Reading {
    T value;
    std::string error;
};

std::string_view WithoutBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
}

bool TakeSign(std::string_view& text) {
    bool const negative = text.starts_with('-');
    text.remove_prefix(negative || text.starts_with('+') ? 1 : 0);
    return negative;
}

struct Integer {
    bool isThere;
    bool negative;
    bool overflows;  // 64 bits
    std::uint64_t magnitude;
};

Integer ReadInteger(std::string_view text) {
    text = WithoutBlanks(text);
    Integer integer{false, TakeSign(text), false, 0};
    for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; text.remove_prefix(1)) {
        __extension__ using Wide = unsigned __int128;
        Wide const next = Wide(integer.magnitude) * 10 + static_cast<unsigned>(text.front() - '0');
        integer.isThere = true;
        integer.overflows = integer.overflows || next > std::numeric_limits<std::uint64_t>::max();
        integer.magnitude = static_cast<std::uint64_t>(next);
    }
    return integer;
}

template <class T>
Reading<T> ReadUnsigned(std::string const& text) {
    auto const integer = ReadInteger(text);
    if (!integer.isThere) {
        return {{}, "invalid argument: Failed to parse the string into an unsigned integer: " + text};
    }
    if (integer.overflows) {
        return {{}, "out of range: The string was out of the range of an unsigned integer: " + text};
    }
    std::uint64_t const value = integer.negative ? 0 - integer.magnitude : integer.magnitude;
    if (value > std::numeric_limits<T>::max()) {
        return {{},
                "out of range: The parsed value '" + std::to_string(value) +
                    "' was out of range of the integer type: 0 to " + std::to_string(std::numeric_limits<T>::max())};
    }
    return {static_cast<T>(value), {}};
}

Reading<double> ReadDouble(std::string const& text) {
    std::string_view rest = WithoutBlanks(text);
    bool const negative = TakeSign(rest);
    bool const isHex = (rest.starts_with("0x") || rest.starts_with("0X")) &&
                       rest.find_first_of("0123456789abcdefABCDEF", 2) == (rest.substr(2).starts_with('.') ? 3U : 2U);
    rest.remove_prefix(isHex ? 2 : 0);
    double value = 0;
    auto const format = isHex ? std::chars_format::hex : std::chars_format::general;
    // A second sign is none: from_chars takes a minus.
    auto error = rest.starts_with('-') ? std::errc::invalid_argument
                                       : std::from_chars(rest.data(), rest.data() + rest.size(), value, format).ec;
    if (error == std::errc::invalid_argument) {
        return {{},
                "invalid argument: Failed to parse the string into a double-precision floating point number: " + text};
    }
    if (std::fpclassify(value) == FP_SUBNORMAL || std::isnan(value)) {
        // Whether a number is too small when its last bits are lost, and whether the digits in the brackets of a nan(0)
        // may be too many, is left to the C library.
        errno = 0;
        std::strtod(text.c_str(), nullptr);
        error = errno == ERANGE ? std::errc::result_out_of_range : std::errc();
    }
    if (error == std::errc::result_out_of_range) {
        return {{},
                "out of range: The string was out of the range of a double-precision floating pointer number: " + text};
    }
    return {negative ? -value : value, {}};
}

Reading<milliseconds> ReadMilliseconds(std::string const& text) {
    auto const integer = ReadInteger(text);
    if (!integer.isThere) {
        return {{}, "invalid argument: Failed to parse the string into a signed integer: " + text};
    }
    constexpr std::uint64_t Most = std::numeric_limits<std::int64_t>::max();
    if (integer.overflows || integer.magnitude > Most + (integer.negative ? 1 : 0)) {
        return {{}, "out of range: The string was out of the range of a signed integer: " + text};
    }
    std::uint64_t const value = integer.negative ? 0 - integer.magnitude : integer.magnitude;
    return {milliseconds(static_cast<std::int64_t>(value)), {}};
}

template <class T>
Reading<T> Read(std::string const& text, std::string const& holder = "qel.object.String") {
    if constexpr (std::is_same_v<T, bool>) {
        return {
            {},
            "bad cast of an object: Failed to cast the runtime object from '" + holder + "' to a 'qel.property.Bool'"};
    } else if constexpr (std::is_same_v<T, std::string>) {
        return {text, {}};
    } else if constexpr (std::is_same_v<T, double>) {
        return ReadDouble(text);
    } else if constexpr (std::is_same_v<T, milliseconds>) {
        return ReadMilliseconds(text);
    } else {
        return ReadUnsigned<T>(text);
    }
}

std::string Decimal(double value) {
    std::array<char, 400> text{};  // the longest number has 309 digits before the point
    std::snprintf(text.data(), text.size(), "%f", value);
    return text.data();
}
template <class T>
std::string Decimal(T value) {
    return std::to_string(value);
}
std::string Decimal(milliseconds value) { return std::to_string(value.count()); }

template <class T>
std::string RangeError(property::Primitive<T> const& property, T const& value) {
    if constexpr (property::Ranged<T>) {
        auto const& range = property.GetRange();
        if (value < range.minimum || value > range.maximum) {
            return "out of range: The '" + property.GetName() + "' property only accepts values in the range of " +
                   Decimal(range.minimum) + " to " + Decimal(range.maximum) + ": " + Decimal(value);
        }
    }
    return {};
}

// ---- Values ---------------------------------------------------------------------------------------------------------

/// A text that is read as this very value. Every bit of a number counts, but one NaN is like another.
std::string Written(double value) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%a", std::isnan(value) ? std::abs(value) : value);
    return text.data();
}
std::string Written(std::string const& value) { return value; }
std::string Written(bool value) { return value ? "true" : "false"; }
template <class T>
std::string Written(T const& value) {
    return Decimal(value);
}

/// Calls `visit` with the property as what it is.
template <class Visit>
void VisitProperty(property::Property& property, Visit const& visit) {
    Expect(property::VisitPrimitive(property, visit), property, "", "a value of a type that nobody knows");
}

std::string WrittenObject(property::Property& property) {
    std::string text;
    VisitProperty(property, [&]<class T>(property::Primitive<T> const&) {
        text = Written(property.GetObject()->template As<object::Primitive<T, object::Object>>().Get());
    });
    return text;
}

// ---- An observable and its settings ---------------------------------------------------------------------------------

class Instance {
public:
    explicit Instance(observable::registry::Info const& info)
        : schemas(info.GetSchemas()), observable(observable::Observable::Make(info.GetTypeNameId())) {
        for (auto const& schema : schemas) {
            settings.push_back(schema.MakeProperty());
            schema.Bind(settings.back(), observable, property::context::Direction::ToTarget);
        }
    }

    void Try(std::size_t at, std::string const& text) {
        auto expected = Values();
        VisitProperty(*settings[at], [&]<class T>(property::Primitive<T>& setting) {
            TryPlain<T>(setting, text);
            RefuseText(setting, text);
            T const value = Unbound<T>(schemas[at], text);
            ExpectError(ErrorOf([&] { setting.Set(object::Primitive<T, object::Object>(value)); }),
                        ChoiceError(schemas[at], value), setting, text);
            if (ChoiceError(schemas[at], value).empty()) {
                expected[at] = Written(value);
            }
        });
        auto const values = Values();
        for (std::size_t other = 0; other < values.size(); ++other) {
            Expect(values[other] == expected[other], *settings[at], text,
                   schemas[other].GetName() + " is " + values[other] + "\nexpected: " + expected[other]);
        }
    }

private:
    std::vector<std::string> Values() const {
        std::vector<std::string> values;
        for (auto const& setting : settings) {
            values.push_back(WrittenObject(*setting));
        }
        return values;
    }

    /// A bound number is not set from a text, whatever the text is.
    template <class T>
    void RefuseText(property::Primitive<T>& setting, std::string const& text) const {
        if constexpr (!std::is_same_v<T, std::string>) {
            auto const value = Written(setting.Get());
            auto const host = WrittenObject(setting);
            auto reading = Read<T>(text);
            if (reading.error.empty()) {
                reading.error = RangeError(setting, reading.value);
            }
            if (reading.error.empty()) {
                reading.error =
                    "bad cast: Cannot set external property with a 'qel.object.String'. Make sure to use the same "
                    "type as the property";
            }
            ExpectError(ErrorOf([&] { setting.Set(object::String(text)); }), reading.error, setting, text);
            Expect(Written(setting.Get()) == value, setting, text, "a refused text has changed the property");
            Expect(WrittenObject(setting) == host, setting, text, "a refused text has changed the host");
        }
    }

    /// What an object without a range makes of the text.
    template <class T>
    static void TryPlain(property::Property const& property, std::string const& text) {
        if constexpr (object::Parsable<T>) {
            object::Primitive<T, object::Object> plain{T()};
            auto const reading = Read<T>(text);
            ExpectError(ErrorOf([&] { plain.Set(object::String(text)); }), reading.error, property, text);
            Expect(Written(plain.Get()) == Written(reading.error.empty() ? reading.value : T()), property, text,
                   "is an object of " + Written(plain.Get()));
        }
    }

    /// What a property that is not bound makes of the text.
    template <class T>
    static T Unbound(property::Schema const& schema, std::string const& text) {
        auto const made = schema.MakeProperty();
        auto& property = made->template As<property::Primitive<T>>();
        auto const before = Written(property.Get());
        object::String const asObject(text);
        property::Primitive<std::string> const asProperty("text", text, "");
        Reading<T> expected;
        for (object::Object const* const holder :
             std::initializer_list<object::Object const*>{&asProperty, &asObject}) {
            expected = Read<T>(text, object::Object::TypeName(holder->GetTypeNameId()));
            if (expected.error.empty()) {
                expected.error = RangeError(property, expected.value);
            }
            ExpectError(ErrorOf([&] { property.Set(*holder); }), expected.error, property, text);
        }
        if (!expected.error.empty()) {
            Expect(Written(property.Get()) == before, property, text, "a refused text has changed the value");
            return property.Get();
        }
        auto const written = Written(property.Get());
        Expect(written == Written(expected.value), property, text, "is read as " + written);
        auto const again = schema.MakeProperty();
        again->Set(object::String(written));
        Expect(WrittenObject(*again) == written, property, text, "is not the same when written out and read again");
        return property.Get();
    }

    template <class T>
    static std::string ChoiceError(property::Schema const& schema, T const& value) {
        if constexpr (std::is_same_v<T, std::string>) {
            auto const& choices = schema.GetChoices();
            if (!choices.empty() && std::find(choices.begin(), choices.end(), value) == choices.end()) {
                std::string error = "invalid argument: The " + schema.GetName() + " must be ";
                for (std::size_t at = 0; at < choices.size(); ++at) {
                    error += (at == 0 ? "" : at + 1 == choices.size() ? " or " : ", ") + choices[at];
                }
                return error + ": " + value;
            }
        }
        return {};
    }

    std::vector<property::Schema> const schemas;
    std::shared_ptr<observable::Observable> const observable;
    std::vector<std::shared_ptr<property::Property>> settings;
};

struct Setting {
    observable::registry::Info type;
    std::size_t place;
};

/// Of all types, those of the library and of the plug-ins beside it, in the order of their names.
std::vector<Setting> AllSettings() {
    observable::plugin::Loader const plugins;
    auto const registered = observable::registry::Get().GetMap();
    std::map<std::string, observable::registry::Info> types;
    for (auto const& [id, info] : *registered) {
        types.emplace(info.GetTypeName(), info);
    }
    std::vector<Setting> settings;
    for (auto const& [name, info] : types) {
        for (std::size_t place = 0; place < info.GetSchemas().size(); ++place) {
            settings.push_back({info, place});
        }
    }
    return settings;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static auto const settings = AllSettings();
    if (size == 0) {
        return 0;  // no byte that picks a setting
    }
    auto const& [type, place] = settings[data[0] % settings.size()];
    Instance(type).Try(place, std::string(data + 1, data + size));
    return 0;
}
