#include "foundation/meta/detail/chunk.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/key_changes.hpp"

namespace qel::meta::detail {

namespace {

constexpr std::uint32_t NoEntry = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t LeastEntries = 64;

}  // namespace

std::span<std::shared_ptr<object::Object> const> Chunk::RunFrom(std::size_t position) const {
    auto const place = PlaceOf(position);
    return {&blocks[place.block][place.offset], (FirstBlock << place.block) - place.offset};
}

void Chunk::Append(std::size_t count, std::shared_ptr<object::Object> item) {
    auto const place = PlaceOf(count);
    auto& block = blocks[place.block];
    if (!block) {
        block = std::make_unique<std::shared_ptr<object::Object>[]>(FirstBlock << place.block);
    }
    block[place.offset] = std::move(item);
}

void Chunk::Remove(std::size_t count, Positions const& gone) noexcept {
    auto const at = [this](std::size_t position) -> std::shared_ptr<object::Object>& {
        auto const place = PlaceOf(position);
        return blocks[place.block][place.offset];
    };
    index.Clear();
    std::size_t kept = gone.front();
    auto next = gone.begin();
    for (std::size_t position = kept; position < count; ++position) {
        if (next != gone.end() && *next == position) {
            ++next;
        } else {
            at(kept++) = std::move(at(position));
        }
    }
    for (std::size_t position = kept; position < count; ++position) {
        at(position).reset();
    }
}

void Chunk::FindEvents(unsigned int observable, std::size_t count, FoundEvents& found) const {
    std::lock_guard<std::mutex> const lock(index.mutex);
    ExtendIndex(count);
    ++index.counts.asked;
    auto const* const chain = index.Find(observable);
    if (chain == nullptr) {
        return;
    }
    std::size_t const before = found.size();
    for (std::uint32_t at = chain->first; at != NoEntry && index.entries[at].position < count;
         at = index.entries[at].next) {
        found.push_back(static_cast<data::Event const*>(At(index.entries[at].position).get()));
    }
    index.counts.found += found.size() - before;
}

bool Chunk::HasEvents(unsigned int observable, std::size_t count) const {
    std::lock_guard<std::mutex> const lock(index.mutex);
    ExtendIndex(count);
    ++index.counts.asked;
    auto const* const chain = index.Find(observable);
    return chain != nullptr && index.entries[chain->first].position < count;
}

LookUpCounts Chunk::CountLookUps() const {
    std::lock_guard<std::mutex> const lock(index.mutex);
    return index.counts;
}

void Chunk::ExtendIndex(std::size_t count) const {
    std::uint64_t const keyChanges = KeyChanges();
    if (index.keyChanges != keyChanges) {
        index.Clear();
        index.keyChanges = keyChanges;
    }
    for (; index.covered < count; ++index.covered) {
        ++index.counts.read;
        object::Object const* const item = At(index.covered).get();
        if (item == nullptr || !item->Is<data::Event>()) {
            continue;
        }
        auto const& event = static_cast<data::Event const&>(*item);
        event.WatchKeys();
        try {
            for (auto const& each : event.GetObjects()) {
                if (each && each->Is<data::Observable>()) {
                    index.Add(static_cast<data::Observable const&>(*each).GetId(), index.covered);
                }
            }
        } catch (...) {
            index.Clear();  // of this event's records some are there and some are not
            throw;
        }
    }
}

void Chunk::Index::Clear() noexcept {
    chainOf.Clear();
    chains.clear();
    entries.clear();
    current = 0;
    covered = 0;
}

void Chunk::Index::Add(unsigned int observable, std::size_t position) {
    auto const added = static_cast<std::uint32_t>(entries.size());
    if (entries.capacity() == 0) {
        entries.reserve(LeastEntries);
    }
    entries.push_back({static_cast<std::uint32_t>(position), NoEntry});
    // An observable's events stand together as a rule.
    if (current == chains.size() || chains[current].observable != observable) {
        current = chainOf.Find(observable);
        if (current == type::container::IdTable::None) {
            current = static_cast<std::uint32_t>(chains.size());
            chains.push_back({observable, added, added});
            chainOf.Set(observable, current);
            return;
        }
    }
    entries[std::exchange(chains[current].last, added)].next = added;
}

Chunk::Index::Chain const* Chunk::Index::Find(unsigned int observable) const {
    auto const place = chainOf.Find(observable);
    return place == type::container::IdTable::None ? nullptr : &chains[place];
}

std::shared_ptr<object::Object> const& Contents::AtInherited(std::size_t position) const {
    auto part = inherited.begin();
    for (; position >= part->count; ++part) {
        position -= part->count;
    }
    return part->chunk->At(position);
}

std::span<std::shared_ptr<object::Object> const> Contents::RunFrom(std::size_t position) const {
    for (auto const& part : inherited) {
        if (position < part.count) {
            auto const run = part.chunk->RunFrom(position);
            return run.first(std::min(run.size(), part.count - position));
        }
        position -= part.count;
    }
    return own.RunFrom(position);
}

}  // namespace qel::meta::detail
