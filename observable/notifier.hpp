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
/// observable's subscribers hear of it. Events that carry no channel record get one with the id and the name of the
/// frame's first. Every event that was there in the frame before and is missing now is closed by one final copy. The
/// new events of each observable are counted in a log line.
///
/// Every member may be called from any thread; one mutex is held for the whole of each, so observables, subscribers,
/// augmented-meta callbacks and log sinks run on the caller's thread with it held. A call of theirs back into the same
/// notifier throws `std::system_error` (`resource_deadlock_would_occur`); they may destroy it, and the call goes on to
/// its end. Null observables are refused with `std::invalid_argument`.
///
/// The notifier's mutex comes before an observable's lock, and that before the one of all notifications. So nobody
/// calls a notifier while holding `Observable::GetLock()`, and no subscriber or augmented-meta callback calls, or drops
/// a handle of, a notifier that another thread may be running.
class QEL_OBSERVABLE_EXPORT Notifier {
public:
    Notifier();
    Notifier(Notifier const&) = delete;
    Notifier& operator=(Notifier const&) = delete;
    ~Notifier();

    /// Adds an observable to the rule set; throws what `Graph::Add` throws. Two owners keep the observable: the
    /// notifier until the returned handle is destroyed (and for good when the call fails), and the rule set until it is
    /// removed from that. Dropping the handle takes nothing out of the rule set. It may happen on any thread, inside a
    /// pass, at whose end it takes effect, and after the notifier's end.
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

    /// How long after an event a new one of the same observable about the same objects is dropped; holds from the next
    /// frame on, also for the events before. Zero, as at first, and less still drop a repetition within one frame;
    /// `milliseconds::max()` is for ever.
    void SetEventRetriggerTime(std::chrono::milliseconds time);

    /// Runs the rule set over a frame, appending events to it and removing internal ones. What an observable, a
    /// subscriber, an augmented-meta callback, a log sink or the frame throws passes through, and `std::bad_weak_ptr`
    /// for a new event that no `std::shared_ptr` owns. The frame then keeps what was appended, and the notifier takes
    /// the next frame as if this one had not been, except that new events of this one may count as occurred within the
    /// retrigger time, and that those which had left it stay away. Observables that had their turn have seen the frame.
    void Process(meta::Meta const& frame);

private:
    class Impl;

    std::shared_ptr<Impl> const impl;
};

/// What the observable reports for the frame. Throws `std::invalid_argument` for a null observable.
QEL_OBSERVABLE_EXPORT std::vector<std::shared_ptr<object::Object>> GenerateMeta(
    meta::Meta const& frame, std::shared_ptr<Observable> const& observable);

}  // namespace qel::observable
