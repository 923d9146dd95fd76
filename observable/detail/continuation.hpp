#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"
#include "observable/detail/block.hpp"

namespace qel::observable::detail {

/// A notifier puts the frame's channel into the object list of an event; room for it is made in advance.
inline constexpr std::size_t RoomForChannel = 1;

/// What an event that goes on keeps.
struct Occurrence {
    unsigned int id;
    meta::Timestamp start;
};

/// Of the event, if there is one.
inline std::optional<Occurrence> OccurrenceOf(meta::data::Event const* event) {
    return event == nullptr ? std::nullopt : std::optional(Occurrence{event->GetId(), event->GetStart()});
}

/// The event that reports a condition up to `now`, made in the block: it goes on with `last`, or is a new occurrence
/// where there is none.
inline std::shared_ptr<meta::data::Event> StartOrContinue(Block& block, std::optional<Occurrence> const& last,
                                                          std::shared_ptr<meta::data::Event::Texts const> const& texts,
                                                          meta::Timestamp now, meta::data::Event::Objects&& objects) {
    return last ? block.Make<meta::data::Event>(last->id, texts, last->start, now, std::move(objects))
                : block.Make<meta::data::Event>(texts, now, now, std::move(objects));
}

}  // namespace qel::observable::detail
