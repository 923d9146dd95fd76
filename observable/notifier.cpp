#include "observable/notifier.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/type/binding/function.hpp"
#include "observable/detail/ongoing_events.hpp"
#include "observable/detail/refuse_null.hpp"
#include "observable/detail/retrigger_history.hpp"
#include "observable/graph.hpp"
#include "observable/log_observable.hpp"

namespace qel::observable {

namespace {

/// A record of the frame's channel for the events of the frame: its id and its name only. Null when it has none.
std::shared_ptr<meta::data::Channel const> CopyChannel(meta::Meta const& frame) {
    for (auto const& channel : meta::ChannelsOf(frame)) {
        return std::make_shared<meta::data::Channel const>(channel.GetId(), channel.GetName());
    }
    return nullptr;
}

bool HasChannel(meta::data::Event const& event) {
    auto const& objects = event.GetObjects();
    return std::any_of(objects.begin(), objects.end(),
                       [](auto const& object) { return object && object->template Is<meta::data::Channel>(); });
}

}  // namespace

class Notifier::Impl {
public:
    unsigned int AddObservable(std::shared_ptr<Observable> observable);
    void RemoveObservable(std::shared_ptr<Observable> const& observable);
    void RemoveObservableId(unsigned int id);
    void ObservableChanged(std::shared_ptr<Observable> const& observable);
    std::vector<std::shared_ptr<Observable>> const& GetObservables();
    void SetEventRetriggerTime(std::chrono::milliseconds time);
    void Process(meta::Meta const& frame);

    /// Gives up the observables with this id: at once, or at the end of the operation that this thread is inside of.
    void Unbind(unsigned int id);

private:
    using Owned = std::list<std::shared_ptr<Observable>>;

    class Operation;

    struct Pass {
        meta::Meta const& frame;
        meta::Timestamp const now;
        std::shared_ptr<meta::data::Channel const> const channel;
    };

    void Run(Pass const& pass, std::shared_ptr<Observable> const& observable);
    /// Takes the object, an event, unless it is dropped.
    void Emit(Pass const& pass, Observable const& observable, std::shared_ptr<object::Object>& object);
    void CloseEnded(meta::Meta const& frame);

    bool EventOccurredPreviously(meta::data::Event const& event) { return ongoing.Continues(event.GetId()); }
    bool ShouldPreventRetrigger(meta::data::Event const& event) { return history.Contains(event); }

    std::mutex lock;
    std::atomic<std::thread::id> owner;
    Owned observables;
    std::size_t handles = 0;            // that have not been dropped
    std::vector<unsigned int> unbound;  // by the thread that holds the lock
    detail::OngoingEvents ongoing;
    std::vector<meta::data::Event const*> emitted;  // by one observable in a pass; kept for its memory
    detail::RetriggerHistory history;
    std::chrono::milliseconds retriggerTime{0};
    Graph graph;
};

/// One public operation: holds the lock, refuses a second one inside of it, and at its end gives up what was unbound
/// meanwhile. Observables are released without the lock, since their destructors may do as they like.
class Notifier::Impl::Operation {
public:
    explicit Operation(Impl& impl) : impl(impl) {
        if (impl.owner == std::this_thread::get_id()) {
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur),
                                    "A notifier cannot be called from inside its own pass");
        }
        impl.lock.lock();
        impl.owner = std::this_thread::get_id();
    }

    ~Operation() {
        Owned released;
        for (unsigned int const id : impl.unbound) {
            for (auto at = impl.observables.begin(); at != impl.observables.end();) {
                auto const next = std::next(at);
                if ((*at)->GetId() == id) {
                    released.splice(released.end(), impl.observables, at);
                }
                at = next;
            }
        }
        impl.unbound.clear();
        impl.owner = std::thread::id();
        impl.lock.unlock();
    }

    Operation(Operation const&) = delete;
    Operation& operator=(Operation const&) = delete;

private:
    Impl& impl;
};

unsigned int Notifier::Impl::AddObservable(std::shared_ptr<Observable> observable) {
    detail::RefuseNull(observable, "Notifier::AddObservable");
    Operation const operation(*this);
    unbound.reserve(handles + 1);  // so that unbinding needs no memory
    observables.push_back(observable);
    unsigned int const id = observable->GetId();
    graph.Add(std::move(observable));
    ++handles;
    return id;
}

void Notifier::Impl::RemoveObservable(std::shared_ptr<Observable> const& observable) {
    detail::RefuseNull(observable, "Notifier::RemoveObservable");
    std::shared_ptr<Observable> removed;  // the one with the same id; released without the lock
    Operation const operation(*this);
    if (graph.HaveVertex(observable->GetId())) {
        removed = graph.GetObservable(observable->GetId());
    }
    graph.Remove(observable);
}

void Notifier::Impl::RemoveObservableId(unsigned int id) {
    std::shared_ptr<Observable> removed;  // released without the lock
    Operation const operation(*this);
    auto const& path = graph.GetPath();
    auto const found = std::find_if(path.begin(), path.end(), [&](auto const& each) { return each->GetId() == id; });
    if (found == path.end()) {
        throw std::runtime_error("Cannot remove observable that has not been added");
    }
    removed = *found;
    graph.Remove(removed);
}

void Notifier::Impl::ObservableChanged(std::shared_ptr<Observable> const& observable) {
    detail::RefuseNull(observable, "Notifier::ObservableChanged");
    Operation const operation(*this);
    graph.Update(observable);
}

