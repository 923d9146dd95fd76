// Every operation of the family, with each of its allocations failing in turn. A frame that fails is, for the frames
// behind it, as if it had not been.

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/spatial/support.hpp"
#include "tests/support/allocation_failures.hpp"
#include "tests/support/failing_frame.hpp"

namespace qel::tests::spatial {
namespace {

/// Does not fit into a short string.
std::string const Long = "a name that does not fit into a short string";

/// Where some objects stand from frame to frame, '.' for nowhere, and whether the frame has its zone, and which.
struct Scene {
    std::vector<std::string> objects;
    std::string zones;
    std::function<std::shared_ptr<meta::data::Zone>(char)> makeZone;
};

std::shared_ptr<meta::data::Zone> SquareOrNone(char zone) { return zone == 's' ? Square() : nullptr; }

/// An upright line, one with a bend in it, and one with many.
std::shared_ptr<meta::data::Zone> LineOf(char zone) {
    std::vector<Point> points{{0.45, 1.0}, {0.45, 0.0}};
    if (zone == 'b') {
        points.push_back({0.0, 0.0});
    }
    for (int more = 0; zone == 'm' && more < 10; ++more) {
        points.push_back({0.45 - more / 20.0, more % 2 / 20.0});
    }
    return zone == '.' ? nullptr : std::make_shared<meta::data::Zone>(1, "line", points, meta::data::Zone::Shape::Line);
}

Scene const InSquare{{"..oiiiooi.iioo", "iiiiii.iiiiiii", "ooi.ioioioioio", "....iiii..iii.", "roroioroioroio"},
                     "ssssss.sssssss",
                     SquareOrNone};
Scene const InPicture{{"..012345678765", "01234567..0123", "ooioioi.ioioio", "....0246..246.", "roroioroioroio"},
                      "ssssss.sssssss",
                      SquareOrNone};
Scene const AtLine{{"..olrrooli.oor", "oooorr.rrooooo", "oorooorororoio", "....rrrr..oor.", "roroioroioroio"},
                   "llllbbb.bbmmml",
                   LineOf};

std::unique_ptr<meta::Meta> MakeFrame(Scene const& scene, std::size_t number, meta::Timestamp time) {
    auto frame = std::make_unique<meta::Meta>(time);
    if (auto zone = scene.makeZone(scene.zones[number])) {
        frame->Append(std::move(zone));
    }
    unsigned int id = 0;
    for (auto const& places : scene.objects) {
        ++id;
        if (char const place = places[number]; place != '.') {
            frame->Append(Standing(id, PlaceOf(place)));
        }
    }
    return frame;
}

/// A scene with 100 ms from frame to frame; each may come again a millisecond later.
FailingFrame::Frames MakeFrames(Scene const& scene, bool again) {
    FailingFrame::Frames frames;
    for (std::size_t number = 0; number < scene.zones.size(); ++number) {
        for (int later = 0; later <= (again ? 1 : 0); ++later) {
            frames.push_back(MakeFrame(scene, number, At(static_cast<std::int64_t>(number * 100) + later)));
        }
    }
    return frames;
}

struct Type {
    std::string name;
    Settings settings;
    Scene scene;
    /// As a compound, whose members may have seen the frame: what they have seen shows from the second of two equal
    /// frames on.
    bool maySee = false;

