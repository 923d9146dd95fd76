#include "observable/observable.hpp"

#include <atomic>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "foundation/type/binding/function.hpp"
#include "foundation/type/container/callbacks.hpp"
#include "foundation/type/pimpl.hpp"
#include "observable/registry/get.hpp"

namespace qel::observable {

namespace {

std::uint32_t GetNextId() {
    static std::atomic<std::uint32_t> next{0};
    return next.fetch_add(1, std::memory_order_relaxed);
}

bool IsObservableRecord(std::shared_ptr<object::Object const> const& object) {
    return object && object->Is<meta::data::Observable>();
}

}  // namespace

class Observable::Impl {
public:
    explicit Impl(hash::MurmurThree32 const& type) : type(type), id(GetNextId()) {}
    virtual ~Impl() = default;

    unsigned int Bind(Callback callback) {
        std::lock_guard<std::recursive_mutex> const lock(mutex);
        return callbacks.Insert(std::move(callback));
    }

    void Unbind(unsigned int callbackId) {
        Callbacks::Removed removed;  // destroyed without the lock: whatever it owns may do as it likes
        std::lock_guard<std::recursive_mutex> const lock(mutex);
        removed = callbacks.Remove(callbackId);
    }

    void Notify(std::shared_ptr<meta::data::Event> event);

    static type::Binding AddAddAugmentedMetaCallback(AugmentedMetaCallback callback);

    using Callbacks = type::container::Callbacks<void(std::shared_ptr<meta::data::Event>)>;

    std::recursive_mutex mutex;
    hash::MurmurThree32 type;
    std::uint32_t id;
    std::string name;
    bool triggersAction = true;
    Callbacks callbacks;
    std::shared_ptr<meta::data::Observable> metadata;

private:
    using AdditionalMetaCallbacks = type::container::Callbacks<std::shared_ptr<object::Object>()>;

    class AdditionalMetaLock;

    void NotifyLocked(std::shared_ptr<meta::data::Event> const& event);

