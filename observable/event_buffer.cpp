#include "observable/event_buffer.hpp"

#include "foundation/meta/views.hpp"

namespace qel::observable {

namespace {

bool Holds(meta::data::Event const& event, std::uint32_t target) {
    for (auto const& object : meta::ObjectsOf(event)) {
        if (object.GetId() == target) {
            return true;
        }
    }
    return false;
}

}  // namespace

void AddEventBufferZonesToList(std::set<meta::data::Zone>& zones, std::vector<meta::data::Event> const& buffer,
                               std::uint32_t const& target) {
    for (auto const& event : buffer) {
        if (Holds(event, target)) {
            for (auto const& zone : meta::ItemsOf<meta::data::Zone>(event)) {
                zones.insert(zone);
            }
        }
    }
}

}  // namespace qel::observable
