#include "host/events/jsonl_writer.hpp"

#include <iterator>

#include <fmt/format.h>

#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/views.hpp"
#include "host/events/json_text.hpp"
#include "host/stream/timestamp.hpp"

namespace qel::host {

namespace {

void AppendText(std::string& line, char const* key, std::string_view text) {
    line += fmt::format(", \"{}\": ", key);
    AppendJsonText(line, text);
}

template <class Number>
void AppendNumber(std::string& line, char const* key, Number number) {
    fmt::format_to(std::back_inserter(line), ", \"{}\": {}", key, number);
}

/// `append` writes one item behind the comma.
template <class Items, class Append>
void AppendList(std::string& line, char const* key, Items const& items, Append append) {
    line += fmt::format(", \"{}\": [", key);
    char const* separator = "";
    for (auto const& item : items) {
        line += separator;
        append(item);
        separator = ", ";
    }
    line += ']';
}

}  // namespace

void JsonlWriter::Write(EventChange const& change) {
    auto const& event = change.event;
    line.clear();
    fmt::format_to(std::back_inserter(line), "{{\"phase\": \"{}\"", NameOf(change.phase));
    AppendText(line, "time", FormatTimestamp(change.time));
    AppendNumber(line, "event", change.number);
    AppendText(line, "rule", change.rule);
    if (change.ruleIndex) {
        AppendNumber(line, "rule_id", *change.ruleIndex + 1);
    }
    AppendText(line, "type", event.GetType());
    AppendText(line, "category", event.GetCategory());
    AppendNumber(line, "channel", change.channel);
    AppendText(line, "start", FormatTimestamp(event.GetStart()));
    AppendText(line, "end", FormatTimestamp(event.GetEnd()));
    AppendNumber(line, "start_ns", event.GetStart().time_since_epoch().count());
    AppendNumber(line, "end_ns", event.GetEnd().time_since_epoch().count());
    AppendList(line, "objects", meta::ObjectsOf(event), [this](meta::data::Object const& object) {
        fmt::format_to(std::back_inserter(line), "{{\"id\": {}, \"class\": ", object.GetId());
        AppendJsonText(line, object.GetClassification());
        line += '}';
    });
    AppendList(line, "zones", meta::ItemsOf<meta::data::Zone>(event),
               [this](meta::data::Zone const& zone) { fmt::format_to(std::back_inserter(line), "{}", zone.GetId()); });
    if (change.atEndOfStream) {
        line += ", \"reason\": \"end_of_stream\"";
    }
    line += "}\n";
    output.Write(line);
}

}  // namespace qel::host