    friend std::ostream& operator<<(std::ostream& stream, Type const& type) { return stream << type.name; }
};

std::vector<Type> Types() {
    auto const reset = Time("hold_off", 100);
    return {
        {"Count", {Number("minimum", 3), Time("hold_on", 100), reset}, InSquare},
        {"Direction", {Real("heading", 180), Real("tolerance", 90), Time("window", 200), reset}, InPicture},
        {"Dwell", {Time("duration", 150), reset}, InSquare, true},
        {"Enter", {Time("settle", 0), Flag("by_path", true)}, InSquare},
        {"Exit", {Time("settle", 50)}, InSquare},
        {"LineCross", {Time("settle", 0)}, AtLine},
        {"Presence", {Time("hold_on", 100), reset}, InSquare},
        {"Speed", {Real("minimum", 0.1), Time("window", 200), reset}, InPicture},
        {"Stopped", {Time("duration", 150), reset}, InSquare},
    };
}

std::vector<Operation> FramesOf(Type const& type) {
    std::vector<Operation> operations;
    for (std::size_t at = 0; at < type.scene.zones.size(); ++at) {
        std::size_t const number = type.maySee ? 2 * at : at;
        auto const make = [=] {
            return std::make_shared<FailingFrame>(MakeRule(type.name, type.settings),
                                                  MakeFrames(type.scene, type.maySee), number,
                                                  [=](observable::Observable& rule, std::size_t next) {
                                                      rule.SetName(next < number ? Long : Long + " and another one");
                                                  });
        };
        std::string const name = "frame " + std::to_string(at);
        auto operation = type.maySee ? SeenFrame(name, make) : UnseenFrame(name, make);
        // Without its zone a rule of paths forgets, and that is all.
        operation.allocates =
            type.scene.zones[at] != '.' || (type.name != "Enter" && type.name != "Exit" && type.name != "LineCross");
        operations.push_back(std::move(operation));
    }
    return operations;
}

/// A value that a setting takes and has not.
std::shared_ptr<object::Object const> AnotherValue(property::Schema const& schema) {
    auto const value = schema.GetPrototype()->GetObject();
    if (value->Is<object::Bool>()) {
        return std::make_shared<object::Bool>(!value->As<object::Bool>().Get());
    }
    if (value->Is<object::UInt32>()) {
        return std::make_shared<object::UInt32>(value->As<object::UInt32>().Get() / 2);
    }
    if (value->Is<object::Double>()) {
        return std::make_shared<object::Double>(0.5);
    }
    if (value->Is<object::Milliseconds>()) {
        return std::make_shared<object::Milliseconds>(std::chrono::milliseconds(77));
    }
    return std::make_shared<object::String>(schema.GetChoices().empty() ? Long + ", " + Long
                                                                        : schema.GetChoices().back());
}

std::vector<Operation> SettingsOf(Type const& type) {
    auto const schemas = SchemasOf(*MakeRule(type.name));
    std::vector<Operation> operations{
        Making(
            "making",
            [name = "qel.observable.spatial." + type.name] {
                return observable::Observable::Make(hash::MurmurThree32::MakeData(name.c_str()));
            },
            [](auto const& rule) { return rule->GetName(); }),
        Making(
            "listing the settings", [rule = MakeRule(type.name)] { return SchemasOf(*rule); },
            [](auto const& listed) { return Join(DescribeSettings(listed)); }),
        Refusal<std::invalid_argument>("refusing an anchor", [=] {
            auto const property = BindSetting(schemas, MakeRule(type.name), "anchor");
            auto const value = std::make_shared<object::String>(Long);
            return Trial{[=] { property->Set(*value); }, [=] { return ValueText(*property->GetObject()); }};
        })};
    for (auto const& schema : schemas) {
        auto const value = AnotherValue(schema);
        operations.push_back(
            {"setting " + schema.GetName(),
             [=] {
                 auto const property = BindSetting(schemas, MakeRule(type.name), schema.GetName());
                 return Trial{[=] { property->Set(*value); }, [=] { return ValueText(*property->GetObject()); }};
             },
             value->Is<object::String>() && schema.GetChoices().empty()});
    }
    return operations;
}

class SpatialAllocationFailuresTest : public testing::TestWithParam<Type> {
protected:
    static void ExpectToSurvive(std::vector<Operation> const& operations) {
        for (auto const& operation : operations) {
            SCOPED_TRACE(operation.name);
            ExpectToSurviveLackOfMemory(operation);
        }
    }
};

TEST_P(SpatialAllocationFailuresTest, AreSurvivedInEveryFrame) { ExpectToSurvive(FramesOf(GetParam())); }

TEST_P(SpatialAllocationFailuresTest, AreSurvivedByTheSettings) { ExpectToSurvive(SettingsOf(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Types, SpatialAllocationFailuresTest, testing::ValuesIn(Types()),
                         [](auto const& tested) { return tested.param.name; });

}  // namespace
}  // namespace qel::tests::spatial
