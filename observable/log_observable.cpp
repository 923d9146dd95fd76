#include "observable/log_observable.hpp"

#include <algorithm>

#include "foundation/logging/logger.hpp"
#include "foundation/meta/data/event.hpp"

namespace qel::observable {

namespace {

logging::Logger const Logger("qel.observable.Notifier");

bool IsNewEvent(std::shared_ptr<object::Object> const& object) {
    return object && object->Is<meta::data::Event>() && !static_cast<meta::data::Event const&>(*object).IsDuplicate();
}

}  // namespace

void LogObservable(std::vector<std::shared_ptr<object::Object>> const& generated, std::optional<unsigned int> channel,
                   unsigned int observable, std::string const& name) {
    // Counted before the logger is asked: most observables generate nothing in most frames.
    auto const count = static_cast<unsigned int>(std::count_if(generated.begin(), generated.end(), IsNewEvent));
    if (count > 0) {
        LogGenerated(count, channel, observable, name);
    }
}

void LogGenerated(unsigned int count, std::optional<unsigned int> channel, unsigned int observable,
                  std::string const& name) {
    if (channel) {
        Logger.Log(logging::Level::Info, "channel_id:%0%:rule_id:%1%: %2%: %3% Event(s) Generated", *channel,
                   observable, name, count);
    } else {
        Logger.Log(logging::Level::Info, "rule_id:%0%: %1% Event(s) Generated", observable, count);
    }
}

}  // namespace qel::observable
