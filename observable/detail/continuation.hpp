#pragma once

#include <cstddef>
#include <memory>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"
#include "observable/detail/block.hpp"

namespace qel::observable::detail {

/// A notifier puts the frame's channel into the object list of an event; room for it is made in advance.
inline constexpr std::size_t RoomForChannel = 1;

/// The event that reports a condition up to `now`, made in the block: it goes on with `last`, or is a new occurrence
/// when that is null.
std::shared_ptr<meta::data::Event> StartOrContinue(Block& block, meta::data::Event const* last,
                                                   std::shared_ptr<meta::data::Event::Texts const> texts,
                                                   meta::Timestamp now, meta::data::Event::Objects objects);

}  // namespace qel::observable::detail
