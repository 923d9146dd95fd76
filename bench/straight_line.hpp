#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "bench/scene.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/meta.hpp"

namespace qel::bench {

/// What the rules of a group make, in the order of `GroupRecords`.
enum class Rule : std::size_t { Both, Shortly, Without, Either, Undisturbed, Before, Quiet };

/// One shared object for an event, with as little in it as a consumer can do with.
class LeanMaker {
public:
    struct Event {
        std::uint32_t id;
        meta::Timestamp start;
        meta::Timestamp end;
        boost::container::small_vector<std::uint32_t, 2> objects;
    };
    static constexpr char const* Name = "lean";
    static constexpr bool MakesInternal = false;

    explicit LeanMaker(std::vector<GroupRecords> const&) {}

    void Begin(PlainFrame const& next) { frame = &next; }

    template <class Places>
    std::shared_ptr<Event> Make(std::size_t, Rule, Event const* last, Places const& places) {
        auto event = std::make_shared<Event>();
        event->id = last ? last->id : nextId++;
        event->start = last ? last->start : frame->time;
        event->end = frame->time;
        event->objects.reserve(places.size());
        for (auto const place : places) {
            event->objects.push_back(frame->ids[place]);
        }
        return event;
    }

    std::shared_ptr<Event> Close(Event const& last) { return std::make_shared<Event>(last); }

private:
    PlainFrame const* frame = nullptr;
    std::uint32_t nextId = 1;
};

/// The same events as the rules': with a record, copies of the tracked objects and the channel, and with their flags.
class EqualMaker {
public:
    using Event = meta::data::Event;
    static constexpr char const* Name = "equal";
    static constexpr bool MakesInternal = false;

    explicit EqualMaker(std::vector<GroupRecords> const& groups) {
        for (std::size_t number = 0; number < groups.size(); ++number) {
            auto const& group = groups[number];
            auto const name = "group " + std::to_string(number);
            producers.push_back({{group.both, TextsOf(name + ": A and B", "and")},
                                 {group.shortly, TextsOf(name + ": A and B before", "and")},
                                 {group.without, TextsOf(name + ": not A", "not")},
                                 {group.either, TextsOf(name + ": A or B", "or")},
                                 {group.undisturbed, TextsOf(name + ": undisturbed", "and")},
                                 {group.before, TextsOf(name + ": B before", "previous")},
                                 {group.quiet, TextsOf(name + ": not C", "not")}});
        }
    }

    void Begin(PlainFrame const& next) {
        frame = &next;
        channel = MakeChannel();
    }

    template <class Places>
    std::shared_ptr<Event> Make(std::size_t group, Rule rule, Event const* last, Places const& places) {
        auto const& producer = producers[group][static_cast<std::size_t>(rule)];
        Event::Objects list;
        list.reserve(2 + places.size());
        list.push_back(producer.record);
        for (auto const place : places) {
            list.push_back(std::make_shared<meta::data::Object>(frame->objects[place]));
        }
        list.push_back(channel);
        auto const now = frame->time;
        if (!last) {
            return std::make_shared<Event>(producer.texts, now, now, std::move(list));
        }
        auto event = std::make_shared<Event>(last->GetId(), producer.texts, last->GetStart(), now, std::move(list));
        event->SetDuplicate(true);
        return event;
    }

    std::shared_ptr<Event> Close(Event const& last) {
        auto event = std::make_shared<Event>(last);
        event->SetDuplicate(true);
        event->SetFinal(true);
        return event;
    }

private:
    struct Producer {
        GroupRecords::Record record;
        std::shared_ptr<Event::Texts const> texts;
    };

    std::vector<std::vector<Producer>> producers;
    PlainFrame const* frame = nullptr;
    std::shared_ptr<meta::data::Channel const> channel;
};

/// All events that the rules make: also the internal ones, which leave the frame again.
class WholeMaker : public EqualMaker {
public:
    static constexpr char const* Name = "whole";
    static constexpr bool MakesInternal = true;

    using EqualMaker::EqualMaker;
};

/// The rules of the groups as one would write them by hand for this scene: a pass over the B's and one over the A's,
/// and arrays by place.
template <class Maker>
class StraightLine {
public:
    using Event = typename Maker::Event;
    using Events = std::vector<std::shared_ptr<Event>>;
    static constexpr char const* Name = Maker::Name;

    StraightLine(std::vector<GroupRecords> const& records, std::size_t objects)
        : maker(records), groups(records.size()) {
        for (auto& group : groups) {
            group.places.resize(objects);
        }
    }

