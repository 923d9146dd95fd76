#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/meta/views.hpp"
#include "foundation/object/primitive.hpp"
#include "foundation/system/library_path.hpp"
#include "foundation/system/plugin.hpp"
#include "observable/observable.hpp"
#include "observable/registry/get.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/settings.hpp"

namespace qel::tests::spatial {

using meta::data::Point;

/// A setting's name and value, as a host gives them.
struct Setting {
    std::string name;
    std::shared_ptr<object::Object const> value;
};
using Settings = std::vector<Setting>;

inline Setting Text(std::string name, std::string value) {
    return {std::move(name), std::make_shared<object::String>(std::move(value))};
}
inline Setting Number(std::string name, std::uint32_t value) {
    return {std::move(name), std::make_shared<object::UInt32>(value)};
}
inline Setting Real(std::string name, double value) {
    return {std::move(name), std::make_shared<object::Double>(value)};
}
inline Setting Flag(std::string name, bool value) { return {std::move(name), std::make_shared<object::Bool>(value)}; }
inline Setting Time(std::string name, std::int64_t milliseconds) {
    return {std::move(name), std::make_shared<object::Milliseconds>(std::chrono::milliseconds(milliseconds))};
}

inline std::vector<property::Schema> SchemasOf(observable::Observable const& rule) {
    return observable::registry::Get().GetMap()->at(rule.GetTypeNameId()).GetSchemas();
}

inline void Set(std::shared_ptr<observable::Observable> const& rule, Setting const& setting) {
    BindSetting(SchemasOf(*rule), rule, setting.name)->Set(*setting.value);
}

/// A rule of the family, made and set as a host does that knows nothing but the names; about zone 1 unless told
/// otherwise.
inline std::shared_ptr<observable::Observable> MakeRule(std::string const& type, Settings const& settings = {}) {
    static bool const loaded = [] {
        system::plugin::LoadAll("qel_observable_",
                                {boost::filesystem::path(system::GetLibraryPath("qel_observable")).parent_path()});
        return true;
    }();
    static_cast<void>(loaded);
    auto rule = observable::Observable::Make(hash::MurmurThree32::MakeData(("qel.observable.spatial." + type).c_str()));
    if (!rule) {
        throw std::logic_error("No such type: " + type);
    }
    Set(rule, Number("zone", 1));
    for (auto const& setting : settings) {
        Set(rule, setting);
    }
    return rule;
}

/// An object whose bottom centre is at the point.
inline std::shared_ptr<meta::data::Object> Standing(unsigned int id, Point at, std::string classification = "person",
                                                    double confidence = 1.0) {
    return std::make_shared<meta::data::Object>(id, std::move(classification),
                                                meta::data::Box{at.x - 0.125, at.y - 0.25, 0.25, 0.25}, confidence);
}

/// The middle of the picture.
inline std::shared_ptr<meta::data::Zone> Square(unsigned int id = 1) {
    return std::make_shared<meta::data::Zone>(
        id, "square", std::vector<Point>{{0.25, 0.25}, {0.75, 0.25}, {0.75, 0.75}, {0.25, 0.75}});
}

/// Where an object of a timeline stands. In relation to the square: 'i' inside, 'e' on an edge, 'c' on a corner, 'o'
/// outside to the left, 'r' outside to the right. In relation to the line x = 0.5, walked upwards: 'o' and 'l' on its
/// left, 'r' on its right, 'i' on the line. The digits are inside the square, from '0' on its upper edge to '8' on its
/// lower one, each a sixteenth of the picture's height below the one before.
inline Point PlaceOf(char letter) {
    if (letter >= '0' && letter <= '8') {
        return {0.5, 0.25 + (letter - '0') / 16.0};
    }
    static std::map<char, Point> const places{{'i', {0.5, 0.5}}, {'e', {0.25, 0.5}}, {'c', {0.25, 0.25}},
                                              {'o', {0.1, 0.5}}, {'l', {0.4, 0.5}},  {'r', {0.9, 0.5}}};
    return places.at(letter);
}

/// What a rule reports, frame by frame, as a letter per event id; '-' for nothing.
class Player {
public:
    explicit Player(std::shared_ptr<observable::Observable> rule, std::shared_ptr<meta::data::Zone> zone = Square())
        : rule(std::move(rule)), zone(std::move(zone)) {}

    std::string Play(meta::Timestamp time, std::vector<std::shared_ptr<meta::data::Object>> const& objects) {
        meta::Meta const frame(time);
        if (zone) {
            frame.Append(zone);
        }
        for (auto const& object : objects) {
            frame.Append(object);
        }
        last = rule->Process(frame);
        std::string word;
        for (auto const& event : last) {
            word += describe.NameOf(event->As<meta::data::Event>());
        }
        return word.empty() ? "-" : word;
    }

    /// One object, 100 ms from frame to frame or as told: a letter per frame for where it stands, '.' for a frame
    /// without it, '_' for no frame at all.
    std::string Play(std::string const& places, std::int64_t step = 100) {
        std::string words;
        for (char const place : places) {
            if (place != '_') {
                words += Play(At(time), place == '.' ? std::vector<std::shared_ptr<meta::data::Object>>{}
                                                     : std::vector{Standing(7, PlaceOf(place))});
            }
            time += step;
        }
        return words;
    }

    std::vector<std::shared_ptr<object::Object>> const& GetLast() const { return last; }

    /// The events of the last frame, whole.
    std::vector<std::string> Describe() { return describe.Each(last); }

    /// When the events of the last frame start and end, in milliseconds.
    std::string Spans() {
        std::string text;
        for (auto const& each : last) {
            auto const& event = each->As<meta::data::Event>();
            auto const milliseconds = [](meta::Timestamp at) {
                return std::to_string(std::chrono::floor<std::chrono::milliseconds>(at.time_since_epoch()).count());
            };
            text += (text.empty() ? "" : ", ") + describe.NameOf(event) + ' ' + milliseconds(event.GetStart()) + ".." +
                    milliseconds(event.GetEnd());
        }
        return text;
    }

    std::shared_ptr<observable::Observable> rule;
    std::shared_ptr<meta::data::Zone> zone;
    std::int64_t time = 0;

private:
    Describer describe;
    std::vector<std::shared_ptr<object::Object>> last;
};

/// One line of a table: what an object does, and what the rule says to it.
struct Timeline {
    char const* name;
    Settings settings;
    char const* places;
    char const* reported;
};

inline std::string NameOf(testing::TestParamInfo<Timeline> const& info) { return info.param.name; }

}  // namespace qel::tests::spatial
