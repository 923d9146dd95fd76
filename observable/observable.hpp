#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/hash/murmur_three_32.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/object/object.hpp"
#include "foundation/type/bad_cast.hpp"
#include "foundation/type/binding.hpp"
#include "observable/export.hpp"

namespace qel::observable {

/// The id of no observable: an input that is not set.
inline constexpr std::uint32_t UnsetId = 0xFFFFFFFF;

/// Names of properties, in static storage.
using InputNames = std::span<std::string_view const>;

/// One element of a rule: it is asked once per frame what it has to report, and tells its subscribers.
///
/// An observable has a type (the hash of its class's type name), an id that is unique in the process until somebody
/// sets it, a name that the user gave it, and a flag that says whether its events trigger actions. It is owned by
/// `std::shared_ptr` and is neither copied nor moved. Every observable class has this class as its first base.
///
/// Subscribers and augmented-meta callbacks are called on the thread that notifies, with the observable's lock held.
/// From inside such a call they may bind, unbind (themselves too), notify, this observable or another, and drop the
/// last reference to the observable, on that thread: what is bound during a notification hears the next one, what is
/// unbound during it hears nothing more.
///
/// Observables may be made on any thread. Subscribing and notifying may be done from any thread; name, flag, id and the
/// metadata record are neither locked nor atomic: threads that change and read them at the same time hold `GetLock()`.
/// A notifier reads them without it, in a frame and when its rule set changes, so those of its observables are changed
/// between the calls to it. While holding `GetLock()`, nobody notifies, calls a notifier, or adds or drops an
/// augmented-meta callback.
class QEL_OBSERVABLE_EXPORT Observable : public std::enable_shared_from_this<Observable> {
public:
    /// Subscribers, and what events carry in addition: both are called with the lock held, see above.
    using Callback = std::function<void(std::shared_ptr<meta::data::Event>)>;
    using AugmentedMetaCallback = std::function<std::shared_ptr<object::Object>()>;
    /// What the target of a setting's binding is, whatever the class that publishes the setting.
    using PropertyTarget = Observable;

    /// A new observable of the type, with the next id of the process (the first is 0), no name, and a set flag.
    explicit Observable(hash::MurmurThree32 type);
    Observable(Observable const&) = delete;
    Observable& operator=(Observable const&) = delete;

    // The order of the virtual members is part of the interface that plug-ins are built against.

    /// Forgets what was remembered of earlier frames, where the class has something to forget on demand.
    virtual void Reset();
    /// The ids of the observables whose events this one reads; a rule graph orders its observables by them.
    virtual std::vector<unsigned int> GetDependents() const;
    /// The names of the properties that hold ids of input observables.
    virtual InputNames GetInputProperties() const;
    virtual ~Observable();
    /// What there is to report for a frame, normally events.
    virtual std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame);
    /// Called for every new subscriber, before it is stored.
    virtual void ObserverAdded(Callback const& callback) const;
    virtual void Reserved() = delete;  // keeps its slot

    /// Drawn from a counter of the process, until somebody sets it.
    std::uint32_t GetId() const;
    /// A metadata record that somebody else holds keeps the old id; the next record has the new one.
    void SetId(std::uint32_t id);

    /// What the user calls it; any text, empty at first.
    std::string GetName() const;
    /// Whether `GetName()` is this text, without a copy of it.
    bool HasName(std::string_view name) const;
    void SetName(std::string name);

    /// Whether the events of this observable trigger actions, or are for other observables only.
    bool GetTriggersAction() const;
    void SetTriggersAction(bool triggersAction);

    /// The hash of the class's type name; never changes.
    hash::MurmurThree32 const& GetTypeNameId() const;
    /// The registered name of this observable's type, or null when the type is not registered.
    char const* GetTypeName() const;

    /// The name under which a type is registered, or null. The text lives as long as the registration.
    static char const* TypeName(hash::MurmurThree32 const& type);
    /// A new observable of a registered type with default settings, or null for a type that is not registered. Throws
    /// `std::bad_function_call` for a registration without a factory. The factory must not use the registry.
    static std::shared_ptr<Observable> Make(hash::MurmurThree32 const& type);

    /// Throws `std::bad_weak_ptr` when no `std::shared_ptr` owns this observable.
    std::shared_ptr<Observable> GetPtr();
    std::shared_ptr<Observable const> GetPtr() const;

    /// Keeps the observable unchanged while several settings are read or changed.
    std::unique_lock<std::recursive_mutex> GetLock();

    /// Subscribes to the events that are notified from now on, until the returned handle is destroyed, which may happen
    /// on any thread and after the observable's end. An empty callback is refused with `std::invalid_argument`.
    type::Binding Bind(Callback callback) const;
    /// Ends the subscription with this id, the one that its handle holds; unknown ids are ignored.
    void Unbind(std::uint32_t id) const;
    bool HasObservers() const;

    /// Has every event that any observable of the process notifies carry one more object, the callback's result (null
    /// too), until the returned handle is destroyed, which may happen on any thread. An empty callback is refused with
    /// `std::invalid_argument`.
    static type::Binding AddAugmentedMetaCallback(AugmentedMetaCallback callback);

    /// Appends the results of the augmented-meta callbacks to the event and hands it to every subscriber. What one of
    /// them throws reaches the caller, and those behind it are not called; the event keeps what has been appended. A
    /// null event is refused with `std::invalid_argument`.
    void Notify(std::shared_ptr<meta::data::Event> event) const;

    /// The record that names this observable in its events; the same one until the id changes.
    std::shared_ptr<meta::data::Observable> MakeObservableMetadata() const;

    /// The objects for an event that this observable derives from another: those of the other event without the records
    /// of the observables that it has passed through, then this observable's own record.
    std::vector<std::shared_ptr<object::Object const>> CopyEventMeta(meta::data::Event const& cause) const;

    /// What `Process` reports for the frame. Subscribers are not notified.
    std::vector<std::shared_ptr<object::Object>> Generate(meta::Meta const& frame);

    /// The error for a property or an input that holds an observable of another type than `wanted`.
    type::BadCast BadCastError(char const* wanted) const;

private:
    class Impl;

    std::shared_ptr<Impl> const impl;
};

/// Writes {"typename":qel.observable.And,"id":3}. The type name has no quotation marks: log readers match it so. For an
/// unregistered type only {"typename": is written and the stream is left in its failed state.
QEL_OBSERVABLE_EXPORT std::ostream& operator<<(std::ostream& stream, Observable const& observable);

}  // namespace qel::observable