    void Process(PlainFrame const& frame, Events& reported) {
        maker.Begin(frame);
        for (std::size_t number = 0; number < groups.size(); ++number) {
            ProcessGroup(number, frame, frame.groups[number], reported);
        }
    }

private:
    struct Running {
        std::shared_ptr<Event> event;
        meta::Timestamp end = meta::Timestamp::min();
    };
    struct Place {
        meta::Timestamp a = meta::Timestamp::min();
        meta::Timestamp b = meta::Timestamp::min();
        Running both;
        Running shortly;
        std::shared_ptr<Event> before;
    };
    struct Group {
        std::vector<Place> places;
        std::vector<std::uint32_t> both;  // the places with an event in the last frame
        std::vector<std::uint32_t> shortly;
        std::vector<std::uint32_t> nextBoth;
        std::vector<std::uint32_t> nextShortly;
        Running without;
        Running either;
        Running undisturbed;
        std::shared_ptr<Event> quiet;
    };

    void ProcessGroup(std::size_t number, PlainFrame const& frame, PlainFrame::Group const& detected,
                      Events& reported) {
        auto& group = groups[number];
        auto const now = frame.time;
        auto const report = [&](Rule rule, Running& running, auto const& places) {
            running.event = maker.Make(number, rule, running.event.get(), places);
            running.end = now;
            reported.push_back(running.event);
        };
        auto const closeUnlessReported = [&](Running& running) {
            if (running.event && running.end != now) {
                reported.push_back(maker.Close(*running.event));
                running.event.reset();
            }
        };

        for (auto const place : frame.replaced) {
            closeUnlessReported(group.places[place].both);
            closeUnlessReported(group.places[place].shortly);
            group.places[place] = {};
        }
        for (auto const place : detected.b) {
            group.places[place].b = now;
        }
        if constexpr (Maker::MakesInternal) {
            MakeInternal(number, detected.c, now);
        }
        group.nextBoth.clear();
        group.nextShortly.clear();
        for (auto const place : detected.a) {
            auto& each = group.places[place];
            each.a = now;
            if (each.b == now) {
                report(Rule::Both, each.both, Only{place});
                group.nextBoth.push_back(place);
            }
            if (each.b >= now - Lookback) {
                report(Rule::Shortly, each.shortly, Only{place});
                group.nextShortly.push_back(place);
            }
        }
        if (detected.a.empty()) {
            report(Rule::Without, group.without, None{});
        }
        if (!detected.a.empty() || !detected.b.empty()) {
            union_ = detected.a;
            for (auto const place : detected.b) {
                if (group.places[place].a != now) {
                    union_.push_back(place);
                }
            }
            report(Rule::Either, group.either, union_);
        }
        if (!group.nextShortly.empty() && !detected.c) {
            report(Rule::Undisturbed, group.undisturbed, group.nextShortly);
        }

        for (auto const place : group.both) {
            closeUnlessReported(group.places[place].both);
        }
        for (auto const place : group.shortly) {
            closeUnlessReported(group.places[place].shortly);
        }
        closeUnlessReported(group.without);
        closeUnlessReported(group.either);
        closeUnlessReported(group.undisturbed);
        group.both.swap(group.nextBoth);
        group.shortly.swap(group.nextShortly);
    }

    /// The events of objects that are still there, each of which lives until the next one is made.
    void MakeInternal(std::size_t number, bool detectedC, meta::Timestamp now) {
        auto& group = groups[number];
        auto const renew = [&](bool holds, Rule rule, std::shared_ptr<Event>& event, auto const& places) {
            if (!holds) {
                event.reset();
                return;
            }
            event = maker.Make(number, rule, event.get(), places);
            event->SetInternal(true);
        };
        for (std::uint32_t place = 0; place < group.places.size(); ++place) {
            auto& each = group.places[place];
            renew(each.b >= now - Lookback, Rule::Before, each.before, Only{place});
        }
        renew(!detectedC, Rule::Quiet, group.quiet, None{});
    }

    struct Only {
        std::uint32_t place;

        std::size_t size() const { return 1; }
        std::uint32_t const* begin() const { return &place; }
        std::uint32_t const* end() const { return &place + 1; }
    };
    struct None {
        std::size_t size() const { return 0; }
        std::uint32_t const* begin() const { return nullptr; }
        std::uint32_t const* end() const { return nullptr; }
    };

    Maker maker;
    std::vector<Group> groups;
    std::vector<std::uint32_t> union_;
};

using Lean = StraightLine<LeanMaker>;
using Equal = StraightLine<EqualMaker>;
using Whole = StraightLine<WholeMaker>;

}  // namespace qel::bench