std::vector<std::shared_ptr<Observable>> const& Notifier::Impl::GetObservables() {
    Operation const operation(*this);
    return graph.GetPath();
}

void Notifier::Impl::SetEventRetriggerTime(std::chrono::milliseconds time) {
    Operation const operation(*this);
    retriggerTime = time;
}

void Notifier::Impl::Unbind(unsigned int id) {
    std::optional<Operation> operation;
    if (owner != std::this_thread::get_id()) {
        operation.emplace(*this);
    }
    unbound.push_back(id);
    --handles;
}

void Notifier::Impl::Process(meta::Meta const& frame) {
    Pass const pass{frame, frame.GetTimestamp(), CopyChannel(frame)};
    Operation const operation(*this);
    struct Attempt {  // what goes on is told by the passes that have not failed
        detail::OngoingEvents& ongoing;
        bool failed = true;
        ~Attempt() {
            if (failed) {
                ongoing.Abandon();
            }
        }
    } attempt{ongoing};
    history.Expire(pass.now, retriggerTime);
    for (auto const& observable : graph.GetPath()) {
        Run(pass, observable);
    }
    CloseEnded(frame);
    frame.RemoveIf([](std::shared_ptr<object::Object> const& item) {
        return item && item->Is<meta::data::Event>() && static_cast<meta::data::Event const&>(*item).IsInternal();
    });
    ongoing.Advance();
    attempt.failed = false;
}

void Notifier::Impl::Run(Pass const& pass, std::shared_ptr<Observable> const& observable) {
    auto generated = GenerateMeta(pass.frame, observable);
    emitted.clear();
    for (auto& object : generated) {
        if (object && object->Is<meta::data::Event>()) {
            emitted.push_back(static_cast<meta::data::Event const*>(object.get()));
            Emit(pass, *observable, object);
        } else {
            pass.frame.Append(std::move(object));
        }
    }
    // Those that are in the frame are kept by `ongoing`, those that are not by `generated`.
    auto const count = static_cast<unsigned int>(std::count_if(
        emitted.begin(), emitted.end(), [](meta::data::Event const* event) { return !event->IsDuplicate(); }));
    if (count > 0) {
        LogGenerated(count, pass.channel ? std::optional(pass.channel->GetId()) : std::nullopt, observable->GetId(),
                     observable->GetName());
    }
}

void Notifier::Impl::Emit(Pass const& pass, Observable const& observable, std::shared_ptr<object::Object>& object) {
    auto& event = static_cast<meta::data::Event&>(*object);
    bool const continues = EventOccurredPreviously(event);
    bool const triggers = observable.GetTriggersAction();
    bool const fires = !continues && triggers;
    if (fires && ShouldPreventRetrigger(event)) {
        return;
    }
    ongoing.Add(std::static_pointer_cast<meta::data::Event>(object));
    if (continues) {
        event.SetDuplicate(true);
    } else {
        history.Record(pass.now, ongoing.GetLast());
    }
    if (!triggers) {
        event.SetInternal(true);
    }
    if (pass.channel && !HasChannel(event)) {
        event.AppendObject(pass.channel);
    }
    if (fires) {
        observable.Notify(std::static_pointer_cast<meta::data::Event>(event.shared_from_this()));
    }
    pass.frame.Append(std::move(object));
}

void Notifier::Impl::CloseEnded(meta::Meta const& frame) {
    ongoing.ForEachEnded([&](meta::data::Event const& event) {
        // The copy of an internal event would leave the frame again at once.
        if (event.IsFinal() || event.IsInternal()) {
            return;
        }
        auto last = std::make_shared<meta::data::Event>(event);
        last->SetFinal(true);
        last->SetDuplicate(true);
        frame.Append(std::move(last));
    });
}

Notifier::Notifier() : impl(std::make_shared<Impl>()) {}

Notifier::~Notifier() = default;

// Each keeps the implementation: an observable or a subscriber may destroy the notifier from inside the call.

type::Binding Notifier::AddObservable(std::shared_ptr<Observable> observable) {
    auto const kept = impl;
    auto unbind = type::binding::function::MakeUnbind(kept);
    unsigned int const id = kept->AddObservable(std::move(observable));
    return {std::move(unbind), id};
}

void Notifier::RemoveObservable(std::shared_ptr<Observable> observable) {
    auto const kept = impl;
    kept->RemoveObservable(observable);
}

void Notifier::RemoveObservableId(unsigned int id) {
    auto const kept = impl;
    kept->RemoveObservableId(id);
}

void Notifier::ObservableChanged(std::shared_ptr<Observable> observable) {
    auto const kept = impl;
    kept->ObservableChanged(observable);
}

std::vector<std::shared_ptr<Observable>> const& Notifier::GetObservables() const { return impl->GetObservables(); }

void Notifier::SetEventRetriggerTime(std::chrono::milliseconds time) { impl->SetEventRetriggerTime(time); }

void Notifier::Process(meta::Meta const& frame) {
    auto const kept = impl;
    kept->Process(frame);
}

std::vector<std::shared_ptr<object::Object>> GenerateMeta(meta::Meta const& frame,
                                                          std::shared_ptr<Observable> const& observable) {
    detail::RefuseNull(observable, "GenerateMeta");
    return observable->Generate(frame);
}

}  // namespace qel::observable