    // Never destroyed: handles of static objects are dropped after this library's own static objects have gone.
    static AdditionalMetaCallbacks& AdditionalMeta;
    static std::mutex AdditionalMetaMutex;
    /// Whether this thread is inside a notification, which holds the mutex.
    static thread_local bool HoldsAdditionalMeta;
};

Observable::Impl::AdditionalMetaCallbacks& Observable::Impl::AdditionalMeta = *new AdditionalMetaCallbacks;
constinit std::mutex Observable::Impl::AdditionalMetaMutex;
constinit thread_local bool Observable::Impl::HoldsAdditionalMeta = false;

/// Holds the mutex of the augmented-meta callbacks unless a notification further up on this thread does.
class Observable::Impl::AdditionalMetaLock {
public:
    AdditionalMetaLock() : lock(AdditionalMetaMutex, std::defer_lock) {
        if (!HoldsAdditionalMeta) {
            lock.lock();
        }
    }

private:
    std::unique_lock<std::mutex> lock;
};

void Observable::Impl::Notify(std::shared_ptr<meta::data::Event> event) {
    if (HoldsAdditionalMeta) {
        std::lock_guard<std::recursive_mutex> const lock(mutex);
        NotifyLocked(event);
        return;
    }
    // Both at once, so that two threads whose subscribers notify each other's observables cannot lock each other out.
    std::scoped_lock const lock(mutex, AdditionalMetaMutex);
    struct Mark {
        Mark() { HoldsAdditionalMeta = true; }
        ~Mark() { HoldsAdditionalMeta = false; }
    } const mark;
    NotifyLocked(event);
}

void Observable::Impl::NotifyLocked(std::shared_ptr<meta::data::Event> const& event) {
    std::vector<std::shared_ptr<object::Object>> additional;
    additional.reserve(AdditionalMeta.Count());
    AdditionalMeta.ForEach([&](AugmentedMetaCallback const& make) { additional.push_back(make()); });
    for (auto& object : additional) {
        event->AppendObject(std::shared_ptr<object::Object const>(std::move(object)));
    }
    callbacks.ForEach([&](Callback const& callback) { callback(event); });
}

type::Binding Observable::Impl::AddAddAugmentedMetaCallback(AugmentedMetaCallback callback) {
    AdditionalMetaLock const lock;
    unsigned int const id = AdditionalMeta.Insert(std::move(callback));
    return {[](unsigned int slot) {
                AdditionalMetaCallbacks::Removed removed;
                AdditionalMetaLock const removing;
                removed = AdditionalMeta.Remove(slot);
            },
            id};
}

Observable::Observable(hash::MurmurThree32 type) : impl(std::make_shared<Impl>(type)) {}

void Observable::Reset() {}

std::vector<unsigned int> Observable::GetDependents() const { return {}; }

InputNames Observable::GetInputProperties() const { return {}; }

Observable::~Observable() = default;

std::vector<std::shared_ptr<object::Object>> Observable::Process(meta::Meta const&) { return {}; }

void Observable::ObserverAdded(Callback const&) const {}

std::uint32_t Observable::GetId() const { return type::Deref(impl).id; }

void Observable::SetId(std::uint32_t id) {
    auto& state = type::Deref(impl);
    if (state.metadata && state.metadata.use_count() == 1) {
        state.metadata->SetId(id);
    } else {
        state.metadata = std::make_shared<meta::data::Observable>(id);
    }
    state.id = id;
}

std::string Observable::GetName() const { return impl->name; }

bool Observable::HasName(std::string_view name) const { return impl->name == name; }

void Observable::SetName(std::string name) { impl->name = std::move(name); }

bool Observable::GetTriggersAction() const { return impl->triggersAction; }

void Observable::SetTriggersAction(bool triggersAction) { impl->triggersAction = triggersAction; }

hash::MurmurThree32 const& Observable::GetTypeNameId() const { return type::Deref(impl).type; }

char const* Observable::GetTypeName() const { return TypeName(GetTypeNameId()); }

char const* Observable::TypeName(hash::MurmurThree32 const& type) {
    auto const types = registry::Get().GetMap();
    auto const found = types->find(type);
    return found == types->end() ? nullptr : found->second.GetTypeName();
}

std::shared_ptr<Observable> Observable::Make(hash::MurmurThree32 const& type) {
    auto const types = registry::Get().GetMap();
    auto const found = types->find(type);
    return found == types->end() ? nullptr : found->second.GetMake()();
}

std::shared_ptr<Observable> Observable::GetPtr() { return shared_from_this(); }

std::shared_ptr<Observable const> Observable::GetPtr() const { return shared_from_this(); }

std::unique_lock<std::recursive_mutex> Observable::GetLock() {
    return std::unique_lock<std::recursive_mutex>(type::Deref(impl).mutex);
}

type::Binding Observable::Bind(Callback callback) const {
    auto& state = type::Deref(impl);
    ObserverAdded(callback);
    auto unbind = type::binding::function::MakeUnbind<Impl>(impl);
    unsigned int const id = state.Bind(std::move(callback));
    return {std::move(unbind), id};
}

void Observable::Unbind(std::uint32_t id) const { type::Deref(impl).Unbind(id); }

bool Observable::HasObservers() const {
    if (!impl) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> const lock(impl->mutex);
    return impl->callbacks.Any();
}

type::Binding Observable::AddAugmentedMetaCallback(AugmentedMetaCallback callback) {
    return Impl::AddAddAugmentedMetaCallback(std::move(callback));
}

void Observable::Notify(std::shared_ptr<meta::data::Event> event) const {
    auto const kept = impl;  // a subscriber may drop the last reference to this observable
    auto& state = type::Deref(kept);
    if (!event) {
        throw std::invalid_argument("Observable::Notify: the event must not be null");
    }
    state.Notify(std::move(event));
}

std::shared_ptr<meta::data::Observable> Observable::MakeObservableMetadata() const {
    auto& state = type::Deref(impl);
    if (!state.metadata) {
        state.metadata = std::make_shared<meta::data::Observable>(GetId());
    }
    return state.metadata;
}

std::vector<std::shared_ptr<object::Object const>> Observable::CopyEventMeta(meta::data::Event const& cause) const {
    auto const& objects = cause.GetObjects();
    std::vector<std::shared_ptr<object::Object const>> kept;
    kept.reserve(objects.size() + 1);
    for (auto const& object : objects) {
        if (!IsObservableRecord(object)) {
            kept.push_back(object);
        }
    }
    kept.push_back(MakeObservableMetadata());
    return kept;
}

std::vector<std::shared_ptr<object::Object>> Observable::Generate(meta::Meta const& frame) { return Process(frame); }

type::BadCast Observable::BadCastError(char const* wanted) const {
    // No stream, which would swallow a lack of memory. A name that is a null pointer ends the message.
    std::string message = "Failed to cast the observable from '";
    if (char const* const name = GetTypeName()) {
        message.append(name).append("' to a '");
        if (wanted != nullptr) {
            message.append(wanted).append("'");
        }
    }
    return type::BadCast(message);
}

std::ostream& operator<<(std::ostream& stream, Observable const& observable) {
    // The id as a text: decimal whatever the stream's number format is.
    return stream << "{\"typename\":" << observable.GetTypeName() << ",\"id\":" << std::to_string(observable.GetId())
                  << "}";
}

}  // namespace qel::observable
