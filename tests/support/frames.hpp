#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/meta.hpp"

namespace qel::tests {

/// The time so many milliseconds after the epoch.
inline meta::Timestamp At(std::int64_t milliseconds) {
    return meta::Timestamp(std::chrono::milliseconds(milliseconds));
}

inline std::shared_ptr<meta::data::Object> Person(unsigned int id) {
    return std::make_shared<meta::data::Object>(id, "person");
}
inline std::shared_ptr<meta::data::Zone> Zone(unsigned int id) { return std::make_shared<meta::data::Zone>(id); }
inline std::shared_ptr<meta::data::Channel> Channel(unsigned int id, std::string name = "camera") {
    return std::make_shared<meta::data::Channel>(id, std::move(name));
}
/// The record that names an observable.
inline std::shared_ptr<meta::data::Observable> Record(unsigned int id) {
    return std::make_shared<meta::data::Observable>(id);
}

/// An event of the test itself, new or with a given id.
inline std::shared_ptr<meta::data::Event> MakeEvent(meta::Timestamp start, meta::Timestamp end,
                                                    meta::data::Event::Objects objects) {
    return std::make_shared<meta::data::Event>("test", "scripted", "tests", start, end, std::move(objects));
}
inline std::shared_ptr<meta::data::Event> MakeEvent(unsigned int id, meta::Timestamp start, meta::Timestamp end,
                                                    meta::data::Event::Objects objects) {
    return std::make_shared<meta::data::Event>(id, "test", "scripted", "tests", start, end, std::move(objects));
}

/// The items of a frame, as they stand now.
inline std::vector<std::shared_ptr<object::Object>> Items(meta::Meta const& frame) {
    return {frame.Begin(), frame.End()};
}

}  // namespace qel::tests
