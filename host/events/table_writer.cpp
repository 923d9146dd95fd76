#include "host/events/table_writer.hpp"

#include <string>

#include <fmt/format.h>

#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/views.hpp"
#include "host/rules/mistake.hpp"
#include "host/stream/timestamp.hpp"

namespace qel::host {

namespace {

constexpr auto Row = "{:<24}  {:>7}  {:>5}  {:<6}  {:<24}  {:<20}  {}\n";

}  // namespace

void TableWriter::Write(EventChange const& change) {
    if (!hasHeading) {
        output.Write(fmt::format(Row, "TIME", "CHANNEL", "EVENT", "PHASE", "RULE", "OBJECTS", "ZONES"));
        hasHeading = true;
    }
    std::string objects;
    for (meta::data::Object const& object : meta::ObjectsOf(change.event)) {
        objects += objects.empty() ? "" : ", ";
        objects += fmt::format("{}", object.GetId());
        if (!object.GetClassification().empty()) {
            objects += ' ';
            objects += Excerpt(object.GetClassification());
        }
    }
    std::string zones;
    for (meta::data::Zone const& zone : meta::ItemsOf<meta::data::Zone>(change.event)) {
        zones += zones.empty() ? "" : ", ";
        zones += zone.GetName().empty() ? fmt::format("{}", zone.GetId()) : Excerpt(zone.GetName());
    }
    output.Write(fmt::format(Row, FormatTimestamp(change.time), change.channel, change.number, NameOf(change.phase),
                             Excerpt(change.rule), objects, zones));
}

}  // namespace qel::host
