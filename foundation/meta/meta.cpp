#include "foundation/meta/meta.hpp"

#include <algorithm>
#include <utility>

namespace qel::meta {

namespace {

/// A copy of a copy of a copy ... of a frame, each with items of its own, is joined into one list at this length: walks
/// and look-ups go through every part.
constexpr std::size_t MostParts = 16;

std::shared_ptr<detail::Contents> Inherit(std::shared_ptr<detail::Contents> const& from, std::size_t ownCount) {
    auto copy = std::make_shared<detail::Contents>();
    std::size_t const count = from->inheritedCount + ownCount;
    if (from->inherited.size() == MostParts) {
        auto joined = std::make_shared<detail::Chunk>();
        for (std::size_t position = 0; position < count; ++position) {
            joined->Append(position, from->At(position));
        }
        copy->inherited.push_back({std::move(joined), count});
    } else {
        copy->inherited.reserve(from->inherited.size() + 1);
        copy->inherited = from->inherited;
        if (ownCount > 0) {
            copy->inherited.push_back({std::shared_ptr<detail::Chunk const>(from, &from->own), ownCount});
        }
    }
    copy->inheritedCount = count;
    return copy;
}

/// Whether no walk, look-up or copy still reads the contents.
bool IsUnshared(std::shared_ptr<detail::Contents> const& contents) {
    if (contents.use_count() != 1) {
        return false;
    }
    // use_count() alone does not order what follows behind the reads of another thread that has just let go; taking a
    // reference, which acquires, does.
    [[maybe_unused]] auto const held = contents;
    return true;
}

}  // namespace

Meta::Meta(Timestamp timestamp) : timestamp(timestamp), contents(std::make_shared<detail::Contents>()) {}

Meta::Meta(Meta const& other) : timestamp(other.timestamp) {
    auto const held = other.GetLock();
    contents = Inherit(other.contents, other.ownCount);
}

Meta::~Meta() = default;

Meta::Iterator Meta::Begin() const {
    auto const held = GetLock();
    return {contents, Count()};
}

Meta::Iterator Meta::End() const { return {}; }

void Meta::Append(std::shared_ptr<object::Object> item) const {
    auto const held = GetLock();
    contents->own.Append(ownCount, std::move(item));
    ++ownCount;
}

void Meta::RemoveIf(std::function<bool(std::shared_ptr<object::Object> const&)> const& predicate) const {
    auto const held = GetLock();
    std::size_t const count = Count();
    detail::Positions gone;
    for (std::size_t position = 0; position < count;) {
        auto const run = contents->RunFrom(position);
        for (auto const& item : run.first(std::min(run.size(), count - position))) {
            if (predicate(item)) {
                gone.push_back(position);
            }
            ++position;
        }
    }
    if (gone.empty()) {
        return;
    }
    if (contents->inheritedCount == 0 && IsUnshared(contents)) {
        contents->own.Remove(ownCount, gone);
        ownCount -= gone.size();
        return;
    }
    auto rest = std::make_shared<detail::Contents>();
    std::size_t kept = 0;
    auto next = gone.begin();
    for (std::size_t position = 0; position < count; ++position) {
        if (next != gone.end() && *next == position) {
            ++next;
        } else {
            rest->own.Append(kept++, contents->At(position));
        }
    }
    contents = std::move(rest);
    ownCount = kept;
}

detail::LookUpCounts Meta::CountLookUps() const {
    auto const held = GetLock();
    auto counts = contents->own.CountLookUps();
    for (auto const& part : contents->inherited) {
        counts += part.chunk->CountLookUps();
    }
    return counts;
}

std::unique_lock<std::recursive_mutex> Meta::GetLock() const { return std::unique_lock<std::recursive_mutex>(lock); }

Meta::NamedEvents Meta::FindEvents(unsigned int observable) const {
    NamedEvents found;
    FindEvents(observable, found);
    return found;
}

void Meta::FindEvents(unsigned int observable, NamedEvents& found) const {
    auto const held = GetLock();
    found.contents = contents;
    found.events.clear();
    for (auto const& part : contents->inherited) {
        part.chunk->FindEvents(observable, part.count, found.events);
    }
    contents->own.FindEvents(observable, ownCount, found.events);
}

bool Meta::HasEvents(unsigned int observable) const {
    auto const held = GetLock();
    return contents->own.HasEvents(observable, ownCount) ||
           std::any_of(contents->inherited.begin(), contents->inherited.end(),
                       [observable](auto const& part) { return part.chunk->HasEvents(observable, part.count); });
}

}  // namespace qel::meta
