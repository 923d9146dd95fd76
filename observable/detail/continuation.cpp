#include "observable/detail/continuation.hpp"

#include <utility>

namespace qel::observable::detail {

using meta::data::Event;

std::shared_ptr<Event> StartOrContinue(Event const* last, std::shared_ptr<Event::Texts const> texts,
                                       meta::Timestamp now, Event::Objects objects) {
    return last == nullptr
               ? std::make_shared<Event>(std::move(texts), now, now, std::move(objects))
               : std::make_shared<Event>(last->GetId(), std::move(texts), last->GetStart(), now, std::move(objects));
}

}  // namespace qel::observable::detail
