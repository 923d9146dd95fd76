#include "foundation/meta/detail/chunk.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/key_changes.hpp"

namespace qel::meta::detail {

namespace {

constexpr std::uint32_t NoStretch = std::numeric_limits<std::uint32_t>::max();

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

template <class Take>
void Chunk::ForEach(std::size_t from, std::size_t to, Take const& take) const {
    while (from < to) {
        auto run = RunFrom(from);
        run = run.first(std::min(run.size(), to - from));
        std::for_each(run.begin(), run.end(), take);
        from += run.size();
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
    for (std::uint32_t at = chain->first; at != NoStretch && index.stretches[at].first < count;
         at = index.stretches[at].next) {
        auto const& stretch = index.stretches[at];
        std::size_t const end = std::min<std::size_t>(stretch.end, count);
        auto const known = static_cast<std::ptrdiff_t>(found.size());
        found.resize(found.size() + end - stretch.first);  // makes room for more than that at a time
        auto next = found.begin() + known;
        ForEach(stretch.first, end, [&](std::shared_ptr<object::Object> const& item) {
            *next++ = static_cast<data::Event const*>(item.get());
        });
    }
    index.counts.found += found.size() - before;
}

bool Chunk::HasEvents(unsigned int observable, std::size_t count) const {
    std::lock_guard<std::mutex> const lock(index.mutex);
    ExtendIndex(count);
    ++index.counts.asked;
    auto const* const chain = index.Find(observable);
    return chain != nullptr && index.stretches[chain->first].first < count;
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
    try {
        ForEach(index.covered, count, [this](std::shared_ptr<object::Object> const& item) {
            ++index.counts.read;
            if (item && item->Is<data::Event>()) {
                auto const& event = static_cast<data::Event const&>(*item);
                event.WatchKeys();
                for (auto const& each : event.GetObjects()) {
                    if (each && each->Is<data::Observable>()) {
                        index.Add(static_cast<data::Observable const&>(*each).GetId(), index.covered);
                    }
                }
            }
            ++index.covered;
        });
    } catch (...) {
        index.Clear();  // of an event's records some are there and some are not
        throw;
    }
}

void Chunk::Index::Clear() noexcept {
    chainOf.Clear();
    chains.clear();
    stretches.clear();
    covered = 0;
}

void Chunk::Index::Add(unsigned int observable, std::size_t itemPosition) {
    auto const position = static_cast<std::uint32_t>(itemPosition);
    if (!stretches.empty() && stretches.back().observable == observable && stretches.back().end == position) {
        ++stretches.back().end;
        return;
    }
    auto const added = static_cast<std::uint32_t>(stretches.size());
    stretches.push_back({observable, position, position + 1, NoStretch});
    std::uint32_t const chain = chainOf.Find(observable);
    if (chain == type::container::IdTable::None) {
        chainOf.Set(observable, static_cast<std::uint32_t>(chains.size()));
        chains.push_back({added, added});
    } else {
        stretches[std::exchange(chains[chain].last, added)].next = added;
    }
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
