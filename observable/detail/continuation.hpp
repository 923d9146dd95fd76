#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"
#include "observable/detail/block.hpp"

namespace qel::observable::detail {

/// A notifier puts the frame's channel into the object list of an event; room for it is made in advance.
inline constexpr std::size_t RoomForChannel = 1;

/// The event that reports a condition up to `now`, made in the block: it goes on with `last`, or is a new occurrence
/// when that is null.
inline std::shared_ptr<meta::data::Event> StartOrContinue(Block& block, meta::data::Event const* last,
                                                          std::shared_ptr<meta::data::Event::Texts const> const& texts,
                                                          meta::Timestamp now, meta::data::Event::Objects&& objects) {
    return last == nullptr
               ? block.Make<meta::data::Event>(texts, now, now, std::move(objects))
               : block.Make<meta::data::Event>(last->GetId(), texts, last->GetStart(), now, std::move(objects));
}

}  // namespace qel::observable::detail
