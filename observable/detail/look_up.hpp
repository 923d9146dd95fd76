#pragma once

#include <cstdint>

#include "foundation/meta/meta.hpp"
#include "observable/observable.hpp"

namespace qel::observable::detail {

/// The events of a frame that name an input, none for `UnsetId`. They are put into memory that the caller keeps from
/// frame to frame, and live as long as the look-up.
class LookUp {
public:
    using Found = meta::Meta::NamedEvents;

    LookUp(Found& found, meta::Meta const& frame, std::uint32_t input) : LookUp(found) {
        if (input != UnsetId) {
            frame.FindEvents(input, found);
        }
    }
    LookUp(LookUp const&) = delete;
    LookUp& operator=(LookUp const&) = delete;
    ~LookUp() {
        found.events.clear();
        found.contents.reset();
    }

    meta::detail::FoundEvents const& GetEvents() const { return found.events; }

private:
    explicit LookUp(Found& found) : found(found) {}

    Found& found;
};

}  // namespace qel::observable::detail
