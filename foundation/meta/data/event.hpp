#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "foundation/export.hpp"
#include "foundation/meta/timestamp.hpp"
#include "foundation/object/object.hpp"

namespace qel::meta::data {

/// Something that an observable reports: what, from when to when, about which objects.
///
/// An event goes on from frame to frame as new events with the same id and start and a later end; another id means
/// another occurrence. Its object list holds what it is about (tracked objects, zones), the channel, and the records of
/// the observables that made it; nulls may stand in the list and are passed over by everybody who reads it.
///
/// An event is changed by one thread at a time and by nobody while another thread reads it. A walk over its list ends
/// before the list is changed.
class QEL_FOUNDATION_EXPORT Event : public object::Object {
public:
    /// The name of the type, whose hash is the type id.
    static constexpr char const* ClassTypeName = "qel.meta.data.Event";

    /// What an event is about, shared; may hold nulls.
    using Objects = std::vector<std::shared_ptr<object::Object const>>;

    /// The user's name of the rule, the kind of condition ("and") and the family that produced the event ("analytics").
    struct Texts {
        /// As in `GetName()`, `GetType()` and `GetCategory()`.
        std::string name;
        std::string type;
        std::string category;
    };

    /// Id 0, empty texts, the epoch as start and end, no objects and no flag.
    Event();
    /// With the next id of the process; ids start at 1 and may be drawn on any thread.
    Event(std::string name, std::string type, std::string category, Timestamp start, Timestamp end, Objects objects);
    Event(unsigned int id, std::string name, std::string type, std::string category, Timestamp start, Timestamp end,
          Objects objects);
    /// The same two for producers of many events with equal texts, which they share; null stands for empty texts.
    Event(std::shared_ptr<Texts const> texts, Timestamp start, Timestamp end, Objects objects);
    Event(unsigned int id, std::shared_ptr<Texts const> texts, Timestamp start, Timestamp end, Objects objects);

    /// Copies share the objects of the list, and are not watched.
    Event(Event const& other);
    Event(Event&& other) noexcept;
    Event& operator=(Event other) noexcept;
    ~Event() override;

    /// What the event was made with or has been given since. The references are good until it is changed.
    unsigned int GetId() const { return id; }
    Timestamp GetStart() const { return start; }
    Timestamp GetEnd() const { return end; }
    std::string const& GetName() const { return texts->name; }
    std::string const& GetType() const { return texts->type; }
    std::string const& GetCategory() const { return texts->category; }
    Objects const& GetObjects() const { return objects; }
    Objects::const_iterator Begin() const { return objects.begin(); }
    Objects::const_iterator End() const { return objects.end(); }

    /// Continues an event of the previous frame.
    bool IsDuplicate() const { return duplicate; }
    void SetDuplicate(bool value) { duplicate = value; }
    /// Is the last copy of an event that has ended.
    bool IsFinal() const { return final; }
    void SetFinal(bool value) { final = value; }
    /// Is for other observables only and leaves the frame when the pass over it ends.
    bool IsInternal() const { return internal; }
    void SetInternal(bool value) { internal = value; }

    /// For whoever passes the event on, later or under texts of its own.
    void SetEnd(Timestamp value) { end = value; }
    void SetName(std::string name);
    void SetType(std::string type);
    /// All three at once, shared; null stands for empty texts.
    void SetTexts(std::shared_ptr<Texts const> texts);

    /// Shares the object; it may be null.
    void AppendObject(std::shared_ptr<object::Object const> object);
    /// Copies the object.
    void AppendObject(object::Object const& object);

    /// Lets `edit` change the object list; the one way to do so other than appending. The event has the new list when
    /// `edit` returns, until then the old one, and keeps that when `edit` throws. Nobody keeps a reference into either
    /// list. An empty function is a `std::bad_function_call`.
    void EditObjects(std::function<void(Objects&)> const& edit);

    /// For look-ups that are keyed by this event's id or records: from now on changes of these are counted by
    /// `KeyChanges()`. May be called by several readers at once.
    void WatchKeys() const { watched.store(true, std::memory_order_relaxed); }

    std::shared_ptr<object::Object> Clone() const override;

private:
    void CountIfWatched() const;

    unsigned int id;
    bool duplicate = false;
    bool final = false;
    bool internal = false;
    mutable std::atomic<bool> watched = false;
    Timestamp start;
    Timestamp end;
    std::shared_ptr<Texts const> texts;
    Objects objects;
};

}  // namespace qel::meta::data
