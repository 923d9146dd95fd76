#include "observable/detail/continuation.hpp"

#include <utility>

namespace qel::observable::detail {

using meta::data::Event;

std::shared_ptr<Event> StartOrContinue(Block& block, Event const* last, std::shared_ptr<Event::Texts const> texts,
                                       meta::Timestamp now, Event::Objects objects) {
    return last == nullptr
               ? block.Make<Event>(std::move(texts), now, now, std::move(objects))
               : block.Make<Event>(last->GetId(), std::move(texts), last->GetStart(), now, std::move(objects));
}

}  // namespace qel::observable::detail
