#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "foundation/meta/meta.hpp"
#include "foundation/object/object.hpp"
#include "foundation/type/binding.hpp"
#include "observable/export.hpp"
#include "observable/observable.hpp"

namespace qel::observable {

/// Runs a rule set over the frames of a video channel.
///
/// For every frame each observable, inputs before their consumers, reports its events. An event whose id was there in
/// the frame before is marked as a duplicate; one of an observable that does not trigger actions is marked as internal,
/// is seen by the observables behind it and leaves the frame at the end. A new event that triggers actions is dropped
/// when the same observable has reported the same set of tracked objects within the retrigger time; otherwise the
/// observable's subscribers hear of it. Every event that was there in the frame before and is missing now is closed by
/// one final copy.
///
/// Every member may be called from any thread; one mutex is held for the whole of each, so observables and subscribers
/// run on the caller's thread with it held. A call of theirs back into the same notifier throws `std::system_error`
/// (`resource_deadlock_would_occur`). Null observables are refused with `std::invalid_argument`.
class QEL_OBSERVABLE_EXPORT Notifier {
public:
    Notifier();
    Notifier(Notifier const&) = delete;
    Notifier& operator=(Notifier const&) = delete;
    ~Notifier();

    /// Adds an observable to the rule set; throws what `Graph::Add` throws. The notifier owns it until the returned
    /// handle is destroyed, which may happen on any thread (inside a pass it takes effect at the pass's end) and after
    /// the notifier's end, and until it is removed, for which the handle does nothing. After a failure the notifier
    /// owns it.
    type::Binding AddObservable(std::shared_ptr<Observable> observable);
    /// Takes an observable out of the rule set; throws what `Graph::Remove` throws.
    void RemoveObservable(std::shared_ptr<Observable> observable);
    /// The same for the observable with this id. Throws `std::runtime_error` "Cannot remove observable that has not
    /// been added" when none is visited under it.
    void RemoveObservableId(unsigned int id);
    /// To be called when the inputs of an observable have changed; throws what `Graph::Update` throws.
    void ObservableChanged(std::shared_ptr<Observable> observable);

    /// The observables in the order in which a frame visits them. Valid until the rule set changes.
    std::vector<std::shared_ptr<Observable>> const& GetObservables() const;

    /// How long after an event a new one of the same observable about the same objects is dropped; 0 at first, which
    /// still drops a repetition within one frame.
    void SetEventRetriggerTime(std::chrono::milliseconds time);

    /// Runs the rule set over a frame, appending events to it and removing internal ones. What an observable, a
    /// subscriber or the frame throws passes through; the frame keeps what was appended, and the notifier takes the
    /// next frame as if this one had not been, except that new events of this one may count as occurred within the
    /// retrigger time.
    void Process(meta::Meta const& frame);

private:
    class Impl;

    std::shared_ptr<Impl> const impl;
};

/// What the observable, which is not null, reports for the frame.
QEL_OBSERVABLE_EXPORT std::vector<std::shared_ptr<object::Object>> GenerateMeta(
    meta::Meta const& frame, std::shared_ptr<Observable> const& observable);

}  // namespace qel::observable
