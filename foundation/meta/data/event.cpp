#include "foundation/meta/data/event.hpp"

#include <utility>

#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/key_changes.hpp"

namespace qel::meta::data {

namespace {

unsigned int GetNextId() {
    static constinit std::atomic<unsigned int> next{1};
    unsigned int id = 0;
    while (id == 0) {  // 0 is never drawn, also not after 2^32 events
        id = next.fetch_add(1, std::memory_order_relaxed);
    }
    return id;
}

std::shared_ptr<Event::Texts const> const& EmptyTexts() {
    // Never destroyed: events of static objects outlive everything else.
    static auto const& texts = *new std::shared_ptr<Event::Texts const>(std::make_shared<Event::Texts const>());
    return texts;
}

std::shared_ptr<Event::Texts const> MakeTexts(std::string name, std::string type, std::string category) {
    return std::make_shared<Event::Texts const>(Event::Texts{std::move(name), std::move(type), std::move(category)});
}

bool IsKey(object::Object const* object) {
    return object != nullptr && (object->Is<Observable>() || object->Is<data::Object>());
}

}  // namespace

Event::Event() : Event(0, nullptr, Timestamp(), Timestamp(), {}) {}

Event::Event(std::string name, std::string type, std::string category, Timestamp start, Timestamp end, Objects objects)
    : Event(GetNextId(), std::move(name), std::move(type), std::move(category), start, end, std::move(objects)) {}

Event::Event(unsigned int id, std::string name, std::string type, std::string category, Timestamp start, Timestamp end,
             Objects objects)
    : Event(id, MakeTexts(std::move(name), std::move(type), std::move(category)), start, end, std::move(objects)) {}

Event::Event(std::shared_ptr<Texts const> texts, Timestamp start, Timestamp end, Objects objects)
    : Event(GetNextId(), std::move(texts), start, end, std::move(objects)) {}

Event::Event(unsigned int id, std::shared_ptr<Texts const> texts, Timestamp start, Timestamp end, Objects objects)
    : Object(object::TypeIdOf<Event>),
      id(id),
      start(start),
      end(end),
      texts(texts ? std::move(texts) : EmptyTexts()),
      objects(std::move(objects)) {}

Event::Event(Event const& other)
    : Object(other),
      id(other.id),
      duplicate(other.duplicate),
      final(other.final),
      internal(other.internal),
      start(other.start),
      end(other.end),
      texts(other.texts),
      objects(other.objects) {}

Event::Event(Event&& other) noexcept
    : Object(other),
      id(other.id),
      duplicate(other.duplicate),
      final(other.final),
      internal(other.internal),
      start(other.start),
      end(other.end),
      texts(other.texts),
      objects(std::move(other.objects)) {
    other.CountIfWatched();
}

Event& Event::operator=(Event other) noexcept {
    id = other.id;
    duplicate = other.duplicate;
    final = other.final;
    internal = other.internal;
    start = other.start;
    end = other.end;
    texts.swap(other.texts);
    objects.swap(other.objects);
    CountIfWatched();
    return *this;
}

Event::~Event() = default;

void Event::SetName(std::string name) { texts = MakeTexts(std::move(name), texts->type, texts->category); }

void Event::SetType(std::string type) { texts = MakeTexts(texts->name, std::move(type), texts->category); }

void Event::SetTexts(std::shared_ptr<Texts const> newTexts) { texts = newTexts ? std::move(newTexts) : EmptyTexts(); }

void Event::AppendObject(std::shared_ptr<object::Object const> object) {
    bool const key = IsKey(object.get());
    objects.push_back(std::move(object));
    if (key) {
        CountIfWatched();
    }
}

void Event::AppendObject(object::Object const& object) { AppendObject(object.Clone()); }

void Event::EditObjects(std::function<void(Objects&)> const& edit) {
    // A copy, so that until the change is counted a walk sees what a look-up sees.
    Objects edited = objects;
    edit(edited);
    objects.swap(edited);
    CountIfWatched();
}

std::shared_ptr<object::Object> Event::Clone() const { return std::make_shared<Event>(*this); }

void Event::CountIfWatched() const {
    if (watched.load(std::memory_order_relaxed)) {
        CountKeyChange();
    }
}

}  // namespace qel::meta::data
