#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/zone.hpp"
#include "observable/export.hpp"

namespace qel::observable {

/// Adds the zones of those events that hold the tracked object with the id `target`. A zone whose id is in `zones`
/// already is left out. Nulls and other items are passed over; throws what copying a zone throws. Any thread.
QEL_OBSERVABLE_EXPORT void AddEventBufferZonesToList(std::set<meta::data::Zone>& zones,
                                                     std::vector<meta::data::Event> const& buffer,
                                                     std::uint32_t const& target);

}  // namespace qel::observable
